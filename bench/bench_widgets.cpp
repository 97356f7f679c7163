// Painting cost of the widget kit: a gradient button and a panel with its strip, each rendered
// into an image as a repaint would draw it. A window repaints a few dozen of these at once, so
// each should stay well under a millisecond. The contact list repaints at every presence change
// of a long friend list and must stay under 2 ms with 500 rows. A received chat line at its
// largest, with 100 faces, must be written, laid out and painted in under 5 ms.

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QFont>
#include <QImage>
#include <QPixmap>
#include <QTemporaryDir>

#include <cstdlib>

#include "widgets/i_list.h"
#include "widgets/image_list.h"
#include "widgets/lv_buttons_h.h"
#include "widgets/rich_text.h"
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

// 500 friends with Chinese nicks, 32-pixel heads, one row selected, on the main window's list
// (284 x 400 pixels, 36-pixel rows); scrolled to the middle, so that rows of both halves count.
void BM_IList500(benchmark::State& state) {
    QImage strip(42 * 32, 32, QImage::Format_ARGB32_Premultiplied);
    strip.fill(QColor(0x4c, 0x98, 0xf6, 200));
    const ImageList heads{QPixmap::fromImage(strip)};
    IList list;
    list.resize(284, 400);
    list.setItemHeight(36);
    list.SetPos(46, 9, 46, 9, 6, 2, 6, 2);
    list.setImageList(&heads);
    for (int i = 1; i <= 500; ++i)
        list.model().AddItem(gbk::fromUtf8("好友" + std::to_string(i) + "号玩家"), "", 1 + i % 40);
    list.setFont(QFont("WenQuanYi Micro Hei", 10));
    list.model().setSelect(250);
    paintInto(state, list);
}
BENCHMARK(BM_IList500)->Unit(benchmark::kMicrosecond);

// 999 bytes of text (GBK: two bytes a Chinese character, one an ASCII one) in 100 runs, each
// followed by one of ten 28-pixel faces, written run by run into an empty history pane as a
// received line is, then laid out and painted.
void BM_RichLine100Faces(benchmark::State& state) {
    QTemporaryDir dir;
    QStringList faces;
    for (int f = 1; f <= 10; ++f) {
        QImage face(28, 28, QImage::Format_ARGB32);
        face.fill(QColor::fromHsv((f - 1) * 36, 200, 240));
        faces << dir.filePath(QString::number(f) + ".png");
        face.save(faces.back());
    }
    RichText pane;
    pane.resize(480, 400);
    pane.setLocked(true);
    QImage image(pane.size(), QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        pane.clear();
        pane.beginWrite();
        for (int i = 0; i < 100; ++i) {
            pane.setSelText(i < 99 ? QStringLiteral("你好abcdef") : QStringLiteral("你好abcde"));
            pane.insertFace(1 + i % 10, faces[i % 10]);
        }
        pane.endWrite();
        pane.render(&image);
        benchmark::DoNotOptimize(image.constBits());
    }
}
BENCHMARK(BM_RichLine100Faces)->Unit(benchmark::kMicrosecond);

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
