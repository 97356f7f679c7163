// Login through the dispatcher and the chat server, sessions, keep-alive, time-out and logout.
// Loopback addresses 127.0.0.20 to 127.0.0.29.

#include "server_fixture.h"

namespace nq::test {
namespace {

using server::Endpoint;

TEST_F(ServerTest, DispatcherAnswersEachLoginByVersionAndPassword) {
    auto& s = launch("127.0.0.20", {"--min-version", "1.2"});
    auto c = client();
    struct Case {
        const char* what;
        std::string name;
        std::string password;
        uint16_t version;
        uint16_t code;
    };
    const Case cases[] = {
        {"a version below the minimum is ordered to update, before the password is looked at", "alice",
         "wrong", 256 + 1, 4},
        {"version 1.2 with the right password is sent on", "alice", "123456", 256 + 2, 1},
        {"a newer version is sent on as well", "bob", "123456", 2 * 256, 1},
        {"a wrong password is refused", "alice", "654321", 256 + 2, 2},
        {"an unknown account is refused like a wrong password", "mallory", "123456", 256 + 2, 2},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        const Received r = c->askDispatcher(s.dispatcher(), k.name, k.password, k.version);
        EXPECT_EQ(r.header.code, k.code);
        EXPECT_EQ(r.header.session, 0u);
        if (k.code == 1) {
            EXPECT_EQ(r.fields, (std::vector<Bytes>{"127.0.0.20", "8000"}));
        }
        if (k.code == 4) {
            // Eight fields; the client hands the last to its updater.
            ASSERT_EQ(r.fields.size(), 8u);
            EXPECT_EQ(r.fields[0], "1.2");
            EXPECT_EQ(r.fields[7], "1.2");
        }
        if (k.code == 2) {
            EXPECT_TRUE(r.fields.empty());
        }
    }
}

TEST_F(ServerTest, DispatcherRedirectLeadsToAWorkingChatLogin) {
    auto& s = launch("127.0.0.21", {"--chat-port", "8123"});
    auto c = client();
    const Received redirect = c->askDispatcher(s.dispatcher(), "alice", "123456");
    ASSERT_EQ(redirect.header.code, 1);
    ASSERT_EQ(redirect.fields.size(), 2u);
    const Endpoint chat{*server::parseIpv4(redirect.fields[0]),
                        static_cast<uint16_t>(std::stoi(redirect.fields[1]))};
    EXPECT_EQ(chat.port, 8123);

    const Received login = c->loginChat(chat, "alice");
    ASSERT_EQ(login.header.code, 1);
    EXPECT_NE(login.header.session, 0u);
    EXPECT_LE(login.header.session, 0x7FFFFFFFu);
    EXPECT_EQ(login.fields, (std::vector<Bytes>{g("爱丽丝"), "w3"}));
}

TEST_F(ServerTest, ChatServerRefusesWrongPasswordWithoutASession) {
    auto& s = launch("127.0.0.22");
    auto c = client();
    const Received refused = c->loginChat(s.chat(), "bob", "12345");
    EXPECT_EQ(refused.header.code, 2);
    EXPECT_EQ(refused.header.session, 0u);
    // Whatever session number it might guess, the refused client has none.
    c->sendFrame(s.chat(), 9, 0, 0, 1, gbkFields({"bob"}));
    c->expectSilence(200ms);
    EXPECT_EQ(c->loginChat(s.chat(), "bob").header.code, 1);
}

TEST_F(ServerTest, SecondLoginElsewhereExpelsTheFirstWithoutPresenceChange) {
    auto& s = launch("127.0.0.23");
    auto bob = client();
    bob->enter(s.chat(), "bob");
    auto first = client();
    first->loginChat(s.chat(), "alice");
    bob->waitFor(1, 4);  // alice online

    auto second = client();
    const Received again = second->loginChat(s.chat(), "alice");
    ASSERT_EQ(again.header.code, 1);
    EXPECT_NE(again.header.session, first->session());

    const Received kick = first->waitFor(1, 1);
    EXPECT_EQ(kick.header.code, 3);
    first->keepAlive();
    first->expectSilence(200ms, std::pair{9, 0});
    second->keepAlive();
    second->expect(9, 0);
    // alice never went away, so bob hears nothing about her.
    bob->expectSilence(200ms, std::pair{1, 4});
}

TEST_F(ServerTest, ReloginFromTheSameAddressOpensANewSessionQuietly) {
    auto& s = launch("127.0.0.24");
    auto c = client();
    c->loginChat(s.chat(), "carol");
    const uint32_t old = c->session();
    // The client's re-verification: the same login again, from the same socket.
    const Received again = c->loginChat(s.chat(), "carol");
    ASSERT_EQ(again.header.code, 1);
    EXPECT_NE(c->session(), old);

    c->sendFrame(s.chat(), 9, 0, 0, old, gbkFields({"carol"}));
    c->expectSilence(200ms);  // no kick, and no answer to the old session
    c->keepAlive();
    c->expect(9, 0);
}

TEST_F(ServerTest, AnotherAccountFromTheSameAddressEndsTheFirstOne) {
    auto& s = launch("127.0.0.25");
    auto bob = client();
    bob->enter(s.chat(), "bob");
    auto c = client();
    c->loginChat(s.chat(), "alice");
    bob->waitFor(1, 4);
    c->loginChat(s.chat(), "dave");  // logged out without telling, then in as somebody else
    const Received offline = bob->waitFor(1, 4);
    EXPECT_EQ(offline.header.code, 2);
    EXPECT_EQ(offline.fields, std::vector<Bytes>{"alice"});
}

TEST_F(ServerTest, KeepAliveIsAnsweredWithOneTypeNineFrame) {
    auto& s = launch("127.0.0.26");
    auto c = client();
    c->loginChat(s.chat(), "erin");
    for (int i = 0; i < 3; ++i) {
        c->keepAlive();
        const Received r = c->expect(9, 0);
        EXPECT_EQ(r.header.session, c->session());
    }
    c->expectSilence(100ms);
}

TEST_F(ServerTest, SilentSessionEndsAfterTheTimeOutAndFriendsHearOfIt) {
    auto& s = launch("127.0.0.27");
    auto bob = client();
    bob->enter(s.chat(), "bob");
    auto alice = client();
    alice->enter(s.chat(), "alice");
    bob->waitFor(1, 4);
    const auto lastHeard = std::chrono::steady_clock::now();

    // bob keeps his own session alive meanwhile; alice says nothing more.
    std::optional<Received> offline;
    while (!offline && std::chrono::steady_clock::now() - lastHeard < 4s) {
        bob->keepAlive();
        while (auto r = bob->next(150ms)) {
            if (r->header.type == 1 && r->header.sub == 4) offline = r;
        }
    }
    ASSERT_TRUE(offline);
    EXPECT_EQ(offline->header.code, 2);
    EXPECT_EQ(offline->fields, std::vector<Bytes>{"alice"});
    const double after = std::chrono::duration<double>(offline->at - lastHeard).count();
    EXPECT_GE(after, ServerProcess::kSessionTimeout);
    EXPECT_LT(after, ServerProcess::kSessionTimeout + 1.0);

    alice->keepAlive();
    alice->expectSilence(200ms, std::pair{9, 0});
}

TEST_F(ServerTest, LogoutEndsTheSessionAtOnce) {
    auto& s = launch("127.0.0.28");
    auto bob = client();
    bob->enter(s.chat(), "bob");
    auto alice = client();
    alice->enter(s.chat(), "alice");
    bob->waitFor(1, 4);

    const auto sent = std::chrono::steady_clock::now();
    alice->send(1, 5, 0, {});
    const Received offline = bob->waitFor(1, 4);
    EXPECT_EQ(offline.header.code, 2);
    EXPECT_LT(std::chrono::duration<double>(offline.at - sent).count(), ServerProcess::kSessionTimeout / 2);
    alice->keepAlive();
    alice->expectSilence(200ms, std::pair{9, 0});
}

}  // namespace
}  // namespace nq::test
