// Ending the window: a close before login ends the program, a close after login only hides it,
// 退出 always ends it, and the unload closes the session and stores the position.

#include <gtest/gtest.h>

#include <QAction>
#include <QPushButton>

#include "app/login_frame.h"
#include "form_rig.h"

namespace nq::test {
namespace {

using app::Mainform;

TEST(MainformClose, BeforeLoginUnloadsWritesThePositionAndSendsNothing) {
    FormRig rig("127.0.2.10");
    ScriptedPeer& dispatcher = rig.dispatcher();
    ScriptedPeer& chat = rig.chatServer();
    Mainform& f = rig.load();
    f.move(300, 45);
    QWidget other;
    other.setWindowTitle("another window");
    other.show();

    EXPECT_TRUE(f.close());
    EXPECT_EQ(rig.unloadCount, 1);
    EXPECT_EQ(rig.readKey("User.ini", "Position", "Mainform"), "4500,675,");
    EXPECT_EQ(rig.desktop.calls.back(), "trayRemove");
    EXPECT_FALSE(other.isVisible()) << "the unload closes every other window";
    EXPECT_FALSE(dispatcher.receive(50));
    EXPECT_FALSE(chat.receive(50));

    // The position written is the one the next start restores.
    FormRig again("127.0.2.14");
    again.writeKey("User.ini", "Position", "Mainform", rig.readKey("User.ini", "Position", "Mainform"));
    EXPECT_EQ(again.load().pos(), QPoint(300, 45));
}

TEST(MainformClose, AfterLoginHidesToTheTrayAndKeepsTheSession) {
    FormRig rig("127.0.2.11");
    Mainform& f = rig.load();
    rig.login();
    ASSERT_FALSE(f.session().exitAllowed);

    EXPECT_FALSE(f.close());
    EXPECT_FALSE(f.isVisible());
    EXPECT_TRUE(f.windowState() & Qt::WindowMinimized);
    EXPECT_EQ(rig.unloadCount, 0);
    EXPECT_TRUE(f.session().online);
    EXPECT_EQ(rig.readKey("User.ini", "Position", "Mainform"), "");
    EXPECT_FALSE(rig.chatServer().receive(50)) << "hiding sends no quit";

    // 显示 brings it back as it was.
    f.menus().show->trigger();
    EXPECT_TRUE(f.isVisible());
    EXPECT_FALSE(f.windowState() & Qt::WindowMinimized);
}

TEST(MainformClose, ExitWhileOnlineSendsTheQuitFrameThenUnloads) {
    FormRig rig("127.0.2.12");
    Mainform& f = rig.load();
    rig.login();

    f.menus().exit->trigger();
    EXPECT_EQ(rig.unloadCount, 1);
    EXPECT_FALSE(f.isVisible());
    const OwnedFrame quit = rig.expect(rig.chatServer());
    EXPECT_EQ(quit.header.type, 1);
    EXPECT_EQ(quit.header.sub, 5);
    EXPECT_EQ(quit.body, joinFields({"alice"}));
    EXPECT_FALSE(f.session().online);
    EXPECT_NE(rig.readKey("User.ini", "Position", "Mainform"), "");
    EXPECT_EQ(rig.desktop.calls.back(), "trayRemove");
}

TEST(MainformClose, LogoutSendsQuitButTheCloseButtonStillOnlyHides) {
    FormRig rig("127.0.2.13");
    Mainform& f = rig.load();
    rig.login();
    f.showMainFrame();

    f.menus().logout->trigger();
    EXPECT_EQ(rig.expect(rig.chatServer()).header.sub, 5);
    EXPECT_FALSE(f.mainFrameShown());
    EXPECT_EQ(f.statusText(2), "状态：未验证");
    EXPECT_TRUE(f.loginFrame().com_login->isEnabled());

    EXPECT_FALSE(f.close());
    EXPECT_EQ(rig.unloadCount, 0);
    f.exitProgram();
    EXPECT_EQ(rig.unloadCount, 1);
    EXPECT_FALSE(rig.chatServer().receive(50)) << "logged out: the exit sends nothing more";
}

TEST(MainformClose, UnloadRunsOnceEvenWhenClosedAgain) {
    FormRig rig("127.0.2.10");
    Mainform& f = rig.load();
    f.exitProgram();
    f.show();
    f.close();
    EXPECT_EQ(rig.unloadCount, 1);
    EXPECT_EQ(std::count(rig.desktop.calls.begin(), rig.desktop.calls.end(), "trayRemove"), 1);
}

}  // namespace
}  // namespace nq::test
