// Chat servers on several machines acting as one, with whole clients: a dispatcher and three chat
// servers, each an nqserver process on a loopback address of its own as on a machine of its own,
// all on one database of the test run's PostgreSQL cluster. alice, bob and carol are whole
// clients in this process (windows offscreen, real sockets and tick) that log in through the
// dispatcher. The clients' time runs at a 50 ms tick; the servers' 15 s before a silent chat
// server is taken as gone are real seconds.

#include <gtest/gtest.h>

#include <QTest>
#include <deque>
#include <optional>

#include "app/contact_area.h"
#include "contacts/contacts.h"
#include "e2e_client.h"
#include "server/open_store.h"
#include "server/pg_database.h"
#include "server/server_process.h"
#include "widgets/rich_text.h"

namespace nq {
namespace {

using test::E2eClient;
using test::g;
using test::waitUntil;

bool online(E2eClient& viewer, const char* nick) {
    ItemList& friends = viewer.form->contacts().MyList(Contacts::kFriends);
    const int at = friends.find(g(nick));
    return at > 0 && friends.Item(at).icon <= Contacts::kOfflineShift;
}

std::string caption(const char* nick) {
    return std::string("与") + nick + "聊天中";
}

// The friend's row double-clicked, the line typed and sent with Alt+S.
void say(E2eClient& from, const char* nick, const char* text) {
    ItemList& friends = from.form->contacts().MyList(Contacts::kFriends);
    friends.setSelected(friends.find(g(nick)));
    from.form->contactArea().listDoubleClicked(Contacts::kFriends);
    app::frmChat* w = from.window(caption(nick).c_str());
    ASSERT_TRUE(w);
    QTest::keyClicks(&w->sendBox(), text);
    QTest::keyClick(&w->sendBox(), Qt::Key_S, Qt::AltModifier);
}

// The line opened by the tray click once it has come.
bool heard(E2eClient& to, const char* nick, const char* text) {
    return waitUntil([&] {
        to.chats().OpenNextPending();
        app::frmChat* w = to.window(caption(nick).c_str());
        return w && w->revPane().Text().contains(text);
    });
}

TEST(ClusterEndToEnd, ThreeChatServersActAsOneAndTheUsersOfAKilledOneLogInAgainOnTheOthers) {
    test::PgDatabase db;
    ASSERT_EQ(test::runNqserver({"--db", db.uri(), "demo"}).status, 0);
    std::deque<test::ServerProcess> chat;
    std::vector<std::string> dispatcherArgs = {"--role", "dispatcher"};
    for (int i = 0; i < 3; ++i) {
        const std::string host = test::claimLoopbackAddress();
        chat.emplace_back(host,
                          std::vector<std::string>{"--role", "chat", "--session-timeout", "60", "--pace-tick",
                                                   std::to_string(test::kE2eTickMs)},
                          db.uri());
        dispatcherArgs.insert(dispatcherArgs.end(), {"--chat-server", host + ":8000"});
    }
    const std::string dispatcherHost = test::claimLoopbackAddress();
    test::ServerProcess dispatcher(dispatcherHost, dispatcherArgs, db.uri());
    const auto store = server::openStore(db.uri());
    const auto place = [&](const std::optional<std::string>& server) {  // in the dispatcher's list
        for (size_t i = 0; i < chat.size(); ++i)
            if (server == chat[i].chat().toString()) return static_cast<int>(i);
        return -1;
    };
    const auto holder = [&](const char* account) { return place(store->onlineElsewhere(account, "", 15)); };
    const QString ip = QString::fromStdString(dispatcherHost);

    test::TempDir tmp, bobElsewhere, aliceAgainHome;
    std::optional<E2eClient> alice, bob;
    alice.emplace(tmp, ip, "alice");
    bob.emplace(tmp, ip, "bob");
    ASSERT_TRUE(waitUntil([&] { return online(*alice, "鲍勃") && online(*bob, "爱丽丝"); }));
    EXPECT_EQ(std::pair(holder("alice"), holder("bob")), std::pair(0, 1));
    say(*alice, "鲍勃", "hello from one");
    EXPECT_TRUE(heard(*bob, "爱丽丝", "hello from one"));
    say(*bob, "爱丽丝", "and back from two");
    EXPECT_TRUE(heard(*alice, "鲍勃", "and back from two"));

    // bob logs in again and the dispatcher sends him to the third: his first client is told so
    // and ends; alice sees him online throughout.
    const auto chimes = [&] {  // a friend coming online rings
        return std::ranges::count_if(alice->services.sounds,
                                     [](auto& s) { return s.ends_with("online.wav"); });
    };
    const auto aliceChimes = chimes();
    E2eClient bobAgain(bobElsewhere, ip, "bob");
    ASSERT_TRUE(waitUntil([&] { return !bob->services.exitCodes.empty(); }));
    EXPECT_EQ(bob->services.boxes.at(0).text, "抱歉，您的帐号在别处登陆！");
    bob.reset();
    EXPECT_EQ(holder("bob"), 2);
    EXPECT_FALSE(waitUntil([&] { return !online(*alice, "鲍勃") || chimes() != aliceChimes; }, 500));

    // alice's chat server dies. bob's line to her waits in the database. Once the others take
    // her server as gone, carol comes and finds her offline; she takes the server bob left, so
    // that only the dead one's silence keeps the dispatcher from sending alice there.
    chat[0].kill();
    say(bobAgain, "爱丽丝", "are you there?");
    EXPECT_TRUE(waitUntil([&] { return store->countWaiting("alice", 9) == 1; }));
    ASSERT_TRUE(waitUntil([&] { return dispatcher.log().find(" as gone") != std::string::npos; }, 25000));
    const std::string servers = dispatcher.admin({"servers"}).out;  // as the operator sees them
    const size_t dead = servers.find(chat[0].chat().toString());
    EXPECT_EQ(servers.substr(dead, servers.find('\n', dead) - dead).ends_with("\tgone"), true) << servers;
    E2eClient carol(tmp, ip, "carol");
    ASSERT_TRUE(waitUntil([&] { return online(carol, "鲍勃"); }));
    EXPECT_FALSE(online(carol, "爱丽丝"));
    EXPECT_EQ(holder("carol"), 1);
    // She logs in again, as after her client gave up, and lands on a live server.
    alice.reset();
    E2eClient aliceAgain(aliceAgainHome, ip, "alice");
    EXPECT_TRUE(heard(aliceAgain, "鲍勃", "are you there?"));
    EXPECT_GT(holder("alice"), 0);
    EXPECT_TRUE(waitUntil([&] { return online(carol, "爱丽丝"); }));
    bobAgain.form->menus().exit->trigger();
    EXPECT_TRUE(waitUntil([&] { return !online(carol, "鲍勃"); }));
}

}  // namespace
}  // namespace nq
