#include <gtest/gtest.h>

#include <filesystem>

#include "support/session_harness.h"
#include "wire/digest.h"

namespace nq::test {
namespace {

constexpr uint32_t kSession = SessionHarness::kSessionNumber;

TEST(Login, ThroughDispatcherAndChatServerByteForByte) {
    SessionHarness h;
    Session& s = *h.session;
    h.click();
    EXPECT_TRUE(h.timer.enabled());
    EXPECT_TRUE(!h.view.loginEnabled && h.view.cancelEnabled && !h.view.inputsEnabled);
    EXPECT_EQ(h.view.info, "正在等待服务器验证，请稍侯。。。");
    EXPECT_EQ(h.view.status, (std::map<int, std::string>{{1, "用户:alice"}, {2, "状态：等待验证"}}));
    EXPECT_TRUE(h.update.sent.empty()) << "the click only queues; the tick transmits";

    h.tick();
    const SentDatagram toDispatcher = h.update.take();
    EXPECT_EQ(toDispatcher.host, SessionHarness::kDispatcherHost);
    const auto first = frameOf(toDispatcher);
    EXPECT_EQ(kindOf(first), kind::kLogin);
    EXPECT_EQ(first.raw.substr(16, 4), Bytes(4, '\0'));

    h.redirect();
    EXPECT_TRUE(!s.waitDispatcher && s.waitLogin && s.waitReply);
    h.tick();
    const SentDatagram toChat = h.chat.take();
    EXPECT_EQ(toChat.host + ":" + std::to_string(toChat.port),
              std::string(SessionHarness::kChatHost) + ":8000");
    const auto second = frameOf(toChat);
    EXPECT_EQ(std::tuple(second.header.code, second.header.session, second.body),
              std::tuple(0, 0u, first.body));

    h.fromChat({.seq = 9, .type = 1, .sub = 1, .session = kSession, .code = code::kLoginAccepted},
               joinFields({gbk::fromUtf8("爱丽丝"), "m3"}));
    h.tick();
    EXPECT_TRUE(s.online && !s.waitReply && !s.exitAllowed);
    EXPECT_EQ(std::tuple(s.wire.sessionId, s.myNick, s.myHead, s.myName),
              std::tuple(kSession, gbk::fromUtf8("爱丽丝"), "4", "alice"));
    EXPECT_TRUE(h.view.sessionMenus && h.view.inputsEnabled);
    EXPECT_EQ(h.view.status[2], "状态：登录成功");
    EXPECT_EQ(h.readIni("User.ini", "UserName"), "alice");
    EXPECT_TRUE(std::filesystem::is_directory(h.home() + "/alice"));

    h.tick();
    const auto roster = h.sentOn(h.chat);
    EXPECT_EQ(kindOf(roster), kind::kFriendRoster);
    EXPECT_EQ(std::tuple(roster.header.session, roster.header.seq, roster.body),
              std::tuple(kSession, 10, joinFields({"alice"})))
        << "numbering follows the server's 9";
    EXPECT_EQ(h.view.frame, "loginFrame") << "the login panel stays up until the roster arrives";
}

TEST(Login, ARefusalFromEitherServerReturnsToThePasswordBox) {
    for (bool byDispatcher : {true, false}) {
        SCOPED_TRACE(byDispatcher ? "dispatcher" : "chat server");
        SessionHarness h;
        Session& s = *h.session;
        h.click("alice", "wrong");
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
        EXPECT_TRUE(h.view.infoColor == InfoColor::Red && h.view.loginEnabled && h.view.inputsEnabled);
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
    EXPECT_EQ(std::tuple(h.services.boxes[0].text, h.services.boxes[0].icon),
              std::tuple("请输入用户名！", BoxIcon::Critical));
    h.view.name = "alice";
    s.comLoginClick();
    EXPECT_EQ(h.services.boxes.back().text, "请输入密码！");
    EXPECT_EQ(h.view.focus, "txtPassword");

    h.view.password = "密码";
    s.comLoginClick();
    EXPECT_FALSE(h.view.loginEnabled) << "the failed digest leaves com_login disabled";
    h.tick();
    EXPECT_TRUE(h.update.sent.empty());
}

// User.ini before the start, what the user types (nullptr: nothing), and the passwords whose
// digests go out and stay in Password afterwards.
struct Remembered {
    const char *name, *isrempwd, *storedFor, *outoRun, *typed;
    bool autoLogin;
    const char *sentFor, *keptAfter;
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
        for (auto [key, value] :
             {std::pair{"UserName", "bob"}, {"isrempwd", row.isrempwd}, {"OutoRun", row.outoRun}})
            h.writeIni("User.ini", key, value);
        h.writeIni("User.ini", "Password", digest(row.storedFor));
        s.restoreLoginPanel("");
        EXPECT_EQ(h.view.name, "bob");
        EXPECT_EQ(h.view.rememberChecked, std::string(row.isrempwd) == "1");
        EXPECT_EQ(h.view.autoRunChecked, row.autoLogin);
        EXPECT_EQ(s.waitDispatcher, row.autoLogin);
        if (row.typed) h.view.password = row.typed;
        if (!row.autoLogin) s.comLoginClick();
        h.tick();
        EXPECT_EQ(h.sentOn(h.update).body, joinFields({"bob", digest(row.sentFor)}));
        h.redirect();
        h.tick();
        h.accept();
        h.tick();
        EXPECT_EQ(h.readIni("User.ini", "Password"), digest(row.keptAfter));
    }
}

TEST(Login, TakenPortsMoveTheLocalPortOn) {
    SessionHarness h;
    Session& s = *h.session;
    s.localPort = 65535 - 321 - 173;  // the walk's second step passes the top and comes back
    const uint16_t p0 = s.localPort, p1 = p0 + 123, p2 = 7000 + (p1 + 123) % 1000;
    h.update.takenPorts = {p0};
    h.chat.takenPorts = {static_cast<uint16_t>(p1 + 321)};
    h.click();
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
    EXPECT_EQ(std::tuple(s.hallStart, s.hallCommand, h.view.name, h.view.password),
              std::tuple(true, 2, "erin", Session::kPasswordPlaceholder));
    EXPECT_TRUE(!h.view.loginEnabled && h.view.cancelEnabled && h.timer.enabled());
    h.tick();
    EXPECT_EQ(h.sentOn(h.update).body, joinFields({"erin", "0123abcd"}));

    // Without "$" the fields are empty, and the attempt goes out all the same; without Sys.ini
    // to the built-in host, as version 1.0.
    SessionHarness bare;
    std::filesystem::remove(bare.dir.file("Sys.ini"));
    CIniFile::dropCache();
    bare.session->restoreLoginPanel("nodollars");
    EXPECT_TRUE(bare.session->hallStart);
    bare.tick();
    const SentDatagram d = bare.update.take();
    EXPECT_EQ(std::tuple(d.host, frameOf(d).header.code, frameOf(d).body),
              std::tuple(Session::kDefaultServer, 256, Bytes(2, '\0')));
}

TEST(Login, UpdateOrderStartsTheUpdaterAndUnloads) {
    SessionHarness h;
    h.services.startSucceeds = false;
    h.click();
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
    EXPECT_EQ(std::tuple(kindOf(quit), quit.header.session, quit.body),
              std::tuple(kind::kLogout, kSession, joinFields({"alice"})));
    EXPECT_TRUE(!s.online && h.chat.localPort() == 0);
    EXPECT_EQ(std::tuple(h.view.frame, h.view.status[2], h.view.otherFormUnloads),
              std::tuple("loginFrame", "状态：未验证", 1));
    EXPECT_FALSE(s.exitAllowed) << "after a logout the close button still hides";
    s.unload();
    EXPECT_TRUE(h.chat.sent.empty()) << "exit while logged out sends nothing";
}

TEST(Session, EveryEventReachesEverySubscriberAtItsPoint) {
    SessionHarness h;
    Session& s = *h.session;
    std::vector<std::string> log;
    int scans = 0;
    bool inRoom = false;
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
        // Only the second subscriber may have the public room open.
        QObject::connect(&s, &Session::publicRoomQuery, [who, &inRoom](YesNoQuery* q) {
            if (who == "2" && inRoom) q->answerYes();
        });
    }
    s.restoreLoginPanel("");
    h.login();
    s.logout();
    h.chat.sent.clear();
    h.login();
    s.unload();
    EXPECT_EQ(kindOf(h.sentOn(h.chat)), kind::kLogout);
    EXPECT_TRUE(h.chat.sent.empty()) << "nobody is in the public room";
    inRoom = true;
    s.unload();  // a second exit, offline now: only the room is left
    s.finishUnload();
    EXPECT_EQ(log, (std::vector<std::string>{
                       "hall1",       "hall2",       "lists1",      "lists2",         "hotkey on1",
                       "hotkey on2",  "logged out1", "logged out2", "lists1",         "lists2",
                       "hotkey on1",  "hotkey on2",  "save quit1",  "save quit2",     "hotkey off1",
                       "hotkey off2", "hotkey off1", "hotkey off2", "record closed1", "record closed2"}));
    EXPECT_EQ(scans, 2 * 8) << "every tick of the two logins, for each subscriber";
    const auto leave = h.sentOn(h.chat);
    EXPECT_EQ(std::tuple(kindOf(leave), leave.header.code), std::tuple(kind::kRoom, code::kRoomLeave));
}

}  // namespace
}  // namespace nq::test
