// The global hotkey and the tray on a real X desktop (support/x_desktop.h); keys and clicks come
// from xdotool.

#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QSystemTrayIcon>
#include <QThread>
#include <QWidget>

#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "desktop/global_hotkey.h"
#include "desktop/tray.h"
#include "desktop/xcb_hotkey_grabber.h"
#include "support/event_loop.h"
#include "support/x_desktop.h"

namespace nq {
namespace {

using test::waitUntil;

void xdotool(const QStringList& args) {
    QProcess::execute("xdotool", args);
}

GlobalHotkey* makeHotkey(int& fetches) {
    auto* hotkey = new GlobalHotkey(std::make_unique<XcbHotkeyGrabber>(XcbHotkeyGrabber::qtConnection()));
    QObject::connect(hotkey, &GlobalHotkey::fetchRequested, [&fetches] { ++fetches; });
    return hotkey;
}

TEST(X11Hotkey, ARealGrabFetchesAndDelLeavesTheOldKeyDormant) {
    int fetches = 0;
    std::unique_ptr<GlobalHotkey> hotkey(makeHotkey(fetches));
    hotkey->ApplyHotkey(1, "Ctrl+Alt,75", "Add");
    xdotool({"key", "ctrl+alt+k"});
    ASSERT_TRUE(waitUntil([&] { return fetches == 1; })) << "Ctrl+Alt+K did not reach the grab";
    xdotool({"key", "ctrl+k"});  // the same key with other modifiers is not the hotkey
    xdotool({"key", "shift+ctrl+alt+k"});

    hotkey->ApplyHotkey(1, "Ctrl+Alt,75", "Del");
    xdotool({"key", "ctrl+alt+k"});
    waitUntil([] { return false; }, 300);
    EXPECT_EQ(fetches, 1);

    // NumLock lit: the lock variants of the grab still match.
    hotkey->ApplyHotkey(1, "Shift+Alt,112", "Add");
    xdotool({"key", "Num_Lock"});
    xdotool({"key", "shift+alt+F1"});
    xdotool({"key", "Num_Lock"});
    ASSERT_TRUE(waitUntil([&] { return fetches == 2; }));
    xdotool({"key", "ctrl+alt+k"});
    EXPECT_TRUE(waitUntil([&] { return fetches == 3; })) << "the first key stays registered";
}

TEST(X11Hotkey, AKeyHeldByAnotherClientIsIgnoredQuietly) {
    int fetches = 0;
    std::unique_ptr<GlobalHotkey> first(makeHotkey(fetches));
    first->ApplyHotkey(1, "Ctrl,81", "Add");
    // A second X connection stands for another program: its grab of the same key fails.
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    {
        XcbHotkeyGrabber other(connection);
        other.RegisterHotKey(1, 2, 81);
        EXPECT_TRUE(other.grabs().empty());
    }
    xcb_disconnect(connection);
    xdotool({"key", "ctrl+q"});
    EXPECT_TRUE(waitUntil([&] { return fetches == 1; })) << "the failed grab took the key away";
}

TEST(X11Tray, AClickOnTheIconInTheTrayReachesTheProgram) {
    ASSERT_TRUE(waitUntil([] { return QSystemTrayIcon::isSystemTrayAvailable(); }));
    QWidget window;
    window.setWindowIcon(appIcon());
    Tray tray;
    std::vector<TrayClick> clicks;
    QObject::connect(&tray, &Tray::clicked, [&clicks](TrayClick c) { clicks.push_back(c); });
    tray.TrayAdd(&window, QStringLiteral("珀岚聊天"));
    ASSERT_TRUE(waitUntil([&] { return tray.icon()->geometry().width() > 0; }));
    // trayer embeds the icon after it is mapped; the geometry is right once that settles.
    waitUntil([] { return false; }, 500);
    const QPoint at = tray.icon()->geometry().center();
    // NQ_SHOT=file.png keeps a picture of the desktop with the icon in the tray.
    if (const char* shot = std::getenv("NQ_SHOT")) {
        QProcess::execute("sh", {"-c", QString("xwd -root | convert xwd:- %1").arg(shot)});
    }
    xdotool({"mousemove", QString::number(at.x()), QString::number(at.y()), "click", "1"});
    ASSERT_TRUE(waitUntil([&] { return !clicks.empty(); }));
    EXPECT_EQ(clicks.front(), TrayClick::Left);
}

}  // namespace
}  // namespace nq

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    const nq::test::XDesktop desktop;
    if (!desktop.started()) {
        std::fputs("Xvfb did not start\n", stderr);
        return 1;
    }
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
