// The main window on a real X desktop (Xvfb with openbox): it docks behind the top edge and
// comes back when the pointer touches the strip it leaves; the topmost band and the opacity
// reach the window manager's properties. NQ_SHOT_DIR keeps pictures of the docked and returned
// window.

#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QWindow>

#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "app/main_form.h"
#include "app/main_menus.h"
#include "desktop/window_services.h"
#include "support/event_loop.h"

namespace nq::test {

QString run(const QString& program, const QStringList& args) {
    QProcess p;
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, args);
    p.waitForFinished(10000);
    return QString::fromUtf8(p.readAllStandardOutput());
}

QString xprop(const app::Mainform& form, const char* property) {
    // The window's own handle: moving into the topmost band makes a new X window, which the
    // widget's cached id does not follow.
    return run("xprop", {"-id", QString::number(form.windowHandle()->winId()), property});
}

namespace {

// Where the X server has the window's top, whatever Qt believes: a window manager may refuse
// part of a move.
int xTop(const app::Mainform& form) {
    const QString info = run("xwininfo", {"-id", QString::number(form.windowHandle()->winId())});
    const QString key = "Absolute upper-left Y:";
    return info.mid(info.indexOf(key) + key.size()).section('\n', 0, 0).trimmed().toInt();
}

void shoot(const char* name) {
    if (const char* dir = std::getenv("NQ_SHOT_DIR"))
        QProcess::execute("sh", {"-c", QString("xwd -root | convert xwd:- %1/%2").arg(dir, name)});
}

TEST(X11Mainform, DocksAtTheTopEdgeReturnsToThePointerAndReachesTheWindowManager) {
    QTemporaryDir home;
    QFile ini(home.filePath("User.ini"));
    ASSERT_TRUE(ini.open(QIODevice::WriteOnly));
    ini.write("[Setting]\r\nAutoHide=True\r\n");
    ini.close();
    app::Mainform form(app::MainformOptions{home.path().toStdString()});
    form.load("");
    form.show();
    ASSERT_TRUE(waitUntil([&] { return form.isVisible() && form.frameGeometry().top() >= 0; }));
    run("xdotool", {"mousemove", "900", "700"});

    const auto above = [&] { return xprop(form, "_NET_WM_STATE").contains("_NET_WM_STATE_ABOVE"); };
    form.menus().topMost->trigger();
    EXPECT_TRUE(waitUntil(above)) << xprop(form, "_NET_WM_STATE").toStdString();
    form.menus().topMost->trigger();
    EXPECT_TRUE(waitUntil([&] { return !above(); }));
    SetTransparency(&form, 128);  // 128/255 of 0xffffffff
    EXPECT_TRUE(waitUntil([&] { return xprop(form, "_NET_WM_WINDOW_OPACITY").contains("= 2155905152"); }))
        << xprop(form, "_NET_WM_WINDOW_OPACITY").toStdString();
    SetTransparency(&form, 255);

    // Dragged above the edge, touched and left: it slides up until two rows show, or as far as
    // the window manager lets a program move its window (openbox keeps a tenth on screen).
    form.move(200, -30);
    run("xdotool", {"mousemove", "300", "200"});
    waitUntil([] { return false; }, 500);
    run("xdotool", {"mousemove", "900", "700"});
    ASSERT_TRUE(waitUntil([&] { return xTop(form) < -form.height() * 8 / 10; }))
        << "did not dock, top at " << xTop(form);
    waitUntil([] { return false; }, 300);
    shoot("mainform_docked.png");
    run("xdotool", {"mousemove", "300", "0"});
    ASSERT_TRUE(waitUntil([&] {
        return form.frameGeometry().top() == -1 && xTop(form) == form.geometry().top();
    })) << "did not come back, top at "
        << xTop(form);
    waitUntil([] { return false; }, 300);
    shoot("mainform_returned.png");

    form.exitProgram();
}

}  // namespace
}  // namespace nq::test

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    int fds[2];
    if (pipe(fds) != 0) return 1;
    const pid_t xvfb = fork();
    if (xvfb == 0) {
        const std::string fd = std::to_string(fds[1]);
        execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1024x768x24", "-nolisten", "tcp",
               nullptr);
        _exit(127);
    }
    close(fds[1]);
    char number[16] = {};
    if (read(fds[0], number, sizeof number - 1) <= 0) return 1;
    setenv("DISPLAY", (":" + std::string(number, std::strcspn(number, "\n"))).c_str(), 1);
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    const pid_t openbox = fork();
    if (openbox == 0) {
        execlp("openbox", "openbox", nullptr);
        _exit(127);
    }
    int rc = 1;
    {
        QApplication app(argc, argv);
        // The window manager must own the screen before the first window maps.
        nq::test::waitUntil([] {
            return !nq::test::run("xprop", {"-root", "_NET_SUPPORTING_WM_CHECK"}).contains("not found");
        });
        rc = RUN_ALL_TESTS();
    }
    // openbox first, so that it does not see its display vanish.
    kill(openbox, SIGTERM);
    waitpid(openbox, nullptr, 0);
    kill(xvfb, SIGTERM);
    return rc;
}
