// Two chat servers on one database act as one: presence, messages and repeat logins cross
// between them through the store.

#include <algorithm>

#include "chat_fixture.h"

namespace nq::server {
namespace {

class TwoServers : public ChatTest {
  protected:
    TwoServers() {
        shared_ = true;
        chat(0);
        chat(1);
        advance(2s);  // each learns of the other from its first load report
    }
};

TEST_F(TwoServers, PresenceMessagesAndRepeatLoginsCross) {
    const Endpoint alice = client(1), bob = client(2), again = client(3), carol = client(4);
    enter(bob, "bob", 1);
    enter(alice, "alice", 0);
    advance(500ms);
    // bob, on the other server, is among alice's friends online, and hears her come.
    EXPECT_EQ(framesOf(alice, kind::kFriendRoster).back().fields(), (std::vector<Bytes>{"bob", "m2"}));
    EXPECT_EQ(framesOf(bob, kind::kPresence).back().fields(), std::vector<Bytes>{"alice"});

    say(alice, kind::kChat, 0, {"bob", "你在另一台上"});
    say(bob, kind::kChat, 0, {"alice", "收到"});
    advance(500ms);
    EXPECT_EQ(framesOf(bob, kind::kChat).at(0).fields()[0], "alice");
    EXPECT_EQ(framesOf(alice, kind::kChat).at(0).fields()[0], "bob");

    // alice logs in on bob's server: her session on the first one is expelled, bob hears nothing.
    const size_t bobHad = inbox(bob).size();
    EXPECT_EQ(login(again, "alice", "123456", 1).header.code, code::kLoginAccepted);
    advance(500ms);
    EXPECT_EQ(inbox(alice).back().kind(), kind::kLogin);
    EXPECT_EQ(inbox(alice).back().header.code, code::kLoggedInElsewhere);
    EXPECT_FALSE(chat(0).sessionOf("alice"));
    EXPECT_TRUE(framesOf(bob, kind::kPresence, bobHad).empty());

    // The first server's goodbye to her session leaves her online record on the second alone:
    // carol, who comes to the first server now, sees her online.
    enter(carol, "carol", 0);
    EXPECT_EQ(framesOf(carol, kind::kFriendRoster).back().fields(),
              (std::vector<Bytes>{"alice", "w3", "bob", "m2"}));

    // Her logout there reaches friends on both servers.
    const size_t had[] = {inbox(bob).size(), inbox(carol).size()};
    say(again, kind::kLogout);
    advance(500ms);
    for (int i : {0, 1}) {
        const auto heard = framesOf(i == 0 ? bob : carol, kind::kPresence, had[i]);
        EXPECT_TRUE(std::any_of(heard.begin(), heard.end(), [](const Got& p) {
            return p.header.code == code::kOffline && p.fields() == std::vector<Bytes>{"alice"};
        })) << i;
    }
}

}  // namespace
}  // namespace nq::server
