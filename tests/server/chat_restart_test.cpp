// A chat server that crashed takes up, when it starts again, the sessions open at the crash.

#include "chat_fixture.h"

namespace nq::server {
namespace {

TEST_F(ChatTest, ACrashLosesNoOpenSessionIfTheServerIsBackInTime) {
    config_.serverId = "127.0.0.1:8000";  // its load reports tell when it was last alive
    const Endpoint alice = client(1), bob = client(2), carol = client(3);
    const uint32_t aliceSession = enter(alice, "alice");
    enter(bob, "bob");
    enter(carol, "carol");
    say(carol, kind::kLogout);
    advance(3s);
    crash();
    now_ += 100s;
    start();
    EXPECT_EQ(chat().sessionOf("alice"), aliceSession);
    EXPECT_FALSE(chat().sessionOf("carol")) << "her session had ended";
    // alice had asked for her messages before the crash, so bob's comes at once; nobody came or went.
    const size_t aliceHad = inbox(alice).size();
    say(bob, kind::kChat, 0, {"alice", g("宋体/10/0/1:00/还在吗")});
    frame(alice, kind::kKeepAlive, 0, 77, joinFields({"alice"}));  // any stamp: those issued are gone
    std::vector<FrameKind> got;
    for (size_t i = aliceHad; i < inbox(alice).size(); ++i) got.push_back(inbox(alice)[i].kind());
    EXPECT_EQ(got, (std::vector<FrameKind>{kind::kChat, kind::kKeepAlive}));

    crash();
    now_ += 151s;  // longer than a client waits before it gives its session up
    start();
    EXPECT_EQ(chat().sessionCount(), 0u);
}

}  // namespace
}  // namespace nq::server
