// The contact area of the main window: which popup a right click opens, the popups' items, quick
// find, the pages, and the double clicks up to the conversation window.

#include <gtest/gtest.h>

#include <QAction>
#include <QLineEdit>
#include <QMenu>
#include <QTest>

#include "app/contact_area.h"
#include "app/main_frame.h"
#include "contacts/contacts.h"
#include "form_rig.h"
#include "widgets/contact_tree_view.h"
#include "widgets/i_list.h"
#include "widgets/lv_buttons_h.h"

namespace nq::test {
namespace {

using app::ContactMenus;
using app::MainFrame;

// Logged in with the contact frame up: three friends, one blacklisted, a stranger, a room, and
// a group of one member.
struct AreaRig : FormRig {
    AreaRig() {
        writeIni("Sys.ini", "Hall", "https://hall.example", "Portal");
        load();
        login();
        Contacts& c = form->contacts();
        for (const char* n : {"alpha", "albert", "beta"}) c.MyList(0).AddItem(n, "", 23);
        c.MyList(1).AddItem("foe", "", 4);
        c.MyList(2).AddItem("stranger", "", 5);
        c.MyList(3).AddItem("room", "", 6);
        for (int i = 0; i < 4; ++i) c.MyList(i).setSelect(1);
        c.AddVil(c.MyTree(), "G", 1);
        c.AddVilmem(c.MyTree(), "G", "m", 3);
        form->showMainFrame();
    }
    Contacts& contacts() { return form->contacts(); }
    MainFrame& frame() { return form->mainFrame(); }
    app::ContactArea& area() { return form->contactArea(); }
    const ContactMenus& menus() { return form->contactMenus(); }
};

TEST(ContactArea, ARightClickOpensThePopupOfItsListAndPlace) {
    AreaRig r;
    const ContactMenus& m = r.menus();
    const int h = MainFrame::kItemHeight;
    struct Case {
        int list;
        QPoint at;
        Qt::MouseButton button;
        QMenu* menu;
    };
    const Case cases[] = {
        {0, {10, 5}, Qt::RightButton, m.friendItem},     {0, {49, 3 * h - 1}, Qt::RightButton, m.friendItem},
        {0, {50, 5}, Qt::RightButton, m.friendsEmpty},   {0, {10, 3 * h}, Qt::RightButton, m.friendsEmpty},
        {0, {10, 5}, Qt::LeftButton, nullptr},           {1, {10, 5}, Qt::RightButton, m.blacklistItem},
        {1, {10, h}, Qt::RightButton, m.blacklistEmpty}, {2, {10, 5}, Qt::RightButton, m.strangerItem},
        {2, {10, h}, Qt::RightButton, nullptr},          {3, {10, 5}, Qt::RightButton, nullptr},
    };
    for (const Case& c : cases)
        EXPECT_EQ(r.area().listMenu(c.list, c.at, c.button), c.menu)
            << c.list << " at " << c.at.x() << "," << c.at.y();
    r.contacts().MyList(2).setSelected(ItemList::kNoneSelected);
    EXPECT_EQ(r.area().listMenu(2, {10, 5}, Qt::RightButton), nullptr) << "on an item, none selected";

    // The real way: the press selects row 2, the release opens the friend's popup.
    QTest::mouseClick(r.frame().list(0), Qt::RightButton, {}, QPoint(10, h + 5));
    EXPECT_EQ(r.contacts().MyList(0).Selected(), 2);
    EXPECT_TRUE(m.friendItem->isVisible());
    m.friendItem->close();

    // The tree: a group or a member; 加为好友 asks for the member of that click.
    const NodeTree& t = r.contacts().MyTree();
    EXPECT_EQ(r.area().treeMenu(t.find("G")), m.group);
    EXPECT_EQ(r.area().treeMenu(0), nullptr);
    EXPECT_EQ(r.area().treeMenu(t.find("m")), m.member);
    ContactMenus::item(m.member, "加为好友")->trigger();
    r.tick();
    const OwnedFrame add = r.sentOn(r.chat);
    EXPECT_EQ(kindOf(add), kind::kAddFriend);
    EXPECT_EQ(add.body, joinFields({"alice", "m"}));

    r.session().online = false;
    EXPECT_EQ(r.area().listMenu(0, {10, 5}, Qt::RightButton), nullptr);
    EXPECT_EQ(r.area().treeMenu(t.find("G")), nullptr);
}

TEST(ContactArea, PopupsHoldEveryItemInOrder) {
    FormRig rig;
    const ContactMenus& m = rig.make().contactMenus();
    const std::pair<QMenu*, QStringList> menus[] = {
        {m.friendItem,
         {"发送消息", "查看好友资料", "追踪好友", "邀请游戏", "删除好友", "设置为黑名单", "添加好友1",
          "搜索好友"}},
        {m.friendsEmpty, {"添加好友大项", "搜索好友大项"}},
        {m.blacklistItem, {"取消黑名单", "查看黑名单信息", "黑名单设置小项"}},
        {m.blacklistEmpty, {"添加黑名单大项", "黑名单设置大项"}},
        {m.strangerItem, {"发送陌生人消息", "加陌生人为好友", "设置为陌生人为黑名单", "查看陌生人资料"}},
        {m.group, {"发送群消息", "查看山庄资料", "创建山庄1", "添加山庄1", "退出山庄"}},
        {m.member, {"发送私人消息", "加为好友", "查看山庄成员资料"}},
        {m.findMode, {"按用户名", "按昵称"}},
    };
    for (const auto& [menu, names] : menus)
        EXPECT_EQ(ContactMenus::names(menu), names) << menu->objectName().toStdString();
}

TEST(ContactArea, QuickFindSelectsAFriendOrOffersTheServerSearch) {
    AreaRig r;
    MainFrame& f = r.frame();
    struct Step {
        const char* text;
        bool search;
        int selected, page;
    };
    const Step steps[] = {{"al", false, 1, MainFrame::Friends},
                          {"alb", false, 2, MainFrame::Friends},
                          {"albx", true, 2, MainFrame::Rooms},
                          {"", false, 2, MainFrame::Rooms}};
    for (const Step& s : steps) {
        f.showPage(MainFrame::Rooms);
        f.findBox()->setText(s.text);
        EXPECT_EQ(f.searchButton()->isEnabled(), s.search) << s.text;
        EXPECT_EQ(f.searchModeButton()->isEnabled(), s.search) << s.text;
        EXPECT_EQ(r.contacts().MyList(0).Selected(), s.selected) << s.text;
        EXPECT_EQ(f.currentPage(), s.page) << s.text;
    }
    f.findBox()->setText("ab");
    f.findBox()->setCursorPosition(0);
    QAction* byNick = ContactMenus::item(r.menus().findMode, "按昵称");
    byNick->trigger();
    EXPECT_EQ(f.searchMode(), MainFrame::ByNick);
    EXPECT_FALSE(ContactMenus::item(r.menus().findMode, "按用户名")->isChecked());
    EXPECT_TRUE(byNick->isChecked());
    EXPECT_EQ(f.findBox()->cursorPosition(), 2);
}

TEST(ContactArea, EachPageShowsItsControlsAndHidesTheRest) {
    AreaRig r;
    MainFrame& f = r.frame();
    const char* shown[] = {
        "Image1 lvButtons_H1(0) lvButtons_H1(1) lvButtons_H1(2) MyList(0) ",
        "Image1 lvButtons_H1(3) lvButtons_H1(4) MyTree lbTopvlg ",
        "Image1 lvButtons_H1(5) lvButtons_H1(6) MyList(3) ",
        "imgHVR ",
    };
    for (int page = 3; page >= 0; --page) {
        f.tab(page)->click();
        std::string visible;
        for (QString name :
             {"Image1", "lvButtons_H1(0)", "lvButtons_H1(1)", "lvButtons_H1(2)", "lvButtons_H1(3)",
              "lvButtons_H1(4)", "lvButtons_H1(5)", "lvButtons_H1(6)", "MyList(0)", "MyList(1)", "MyList(2)",
              "MyList(3)", "MyTree", "lbTopvlg", "imgHVR"})
            if (f.findChild<QWidget*>(name)->isVisibleTo(&f)) visible += name.toStdString() + " ";
        EXPECT_EQ(visible, shown[page]) << "page " << page;
    }
    f.tab(2)->click();
    EXPECT_EQ(r.contacts().MyList(3).Selected(), ItemList::kSelectionCleared);
    f.pageButton(5)->click();
    EXPECT_EQ(r.services.urls, std::vector<std::string>{"https://hall.example"});
    EXPECT_FALSE(f.pageButton(6)->isEnabled()) << "no address for it";
}

TEST(ContactArea, DoubleClicksSettleIconsAndAskForTheRightConversation) {
    AreaRig r;
    std::vector<std::string> asked;
    r.form->attachChatOpener([&](const app::ChatRequest& q) {
        asked.push_back(q.chatMode + " " + q.caption.toStdString() + " " + std::to_string(q.head));
    });
    CIniFile user(r.session().userFile("NQUser.nq"));
    (void)user.WriteIniKey("alpha", "HeadID", "25");
    (void)user.WriteIniKey("alpha", "Online", "1");
    QTest::mouseDClick(r.frame().list(0), Qt::LeftButton, {}, QPoint(10, 5));
    for (int list : {1, 2, 3}) r.area().listDoubleClicked(list);
    const NodeTree& t = r.contacts().MyTree();
    r.area().treeDoubleClicked(t.find("G"));
    r.area().treeDoubleClicked(t.find("m"));
    EXPECT_EQ(asked, (std::vector<std::string>{"PTP 与alpha聊天中 5", "PTP 与stranger聊天中 2",
                                               "MM 在room聊天中 2", "OTM 在G聊天中 1", "TUN 与m聊天中 3"}));
    (void)user.WriteIniKey("G", "Bilder", "m");  // the group roster names m the creator
    r.contacts().MyTree().refresh();
    QCoreApplication::processEvents();
    EXPECT_EQ(r.frame().tree()->markedNodes(), std::unordered_set<int>{t.find("m")});
    const int icons[] = {5, 4, 2, 13};
    for (int i = 0; i < 4; ++i) EXPECT_EQ(r.contacts().MyList(i).Item(1).icon, icons[i]) << i;

    QWidget open;
    open.setWindowTitle("与beta聊天中");
    r.contacts().MyList(0).setSelected(3);
    r.area().listDoubleClicked(0);
    EXPECT_EQ(asked.size(), 5u) << "the open window comes forward instead";
    EXPECT_TRUE(open.isVisible());
}

}  // namespace
}  // namespace nq::test
