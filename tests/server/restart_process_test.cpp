// Ports held open while the server is replaced: a client that sends meanwhile must never be told
// the port is closed, which would leave it offline for good.

#include "server_process.h"

namespace nq::test {
namespace {

TEST(NqserverHeld, ClientsSendingThroughACrashStayOnline) {
    const std::string address = claimLoopbackAddress();
    ServerProcess s(address, {}, {}, 8000, Launch::Held);
    Client alice(address), bob(address);
    alice.enter(s.chat(), "alice");
    bob.enter(s.chat(), "bob");
    alice.waitFor(kind::kPresence);
    bob.send(kind::kKeepAlive);  // answered once his (2,6) is in the store
    bob.waitFor(kind::kKeepAlive);
    s.crash([&] {
        alice.send(kind::kKeepAlive);
        alice.send(kind::kChat, {"bob", g("宋体/10/0/1:00/你还在吗")});
    });
    // The next server took the sessions up from the store and then read what had waited.
    alice.waitFor(kind::kKeepAlive);
    EXPECT_EQ(bob.waitFor(kind::kChat).fields[2], g("宋体/10/0/1:00/你还在吗"));
    bob.send(kind::kChat, {"alice", g("宋体/10/0/1:01/在")});
    EXPECT_EQ(alice.waitFor(kind::kChat).fields[2], g("宋体/10/0/1:01/在"));
    EXPECT_EQ(alice.refusals() + bob.refusals(), 0);
}

TEST(NqserverActivated, InheritedSocketsGoToTheRolesByTheirPorts) {
    const std::string address = claimLoopbackAddress();
    ServerProcess s(address, {}, {}, 8000, Launch::Activated);
    Client alice(address);
    // Sent before nqserver runs: it waits in the socket, and is answered by the dispatcher.
    EXPECT_EQ(alice.askDispatcher(s.dispatcher(), "alice"), address + ":8000");
    alice.enter(s.chat(), "alice");
    EXPECT_EQ(alice.refusals(), 0);
}

}  // namespace
}  // namespace nq::test
