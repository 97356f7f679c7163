// Conversations against the real server: alice, bob and carol each run a whole client in this
// process (windows offscreen, real sockets and tick, recording services), nqserver has the demo
// accounts and group. Time runs at a 50 ms tick.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include "app/chat_windows.h"
#include "app/contact_area.h"
#include "app/frm_chat.h"
#include "app/login_frame.h"
#include "contacts/contacts.h"
#include "conversation/chat_manager.h"
#include "e2e_client.h"
#include "form_rig.h"
#include "session/qt_transport.h"
#include "support/demo_server.h"
#include "widgets/rich_text.h"

namespace nq {
namespace {

using test::g;

// What a history pane shows: its text and the faces in it, in order.
struct Pane {
    QString text;
    QList<int> faces;
};
Pane paneOf(app::frmChat* w) {
    return {w->revPane().Text(), w->revPane().faceNumbers()};
}

TEST(ChatEndToEnd, ALineWaitsBlinkingUntilOpenedAndAGroupLineReachesEveryMemberOnline) {
    test::TempDir tmp;
    test::DemoServer demo(tmp, test::kE2eTickMs);
    ASSERT_TRUE(demo.ready) << demo.trace.toStdString();
    test::E2eClient alice(tmp, demo.ip, "alice"), bob(tmp, demo.ip, "bob"), carol(tmp, demo.ip, "carol");
    Contacts& contacts = alice.form->contacts();
    ItemList& friends = contacts.MyList(Contacts::kFriends);
    const Bytes bobNick = g("鲍勃");
    ASSERT_TRUE(test::waitUntil([&] {
        const int at = friends.find(bobNick);
        return at > 0 && friends.Item(at).icon <= Contacts::kOfflineShift && bob.form->session().online &&
               carol.form->session().online;
    })) << "the three did not all come online\n"
        << demo.trace.toStdString();

    // One to one: alice double-clicks bob and sends a face and a link with Alt+S.
    friends.setSelected(friends.find(bobNick));
    alice.form->contactArea().listDoubleClicked(Contacts::kFriends);
    app::frmChat* toBob = alice.window("与鲍勃聊天中");
    ASSERT_TRUE(toBob);
    QTest::keyClicks(&toBob->sendBox(), "hi /smile www.example.org");
    QTest::keyClick(&toBob->sendBox(), Qt::Key_S, Qt::AltModifier);
    EXPECT_EQ(toBob->sendBox().Text(), "");
    // Her own pane shows the line as typed: a keyword is a face only at the receiver.
    EXPECT_TRUE(paneOf(toBob).text.contains("hi /smile www.example.org"));

    // At bob's the line waits, his friend row blinking, until the tray click opens it.
    const Bytes aliceNick = g("爱丽丝");
    ASSERT_TRUE(test::waitUntil([&] { return bob.chats().blinking(aliceNick); })) << demo.trace.toStdString();
    EXPECT_FALSE(bob.window("与爱丽丝聊天中"));
    const auto trayShowed = [&](int state) {
        const auto& states = bob.desktop.trayStates;
        return std::find(states.begin(), states.end(), state) != states.end();
    };
    EXPECT_TRUE(test::waitUntil([&] { return trayShowed(ChatManager::kTrayDark); }))
        << "the tray did not blink";
    EXPECT_FALSE(bob.chats().OpenNextPending());
    app::frmChat* fromAlice = bob.window("与爱丽丝聊天中");
    ASSERT_TRUE(fromAlice);
    EXPECT_TRUE(test::waitUntil([&] { return paneOf(fromAlice).faces == QList<int>{1}; }));
    EXPECT_TRUE(paneOf(fromAlice).text.contains("www.example.org"));
    EXPECT_TRUE(test::waitUntil([&] { return !bob.chats().blinking(aliceNick); }))
        << "the row went on blinking";

    // Both records hold the line: hers as sent to bob, his as received, with the time she sent.
    const QRegularExpression sent(
        QString("^\x01\x01\\$鲍勃爱丽丝 \\(([0-9: -]+)\\)\r\n"
                "  hi /smile www\\.example\\.org \r\n$"));
    const auto match = sent.match(QString::fromStdString(gbk::toUtf8(alice.record().toStdString())));
    ASSERT_TRUE(match.hasMatch()) << alice.record().toStdString();
    EXPECT_EQ(bob.record().toStdString(),
              gbk::fromUtf8(("\x01\x01爱丽丝 (" + match.captured(1) + ")\r\n  hi /smile www.example.org \r\n")
                                .toStdString()));

    // A group line: alice opens the demo group from her tree; bob and carol are members online.
    NodeTree& tree = contacts.MyTree();
    const int group = tree.find(g("周末棋友会"));
    ASSERT_GT(group, 0);
    alice.form->contactArea().treeDoubleClicked(group);
    app::frmChat* toGroup = alice.window("在周末棋友会聊天中");
    ASSERT_TRUE(toGroup);
    // Opening asked for the group's card: a line typed before that left is shown but not sent.
    ASSERT_TRUE(test::waitUntil([&] { return alice.form->session().wire.sendQueueFree; }));
    QTest::keyClicks(&toGroup->sendBox(), "hello all /laugh");
    QTest::keyClick(&toGroup->sendBox(), Qt::Key_Return, Qt::ControlModifier);
    for (test::E2eClient* member : {&bob, &carol}) {
        // The tray click, again until the line has come.
        app::frmChat* w = nullptr;
        EXPECT_TRUE(test::waitUntil([&] {
            member->chats().OpenNextPending();
            w = member->window("在周末棋友会聊天中");
            return w && paneOf(w).text.contains("hello all");
        })) << member->account.toStdString()
            << "\n"
            << demo.trace.toStdString();
        if (w) {
            EXPECT_EQ(paneOf(w).faces, QList<int>{2}) << member->account.toStdString();
        }
    }
}

}  // namespace
}  // namespace nq
