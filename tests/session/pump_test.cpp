#include <gtest/gtest.h>

#include "support/session_harness.h"

namespace nq::test {
namespace {

constexpr uint32_t kSession = 0x00ABCDEF;

TEST(Pump, DispatcherRetriesAt10s40s70sThenGivesUp) {
    SessionHarness h("127.0.0.9");
    ScriptedPeer first("127.0.0.10", 4000);
    ScriptedPeer second("127.0.0.11", 4000);
    h.writeIni("Sys.ini", "Server1", "127.0.0.10");
    h.writeIni("Sys.ini", "Server2", "127.0.0.11");
    h.view.name = "alice";
    h.view.password = "secret";
    h.session->comLoginClick();
    h.tick();
    const auto original = h.expect(h.dispatcher);

    h.tick(19);  // ticks 2..20: the retry is queued at 20
    EXPECT_TRUE(h.nothingAt(first));
    h.tick();
    const auto retry1 = h.expect(first);
    EXPECT_EQ(retry1.body, original.body);
    EXPECT_EQ(retry1.header.code, 256);

    h.tick(59);  // to tick 80
    EXPECT_TRUE(h.nothingAt(second));
    h.tick();
    EXPECT_EQ(h.expect(second).body, original.body);
    EXPECT_TRUE(h.services.boxes.empty());

    h.tick(58);  // tick 139
    EXPECT_TRUE(h.services.boxes.empty());
    h.tick();  // tick 140
    ASSERT_EQ(h.services.boxes.size(), 1u);
    EXPECT_EQ(h.services.boxes[0].text, "连接服务器超时,请重试！");
    EXPECT_EQ(h.services.boxes[0].title, "聊天工具提示");
    EXPECT_FALSE(h.session->waitDispatcher);
    EXPECT_EQ(h.session->dispatchTicks, 0);
    EXPECT_FALSE(h.timer.enabled());
    EXPECT_TRUE(h.view.loginEnabled);
}

TEST(Pump, AnEmptyRetryHostSendsNowhereAndTheScheduleGoesOn) {
    SessionHarness h("127.0.0.12");
    h.writeIni("Sys.ini", "Server1", "");
    h.writeIni("Sys.ini", "Server2", "no-such-host.invalid");
    h.view.name = "alice";
    h.view.password = "secret";
    h.session->comLoginClick();
    h.tick(140);
    ASSERT_EQ(h.services.boxes.size(), 1u);
    EXPECT_EQ(h.services.boxes[0].text, "连接服务器超时,请重试！");
}

TEST(Pump, KeepAliveEvery21TicksAndSessionLossAfter16Unanswered) {
    SessionHarness h("127.0.0.70");
    Session& s = *h.session;
    h.login();

    std::vector<int> sentAt;
    int lostAt = -1;
    for (int t = 1; t <= 400 && lostAt < 0; ++t) {
        h.tick();
        if (auto r = h.chat.receive(0)) {
            auto f = firstFrame(r->data);
            ASSERT_TRUE(f);
            EXPECT_EQ(f->header.type, 9);
            EXPECT_EQ(f->header.session, kSession);
            EXPECT_EQ(f->body, joinFields({"alice"}));
            sentAt.push_back(t);
        }
        if (!s.online) lostAt = t;
    }
    ASSERT_EQ(sentAt.size(), 16u);
    for (size_t i = 1; i < sentAt.size(); ++i) EXPECT_EQ(sentAt[i] - sentAt[i - 1], 21);
    EXPECT_EQ(lostAt, sentAt.back() + 21) << "the 17th keep-alive finds 16 missed";
    EXPECT_TRUE(s.reverifying);
    EXPECT_EQ(s.sessionId, 0);
    EXPECT_EQ(s.pengMissed, 1) << "the losing tick still counts its keep-alive";
    EXPECT_TRUE(h.nothingAt(h.chat)) << "the lost session sends no keep-alive";

    // Each resend is queued at reverifyTicks 2, 40 and 80 and leaves with the next tick.
    h.tick(2);
    EXPECT_TRUE(h.nothingAt(h.chat));
    h.tick();
    const auto resend = h.expect(h.chat);
    EXPECT_EQ(resend.header.type, 1);
    EXPECT_EQ(resend.header.code, 0);
    EXPECT_EQ(resend.header.session, 0u);
    ASSERT_EQ(h.services.toasts.size(), 1u);
    EXPECT_EQ(h.services.toasts[0].text, "与服务器断开连接，正在重新发送验证请求。");
    EXPECT_EQ(h.services.toasts[0].milliseconds, 6000);
    EXPECT_EQ(h.services.toasts[0].sound, h.home + "/sound/SysMsg.wav");
    EXPECT_EQ(h.view.status[2], "状态：重新验证");
    EXPECT_EQ(h.view.frame, "loginFrame");
    EXPECT_FALSE(h.view.loginEnabled);

    h.tick(37);
    EXPECT_TRUE(h.nothingAt(h.chat));
    h.tick();
    h.expect(h.chat);
    h.tick(39);
    EXPECT_TRUE(h.nothingAt(h.chat));
    EXPECT_TRUE(h.services.boxes.empty());
    h.tick();  // reverifyTicks 81: the last resend leaves, then the attempt is given up
    h.expect(h.chat);
    EXPECT_EQ(h.services.toasts.size(), 1u) << "only the first resend shows the toast";
    ASSERT_EQ(h.services.boxes.size(), 1u);
    EXPECT_EQ(h.services.boxes[0].text, "连接服务器超时！");
    EXPECT_FALSE(s.reverifying);
    EXPECT_FALSE(h.timer.enabled());
}

TEST(Pump, AnsweredKeepAlivesHoldTheSessionAndDoubleAnswersGiveGrace) {
    SessionHarness h("127.0.0.61");
    Session& s = *h.session;
    h.login();
    for (int i = 0; i < 21 * 20; ++i) {
        h.tick();
        if (auto r = h.chat.receive(0)) {
            auto f = firstFrame(r->data);
            if (f && f->header.type == 9) {
                h.fromChat({.seq = 3, .type = 9, .session = kSession}, "");
                h.fromChat({.seq = 4, .type = 9, .sub = 7, .session = kSession}, "");
            }
        }
    }
    EXPECT_TRUE(s.online);
    EXPECT_LT(s.pengMissed, 0);
}

TEST(Pump, SecondLossSkipsTheToastAndResendsFirstAt40) {
    SessionHarness h("127.0.0.62");
    Session& s = *h.session;
    h.login();
    s.pengMissed = 16;
    s.pengTicks = 20;
    h.tick();
    ASSERT_TRUE(s.reverifying);
    h.tick(3);
    h.expect(h.chat);
    h.fromChat({.seq = 1, .type = 1, .sub = 1, .session = 99, .code = 1}, joinFields({"n", "m1"}));
    h.tick();
    ASSERT_TRUE(s.online);
    const int carried = s.reverifyTicks;
    EXPECT_GE(carried, 2) << "a success does not reset the count";
    h.tick();
    EXPECT_EQ(h.expect(h.chat).header.sub, 4) << "the renewed session loads the lists anew";

    s.pengMissed = 16;
    s.pengTicks = 20;
    h.tick();
    ASSERT_TRUE(s.reverifying);
    h.tick(40 - carried);  // the count goes on from where it stood and reaches 40 here
    EXPECT_TRUE(h.nothingAt(h.chat));
    h.tick();
    EXPECT_EQ(h.expect(h.chat).header.type, 1);
    EXPECT_EQ(h.services.toasts.size(), 1u);
}

TEST(Pump, TwoFramesInATickThenOneATickWhileABacklogDrains) {
    SessionHarness h("127.0.0.63");
    Session& s = *h.session;
    h.login();
    int handled = 0;
    s.handlers.on(11, 1, [&](Session&) { ++handled; });
    Bytes first;
    encodeFrame({.seq = 1, .type = 11, .sub = 1}, "a", first);
    encodeFrame({.seq = 2, .type = 11, .sub = 1}, "b", first);
    h.fromChat(first);
    h.fromChat(encodeFrame({.seq = 3, .type = 11, .sub = 1}, "c"));
    h.fromChat(encodeFrame({.seq = 4, .type = 11, .sub = 1}, "d"));
    h.tick();
    EXPECT_EQ(handled, 2);
    h.tick();
    EXPECT_EQ(handled, 3);
    h.tick();
    EXPECT_EQ(handled, 4);
    h.tick();
    EXPECT_EQ(handled, 4);

    // A stray byte behind a frame is never parsed: the rule needs a difference above 1.
    h.fromChat(encodeFrame({.seq = 5, .type = 11, .sub = 1}, "e") + "x");
    h.tick(3);
    EXPECT_EQ(handled, 5);
}

TEST(Pump, GatedSenderLosesItsRequestSilently) {
    SessionHarness h("127.0.0.64");
    Session& s = *h.session;
    h.login();
    EXPECT_TRUE(s.queueFrameGated(3, 1, 1, joinFields({"alice", "bob"})));
    EXPECT_FALSE(s.queueFrameGated(3, 7, 0, joinFields({"alice", "grp"})));
    h.tick();
    EXPECT_EQ(h.expect(h.chat).header.sub, 1);
    EXPECT_TRUE(h.nothingAt(h.chat));
    EXPECT_TRUE(s.queueFrameGated(3, 7, 0, joinFields({"alice", "grp"}))) << "the next tick opens the gate";
}

TEST(Pump, ReplyWaitTimesOutWithTheLongerLimitAfterLogin) {
    SessionHarness h("127.0.0.65");
    Session& s = *h.session;
    h.login();
    const int carried = s.waitTicks;
    s.waitReply = true;
    h.tick(99 - carried);
    EXPECT_TRUE(h.services.boxes.empty());
    h.tick();
    ASSERT_EQ(h.services.boxes.size(), 1u);
    EXPECT_EQ(h.services.boxes[0].text, "连接服务器超时,请重试！");
    EXPECT_FALSE(s.waitLogin);

    s.waitReply = true;
    h.tick(50);
    EXPECT_EQ(h.services.boxes.size(), 1u);
    h.tick();
    EXPECT_EQ(h.services.boxes.back().text, "连接服务器失败！");
    EXPECT_FALSE(s.waitReply);
}

TEST(Dispatch, SystemNoticesKeepAliveAndDirectLinkLeaves) {
    SessionHarness h("127.0.0.66");
    Session& s = *h.session;
    h.login();
    const FrameHeader notice{.seq = 2, .type = 8, .sub = 1, .session = kSession};
    h.fromChat(notice, joinFields({gbk::fromUtf8("服务器维护")}));
    h.tick();
    ASSERT_EQ(h.services.boxes.size(), 1u);
    EXPECT_EQ(h.services.boxes[0].title, "系统消息");
    EXPECT_EQ(h.services.boxes[0].text, "服务器维护");

    h.fromChat({.seq = 3, .type = 8, .sub = 2, .session = kSession}, joinFields({"hello"}));
    h.tick();
    ASSERT_EQ(h.services.toasts.size(), 1u);
    EXPECT_EQ(h.services.toasts[0].text, "hello");
    EXPECT_EQ(h.services.toasts[0].milliseconds, 6000);

    h.fromChat({.seq = 4, .type = 8, .sub = 1, .session = kSession}, "");
    h.tick();
    EXPECT_EQ(h.services.boxes.back().text, "") << "an empty notice shows an empty box";

    h.fromChat({.seq = 5, .type = 10, .sub = 3, .session = kSession, .code = 2}, "");
    h.tick();
    EXPECT_EQ(h.services.boxes.back().text, "对方不在线！");

    const auto boxes = h.services.boxes.size();
    for (uint16_t type : {4, 11}) h.fromChat({.seq = 6, .type = type, .sub = 1}, "x");
    h.fromChat({.seq = 7, .type = 1, .sub = 2}, "x");
    h.tick(3);
    EXPECT_EQ(h.services.boxes.size(), boxes);
    EXPECT_TRUE(s.online);

    s.pengMissed = 0;
    h.fromChat({.seq = 8, .type = 9, .sub = 5}, "");
    h.tick();
    EXPECT_EQ(s.pengMissed, -1);
}

TEST(Dispatch, PoisonedFrameRunsThePreviousLeafAgain) {
    SessionHarness h("127.0.0.67");
    Session& s = *h.session;
    h.login();
    int runs = 0;
    s.handlers.on(11, 2, [&](Session&) { ++runs; });
    h.fromChat(encodeFrame({.seq = 1, .type = 11, .sub = 2}, "x"));
    h.tick();
    ASSERT_EQ(runs, 1);
    Bytes poison = encodeFrame({.seq = 2, .type = 8, .sub = 1}, Bytes(1000, 'p'));
    h.fromChat(poison);
    h.tick();
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(s.Buf_head, 0);
    EXPECT_EQ(s.Buf_rear, 0);
    EXPECT_TRUE(h.services.boxes.empty());
}

TEST(Dispatch, GarbageFromTheServerNeverStopsThePump) {
    SessionHarness h("127.0.0.68");
    Session& s = *h.session;
    h.login();
    uint32_t x = 7;
    for (int i = 0; i < 40; ++i) {
        Bytes junk(1 + i * 37 % 900, '\0');
        for (auto& c : junk) {
            x = x * 1103515245 + 12345;
            c = static_cast<char>(x >> 16);
        }
        // Keep the junk away from the frames that end the session or open boxes.
        junk[4] = 0;
        junk[5] = static_cast<char>(3 + i % 5);
        h.fromChat(junk);
        h.tick();
    }
    EXPECT_TRUE(h.timer.enabled());
    EXPECT_TRUE(h.services.exitCodes.empty());
    h.tick(30);
    EXPECT_TRUE(s.online);
}

}  // namespace
}  // namespace nq::test
