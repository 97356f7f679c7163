// The login panel's controls, the menus, the tray clicks and the frames of the main window.

#include <gtest/gtest.h>

#include <QAction>
#include <QCheckBox>
#include <QLabel>
#include <QMenu>
#include <QTest>

#include "app/frm_setting.h"
#include "app/header_band.h"
#include "app/main_frame.h"
#include "contacts/contacts.h"
#include "form_rig.h"
#include "widgets/contact_tree_view.h"
#include "widgets/i_list.h"
#include "widgets/lv_buttons_h.h"

namespace nq::test {
namespace {

using app::Mainform;

TEST(MainformControls, EachClickOnABoxOrASettingsItemWritesItsKeyAndNoOther) {
    FormRig rig;
    Mainform& f = rig.load();
    std::vector<bool> autoHide;
    f.attachAutoHide([&](bool on) { autoHide.push_back(on); });
    const std::pair<std::function<void()>, std::string_view> clicks[] = {
        {[&] { f.loginFrame().cb_remPwd->click(); }, keys::kRememberPassword},
        {[&] { f.loginFrame().cb_autoRun->click(); }, keys::kAutoRun},
        {[&] { f.menus().topMost->trigger(); }, keys::kAlwaysOnTop},
        {[&] { f.menus().autoHide->trigger(); }, keys::kAutoHide},
    };
    const std::string on[] = {"1", "1", "True", "True"};
    const std::string off[] = {"0", "0", "False", "False"};
    for (size_t i = 0; i < 4; ++i) {
        const auto& [click, key] = clicks[i];
        click();
        EXPECT_EQ(rig.readKey(key), on[i]) << key;
        click();
        EXPECT_EQ(rig.readKey(key), off[i]) << key;
        for (size_t j = i + 1; j < 4; ++j) EXPECT_EQ(rig.readKey(clicks[j].second), "") << clicks[j].second;
    }
    EXPECT_EQ(rig.desktop.calls.end()[-2], "topMost:on");
    EXPECT_EQ(rig.desktop.calls.back(), "topMost:off");
    EXPECT_EQ(autoHide, (std::vector<bool>{false, true, false}));
}

TEST(MainformControls, EnterInThePasswordBoxLogsInOnceAndARefusalLeadsBackToIt) {
    FormRig rig;
    Mainform& f = rig.load();
    app::LoginFrame& l = f.loginFrame();
    l.txtName->setText("alice");
    l.txtPassword->setText("123456");
    QTest::keyClick(l.txtPassword, Qt::Key_Return);
    EXPECT_FALSE(l.txtName->isEnabled());

    QTest::keyClick(l.txtPassword, Qt::Key_Enter);  // while the first login waits: nothing more
    rig.tick(2);
    const OwnedFrame login = rig.sentOn(rig.update);
    EXPECT_EQ(kindOf(login), kind::kLogin);
    EXPECT_EQ(login.body, joinFields({"alice", "14e1b600b1fd579f47433b88e8d85291"}));
    EXPECT_TRUE(rig.update.sent.empty());

    rig.fromDispatcher(code::kWrongPassword, "");
    EXPECT_TRUE(l.com_login->isEnabled());
    EXPECT_EQ(l.lbInfo->text(), "密码错误，请重新输入。");
    EXPECT_EQ(l.lbInfo->palette().color(QPalette::WindowText), QColor(Qt::red));
    EXPECT_EQ(f.focusWidget(), l.txtPassword);
    l.com_login->click();
    l.com_cancle->click();
    EXPECT_TRUE(l.com_login->isEnabled());
    EXPECT_EQ(l.txtName->selectedText(), "alice");
    EXPECT_EQ(l.lbInfo->text(), "");
}

TEST(MainformMenus, SessionItemsNeedBothALoginAndAnAttachedAction) {
    FormRig rig;
    Mainform& f = rig.load();
    const app::MainMenus& m = f.menus();
    int profileOpened = 0;
    f.attachMenuAction(m.myInfo, [&] { ++profileOpened; });
    EXPECT_FALSE(m.myInfo->isEnabled()) << "before login";
    EXPECT_FALSE(m.autoHide->isEnabled()) << "nothing to switch until the edge hiding is attached";
    rig.login();
    EXPECT_TRUE(m.myInfo->isEnabled());
    m.myInfo->trigger();
    EXPECT_EQ(profileOpened, 1);
    // 操作 hands each item on to the contact popups' item of the same wizard.
    const app::ContactMenus& c = f.contactMenus();
    const std::pair<QAction*, QAction*> forwards[] = {
        {m.addFriend, app::ContactMenus::item(c.friendItem, "添加好友1")},
        {m.addGroup, app::ContactMenus::item(c.group, "添加山庄1")},
        {m.addBlacklist, app::ContactMenus::item(c.blacklistEmpty, "添加黑名单大项")},
        {m.createGroup, app::ContactMenus::item(c.group, "创建山庄1")}};
    for (const auto& [item, target] : forwards) {
        int reached = 0;
        QObject::connect(target, &QAction::triggered, [&] { ++reached; });
        item->trigger();
        EXPECT_EQ(reached, 1) << item->objectName().toStdString();
    }
}

TEST(MainformMenus, TopBarOpensEachMenuUnderItsButtonAndTheSettingsButtonWaitsForALogin) {
    FormRig rig;
    Mainform& f = rig.load();
    const app::MainMenus& m = f.menus();
    const app::HeaderBand& band = f.headerBand();
    QMenu* const opens[] = {m.system, m.operate, m.settings, m.help};
    for (int i = 0; i < 4; ++i) {
        lvButtons_H* b = band.lvButtons_H2(i);
        b->click();
        EXPECT_TRUE(opens[i]->isVisible()) << i;
        EXPECT_TRUE(b->value()) << "the button of the open menu stays chosen";
        opens[i]->close();
        EXPECT_FALSE(b->value()) << i;
    }
    lvButtons_H* settings = band.lvButtons_H2(app::HeaderBand::kSettingsWindow);
    EXPECT_FALSE(settings->isEnabled()) << "系统设置 waits for a login";
    rig.login();
    EXPECT_TRUE(settings->isEnabled());
    const auto settingsWindows = [] {
        int n = 0;
        for (QWidget* w : QApplication::topLevelWidgets())
            n += qobject_cast<app::frmSetting*>(w) && w->isVisible();
        return n;
    };
    settings->click();
    settings->click();
    EXPECT_EQ(settingsWindows(), 1) << "a second click brings the open one forward";

    // A save lets the old grab go and takes the new one, and says so through the platform.
    app::frmSetting* window = nullptr;
    for (QWidget* w : QApplication::topLevelWidgets())
        if (auto* s = qobject_cast<app::frmSetting*>(w)) window = s;
    window->Text1->setText("Ctrl+Alt+Q");
    rig.desktop.calls.clear();
    window->comSaveClick();
    EXPECT_EQ(rig.desktop.calls,
              (std::vector<std::string>{"hotkey:1:Del:Ctrl+Alt,81", "hotkey:1:Add:Ctrl+Alt,81"}));
    ASSERT_EQ(rig.services.boxes.size(), 1u);
    EXPECT_EQ(rig.services.boxes[0].text, "保存成功");
}

TEST(MainformMenus, MinimiseAndShowAndTheTrayClicks) {
    FormRig rig;
    Mainform& f = rig.load();
    f.menus().minimize->trigger();
    EXPECT_TRUE(f.windowState() & Qt::WindowMinimized);
    EXPECT_TRUE(f.isVisible()) << "最小化 only minimises";
    f.hide();
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
    EXPECT_TRUE(f.menus().system->isVisible());
    f.menus().system->close();
}

TEST(MainformFrames, RosterSwapsTheFramesAndLogoutClearsFriendsBlacklistAndTree) {
    FormRig rig;
    Mainform& f = rig.load();
    app::MainFrame& mf = f.mainFrame();
    for (int i = 0; i < 4; ++i) f.contacts().MyList(i).AddItem("someone", "", 1);
    f.contacts().AddVil(f.contacts().MyTree(), "a group", 1);
    f.showMainFrame();
    EXPECT_EQ(mf.tree()->rows().size(), 1u);
    EXPECT_TRUE(mf.isVisible());
    EXPECT_FALSE(f.loginFrame().isVisible());

    f.menus().logout->trigger();
    EXPECT_FALSE(f.mainFrameShown());
    const int counts[] = {0, 0, 1, 1};  // strangers and rooms stay
    for (int i = 0; i < 4; ++i) EXPECT_EQ(mf.list(i)->count(), counts[i]) << i;
    EXPECT_TRUE(mf.tree()->rows().empty());
    f.load("");
    EXPECT_EQ(mf.list(2)->count() + mf.list(3)->count(), 0) << "a new load forgets strangers and rooms";

    mf.tab(2)->click();
    EXPECT_EQ(mf.currentPage(), app::MainFrame::Rooms);
    for (int i = 0; i < 4; ++i)  // the current page's caption pure blue, the others black
        EXPECT_EQ(mf.tab(i)->foreColor(), i == 2 ? QColor(0, 0, 255) : QColor(Qt::black)) << i;
    mf.showFriendList(1);
    mf.tab(0)->click();
    EXPECT_EQ(mf.currentFriendList(), 0) << "the friends page opens on the friend list";
}

// From the groups page (which stays the current page) and a minimised window.
TEST(MainformFrames, TheRoomOnlyView) {
    FormRig rig;
    Mainform& f = rig.load();
    app::MainFrame& mf = f.mainFrame();
    f.showMainFrame();
    mf.tab(1)->click();
    mf.banner()->setEnabled(false);
    mf.list(3)->setSelected(1);
    f.showMinimized();
    f.showRoomView();
    EXPECT_TRUE(!f.isMinimized() && mf.list(3)->isVisible() && mf.banner()->isEnabled() &&
                mf.list(3)->Selected() == ItemList::kSelectionCleared && mf.currentPage() == 1);
    for (QWidget* hidden : {(QWidget*)mf.list(0), (QWidget*)mf.list(1), (QWidget*)mf.list(2),
                            (QWidget*)mf.tree(), (QWidget*)mf.topGroupsLink()})
        EXPECT_FALSE(hidden->isVisible());
    for (int i = 0; i < 7; ++i) EXPECT_EQ(mf.pageButton(i)->isVisible(), i >= 5) << i;
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(mf.tab(i)->foreColor() == (i == 2 ? QColor(0, 0, 255) : QColor(Qt::black)) &&
                    mf.tab(i)->value() == (i == 2));
}

TEST(MainformResize, KeepsTheTopBelowTheEdgeAndTheDesignSizeAsMinimum) {
    FormRig rig;
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
