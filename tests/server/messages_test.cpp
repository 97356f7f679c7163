// One-to-one messages: relay, waiting messages across a restart, pacing of a backlog, notices.
// Loopback addresses 127.0.0.40 to 127.0.0.49.

#include "server/records.h"
#include "server_fixture.h"

namespace nq::test {
namespace {

Bytes record(const std::string& time, const std::string& text) {
    return g("宋体/10/255/" + time + "/" + text);
}

TEST_F(ServerTest, MessageIsRelayedWithSenderReceiverAndText) {
    auto& s = launch("127.0.0.40");
    auto alice = client();
    alice->enter(s.chat(), "alice");
    auto bob = client();
    bob->enter(s.chat(), "bob");

    struct Case {
        const char* what;
        std::string peer;
    };
    const Case cases[] = {{"the peer named by account", "bob"}, {"the peer named by nick", "鲍勃"}};
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        const Bytes text = record("2024-5-1 12:30:07", "你好 /smile ");
        alice->send(2, 1, 0, {g(k.peer), text});
        const Received r = bob->waitFor(2, 1);
        EXPECT_EQ(r.header.session, bob->session());
        EXPECT_EQ(r.fields, (std::vector<Bytes>{"alice", "bob", text}));
    }
}

TEST_F(ServerTest, LongTextIsCutAtACharacterBorderToFitOneFrame) {
    auto& s = launch("127.0.0.41");
    auto alice = client();
    alice->enter(s.chat(), "alice");
    auto bob = client();
    bob->enter(s.chat(), "bob");

    // Ctrl+Enter skips the client's byte check: 700 two-byte characters after a 1-byte prefix,
    // so that an even cut would split a character.
    std::string utf8 = "x";
    for (int i = 0; i < 700; ++i) utf8 += "字";
    alice->send(2, 1, 0, {"bob", g(utf8)});
    const Received r = bob->waitFor(2, 1);
    EXPECT_LE(r.body.size() + kHeaderSize, static_cast<size_t>(kMaxFrame));
    ASSERT_EQ(r.fields.size(), 3u);
    EXPECT_EQ(r.body.back(), '\0');
    const Bytes& text = r.fields[2];
    EXPECT_EQ(text.size() % 2, 1u);  // "x" and whole characters
    EXPECT_EQ(g(utf8).substr(0, text.size()), text);

    // A lead byte with nothing behind it would swallow the NUL on the client.
    alice->send(2, 1, 0, {"bob", Bytes("ok\xB0", 3)});
    EXPECT_EQ(bob->waitFor(2, 1).fields[2], "ok");
}

TEST_F(ServerTest, WaitingMessagesSurviveARestartAndComeInOrder) {
    auto& s = launch("127.0.0.42");
    auto alice = client();
    alice->enter(s.chat(), "alice");
    std::vector<Bytes> sent;
    for (int i = 0; i < 5; ++i) {
        sent.push_back(record("12:00:0" + std::to_string(i), "第" + std::to_string(i) + "条"));
        alice->send(2, 1, 0, {"dave", sent.back()});
    }
    alice->keepAlive();
    alice->expect(9, 0);  // the server has read all five

    s.restart();
    auto dave = client();
    dave->enter(s.chat(), "dave");
    for (const Bytes& text : sent)
        EXPECT_EQ(dave->waitFor(2, 1).fields, (std::vector<Bytes>{"alice", "dave", text}));

    // Delivered means gone: the next login finds nothing waiting.
    dave->send(1, 5, 0, {});
    auto again = client();
    again->enter(s.chat(), "dave");
    again->expectSilence(300ms, std::pair{2, 1});
}

TEST_F(ServerTest, SessionsCarryOnAcrossAGracefulRestart) {
    auto& s = launch("127.0.0.47");
    auto alice = client();
    alice->enter(s.chat(), "alice");
    auto bob = client();
    bob->enter(s.chat(), "bob");
    alice->waitFor(1, 4);

    s.restart();
    // Same sessions, same addresses: keep-alives are answered and messages flow.
    alice->keepAlive();
    alice->expect(9, 0);
    alice->send(2, 1, 0, {"bob", record("10:00:00", "重启了吗")});
    EXPECT_EQ(bob->waitFor(2, 1).fields[2], record("10:00:00", "重启了吗"));
    bob->expectSilence(100ms, std::pair{1, 4});
}

TEST_F(ServerTest, WaitingMessagesFollowTheRostersOnceOnly) {
    auto& s = launch("127.0.0.43");
    auto alice = client();
    alice->enter(s.chat(), "alice");
    alice->send(2, 1, 0, {"carol", record("09:00:00", "早")});
    alice->keepAlive();
    alice->expect(9, 0);

    auto carol = client();
    ASSERT_EQ(carol->loginChat(s.chat(), "carol").header.code, 1);
    carol->send(3, 4, 0, {});
    carol->waitFor(3, 5);
    // Not before the client asks for them with (2,6).
    carol->expectSilence(150ms, std::pair{2, 1});
    carol->send(2, 6, 0, {});
    carol->send(2, 6, 0, {});  // a repeat changes nothing
    EXPECT_EQ(carol->waitFor(2, 1).fields[0], "alice");
    carol->expectSilence(300ms, std::pair{2, 1});
}

TEST_F(ServerTest, WaitingMessagesComeEvenIfTheClientNeverAsks) {
    auto& s = launch("127.0.0.44");
    auto alice = client();
    alice->enter(s.chat(), "alice");
    alice->send(2, 1, 0, {"dave", record("09:00:00", "在吗")});
    alice->keepAlive();
    alice->expect(9, 0);

    auto dave = client();
    dave->loginChat(s.chat(), "dave");
    dave->send(3, 4, 0, {});
    const auto asked = std::chrono::steady_clock::now();
    // After sixty client ticks without (2,6) the server sends them all the same. Meanwhile the
    // client keeps its session alive, as the real one does.
    std::optional<Received> r;
    while (!r && std::chrono::steady_clock::now() - asked < 5s) {
        dave->keepAlive();
        while (auto f = dave->next(200ms))
            if (f->header.type == 2 && f->header.sub == 1) r = f;
    }
    ASSERT_TRUE(r);
    const double waitedMs = std::chrono::duration<double, std::milli>(r->at - asked).count();
    EXPECT_GE(waitedMs, 60 * ServerProcess::kPaceTickMs);
}

TEST_F(ServerTest, BacklogIsPacedToWhatTheClientCanRead) {
    auto& s = launch("127.0.0.45");
    auto alice = client();
    alice->enter(s.chat(), "alice");
    // 80 messages of about 950 bytes: far more than a client's ring of 65,408 bytes.
    constexpr int kCount = 80;
    for (int i = 0; i < kCount; ++i) {
        std::string text = std::to_string(i) + "#";
        while (text.size() < 900) text += "长";
        alice->send(2, 1, 0, {"dave", g(text)});
        if (i % 10 == 9) {
            alice->keepAlive();
            alice->expect(9, 0);
        }
    }

    auto dave = client();
    const auto start = std::chrono::steady_clock::now();  // nothing can come before the login
    const auto frames = dave->enter(s.chat(), "dave");
    size_t bytes = 0;
    for (const Received& f : frames) bytes += f.body.size() + kHeaderSize;
    // The server believes the client reads at most two frames per stretched tick.
    const double readPeriodMs = ServerProcess::kPaceTickMs * 1.1;
    const size_t budget = 48 * 1024;
    for (int i = 0; i < kCount; ++i) {
        const Received r = dave->waitFor(2, 1, 10s);
        ASSERT_EQ(r.fields[2].substr(0, r.fields[2].find('#')), std::to_string(i));
        bytes += r.body.size() + kHeaderSize;
        const double elapsed = std::chrono::duration<double, std::milli>(r.at - start).count();
        const double readable = (2 * elapsed / readPeriodMs + 2) * kMaxFrame;
        EXPECT_LE(static_cast<double>(bytes), budget + readable) << "message " << i << " came too early";
    }
}

TEST_F(ServerTest, NoticesFromTheAdminCommandReachEveryoneOnline) {
    // Notices are picked up once a second: sessions must outlive the default test time-out.
    auto& s = launch("127.0.0.46", {"--session-timeout", "30"});
    auto alice = client();
    alice->enter(s.chat(), "alice");
    auto erin = client();
    erin->enter(s.chat(), "erin");

    struct Case {
        const char* flag;
        uint16_t sub;
        std::string text;
    };
    const Case cases[] = {{"--toast", 2, "服务器将在十分钟后重启"}, {"--box", 1, "欢迎使用"}};
    for (const Case& k : cases) {
        SCOPED_TRACE(k.flag);
        const AdminResult r = s.admin({"notice", k.flag, k.text});
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_NE(r.out.find("1 chat server"), std::string::npos) << r.out;
        for (auto* c : {alice.get(), erin.get()}) {
            const Received n = c->waitFor(8, k.sub, 4s);
            EXPECT_EQ(n.fields, std::vector<Bytes>{g(k.text)});
        }
    }
}

}  // namespace
}  // namespace nq::test
