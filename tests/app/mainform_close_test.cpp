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
    EXPECT_EQ(rig.unloadCount, 1);
    EXPECT_EQ(rig.position(), "4500,675,");
    EXPECT_EQ(rig.desktop.calls.back(), "trayRemove");
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
    EXPECT_FALSE(f.isVisible());
    EXPECT_TRUE(f.windowState() & Qt::WindowMinimized);
    EXPECT_EQ(rig.unloadCount, 0);
    EXPECT_TRUE(f.session().online);
    EXPECT_EQ(rig.position(), "");
    EXPECT_TRUE(rig.chat.sent.empty()) << "hiding sends no quit";
    f.menus().show->trigger();
    EXPECT_TRUE(f.isVisible());
    EXPECT_FALSE(f.windowState() & Qt::WindowMinimized);

    f.menus().exit->trigger();
    EXPECT_EQ(rig.unloadCount, 1);
    EXPECT_FALSE(f.isVisible());
    const OwnedFrame quit = rig.sentOn(rig.chat);
    EXPECT_EQ(kindOf(quit), kind::kLogout);
    EXPECT_EQ(quit.body, joinFields({"alice"}));
    EXPECT_FALSE(f.session().online);
    EXPECT_NE(rig.position(), "");
    EXPECT_EQ(rig.desktop.calls.back(), "trayRemove");
}

}  // namespace
}  // namespace nq::test
