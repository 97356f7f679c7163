// Painting cost of the widget kit: a gradient button and a panel with its strip, each rendered
// into an image as a repaint would draw it. A window repaints a few dozen of these at once, so
// each should stay well under a millisecond.

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>

#include <cstdlib>

#include "widgets/lv_buttons_h.h"
#include "widgets/xp_container.h"

namespace nq {
namespace {

void paintInto(benchmark::State& state, QWidget& widget) {
    QImage image(widget.size(), QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        widget.render(&image);
        benchmark::DoNotOptimize(image.constBits());
    }
}

void BM_GradientButton(benchmark::State& state) {
    lvButtons_H button("登录");
    button.resize(static_cast<int>(state.range(0)), 34);
    button.setShape(lvButtons_H::RoundedRectangle);
    button.setGradient(lvButtons_H::Vertical);
    button.setFaceColor(QColor(0x4c, 0x98, 0xf6));
    button.setGradientColor(QColor(0x17, 0x5c, 0xc4));
    button.setDisplayAsDefault(true);
    paintInto(state, button);
}
BENCHMARK(BM_GradientButton)->Arg(80)->Arg(240)->Unit(benchmark::kMicrosecond);

void BM_Panel(benchmark::State& state) {
    XPContainer panel;
    panel.setCaption("用户登录");
    panel.resize(300, static_cast<int>(state.range(0)));
    paintInto(state, panel);
}
BENCHMARK(BM_Panel)->Arg(120)->Arg(480)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace nq

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
