// The chat window against recording services and a scripted chat server: when a line goes out
// and which word refuses it, the links of the history pane, the toolbar, and the look the send
// box's text takes along.

#include <gtest/gtest.h>

#include <QComboBox>
#include <QTest>
#include <QTextBlock>

#include "app/chat_windows.h"
#include "app/contact_area.h"
#include "app/frm_chat.h"
#include "app/main_menus.h"
#include "contacts/contacts.h"
#include "form_rig.h"
#include "support/event_loop.h"
#include "widgets/i_list.h"
#include "widgets/lv_buttons_h.h"
#include "widgets/rich_text.h"

namespace nq::test {
namespace {

struct ChatRig : FormRig {
    ChatRig() : FormRig(kLoggedIn) {}
    app::frmChat& open(const char* name = "bob") {
        const QString caption = QString("与%1聊天中").arg(name);
        form->chatWindows().open({"PTP", name, caption, 3, 0});
        app::frmChat* w = form->chatWindows().find(gbk::fromUtf8(caption.toStdString()));
        if (!w) throw std::runtime_error("no chat window");
        return *w;
    }
    std::vector<std::string> boxTexts() const {
        std::vector<std::string> texts;
        for (const auto& b : services.boxes) texts.push_back(b.text);
        return texts;
    }
};

TEST(FrmChat, WhichLinesGoOutAndWhatRefusesTheOthers) {
    enum How { Button, AltS, CtrlEnter };
    struct Row {
        const char* what;
        QString text;
        How how;
        bool online;
        std::vector<std::string> boxes;
        bool sent;
        const char* paneHas;  // "" for an untouched pane
    };
    const Row rows[] = {
        // 501 characters of two GBK bytes: 1002 bytes.
        {"too many bytes", QString(501, QChar(0x4E2D)), Button, true, {"发送内容超过限制！"}, false, ""},
        // 1000 bytes pass the button; with its space the line is 1001 characters.
        {"too many characters", QString(1000, 'a'), Button, true, {"发送内容超过限定大小！"}, false, ""},
        {"empty, button", "", Button, true, {}, false, ""},
        {"empty, keys", "", AltS, true, {"发送消息不能为空！"}, false, ""},
        {"empty, ctrl+enter", "", CtrlEnter, true, {"发送消息不能为空！"}, false, ""},
        {"offline", "hi", Button, false, {}, false, "与服务器断开连接...程序将自动重新连接服务器，请稍后..."},
        {"alt+s", "hi", AltS, true, {}, true, "hi"},
        {"ctrl+enter", "hi", CtrlEnter, true, {}, true, "hi"},
        {"button", "hi", Button, true, {}, true, "hi"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        ChatRig r;
        app::frmChat& w = r.open();
        r.session().online = row.online;
        w.sendBox().setText(row.text);
        if (row.how == Button) w.comSendClick();
        if (row.how == AltS) QTest::keyClick(&w.sendBox(), Qt::Key_S, Qt::AltModifier);
        if (row.how == CtrlEnter) QTest::keyClick(&w.sendBox(), Qt::Key_Return, Qt::ControlModifier);
        EXPECT_EQ(r.boxTexts(), row.boxes);
        EXPECT_EQ(w.sendBox().Text().isEmpty(), row.sent || row.text.isEmpty());
        EXPECT_EQ(w.revPane().Text().contains(row.paneHas), true) << w.revPane().Text().toStdString();
        if (!*row.paneHas) {
            EXPECT_EQ(w.revPane().Text(), "");
        }
        r.tick();
        if (row.sent) {
            const OwnedFrame f = r.sentOn(r.chat);
            EXPECT_EQ(kindOf(f), kind::kChat);
            EXPECT_NE(Bytes(f.body).find("/hi "), Bytes::npos);
        }
        EXPECT_TRUE(r.chat.sent.empty());
    }
}

// Links run from their pattern to the next space; the pointer takes a link from its first
// character, a click from its second; opening another window forgets every pane's links.
TEST(FrmChat, LinksUnderlineOpenFromTheirSecondCharacterAndAreForgottenByTheNextWindow) {
    ChatRig r;
    app::frmChat& w = r.open();
    w.sendBox().setText("see www.a.org and ftp:\\\\files x");
    w.comSendClick();
    const auto& table = r.form->chatWindows().linkTable;
    // Pattern by pattern, so "\\\\" finds the tail of the ftp link once more.
    std::vector<QString> texts;
    for (const auto& link : table) texts.push_back(link.text);
    EXPECT_EQ(texts, (std::vector<QString>{"www.a.org", "\\\\files", "ftp:\\\\files"}));
    RichText& pane = w.revPane();
    const auto pointAt = [&](int position) {
        pane.setSelStart(position);
        const QRect at = pane.cursorRect();
        return QPoint(at.left() + 1, at.center().y());
    };
    QTest::mouseClick(pane.viewport(), Qt::LeftButton, {}, pointAt(table[0].start));
    EXPECT_TRUE(r.services.urls.empty());
    QTest::mouseClick(pane.viewport(), Qt::LeftButton, {}, pointAt(table[0].start + 1));
    EXPECT_EQ(r.services.urls, std::vector<std::string>{"www.a.org"});
    pane.setSelStart(table[0].start + 1);
    EXPECT_TRUE(pane.SelUnderline());

    r.open("carol");
    EXPECT_TRUE(table.empty());
}

// The box's font size goes with its text into the pane; narrowing and widening move the width
// by the side panel; clearing empties the pane.
TEST(FrmChat, TheToolbarSizesNarrowsWidensAndClears) {
    ChatRig r;
    app::frmChat& w = r.open();
    w.tool(app::frmChat::kSize).click();
    auto* size = w.findChild<QComboBox*>("size");
    ASSERT_TRUE(size && size->isVisible());
    // Filling the lists at that first click is no choice of the user's.
    const LineLook& look = r.form->chatWindows().boxLook();
    EXPECT_EQ(std::tuple(look.font, look.size), std::tuple(gbk::fromUtf8("宋体"), 10.0f));
    size->setCurrentText("16");
    QTest::keyClicks(&w.sendBox(), "big");
    w.comSendClick();
    RichText& pane = w.revPane();
    pane.setSelStart(pane.Text().indexOf("big") + 1);
    EXPECT_EQ(pane.SelFontSize(), 16.0);
    EXPECT_TRUE(pane.SelLookIsOwn());

    const int width = w.width();
    w.tool(app::frmChat::kNarrow).click();
    EXPECT_EQ(w.width(), width - app::frmChat::kSidePanelPx);
    EXPECT_FALSE(w.tool(app::frmChat::kNarrow).isVisible());
    w.tool(app::frmChat::kWiden).click();
    EXPECT_EQ(w.width(), width);

    w.tool(app::frmChat::kClear).click();
    EXPECT_EQ(pane.Text(), "");
}

// A group's window lists its members; a right click on one offers 山庄子项 about him.
TEST(FrmChat, AMembersMenuActsOnTheMemberRightClicked) {
    ChatRig r;
    Contacts& c = r.form->contacts();
    c.AddVil(c.MyTree(), "G", 1);
    for (const char* m : {"alice", "m1"}) c.AddVilmem(c.MyTree(), "G", m, 3);
    r.form->contactArea().treeDoubleClicked(c.MyTree().find("G"));
    app::frmChat* w = r.form->chatWindows().find(gbk::fromUtf8("在G聊天中"));
    ASSERT_TRUE(w);
    auto* list = w->findChild<IList*>("IList1");
    ASSERT_TRUE(list && w->members().count() == 2);
    // The member roster comes after the window opened: the list follows the tree.
    c.AddVilmem(c.MyTree(), "G", "m2", 3);
    ASSERT_EQ(w->members().count(), 3);
    r.tick();
    EXPECT_EQ(kindOf(r.sentOn(r.chat)), kind::kGroupRecord);  // the group's card, asked at opening
    QTest::mouseClick(list, Qt::RightButton, {}, QPoint(20, list->ItemHeight() * 2 + 3));
    app::ContactMenus::item(r.form->contactMenus().member, "加为好友")->trigger();
    r.tick();
    const OwnedFrame f = r.sentOn(r.chat);
    EXPECT_EQ(std::tuple(kindOf(f), Bytes(f.body)),
              std::tuple(kind::kAddFriend, joinFields({"alice", "m2"})));
}

// Ten windows open cost no timer events: only the one a line is queued for wakes, takes the line
// and goes back to sleep.
TEST(FrmChat, OnlyTheWindowALineIsQueuedForWakes) {
    ChatRig r;
    std::vector<app::frmChat*> windows;
    for (const char* name : {"bob", "c1", "c2", "c3", "c4", "c5", "c6", "c7", "c8", "c9"})
        windows.push_back(&r.open(name));
    const auto running = [&] {
        std::vector<bool> on;
        for (app::frmChat* w : windows) on.push_back(w->deliveryRunning());
        return on;
    };
    ASSERT_TRUE(waitUntil([&] { return running() == std::vector<bool>(10, false); }));
    r.fromChat({.seq = 1, .type = kind::kChat.type, .sub = kind::kChat.sub},
               joinFields({"bob", "alice", gbk::fromUtf8("宋体/10/0/1:00/wake")}));
    r.tick();
    std::vector<bool> want(10, false);
    want[0] = true;
    EXPECT_EQ(running(), want);
    EXPECT_TRUE(waitUntil(
        [&] { return windows[0]->revPane().Text().contains("wake") && !windows[0]->deliveryRunning(); }));
}

// The last window's place is kept in twips, as the main window's, and the next one opens there.
TEST(FrmChat, TheNextWindowOpensWhereTheLastClosed) {
    ChatRig r;
    app::frmChat& first = r.open();
    first.move(120, 90);
    first.close();
    EXPECT_EQ(r.readIni(keys::kUserFileName, keys::kChatForm, keys::kPositionSection), "1800,1350,");
    EXPECT_EQ(r.open("c1").pos(), QPoint(120, 90));
}

}  // namespace
}  // namespace nq::test
