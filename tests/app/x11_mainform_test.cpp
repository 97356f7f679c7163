// The main window's edge hiding, topmost band and opacity on Xvfb with openbox.

#include <gtest/gtest.h>

#include <QApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QWindow>

#include "app/main_form.h"
#include "desktop/window_services.h"
#include "support/event_loop.h"
#include "support/x_desktop.h"

namespace nq::test {

// An X tool's answer, about a window by its own handle (the widget's id misses a re-creation).
QString run(const QString& program, QStringList args, const QWidget* window = nullptr) {
    if (window) args << "-id" << QString::number(window->windowHandle()->winId());
    QProcess p;
    p.start(program, args);
    p.waitForFinished(10000);
    return QString::fromUtf8(p.readAllStandardOutput());
}

namespace {

void pointer(int x, int y) {
    run("xdotool", {"mousemove", QString::number(x), QString::number(y)});
    waitUntil([] { return false; }, 400);  // two hover checks
}

TEST(X11Mainform, DocksAtTheTopEdgeReturnsToThePointerAndReachesTheWindowManager) {
    QTemporaryDir home;
    QFile ini(home.filePath("User.ini"));
    ASSERT_TRUE(ini.open(QIODevice::WriteOnly) && ini.write("[Setting]\r\nAutoHide=True\r\n") > 0);
    ini.close();
    app::Mainform f(app::MainformOptions{home.path().toStdString()});
    f.load("");
    f.show();
    // Above the edge, touched and left, it hides by the X server's word (its frame, if any,
    // included) but for two rows; the pointer on them brings it out to one row above the edge,
    // not a frame's border to the side, and back into the window manager's hands.
    const auto outer = [&](const char* field) {
        const auto parentOf = [](const QString& id) {
            return run("xwininfo", {"-tree", "-id", id}).section("Parent window id: ", 1).section('\n', 0, 0);
        };
        QString id = QString::number(f.windowHandle()->winId());
        for (QString p; !(p = parentOf(id)).isEmpty() && !p.contains("(the root window)");)
            id = p.section(' ', 0, 0);
        return run("xwininfo", {"-id", id}).section(field, 1).section('\n', 0, 0).toInt();
    };
    f.move(200, -30);
    pointer(300, 200);
    const int left = outer("Absolute upper-left X:");
    pointer(900, 700);
    EXPECT_TRUE(waitUntil([&] { return outer("Absolute upper-left Y:") + outer("Height:") == 2; }))
        << outer("Absolute upper-left Y:") << "+" << outer("Height:");
    pointer(300, 1);
    EXPECT_TRUE(waitUntil([&] {
        return outer("Absolute upper-left Y:") == -1 && outer("Absolute upper-left X:") == left &&
               f.frameGeometry().top() == -1 &&
               run("xwininfo", {}, &f).contains("Override Redirect State: no");
    })) << outer("Absolute upper-left X:")
        << "," << outer("Absolute upper-left Y:");
    // The edge hiding has put it into the top band (a new X window) by SetTopMost.
    EXPECT_TRUE(waitUntil([&] { return run("xprop", {"_NET_WM_STATE"}, &f).contains("STATE_ABOVE"); }));
    SetTransparency(&f, 128);  // 128/255 of 0xffffffff
    EXPECT_TRUE(
        waitUntil([&] { return run("xprop", {"_NET_WM_WINDOW_OPACITY"}, &f).contains("2155905152"); }));
    f.exitProgram();
}

}  // namespace
}  // namespace nq::test

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    nq::test::XDesktop desktop;
    QApplication app(argc, argv);
    // The window manager owns the screen before the first window maps.
    nq::test::waitUntil([] {
        return nq::test::run("xprop", {"-root", "_NET_SUPPORTING_WM_CHECK"}).contains("#");
    });
    return desktop.started() ? RUN_ALL_TESTS() : 1;
}
