// What needs the real process: a restart and a crash with the sockets held, sockets from systemd,
// several processes on one database, malformed datagrams on real sockets, and the admin command
// beside a running server. The protocol itself is tested in-process (chat_*_test).

#include <algorithm>
#include <thread>

#include "server/sqlite_store.h"
#include "server_process.h"

namespace nq::test {
namespace {

// The server replaced by a new one that takes the sockets over (--take-over), or killed under
// nqhold, which keeps them open and starts it again: what the clients send meanwhile waits for the
// next server, which takes the sessions up from the store. A client that sends meanwhile must
// never be told the port is closed, which would leave it offline for good.
TEST(Nqserver, SessionsAndWaitingMessagesSurviveARestartAndACrash) {
    for (const Launch launch : {Launch::Direct, Launch::Held}) {
        SCOPED_TRACE(launch == Launch::Held ? "crash under nqhold" : "graceful restart");
        const std::string address = claimLoopbackAddress();
        ServerProcess s(address, {}, {}, 8000, launch);
        Client alice(address), bob(address);
        alice.enter(s.chat(), "alice");
        bob.enter(s.chat(), "bob");
        alice.waitFor(kind::kPresence);
        alice.send(kind::kChat, {"dave", g("宋体/10/255/12:00:00/等你")});
        for (Client* c : {&alice, &bob}) c->send(kind::kKeepAlive);
        for (Client* c : {&alice, &bob}) c->waitFor(kind::kKeepAlive);  // the message and (2,6) are stored
        const auto meanwhile = [&] {
            alice.send(kind::kKeepAlive);
            alice.send(kind::kChat, {"bob", g("宋体/10/0/1:00/你还在吗")});
        };
        launch == Launch::Held ? s.crash(meanwhile) : s.restart(meanwhile);
        // Same sessions, same addresses: keep-alives are answered, messages flow, nobody came or went.
        alice.waitFor(kind::kKeepAlive);
        EXPECT_EQ(bob.waitFor(kind::kChat).fields[2], g("宋体/10/0/1:00/你还在吗"));
        bob.send(kind::kChat, {"alice", g("宋体/10/0/1:01/在")});
        EXPECT_EQ(alice.waitFor(kind::kChat).fields[2], g("宋体/10/0/1:01/在"));
        bob.expectSilence(100ms, kind::kPresence);
        EXPECT_EQ(alice.refusals() + bob.refusals(), 0);
        Client dave(address);
        dave.enter(s.chat(), "dave");
        EXPECT_EQ(dave.waitFor(kind::kChat).fields[2], g("宋体/10/255/12:00:00/等你"));
    }
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

// A dispatcher and two chat servers, three processes on one database. How the dispatcher
// chooses is tested in-process; here, that it knows the chat servers by what they report.
TEST(Nqserver, SeveralProcessesOnOneDatabaseActAsOne) {
    const std::string address = claimLoopbackAddress(), a = address + ":8001", b = address + ":8002";
    const std::vector<std::string> chatArgs = {
        "--role", "chat", "--public-host", address, "--session-timeout", "30"};
    ServerProcess chatA(address, chatArgs, {}, 8001), chatB(address, chatArgs, chatA.db(), 8002);
    server::SqliteStore shared(chatA.db());
    for (int i = 0; i < 200 && shared.loads().size() < 2; ++i) std::this_thread::sleep_for(10ms);
    // Both report no sessions: a tie goes to the first, the next login to the other, and none to
    // the one in between, which never reports.
    ServerProcess s(
        address,
        {"--role", "dispatcher", "--chat-server", a, "--chat-server", address + ":8003", "--chat-server", b},
        chatA.db());
    Client carol(address), alice(address), bob(address), again(address), dave(address);
    EXPECT_EQ(alice.askDispatcher(s.dispatcher(), "alice"), a);
    EXPECT_EQ(bob.askDispatcher(s.dispatcher(), "bob"), b);

    // bob on B sees his friends on A online, they hear of him, and messages cross both ways.
    carol.enter(chatA.chat(), "carol");
    alice.enter(chatA.chat(), "alice");
    EXPECT_EQ(bob.enter(chatB.chat(), "bob").fields, (std::vector<Bytes>{"alice", "w2", "carol", "w7"}));
    EXPECT_EQ(alice.waitFor(kind::kPresence).fields, std::vector<Bytes>{"bob"});
    alice.send(kind::kChat, {"bob", g("你在另一台上")});
    EXPECT_EQ(bob.waitFor(kind::kChat).fields[0], "alice");
    bob.send(kind::kChat, {"alice", g("收到")});
    EXPECT_EQ(alice.waitFor(kind::kChat).fields[0], "bob");
    alice.send(kind::kGroupChat, {g("周末棋友会"), g("宋体/10/0/1:00/开局")});  // to carol here, bob there
    for (Client* member : {&carol, &bob}) EXPECT_EQ(member->waitFor(kind::kGroupChat).fields[0], "alice");
    // One room over both: bob on B finds alice of A listed, she hears him come, he hears her say.
    alice.send(kind::kRoom);
    EXPECT_EQ(alice.waitFor(kind::kRoom).fields, std::vector<Bytes>{"alice"});
    bob.send(kind::kRoom);
    bob.waitFor(kind::kRoom);
    EXPECT_EQ(bob.waitFor(kind::kRoom).fields, std::vector<Bytes>{"alice"});
    EXPECT_EQ(alice.waitFor(kind::kRoom).fields, std::vector<Bytes>{"bob"});
    alice.send(kind::kRoom, {g("珀岚大厅"), g("宋体/10/0/1:00/大家好")}, code::kRoomLine);
    EXPECT_EQ(bob.waitFor(kind::kRoom).fields.at(2), g("宋体/10/0/1:00/大家好"));
    // alice logs in on B: her session on A is expelled, and bob hears nothing of it.
    ASSERT_EQ(again.login(chatB.chat(), "alice").header.code, code::kLoginAccepted);
    EXPECT_EQ(alice.waitFor(kind::kLogin).header.code, code::kLoggedInElsewhere);
    again.send(kind::kAfterRosters);
    bob.expectSilence(300ms, kind::kPresence);
    // A's goodbye to her session left her online record on B alone: dave, coming to A, sees her.
    EXPECT_EQ(dave.enter(chatA.chat(), "dave").fields, (std::vector<Bytes>{"alice", "w2"}));
    // dave's join request reaches her on B, her consent him on A, his coming and going bob on B.
    const Bytes group = g("周末棋友会");
    dave.send(kind::kJoinRequest, {"alice", group, g("让我进")});
    EXPECT_EQ(again.waitFor(kind::kJoinRequest).fields,
              (std::vector<Bytes>{"dave", "alice", group, g("让我进")}));
    again.send(kind::kJoinAnswer, {"dave", group, " "}, code::kAgree);
    EXPECT_EQ(dave.waitFor(kind::kJoinAnswer).header.code, code::kAgree);
    dave.send(kind::kJoinGroup, {group});
    EXPECT_EQ(bob.waitFor(kind::kJoinGroup).fields.at(0), "dave");
    dave.send(kind::kLeaveGroup, {group});
    EXPECT_EQ(bob.waitFor(kind::kLeaveGroup).fields.at(0), "dave");
    // Her logout on B reaches her friends on A.
    again.send(kind::kLogout);
    Received heard;
    do heard = carol.waitFor(kind::kPresence);
    while (heard.header.code != code::kOffline);
    EXPECT_EQ(heard.fields, std::vector<Bytes>{"alice"});
}

TEST(Nqserver, MalformedDatagramsAreDroppedAndTheServerCarriesOn) {
    const std::string address = claimLoopbackAddress();
    ServerProcess s(address);
    Client alice(address), bob(address), junk(address);
    alice.enter(s.chat(), "alice");
    bob.enter(s.chat(), "bob");
    alice.waitFor(kind::kPresence);  // bob came online
    const uint32_t a = alice.session();
    auto header = [&](uint16_t len, FrameKind k) {
        Bytes h = encodeFrame({1, k.type, k.sub, a, 0}, "");
        h[2] = static_cast<char>(len >> 8);
        h[3] = static_cast<char>(len & 0xFF);
        return h;
    };
    auto frame = [&](FrameKind k, std::string_view body, uint16_t code = 0, uint32_t session = 0) {
        return encodeFrame({1, k.type, k.sub, session ? session : a, code}, body);
    };
    const Bytes inputs[] = {
        "",                                                                  // empty
        "hello",                                                             // five stray bytes
        header(22, kind::kKeepAlive).substr(0, 15),                          // a header cut short
        header(10, kind::kKeepAlive),                                        // Len below the header
        header(500, kind::kKeepAlive) + "alice" + Bytes(1, '\0'),            // Len beyond the datagram
        header(0xFFFF, kind::kChat),                                         // Len at its largest
        frame({77, 3}, Bytes("alice\0", 6)),                                 // an unknown kind
        frame(kind::kCreateGroup, Bytes("alice\0村\0", 10)),                 // a kind not served
        frame(kind::kChat, ""),                                              // no fields at all
        frame(kind::kChat, Bytes("alice\0bob\0", 10)),                       // a message without text
        frame(kind::kAddFriend, Bytes("alice\0bob", 9)),                     // a field without its NUL
        frame(kind::kLogin, Bytes("alice\0", 6), 0, 0),                      // a login without digest
        frame(kind::kProfile, Bytes("alice\0", 6), code::kProfileAfterAdd),  // no name asked
        frame(kind::kChat, Bytes("alice\0\xFF\xFF\0\x80\0", 11)),            // bytes that are not GBK
    };
    for (const Bytes& bytes : inputs) {
        alice.sendRaw(s.chat(), bytes);
        junk.sendRaw(s.chat(), bytes);
        junk.sendRaw(s.dispatcher(), bytes);
    }
    alice.expectSilence(200ms);
    bob.expectSilence(100ms);
    junk.expectSilence(100ms);
    // A good frame in front of a broken one is still read, and everything still works.
    alice.sendRaw(s.chat(), frame(kind::kKeepAlive, Bytes("alice\0", 6)) + header(300, kind::kChat));
    alice.waitFor(kind::kKeepAlive);
    alice.send(kind::kChat, {"bob", g("宋体/10/0/1:00/还活着")});
    EXPECT_EQ(bob.waitFor(kind::kChat).fields[0], "alice");
    EXPECT_EQ(junk.askDispatcher(s.dispatcher(), "erin"), address + ":8000");
}

TEST(Nqserver, BadInputGivesOneLineAndStatusTwo) {
    const TempDir folder("nqserver-cli");
    const std::string db = folder.file("cli.db");
    ASSERT_EQ(runNqserver({"--db", db, "demo"}).status, 0);
    // What each refusal says is tested in-process (cli_test); here, that main turns it into this.
    for (const auto& args : {std::vector<std::string>{"--db", db, "--bogus"},
                             {"--db", db, "user", "add", "alice", "pw"},
                             {"--db", "/nonexistent/folder/x.db", "user", "list"}}) {
        const RunResult r = runNqserver(args);
        EXPECT_EQ(r.status, 2) << args.back();
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    }
}

TEST(Nqserver, TheAdminCommandWorksBesideARunningServer) {
    const std::string address = claimLoopbackAddress();
    ServerProcess s(address, {"--session-timeout", "30"});  // notices are picked up once a second
    ASSERT_EQ(s.admin({"user", "add", "小明", "secret", "--nick", "明明", "--head", "m7"}).status, 0);
    ASSERT_EQ(s.admin({"group", "add", "夜猫子", "小明", "alice"}).status, 0);
    Client c(address), alice(address), stranger(address);
    const Received r = c.login(s.chat(), g("小明"), "secret");
    ASSERT_EQ(r.header.code, code::kLoginAccepted);
    EXPECT_EQ(r.fields, (std::vector<Bytes>{g("明明"), "m7"}));
    ASSERT_EQ(s.admin({"user", "passwd", "小明", "better"}).status, 0);
    // From elsewhere: a refusal to the address of a live session would close that client's socket.
    EXPECT_EQ(stranger.login(s.chat(), g("小明"), "secret").header.code, code::kWrongPassword);
    EXPECT_EQ(c.login(s.chat(), g("小明"), "better").header.code, code::kLoginAccepted);

    alice.enter(s.chat(), "alice");
    EXPECT_EQ(c.waitFor(kind::kPresence).fields, std::vector<Bytes>{"alice"});  // no friend, a co-member
    for (const auto& [flag, kind, text] :
         {std::tuple{"--toast", kind::kNoticeToast, "服务器将在十分钟后重启"},
          std::tuple{"--box", kind::kNoticeBox, "欢迎使用"}}) {
        const RunResult n = s.admin({"notice", flag, text});
        ASSERT_EQ(n.status, 0) << n.err;
        EXPECT_NE(n.out.find("1 chat server"), std::string::npos) << n.out;
        for (Client* to : {&c, &alice}) EXPECT_EQ(to->waitFor(kind, 4s).fields, std::vector<Bytes>{g(text)});
    }
}

}  // namespace
}  // namespace nq::test
