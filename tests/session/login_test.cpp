#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "support/session_harness.h"
#include "wire/digest.h"

namespace nq::test {
namespace {

constexpr uint32_t kSession = SessionHarness::kSessionNumber;

TEST(Login, ThroughDispatcherAndChatServerByteForByte) {
    SessionHarness h;
    Session& s = *h.session;
    h.view.name = "alice";
    h.view.password = "secret";
    s.comLoginClick();
    EXPECT_TRUE(h.timer.enabled());
    EXPECT_FALSE(h.view.loginEnabled);
    EXPECT_TRUE(h.view.cancelEnabled);
    EXPECT_FALSE(h.view.inputsEnabled);
    EXPECT_EQ(h.view.info, "正在等待服务器验证，请稍侯。。。");
    EXPECT_EQ(h.view.status[1], "用户:alice");
    EXPECT_EQ(h.view.status[2], "状态：等待验证");
    EXPECT_TRUE(h.update.sent.empty()) << "the click only queues; the tick transmits";

    h.tick();
    const SentDatagram toDispatcher = h.update.take();
    EXPECT_EQ(toDispatcher.host, SessionHarness::kDispatcherHost);
    EXPECT_EQ(toDispatcher.port, 4000);
    const uint16_t port = toDispatcher.localPort;
    const auto first = frameOf(toDispatcher);
    EXPECT_EQ(first.header.type, kind::kLogin.type);
    EXPECT_EQ(first.header.sub, kind::kLogin.sub);
    EXPECT_EQ(first.header.code, 256) << "version 1.0 travels in Code";
    EXPECT_EQ(first.raw.substr(16, 4), Bytes(4, '\0'));
    EXPECT_EQ(first.body, joinFields({"alice", *passwordDigest("secret")}));
    EXPECT_EQ(first.len, 22 + 6 + 33);

    h.redirect();
    EXPECT_FALSE(s.waitDispatcher);
    EXPECT_TRUE(s.waitLogin && s.waitReply);
    EXPECT_EQ(h.chat.binds, std::vector<uint16_t>{static_cast<uint16_t>(port + 321)});

    h.tick();
    const SentDatagram toChat = h.chat.take();
    EXPECT_EQ(toChat.host, SessionHarness::kChatHost);
    EXPECT_EQ(toChat.port, 8000);
    const auto second = frameOf(toChat);
    EXPECT_EQ(second.header.code, 0);
    EXPECT_EQ(second.header.session, 0u);
    EXPECT_EQ(second.body, first.body);
    EXPECT_TRUE(h.update.sent.empty());

    h.fromChat({.seq = 9, .type = 1, .sub = 1, .session = kSession, .code = code::kLoginAccepted},
               joinFields({gbk::fromUtf8("爱丽丝"), "m3"}));
    h.tick();
    EXPECT_TRUE(s.online);
    EXPECT_FALSE(s.waitReply);
    EXPECT_EQ(s.wire.sessionId, kSession);
    EXPECT_EQ(s.myNick, gbk::fromUtf8("爱丽丝"));
    EXPECT_EQ(s.myHead, "4");
    EXPECT_EQ(s.myName, "alice");
    EXPECT_FALSE(s.exitAllowed);
    EXPECT_TRUE(h.view.sessionMenus);
    EXPECT_TRUE(h.view.inputsEnabled);
    EXPECT_EQ(h.view.status[2], "状态：登录成功");
    EXPECT_EQ(h.view.info, "验证通过.正在读取信息，请稍后...");
    EXPECT_EQ(h.readIni("User.ini", "UserName"), "alice");
    EXPECT_TRUE(std::filesystem::is_directory(h.home() + "/alice"));

    h.tick();
    const auto roster = h.sentOn(h.chat);
    EXPECT_EQ(roster.header.type, kind::kFriendRoster.type);
    EXPECT_EQ(roster.header.sub, kind::kFriendRoster.sub);
    EXPECT_EQ(roster.header.session, kSession);
    EXPECT_EQ(roster.header.seq, 10) << "numbering follows the server's 9";
    EXPECT_EQ(roster.body, joinFields({"alice"}));
    EXPECT_EQ(h.view.frame, "loginFrame") << "the login panel stays up until the roster arrives";

    const auto roster34 = [&](uint16_t seq, uint16_t code) {
        h.fromChat({.seq = seq, .type = 3, .sub = 4, .session = kSession, .code = code}, "");
        h.tick();
    };
    roster34(10, code::kRosterOnline);
    EXPECT_EQ(h.view.frame, "loginFrame") << "the online list is no roster";
    roster34(11, code::kRosterEmpty);
    EXPECT_EQ(h.view.frame, "mainframe");
    EXPECT_EQ(h.view.status[2], "状态：在线");

    h.fromChat({.seq = 12, .type = 3, .sub = 5, .session = kSession, .code = code::kRosterEmpty}, "");
    h.tick(2);  // queued by the leaf, which restarts sendIdle: it leaves with the next tick
    const auto more = h.sentOn(h.chat);
    EXPECT_EQ(more.header.type, kind::kAfterRosters.type);
    EXPECT_EQ(more.header.sub, kind::kAfterRosters.sub);
    EXPECT_EQ(more.body, joinFields({"alice"}));
}

TEST(Login, ARefusalFromEitherServerReturnsToThePasswordBox) {
    for (bool byDispatcher : {true, false}) {
        SCOPED_TRACE(byDispatcher ? "dispatcher" : "chat server");
        SessionHarness h;
        Session& s = *h.session;
        h.view.name = "alice";
        h.view.password = "wrong";
        s.comLoginClick();
        h.tick();
        if (byDispatcher) {
            h.fromDispatcher(code::kWrongPassword, "");
        } else {
            h.redirect();
            h.tick();
            h.fromChat({.seq = 1, .type = 1, .sub = 1, .code = code::kWrongPassword}, "");
            h.tick();
        }
        EXPECT_FALSE(s.online || s.waitDispatcher || s.waitReply);
        EXPECT_EQ(h.view.info, "密码错误，请重新输入。");
        EXPECT_EQ(h.view.infoColor, InfoColor::Red);
        EXPECT_TRUE(h.view.loginEnabled && h.view.inputsEnabled);
        EXPECT_EQ(h.view.focus, "txtPassword");
        EXPECT_EQ(h.chat.localPort(), 0) << "the chat socket is closed";
        h.tick(150);
        EXPECT_TRUE(h.services.boxes.empty()) << "a refusal is not followed by a time-out box";
    }
}

TEST(Login, EmptyBoxesAndUndigestiblePasswordsStopTheClick) {
    SessionHarness h;
    Session& s = *h.session;
    s.comLoginClick();
    ASSERT_EQ(h.services.boxes.size(), 1u);
    EXPECT_EQ(h.services.boxes[0].text, "请输入用户名！");
    EXPECT_EQ(h.services.boxes[0].icon, BoxIcon::Critical);
    h.view.name = "alice";
    s.comLoginClick();
    EXPECT_EQ(h.services.boxes.back().text, "请输入密码！");
    EXPECT_EQ(h.view.focus, "txtPassword");

    h.view.password = "密码";
    s.comLoginClick();
    EXPECT_FALSE(h.view.loginEnabled) << "the failed digest leaves com_login disabled";
    EXPECT_FALSE(s.waitDispatcher);
    h.tick();
    EXPECT_TRUE(h.update.sent.empty());
}

// What User.ini holds before the start, what the user types, and what goes out and stays.
struct Remembered {
    const char* name;
    const char* isrempwd;
    const char* storedFor;  // the password whose digest Password holds, or ""
    const char* outoRun;
    const char* typed;  // what the user types over the box; nullptr: log in as the start left it
    bool autoLogin;
    const char* sentFor;    // the password whose digest the login carries
    const char* keptAfter;  // the password whose digest Password holds after the login, or ""
};

TEST(Login, RememberedPasswordAndAutoRun) {
    const Remembered rows[] = {
        {"placeholder sends the stored digest, which stays", "1", "123456", "0", nullptr, false, "123456",
         "123456"},
        {"a typed password is remembered", "1", "123456", "0", "abc", false, "abc", "abc"},
        {"without isrempwd the password is forgotten", "0", "123456", "0", "abc", false, "abc", ""},
        {"OutoRun logs in with the remembered password", "1", "x", "1", nullptr, true, "x", "x"},
        {"OutoRun without a password waits for a click", "0", "", "1", "y", false, "y", ""},
    };
    for (const Remembered& row : rows) {
        SCOPED_TRACE(row.name);
        SessionHarness h;
        Session& s = *h.session;
        const auto digest = [](const char* p) { return *p ? *passwordDigest(p) : std::string(); };
        h.writeIni("User.ini", "UserName", "bob");
        h.writeIni("User.ini", "isrempwd", row.isrempwd);
        h.writeIni("User.ini", "Password", digest(row.storedFor));
        h.writeIni("User.ini", "OutoRun", row.outoRun);
        s.restoreLoginPanel("");
        EXPECT_EQ(h.view.name, "bob");
        EXPECT_EQ(h.view.rememberChecked, std::string(row.isrempwd) == "1");
        EXPECT_EQ(h.view.autoRunChecked, row.autoLogin);
        EXPECT_EQ(s.waitDispatcher, row.autoLogin);
        if (!row.autoLogin) {
            if (row.typed) h.view.password = row.typed;
            s.comLoginClick();
        }
        h.tick();
        EXPECT_EQ(h.sentOn(h.update).body, joinFields({"bob", digest(row.sentFor)}));
        h.redirect();
        h.tick();
        h.accept();
        h.tick();
        ASSERT_TRUE(s.online);
        EXPECT_EQ(h.readIni("User.ini", "Password"), digest(row.keptAfter));
    }
}

TEST(Login, TakenPortsMoveTheLocalPortOn) {
    SessionHarness h;
    Session& s = *h.session;
    h.view.name = "alice";
    h.view.password = "secret";
    s.localPort = 65535 - 321 - 173;  // the walk's second step passes the top and comes back
    const uint16_t p0 = s.localPort, p1 = p0 + 123, p2 = 7000 + (p1 + 123) % 1000;
    h.update.takenPorts = {p0};
    h.chat.takenPorts = {static_cast<uint16_t>(p1 + 321)};
    s.comLoginClick();
    EXPECT_EQ(h.update.binds, (std::vector<uint16_t>{p0, p1}));
    h.tick();
    h.redirect();
    EXPECT_EQ(h.chat.binds,
              (std::vector<uint16_t>{static_cast<uint16_t>(p1 + 321), static_cast<uint16_t>(p2 + 321)}));
    EXPECT_EQ(s.localPort, p2);
}

TEST(Login, KickDuringTheSessionEndsTheProcess) {
    SessionHarness h;
    h.login();
    h.fromChat({.seq = 2, .type = 1, .sub = 1, .session = kSession, .code = code::kLoggedInElsewhere}, "");
    h.tick();
    ASSERT_EQ(h.services.boxes.size(), 1u);
    EXPECT_EQ(h.services.boxes[0].text, "抱歉，您的帐号在别处登陆！");
    EXPECT_TRUE(h.view.trayRemoved);
    EXPECT_EQ(h.services.exitCodes, std::vector<int>{0});
    EXPECT_TRUE(h.chat.sent.empty()) << "no quit frame: the process just ends";
}

TEST(Login, HallCommandLineLogsInWithoutAClick) {
    SessionHarness h;
    Session& s = *h.session;
    s.restoreLoginPanel("  erin$0123abcd$2$ ");
    EXPECT_TRUE(s.hallStart);
    EXPECT_EQ(s.hallCommand, 2);
    EXPECT_EQ(h.view.name, "erin");
    EXPECT_EQ(h.view.password, Session::kPasswordPlaceholder);
    EXPECT_FALSE(h.view.loginEnabled);
    EXPECT_TRUE(h.view.cancelEnabled);
    EXPECT_TRUE(h.timer.enabled());
    h.tick();
    EXPECT_EQ(h.sentOn(h.update).body, joinFields({"erin", "0123abcd"}));

    // Without "$" the fields are empty, and the attempt goes out all the same.
    SessionHarness bare;
    bare.session->restoreLoginPanel("nodollars");
    EXPECT_TRUE(bare.session->hallStart);
    bare.tick();
    EXPECT_EQ(bare.sentOn(bare.update).body, Bytes(2, '\0'));
}

TEST(Login, CancelKeepsTheDispatcherRetriesRunning) {
    SessionHarness h;
    h.view.name = "alice";
    h.view.password = "secret";
    h.session->comLoginClick();
    h.tick();
    h.session->comCancleClick();
    EXPECT_TRUE(h.view.loginEnabled && h.view.inputsEnabled);
    EXPECT_EQ(h.view.info, "");
    h.tick(20);
    EXPECT_EQ(h.update.sent.size(), 2u) << "the first retry still goes out";
}

TEST(Login, UpdateOrderStartsTheUpdaterAndUnloads) {
    SessionHarness h;
    h.view.name = "alice";
    h.view.password = "secret";
    h.services.startSucceeds = false;
    h.session->comLoginClick();
    h.tick();
    const Bytes order = joinFields({"a", "2", "c", "d", "e", "f", "g", "http://example/pkg"});
    h.fromDispatcher(code::kUpdateOrdered, order);
    ASSERT_EQ(h.services.starts.size(), 1u);
    EXPECT_EQ(h.view.mainFormUnloads, 0) << "an updater that cannot start leaves the client up";
    EXPECT_TRUE(h.session->waitDispatcher);

    h.services.startSucceeds = true;
    h.fromDispatcher(code::kUpdateOrdered, order);
    ASSERT_EQ(h.services.starts.size(), 2u);
    EXPECT_EQ(h.services.starts[1].program, h.home() + "/update");
    EXPECT_EQ(h.services.starts[1].args,
              std::vector<std::string>{"http://example/pkg$$$" + h.home() + "$NQChatUpdate.exe$1$0$" +
                                       Session::kUpdateHost + "$1080$"});
    EXPECT_EQ(h.view.mainFormUnloads, 1);

    h.fromDispatcher(code::kUpdateOrdered, joinFields({"a", "b"}));
    EXPECT_EQ(h.services.starts[2].args[0].substr(0, 3), "$$$")
        << "a short order leaves the first place empty";
}

TEST(Login, LogoutSendsTheQuitFrameAtOnceWithTheSessionNumber) {
    SessionHarness h;
    Session& s = *h.session;
    h.login();
    // A group message leaves its reply stamp armed; the quit frame must not carry it.
    s.wire.useStamp = true;
    s.wire.replyStamp = 5;
    s.logout();
    const auto quit = h.sentOn(h.chat);
    EXPECT_EQ(quit.header.type, kind::kLogout.type);
    EXPECT_EQ(quit.header.sub, kind::kLogout.sub);
    EXPECT_EQ(quit.header.session, kSession);
    EXPECT_EQ(quit.body, joinFields({"alice"}));
    EXPECT_FALSE(s.online);
    EXPECT_EQ(h.chat.localPort(), 0);
    EXPECT_EQ(h.view.frame, "loginFrame");
    EXPECT_EQ(h.view.status[2], "状态：未验证");
    EXPECT_EQ(h.view.otherFormUnloads, 1);
    EXPECT_FALSE(s.exitAllowed) << "after a logout the close button still hides";
    s.unload();
    EXPECT_TRUE(h.chat.sent.empty()) << "exit while logged out sends nothing";
}

TEST(Session, EveryEventReachesEverySubscriberAtItsPoint) {
    SessionHarness h;
    Session& s = *h.session;
    std::vector<std::string> log;
    int scans = 0;
    // Two subscribers each: a second one must not replace the first.
    for (std::string who : {"1", "2"}) {
        const auto note = [&log, who](const char* event) {
            return [&log, who, event] { log.push_back(event + who); };
        };
        QObject::connect(&s, &Session::hallLinkStartDue, note("hall"));
        QObject::connect(&s, &Session::cachedListsDue, [&, who] {
            log.push_back((h.session->wire.sendPending ? "lists after roster request" : "lists") + who);
        });
        QObject::connect(&s, &Session::hotkeyRegistrationDue, note("hotkey on"));
        QObject::connect(&s, &Session::loggedOut, note("logged out"));
        QObject::connect(&s, &Session::saveQuitDue, note("save quit"));
        QObject::connect(&s, &Session::hotkeyReleaseDue, note("hotkey off"));
        QObject::connect(&s, &Session::recordFileCloseDue, note("record closed"));
        QObject::connect(&s, &Session::unreadScanDue, [&scans] { ++scans; });
        // Only the second subscriber has the public room open.
        QObject::connect(&s, &Session::publicRoomQuery, [who](YesNoQuery* q) {
            if (who == "2") q->answerYes();
        });
    }
    s.restoreLoginPanel("");
    h.login();
    s.logout();
    h.chat.sent.clear();
    h.login();
    s.unload();
    s.finishUnload();
    EXPECT_EQ(log, (std::vector<std::string>{"hall1", "hall2", "lists1", "lists2", "hotkey on1", "hotkey on2",
                                             "logged out1", "logged out2", "lists1", "lists2", "hotkey on1",
                                             "hotkey on2", "save quit1", "save quit2", "hotkey off1",
                                             "hotkey off2", "record closed1", "record closed2"}));
    EXPECT_EQ(scans, 2 * 8) << "every tick of the two logins, for each subscriber";
    EXPECT_EQ(h.sentOn(h.chat).header.sub, kind::kLogout.sub);
    const auto leave = h.sentOn(h.chat);
    EXPECT_EQ(leave.header.sub, kind::kRoom.sub);
    EXPECT_EQ(leave.header.code, code::kRoomLeave);
}

TEST(Login, JunkSettingsFilesFallBackToDefaults) {
    SessionHarness h;
    Bytes junk;
    uint32_t x = 99;
    for (int i = 0; i < 4000; ++i) {
        x = x * 1664525 + 1013904223;
        junk.push_back(static_cast<char>(x >> 24));
    }
    for (const char* file : {"Sys.ini", "User.ini"}) {
        FILE* f = std::fopen(h.dir.file(file).c_str(), "wb");
        std::fwrite(junk.data(), 1, junk.size(), f);
        std::fclose(f);
    }
    CIniFile::dropCache();
    h.session->restoreLoginPanel("");
    EXPECT_FALSE(h.session->waitDispatcher);
    EXPECT_FALSE(h.view.rememberChecked);

    h.view.name = "alice";
    h.view.password = "secret";
    h.session->comLoginClick();
    h.tick();
    const SentDatagram d = h.update.take();
    EXPECT_EQ(d.host, Session::kDefaultServer) << "no readable Server";
    EXPECT_EQ(frameOf(d).header.code, 256) << "no readable Ver: 1.0";
}

}  // namespace
}  // namespace nq::test
