// What open conversations cost an idle client: ten chat windows stand open while the event loop
// runs for a second, and every timer event the process handles is counted, those of the windows'
// 10 ms delivery timers apart. The goal is no delivery event at all (a window's timer runs only
// while a line waits for it), so that the client wakes for its own tick alone. The client is
// not logged in: its tick, the caret's blink and the other timers of the program are the rest.

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "app/chat_windows.h"
#include "app/contact_area.h"
#include "app/frm_chat.h"
#include "app/main_form.h"

namespace nq {
namespace {

// Counts the timer events the process handles, and those of timers that fire every 10 ms.
class TimerCounter : public QObject {
  public:
    int all = 0;
    int delivery = 0;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Timer) {
            ++all;
            if (const auto* t = qobject_cast<QTimer*>(watched); t && t->interval() == app::frmChat::kTimer1Ms)
                ++delivery;
        }
        return false;
    }
};

void runFor(int ms) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

void BM_IdleWithTenWindowsOpen(benchmark::State& state) {
    std::string home = (std::filesystem::temp_directory_path() / "nq-bench-idle-XXXXXX").string();
    if (!::mkdtemp(home.data())) std::abort();
    app::Mainform form(app::MainformOptions{home});
    form.load("");
    for (int i = 0; i < 10; ++i) {
        const std::string name = "friend" + std::to_string(i);
        form.chatWindows().open({"PTP", name, QString("与%1聊天中").arg(name.c_str()), 3, 0});
    }
    // Each window looks once at opening whether a line waits; that is not idling.
    runFor(200);
    TimerCounter counter;
    qApp->installEventFilter(&counter);
    double seconds = 0;
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        runFor(1000);
        seconds += static_cast<double>(clock.elapsed()) / 1000.0;
    }
    qApp->removeEventFilter(&counter);
    state.counters["timer_events_per_s"] = counter.all / seconds;
    state.counters["delivery_events_per_s"] = counter.delivery / seconds;
    form.chatWindows().closeAll();
    std::filesystem::remove_all(home);
}
BENCHMARK(BM_IdleWithTenWindowsOpen)->Iterations(2)->Unit(benchmark::kMillisecond);

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
