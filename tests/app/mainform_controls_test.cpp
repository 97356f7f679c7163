// The login panel's controls, the menus, the tray clicks and the frames of the main window.

#include <gtest/gtest.h>

#include <QAction>
#include <QCheckBox>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

#include "app/flat_button.h"
#include "app/login_frame.h"
#include "app/main_frame.h"
#include "form_rig.h"

namespace nq::test {
namespace {

using app::Mainform;

TEST(MainformControls, EachCheckBoxClickWritesItsKey) {
    FormRig rig("127.0.2.20");
    app::LoginFrame& l = rig.load().loginFrame();
    l.cb_remPwd->click();
    EXPECT_EQ(rig.readKey("User.ini", "Setting", "isrempwd"), "1");
    l.cb_remPwd->click();
    EXPECT_EQ(rig.readKey("User.ini", "Setting", "isrempwd"), "0");
    l.cb_autoRun->click();
    EXPECT_EQ(rig.readKey("User.ini", "Setting", "OutoRun"), "1");
    EXPECT_EQ(rig.readKey("User.ini", "Setting", "isrempwd"), "0");
    l.cb_autoRun->click();
    EXPECT_EQ(rig.readKey("User.ini", "Setting", "OutoRun"), "0");
}

TEST(MainformControls, EnterInThePasswordBoxLogsInOnceAndFillsThePanels) {
    FormRig rig("127.0.2.21");
    Mainform& f = rig.load();
    app::LoginFrame& l = f.loginFrame();
    l.txtName->setText("alice");
    l.txtPassword->setText("123456");
    QTest::keyClick(l.txtPassword, Qt::Key_Return);

    EXPECT_FALSE(l.com_login->isEnabled());
    EXPECT_FALSE(l.txtName->isEnabled());
    EXPECT_EQ(f.statusText(1), "用户:alice");
    EXPECT_EQ(f.statusText(2), "状态：等待验证");
    EXPECT_EQ(l.lbInfo->text(), "正在等待服务器验证，请稍侯。。。");
    EXPECT_EQ(l.lbInfo->palette().color(QPalette::WindowText), QColor(Qt::black));

    // A second Enter while the first login waits queues nothing more.
    QTest::keyClick(l.txtPassword, Qt::Key_Enter);
    rig.tick(2);
    const OwnedFrame login = rig.expect(rig.dispatcher());
    EXPECT_EQ(login.header.type, 1);
    EXPECT_EQ(login.body, joinFields({"alice", "14e1b600b1fd579f47433b88e8d85291"}));
    EXPECT_FALSE(rig.dispatcher().receive(50));
}

TEST(MainformControls, RefusedPasswordShowsRedInfoAndCancelRestoresThePanel) {
    FormRig rig("127.0.2.22");
    Mainform& f = rig.load();
    app::LoginFrame& l = f.loginFrame();
    l.txtName->setText("alice");
    l.txtPassword->setText("wrong");
    l.com_login->click();
    rig.tick();
    rig.expect(rig.dispatcher());
    rig.dispatcher().reply(encodeFrame({.seq = 1, .type = 1, .sub = 1, .code = 2}, ""));
    ASSERT_TRUE(waitFor([&] { return !l.lbInfo->text().isEmpty() && l.com_login->isEnabled(); }));
    EXPECT_EQ(l.lbInfo->text(), "密码错误，请重新输入。");
    EXPECT_EQ(l.lbInfo->palette().color(QPalette::WindowText), QColor(Qt::red));
    EXPECT_EQ(f.focusWidget(), l.txtPassword);

    l.com_login->click();
    l.com_cancle->click();
    EXPECT_TRUE(l.com_login->isEnabled());
    EXPECT_TRUE(l.txtName->isEnabled());
    EXPECT_EQ(l.txtName->selectedText(), "alice");
    EXPECT_EQ(l.lbInfo->text(), "");
}

TEST(MainformMenus, CaptionsAndOrderOfTheMenus) {
    FormRig rig("127.0.2.20");
    const app::MainMenus& m = rig.load().menus();
    auto captions = [](QMenu* menu) {
        QStringList out;
        for (QAction* a : menu->actions()) out << (a->isSeparator() ? QString("-") : a->text());
        return out;
    };
    EXPECT_EQ(captions(m.system), QStringList({"注销", "我的基本信息", "显示", "最小化", "-", "退出"}));
    EXPECT_EQ(captions(m.operate), QStringList({"添加好友", "添加山庄", "添加黑名单", "c创建山庄"}));
    EXPECT_EQ(m.system->title(), "系统");
    EXPECT_EQ(m.operate->title(), "操作");
    EXPECT_EQ(m.settings->title(), "设置");
    EXPECT_EQ(m.help->title(), "帮助");
    EXPECT_EQ(m.find("界面置前"), m.topMost);
    EXPECT_EQ(m.find("自动隐藏"), m.autoHide);
}

TEST(MainformMenus, SessionItemsNeedBothALoginAndAnAttachedAction) {
    FormRig rig("127.0.2.23");
    Mainform& f = rig.load();
    const app::MainMenus& m = f.menus();
    int profileOpened = 0;
    f.attachMenuAction(m.myInfo, [&] { ++profileOpened; });
    for (QAction* a : {m.myInfo, m.addFriend, m.addBlacklist, m.addGroup, m.createGroup, m.settingsWindow})
        EXPECT_FALSE(a->isEnabled()) << a->text().toStdString() << " before login";
    EXPECT_TRUE(m.logout->isEnabled());
    EXPECT_TRUE(m.exit->isEnabled());

    rig.login();
    EXPECT_TRUE(m.myInfo->isEnabled());
    for (QAction* a : {m.addFriend, m.addBlacklist, m.addGroup, m.createGroup, m.settingsWindow})
        EXPECT_FALSE(a->isEnabled()) << a->text().toStdString() << " has no action yet";
    m.myInfo->trigger();
    EXPECT_EQ(profileOpened, 1);
}

TEST(MainformMenus, TopMostAndAutoHideFlipTheirTickAndWriteTheirKey) {
    FormRig rig("127.0.2.20");
    Mainform& f = rig.load();
    const app::MainMenus& m = f.menus();
    rig.desktop.topMost.clear();
    m.topMost->trigger();
    EXPECT_TRUE(m.topMost->isChecked());
    EXPECT_EQ(rig.desktop.topMost, std::vector<bool>{true});
    EXPECT_EQ(rig.readKey("User.ini", "Setting", "AlWaysOnTop"), "True");
    m.topMost->trigger();
    EXPECT_EQ(rig.desktop.topMost, (std::vector<bool>{true, false}));
    EXPECT_EQ(rig.readKey("User.ini", "Setting", "AlWaysOnTop"), "False");

    EXPECT_FALSE(m.autoHide->isEnabled()) << "nothing to switch until the edge hiding is attached";
    std::vector<bool> states;
    f.attachAutoHide([&](bool on) { states.push_back(on); });
    EXPECT_TRUE(m.autoHide->isEnabled());
    m.autoHide->trigger();
    EXPECT_EQ(rig.readKey("User.ini", "Setting", "AutoHide"), "True");
    m.autoHide->trigger();
    EXPECT_EQ(rig.readKey("User.ini", "Setting", "AutoHide"), "False");
    EXPECT_EQ(states, (std::vector<bool>{false, true, false}));
}

TEST(MainformMenus, MinimiseAndShowAndTheTrayClicks) {
    FormRig rig("127.0.2.20");
    Mainform& f = rig.load();
    const app::MainMenus& m = f.menus();
    m.minimize->trigger();
    EXPECT_TRUE(f.windowState() & Qt::WindowMinimized);
    EXPECT_TRUE(f.isVisible()) << "最小化 only minimises";

    f.hide();
    ASSERT_TRUE(rig.desktop.click);
    rig.desktop.click(TrayClick::Left);  // nothing waits: the window comes back
    EXPECT_TRUE(f.isVisible());
    EXPECT_FALSE(f.windowState() & Qt::WindowMinimized);

    int fetched = 0;
    f.attachTrayLeftClick([&] { ++fetched; });
    f.hide();
    rig.desktop.click(TrayClick::Left);
    EXPECT_EQ(fetched, 1);
    EXPECT_FALSE(f.isVisible()) << "the message fetch decides what to show";

    rig.desktop.click(TrayClick::Right);
    EXPECT_TRUE(m.system->isVisible());
    m.system->close();
}

TEST(MainformFrames, RosterSwapsTheFramesAndLogoutClearsFriendsBlacklistAndTree) {
    FormRig rig("127.0.2.20");
    Mainform& f = rig.load();
    app::MainFrame& mf = f.mainFrame();
    for (int i = 0; i < 4; ++i) mf.list(i)->addItem("someone");
    new QTreeWidgetItem(mf.tree(), QStringList("a group"));

    f.showMainFrame();
    EXPECT_TRUE(f.mainFrameShown());
    EXPECT_TRUE(mf.isVisible());
    EXPECT_FALSE(f.loginFrame().isVisible());

    f.menus().logout->trigger();
    EXPECT_FALSE(f.mainFrameShown());
    EXPECT_EQ(mf.list(0)->count(), 0);
    EXPECT_EQ(mf.list(1)->count(), 0);
    EXPECT_EQ(mf.tree()->topLevelItemCount(), 0);
    EXPECT_EQ(mf.list(2)->count(), 1) << "strangers stay";
    EXPECT_EQ(mf.list(3)->count(), 1) << "rooms stay";
}

TEST(MainformFrames, PageButtonsColourTheCurrentPageBlue) {
    FormRig rig("127.0.2.20");
    app::MainFrame& mf = rig.load().mainFrame();
    EXPECT_EQ(mf.currentPage(), app::MainFrame::Friends);
    mf.tab(2)->click();
    EXPECT_EQ(mf.currentPage(), app::MainFrame::Rooms);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(mf.tab(i)->palette().color(QPalette::ButtonText),
                  i == 2 ? QColor(0, 0, 255) : QColor(0, 0, 0));
    mf.showFriendList(1);
    mf.tab(0)->click();
    EXPECT_EQ(mf.currentFriendList(), 0) << "the friends page opens on the friend list";
}

TEST(MainformResize, KeepsTheTopBelowTheEdgeAndTheDesignSizeAsMinimum) {
    FormRig rig("127.0.2.20");
    Mainform& f = rig.load();
    const QSize design = f.size();
    f.move(40, -20);
    f.resize(design + QSize(20, 20));
    EXPECT_EQ(f.pos().y(), 1);
    f.resize(100, 100);
    EXPECT_EQ(f.size(), design);
}

}  // namespace
}  // namespace nq::test
