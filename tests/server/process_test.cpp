// What needs the real process: a graceful restart, several processes on one database, and
// malformed datagrams on real sockets. The protocol itself is tested in-process (chat_*_test).

#include <algorithm>
#include <thread>

#include "server/sqlite_store.h"
#include "server_fixture.h"

namespace nq::test {
namespace {

TEST_F(ServerTest, SessionsAndWaitingMessagesSurviveAGracefulRestart) {
    auto& s = launch();
    auto alice = client();
    alice->enter(s.chat(), "alice");
    auto bob = client();
    bob->enter(s.chat(), "bob");
    alice->waitFor(kind::kPresence);
    std::vector<Bytes> sent;
    for (int i = 0; i < 5; ++i) {
        sent.push_back(g("宋体/10/255/12:00:0" + std::to_string(i) + "/第" + std::to_string(i) + "条"));
        alice->send(kind::kChat, 0, {"dave", sent.back()});
    }
    alice->keepAlive();
    alice->waitFor(kind::kKeepAlive);  // the server has read all five

    s.restart();
    // Same sessions, same addresses: keep-alives are answered, messages flow, nobody came or went.
    alice->keepAlive();
    alice->waitFor(kind::kKeepAlive);
    alice->send(kind::kChat, 0, {"bob", g("重启了吗")});
    EXPECT_EQ(bob->waitFor(kind::kChat).fields[2], g("重启了吗"));
    bob->expectSilence(100ms, kind::kPresence);
    // What waited for dave came through the restart, in order.
    auto dave = client();
    dave->enter(s.chat(), "dave");
    for (const Bytes& text : sent)
        EXPECT_EQ(dave->waitFor(kind::kChat).fields, (std::vector<Bytes>{"alice", "dave", text}));
}

// Chat servers report their load to the database every two seconds; the dispatcher reads it
// every second. Waits until `ready` holds for the database, then for one more read.
void waitForReports(const std::string& db,
                    const std::function<bool(const std::vector<server::ServerLoad>&)>& ready) {
    server::SqliteStore shared(db);
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!ready(shared.loads()) && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(50ms);
    ASSERT_TRUE(ready(shared.loads()));
    std::this_thread::sleep_for(1200ms);
}

// A dispatcher and two chat servers, three processes on one database.
TEST_F(ServerTest, SeveralProcessesOnOneDatabaseActAsOne) {
    const std::string a = address_ + ":8001", b = address_ + ":8002";
    auto& s = launch({"--role", "dispatcher", "--chat-server", a, "--chat-server", b});
    auto chatArgs = [&](const char* port) {
        return std::vector<std::string>{
            "--role", "chat", "--public-host", address_, "--session-timeout", "30", "--chat-port", port};
    };
    ServerProcess chatA(address_, chatArgs("8001"), s.db());
    ServerProcess chatB(address_, chatArgs("8002"), s.db());
    chatA.start();
    chatB.start();
    std::vector<std::unique_ptr<ScriptedClient>> onA;
    for (const char* name : {"carol", "dave"}) {
        onA.push_back(client());
        ASSERT_EQ(onA.back()->loginChat(chatA.chat(), name).header.code, code::kLoginAccepted);
    }
    auto alice = client();
    alice->enter(chatA.chat(), "alice");
    waitForReports(s.db(), [&](const auto& loads) {
        return std::any_of(loads.begin(), loads.end(),
                           [&](const server::ServerLoad& l) { return l.server == a && l.sessions == 3; });
    });
    // B has none and takes logins until it draws level with A's three; a tie goes to the first.
    std::vector<std::string> named;
    auto asker = client();
    for (int i = 0; i < 4; ++i) {
        const Received r = asker->askDispatcher(s.dispatcher(), "erin");
        ASSERT_EQ(r.header.code, code::kGoToChatServer);
        named.push_back(r.fields.at(0) + ":" + r.fields.at(1));
    }
    EXPECT_EQ(named, (std::vector<std::string>{b, b, b, a}));

    // bob on B sees his friends on A online, they hear of him, and messages cross.
    auto bob = client();
    EXPECT_EQ(bob->enter(chatB.chat(), "bob").back().fields,
              (std::vector<Bytes>{"alice", "w3", "carol", "w7"}));
    EXPECT_EQ(alice->waitFor(kind::kPresence).fields, std::vector<Bytes>{"bob"});
    alice->send(kind::kChat, 0, {"bob", g("你在另一台上")});
    EXPECT_EQ(bob->waitFor(kind::kChat).fields[0], "alice");
    // alice logs in on B: her session on A is expelled.
    auto again = client();
    ASSERT_EQ(again->loginChat(chatB.chat(), "alice").header.code, code::kLoginAccepted);
    EXPECT_EQ(alice->waitFor(kind::kLogin).header.code, code::kLoggedInElsewhere);
    if (HasFailure()) std::cerr << chatA.log() << chatB.log();
}

TEST_F(ServerTest, MalformedDatagramsAreDroppedAndTheServerCarriesOn) {
    auto& s = launch();
    auto alice = client();
    alice->enter(s.chat(), "alice");
    auto bob = client();
    bob->enter(s.chat(), "bob");
    alice->waitFor(kind::kPresence);  // bob came online
    auto junk = client();

    auto header = [](uint16_t len, FrameKind k, uint32_t session) {
        Bytes h = encodeFrame({1, k.type, k.sub, session, 0}, "");
        h[2] = static_cast<char>(len >> 8);
        h[3] = static_cast<char>(len & 0xFF);
        return h;
    };
    auto frame = [](FrameKind k, uint32_t session, uint16_t code, std::string_view body) {
        return encodeFrame({1, k.type, k.sub, session, code}, body);
    };
    const uint32_t a = alice->session();
    const std::pair<const char*, Bytes> inputs[] = {
        {"an empty datagram", ""},
        {"five stray bytes", "hello"},
        {"a header cut short", header(22, kind::kKeepAlive, a).substr(0, 15)},
        {"Len below the header", header(10, kind::kKeepAlive, a)},
        {"Len beyond the datagram", header(500, kind::kKeepAlive, a) + "alice" + Bytes(1, '\0')},
        {"Len at its largest", header(0xFFFF, kind::kChat, a)},
        {"an unknown kind", frame({77, 3}, a, 0, Bytes("alice\0", 6))},
        {"a kind not served", frame(kind::kCreateGroup, a, 0, Bytes("alice\0村\0", 10))},
        {"no fields at all", frame(kind::kChat, a, 0, "")},
        {"a message without text", frame(kind::kChat, a, 0, Bytes("alice\0bob\0", 10))},
        {"a field without its NUL", frame(kind::kAddFriend, a, 0, Bytes("alice\0bob", 9))},
        {"a login without digest", frame(kind::kLogin, 0, 0, Bytes("alice\0", 6))},
        {"a profile request without a name",
         frame(kind::kProfile, a, code::kProfileAfterAdd, Bytes("alice\0", 6))},
        {"bytes that are not GBK", frame(kind::kChat, a, 0, Bytes("alice\0\xFF\xFF\0\x80\0", 11))},
    };
    for (const auto& [what, bytes] : inputs) {
        SCOPED_TRACE(what);
        alice->sendRaw(s.chat(), bytes);
        junk->sendRaw(s.chat(), bytes);
        junk->sendRaw(s.dispatcher(), bytes);
    }
    alice->expectSilence(200ms);
    bob->expectSilence(100ms);
    junk->expectSilence(100ms);

    // A good frame in front of a broken one is still read.
    alice->sendRaw(s.chat(),
                   frame(kind::kKeepAlive, a, 0, Bytes("alice\0", 6)) + header(300, kind::kChat, a));
    alice->waitFor(kind::kKeepAlive);
    // And everything still works.
    ASSERT_TRUE(s.running());
    alice->send(kind::kChat, 0, {"bob", g("宋体/10/0/1:00/还活着")});
    EXPECT_EQ(bob->waitFor(kind::kChat).fields[0], "alice");
    EXPECT_EQ(junk->askDispatcher(s.dispatcher(), "erin").header.code, code::kGoToChatServer);
}

}  // namespace
}  // namespace nq::test
