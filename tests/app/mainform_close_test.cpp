// Ending the window: a close before login ends the program, a close after login only hides it,
// 退出 always ends it, and the unload closes the session and stores the position. (After a
// logout the close still hides: the session test holds exitAllowed.)

#include <gtest/gtest.h>

#include <QAction>

#include "form_rig.h"

namespace nq::test {
namespace {

using app::Mainform;

TEST(MainformClose, BeforeLoginUnloadsOnceWritesThePositionAndSendsNothing) {
    FormRig rig;
    Mainform& f = rig.load();
    f.move(300, 45);
    QWidget other;
    other.show();

    EXPECT_TRUE(f.close());
    EXPECT_EQ(std::tuple(rig.unloadCount, rig.position(), rig.desktop.calls.back()),
              std::tuple(1, "4500,675,", "trayRemove"));
    EXPECT_FALSE(other.isVisible()) << "the unload closes every other window";
    EXPECT_TRUE(rig.update.sent.empty());
    f.show();
    f.exitProgram();
    EXPECT_EQ(rig.unloadCount, 1) << "the unload runs once";
    EXPECT_EQ(std::count(rig.desktop.calls.begin(), rig.desktop.calls.end(), "trayRemove"), 1);
}

TEST(MainformClose, AfterLoginHidesToTheTrayUntilExitSendsTheQuitFrame) {
    FormRig rig;
    Mainform& f = rig.load();
    rig.login();

    EXPECT_FALSE(f.close());
    EXPECT_TRUE(!f.isVisible() && (f.windowState() & Qt::WindowMinimized) && f.session().online);
    EXPECT_EQ(std::tuple(rig.unloadCount, rig.position()), std::tuple(0, ""));
    EXPECT_TRUE(rig.chat.sent.empty()) << "hiding sends no quit";
    f.menus().show->trigger();
    EXPECT_TRUE(f.isVisible() && !(f.windowState() & Qt::WindowMinimized));

    f.menus().exit->trigger();
    const OwnedFrame quit = rig.sentOn(rig.chat);
    EXPECT_EQ(std::tuple(kindOf(quit), quit.body, rig.unloadCount, rig.desktop.calls.back()),
              std::tuple(kind::kLogout, joinFields({"alice"}), 1, "trayRemove"));
    EXPECT_TRUE(!f.isVisible() && !f.session().online && rig.position() != "");
}

TEST(MainformClose, WithoutATrayACloseAfterLoginQuits) {
    FormRig rig;
    rig.desktop.hasTray = false;
    Mainform& f = rig.load();
    rig.login();
    EXPECT_TRUE(f.close());
    EXPECT_EQ(rig.unloadCount, 1);
}

TEST(MainformHotkey, LoginRegistersTheStoredKeyAndAPressFetches) {
    const struct {
        const char* stored;
        std::vector<std::string> calls;
    } cases[] = {
        {"Ctrl+Alt,81", {"hotkey:1:Del:Ctrl+Alt,81", "hotkey:1:Add:Ctrl+Alt,81"}},
        {"112", {"hotkey:1:Del:112", "hotkey:1:Add:112"}},
        {"", {"hotkey:1:Del:"}},
    };
    for (const auto& c : cases) {
        FormRig rig;
        rig.writeIni(keys::kUserFileName, keys::kHotkey, c.stored);
        Mainform& f = rig.load();
        rig.login();
        std::vector<std::string> hotkeyCalls;
        for (const std::string& call : rig.desktop.calls)
            if (call.starts_with("hotkey:")) hotkeyCalls.push_back(call);
        EXPECT_EQ(hotkeyCalls, c.calls) << c.stored;
        f.hide();
        ASSERT_TRUE(rig.desktop.hotkeyFetch);
        rig.desktop.hotkeyFetch();
        EXPECT_TRUE(f.isVisible()) << "with nothing waiting the fetch brings the window back";
    }
}

}  // namespace
}  // namespace nq::test
