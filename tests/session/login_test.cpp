#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "wire/digest.h"
#include "support/session_harness.h"

namespace nq::test {
namespace {

Bytes loginBodyOf(const std::string& name, const std::string& digest) {
    return joinFields({name, digest});
}

TEST(Login, ThroughDispatcherAndChatServerByteForByte) {
    SessionHarness h("127.0.0.6");
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
    EXPECT_TRUE(s.waitDispatcher);
    EXPECT_TRUE(h.nothingAt(h.dispatcher)) << "the click only queues; the tick transmits";

    h.tick();
    const std::string digest = *passwordDigest("secret");
    const auto toDispatcher = h.expect(h.dispatcher);
    EXPECT_EQ(toDispatcher.header.type, 1);
    EXPECT_EQ(toDispatcher.header.sub, 1);
    EXPECT_EQ(toDispatcher.header.code, 256) << "version 1.0 travels in Code";
    EXPECT_EQ(toDispatcher.raw.substr(16, 4), Bytes(4, '\0'));
    EXPECT_EQ(toDispatcher.body, loginBodyOf("alice", digest));
    EXPECT_EQ(toDispatcher.len, 22 + 6 + 33);

    h.fromDispatcher(1, joinFields({h.ip, "8000"}));
    EXPECT_FALSE(s.waitDispatcher);
    EXPECT_TRUE(s.waitLogin);
    EXPECT_TRUE(s.waitReply);

    h.tick();
    const auto toChat = h.expect(h.chat);
    EXPECT_EQ(toChat.header.code, 0);
    EXPECT_EQ(toChat.header.session, 0u);
    EXPECT_EQ(toChat.body, toDispatcher.body);
    EXPECT_TRUE(h.nothingAt(h.dispatcher));

    h.fromChat({.seq = 9, .type = 1, .sub = 1, .session = 0x00ABCDEF, .code = 1},
               joinFields({gbk::fromUtf8("爱丽丝"), "m3"}));
    h.tick();
    EXPECT_TRUE(s.online);
    EXPECT_FALSE(s.waitReply);
    EXPECT_EQ(s.sessionId, 0x00ABCDEF);
    EXPECT_EQ(s.myNick, gbk::fromUtf8("爱丽丝"));
    EXPECT_EQ(s.myHead, "4");
    EXPECT_EQ(s.myName, "alice");
    EXPECT_FALSE(s.exitAllowed);
    EXPECT_TRUE(h.view.sessionMenus);
    EXPECT_TRUE(h.view.inputsEnabled);
    EXPECT_EQ(h.view.status[2], "状态：登录成功");
    EXPECT_EQ(h.view.info, "验证通过.正在读取信息，请稍后...");
    EXPECT_EQ(h.readIni("User.ini", "UserName"), "alice");
    EXPECT_TRUE(std::filesystem::is_directory(h.home + "/alice"));

    h.tick();
    const auto roster = h.expect(h.chat);
    EXPECT_EQ(roster.header.type, 3);
    EXPECT_EQ(roster.header.sub, 4);
    EXPECT_EQ(roster.header.session, 0x00ABCDEFu);
    EXPECT_EQ(roster.header.seq, 10) << "numbering follows the server's 9";
    EXPECT_EQ(roster.body, joinFields({"alice"}));
    EXPECT_EQ(h.view.frame, "loginFrame") << "the login panel stays up until the roster arrives";

    h.fromChat({.seq = 10, .type = 3, .sub = 4, .session = 0x00ABCDEF, .code = 3}, joinFields({"bob", "m1"}));
    h.tick();
    EXPECT_EQ(h.view.frame, "loginFrame") << "the online list is no roster";
    h.fromChat({.seq = 11, .type = 3, .sub = 4, .session = 0x00ABCDEF, .code = 2}, "");
    h.tick();
    EXPECT_EQ(h.view.frame, "mainframe");
    EXPECT_EQ(h.view.status[2], "状态：在线");

    h.fromChat({.seq = 12, .type = 3, .sub = 5, .session = 0x00ABCDEF, .code = 2}, "");
    h.tick(2);  // queued by the leaf, which restarts sendIdle: it leaves with the next tick
    const auto more = h.expect(h.chat);
    EXPECT_EQ(more.header.type, 2);
    EXPECT_EQ(more.header.sub, 6);
    EXPECT_EQ(more.body, joinFields({"alice"}));
}

TEST(Login, RefusedByDispatcherOrByChatServer) {
    SessionHarness h("127.0.0.7");
    Session& s = *h.session;
    h.view.name = "alice";
    h.view.password = "wrong";
    s.comLoginClick();
    h.tick();
    h.expect(h.dispatcher);
    h.fromDispatcher(2, "");
    EXPECT_FALSE(s.waitDispatcher);
    EXPECT_EQ(h.view.info, "密码错误，请重新输入。");
    EXPECT_EQ(h.view.infoColor, InfoColor::Red);
    EXPECT_TRUE(h.view.loginEnabled);
    EXPECT_TRUE(h.view.inputsEnabled);
    EXPECT_EQ(h.view.focus, "txtPassword");

    s.comLoginClick();
    h.tick();
    h.expect(h.dispatcher);
    h.fromDispatcher(1, joinFields({h.ip, "8000"}));
    h.tick();
    h.expect(h.chat);
    h.fromChat({.seq = 1, .type = 1, .sub = 1, .code = 2}, "");
    h.tick();
    EXPECT_FALSE(s.online);
    EXPECT_FALSE(s.waitReply);
    EXPECT_EQ(h.view.infoColor, InfoColor::Red);
    h.tick(120);
    EXPECT_TRUE(h.services.boxes.empty()) << "a refusal is not followed by a time-out box";
}

TEST(Login, EmptyBoxesAndUndigestiblePasswordsStopTheClick) {
    SessionHarness h("127.0.0.3");
    Session& s = *h.session;
    s.comLoginClick();
    ASSERT_EQ(h.services.boxes.size(), 1u);
    EXPECT_EQ(h.services.boxes[0].text, "请输入用户名！");
    EXPECT_EQ(h.services.boxes[0].title, "提示");
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
    EXPECT_TRUE(h.nothingAt(h.dispatcher));
}

TEST(Login, KickDuringTheSessionEndsTheProcess) {
    SessionHarness h("127.0.0.8");
    h.login();
    h.fromChat({.seq = 2, .type = 1, .sub = 1, .session = 0x00ABCDEF, .code = 3}, "");
    h.tick();
    ASSERT_EQ(h.services.boxes.size(), 1u);
    EXPECT_EQ(h.services.boxes[0].text, "抱歉，您的帐号在别处登陆！");
    EXPECT_TRUE(h.view.trayRemoved);
    EXPECT_EQ(h.services.exitCodes.size(), 1u);
    EXPECT_TRUE(h.nothingAt(h.chat)) << "no quit frame: the process just ends";
}

TEST(Login, RememberedPasswordUsesTheStoredDigest) {
    SessionHarness h("127.0.0.4");
    Session& s = *h.session;
    const std::string stored = *passwordDigest("123456");
    h.writeIni("User.ini", "UserName", "bob");
    h.writeIni("User.ini", "isrempwd", "1");
    h.writeIni("User.ini", "Password", stored);
    s.restoreLoginPanel("");
    EXPECT_EQ(h.view.name, "bob");
    EXPECT_EQ(h.view.password, Session::kPasswordPlaceholder);
    EXPECT_TRUE(h.view.rememberChecked);
    EXPECT_FALSE(h.view.autoRunChecked);
    EXPECT_FALSE(s.waitDispatcher) << "no OutoRun, no login";

    s.comLoginClick();
    h.tick();
    EXPECT_EQ(h.expect(h.dispatcher).body, loginBodyOf("bob", stored));
    h.fromDispatcher(1, joinFields({h.ip, "8000"}));
    h.tick();
    h.expect(h.chat);
    h.fromChat({.seq = 1, .type = 1, .sub = 1, .session = 5, .code = 1}, joinFields({"b", "w2"}));
    h.tick();
    EXPECT_EQ(s.myHead, "12");
    EXPECT_EQ(h.readIni("User.ini", "Password"), stored) << "the placeholder leaves the stored digest alone";
}

TEST(Login, TypedPasswordIsRememberedOrForgottenOnAcceptance) {
    SessionHarness h("127.0.0.2");
    h.session->remPwdClicked(true);
    EXPECT_EQ(h.readIni("User.ini", "isrempwd"), "1");
    h.login("carol", "abc");
    EXPECT_EQ(h.readIni("User.ini", "Password"), *passwordDigest("abc"));

    h.session->remPwdClicked(false);
    h.session->logout();
    EXPECT_EQ(h.expect(h.chat).header.sub, 5);
    h.login("carol", "abc", 77);
    EXPECT_EQ(h.readIni("User.ini", "Password"), "");
}

TEST(Login, AutoRunNeedsBothBoxesFilled) {
    SessionHarness h("127.0.0.14");
    h.writeIni("User.ini", "UserName", "dave");
    h.writeIni("User.ini", "OutoRun", "1");
    h.session->restoreLoginPanel("");
    EXPECT_FALSE(h.view.autoRunChecked) << "no remembered password: nothing to log in with";
    EXPECT_FALSE(h.session->waitDispatcher);

    h.writeIni("User.ini", "isrempwd", "1");
    h.writeIni("User.ini", "Password", *passwordDigest("x"));
    h.session->restoreLoginPanel("");
    EXPECT_TRUE(h.view.autoRunChecked);
    EXPECT_TRUE(h.session->waitDispatcher);
    h.tick();
    EXPECT_EQ(h.expect(h.dispatcher).body, loginBodyOf("dave", *passwordDigest("x")));
}

TEST(Login, HallCommandLineLogsInWithoutAClick) {
    SessionHarness h("127.0.0.15");
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
    EXPECT_EQ(h.expect(h.dispatcher).body, loginBodyOf("erin", "0123abcd"));

    // Without "$" the fields are empty, and the attempt goes out all the same.
    SessionHarness bare("127.0.0.16");
    bare.session->restoreLoginPanel("nodollars");
    EXPECT_TRUE(bare.session->hallStart);
    bare.tick();
    EXPECT_EQ(bare.expect(bare.dispatcher).body, Bytes(2, '\0'));
}

TEST(Login, CancelKeepsTheDispatcherRetriesRunning) {
    SessionHarness h("127.0.0.17");
    h.view.name = "alice";
    h.view.password = "secret";
    h.session->comLoginClick();
    h.tick();
    h.session->comCancleClick();
    EXPECT_TRUE(h.view.loginEnabled);
    EXPECT_TRUE(h.view.inputsEnabled);
    EXPECT_EQ(h.view.info, "");
    EXPECT_TRUE(h.session->waitDispatcher);
    EXPECT_TRUE(h.timer.enabled());
}

TEST(Login, UpdateOrderStartsTheUpdaterAndUnloads) {
    SessionHarness h("127.0.0.18");
    h.view.name = "alice";
    h.view.password = "secret";
    h.services.startSucceeds = false;
    h.session->comLoginClick();
    h.tick();
    h.expect(h.dispatcher);
    const Bytes order = joinFields({"a", "2", "c", "d", "e", "f", "g", "http://example/pkg"});
    h.fromDispatcher(4, order);
    ASSERT_EQ(h.services.starts.size(), 1u);
    EXPECT_EQ(h.view.mainFormUnloads, 0) << "an updater that cannot start leaves the client up";
    EXPECT_TRUE(h.session->waitDispatcher);

    h.services.startSucceeds = true;
    h.fromDispatcher(4, order);
    ASSERT_EQ(h.services.starts.size(), 2u);
    EXPECT_EQ(h.services.starts[1].program, h.home + "/update");
    ASSERT_EQ(h.services.starts[1].args.size(), 1u);
    EXPECT_EQ(h.services.starts[1].args[0],
              "http://example/pkg$$$" + h.home + "$NQChatUpdate.exe$1$0$" + Session::kUpdateHost + "$1080$");
    EXPECT_EQ(h.view.mainFormUnloads, 1);

    h.fromDispatcher(4, joinFields({"a", "b"}));
    EXPECT_EQ(h.services.starts[2].args[0].substr(0, 3), "$$$")
        << "a short order leaves the first place empty";
}

TEST(Login, LogoutSendsTheQuitFrameAtOnce) {
    SessionHarness h("127.0.0.19");
    Session& s = *h.session;
    h.login();
    s.logout();
    const auto quit = h.expect(h.chat);
    EXPECT_EQ(quit.header.type, 1);
    EXPECT_EQ(quit.header.sub, 5);
    EXPECT_EQ(quit.body, joinFields({"alice"}));
    EXPECT_FALSE(s.online);
    EXPECT_EQ(h.view.frame, "loginFrame");
    EXPECT_EQ(h.view.status[2], "状态：未验证");
    EXPECT_GE(h.view.contactClears, 1);
    EXPECT_EQ(h.view.otherFormUnloads, 1);
    EXPECT_FALSE(s.exitAllowed) << "after a logout the close button still hides";
    s.unload();
    EXPECT_TRUE(h.nothingAt(h.chat)) << "exit while logged out sends nothing";
}

}  // namespace
}  // namespace nq::test

namespace nq::test {
namespace {

void writeRaw(const std::string& path, const Bytes& bytes) {
    FILE* f = std::fopen(path.c_str(), "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
}

TEST(Login, JunkSettingsFilesFallBackToDefaults) {
    SessionHarness h("127.0.0.69");
    Bytes junk;
    uint32_t x = 99;
    for (int i = 0; i < 4000; ++i) {
        x = x * 1664525 + 1013904223;
        junk.push_back(static_cast<char>(x >> 24));
    }
    // Junk all round, with one readable Server line so that the login stays on this test's address.
    writeRaw(h.home + "/Sys.ini", junk + "\r\n[Setting]\r\nServer=" + h.ip + "\r\n" + junk);
    writeRaw(h.home + "/User.ini", junk);
    CIniFile::dropCache();
    h.session->restoreLoginPanel("");
    EXPECT_FALSE(h.session->waitDispatcher);
    EXPECT_FALSE(h.view.rememberChecked);

    h.view.name = "alice";
    h.view.password = "secret";
    h.session->comLoginClick();
    h.tick();
    const auto f = h.expect(h.dispatcher);
    EXPECT_EQ(f.header.code, 256) << "no readable Ver: 1.0";
}

}  // namespace
}  // namespace nq::test
