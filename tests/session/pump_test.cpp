#include <gtest/gtest.h>

#include "support/session_harness.h"
#include "wire/digest.h"

namespace nq::test {
namespace {

constexpr uint32_t kSession = SessionHarness::kSessionNumber;
constexpr FrameKind kUnlisted{11, 1};  // a kind no leaf is registered for

enum class Stage { Clicked, Redirected, RedirectUnbound, LoggedIn, LoggedInWaitLoginDown, SessionLost };

TEST(Pump, EachWaitGivesUpWithItsBoxOnItsTick) {
    // The wait, how far the session got before it begins, the tick the box shows on, its text,
    // and whether the timer stays on after the give-up.
    const std::tuple<const char*, Stage, int, const char*, bool> rows[] = {
        {"dispatcher silent: 70 s", Stage::Clicked, 140, "连接服务器超时,请重试！", false},
        {"chat server silent: 50 s", Stage::Redirected, 100, "连接服务器超时,请重试！", true},
        {"a chat socket that cannot bind: the dispatcher wait runs on", Stage::RedirectUnbound, 139,
         "连接服务器超时,请重试！", false},
        {"a reply after login: waitLogin is still up", Stage::LoggedIn, 100, "连接服务器超时,请重试！", true},
        {"any other reply: past 25 s", Stage::LoggedInWaitLoginDown, 51, "连接服务器失败！", true},
        {"16 keep-alives unanswered, then 40 s of resends", Stage::SessionLost, 82, "连接服务器超时！",
         false},
    };
    for (const auto& [name, stage, boxAtTick, text, timerStaysOn] : rows) {
        SCOPED_TRACE(name);
        SessionHarness h;
        Session& s = *h.session;
        if (stage <= Stage::RedirectUnbound) {
            h.click();
            if (stage != Stage::Clicked) {
                h.tick();
                if (stage == Stage::RedirectUnbound) h.chat.refusedPorts = {uint16_t(s.localPort + 321)};
                h.redirect();
            }
        } else {
            h.login();
            s.waitTicks = 0;
            s.waitReply = stage != Stage::SessionLost;
            s.waitLogin = stage == Stage::LoggedIn;
            s.pengMissed = stage == Stage::SessionLost ? 16 : 0;
            s.pengTicks = 20;
        }
        int ticks = 0;
        for (; h.services.boxes.empty() && ticks < 200; ++ticks) h.tick();
        EXPECT_EQ(ticks, boxAtTick);
        ASSERT_EQ(h.services.boxes.size(), 1u);
        EXPECT_EQ(std::tuple(h.services.boxes[0].text, h.services.boxes[0].title),
                  std::tuple(text, "聊天工具提示"));
        EXPECT_EQ(h.timer.enabled(), timerStaysOn);
        EXPECT_FALSE(s.waitDispatcher || s.waitReply || s.reverifying);
    }
}

TEST(Pump, DispatcherRetriesGoToServer1And2FromTheNextPortUpEvenAfterACancel) {
    SessionHarness h;
    // The Server2 retry cannot bind; it sends nowhere, and the schedule goes on all the same.
    h.writeIni("Sys.ini", "Server1", "backup.test");
    h.click();
    const uint16_t port = h.session->localPort;
    // The tick, the host and port it went to, the port it left from, its code and its body.
    using Sent = std::tuple<int, std::string, uint16_t, uint16_t, uint16_t, Bytes>;
    std::vector<Sent> sent;
    int32_t queuedBefore = 0;
    for (int t = 1; t <= 140; ++t) {
        // A retry whose bind fails still queues its frame (into nowhere) and shows the wait again.
        h.update.refusedPorts = {static_cast<uint16_t>(t == 80 ? port + 1 : 0)};
        h.tick();
        for (; !h.update.sent.empty(); h.update.sent.pop_front()) {
            const SentDatagram& d = h.update.sent.front();
            sent.emplace_back(t, d.host, d.port, d.localPort, frameOf(d).header.code, frameOf(d).body);
        }
        if (t == 1 || t == 79) h.session->comCancleClick();
        if (t == 79) queuedBefore = h.session->wire.sendWrite;
        if (t == 80) {
            EXPECT_FALSE(h.view.inputsEnabled) << "the failed retry disables the boxes again";
            EXPECT_NE(h.session->wire.sendWrite, queuedBefore) << "and queues its frame";
        }
    }
    const Bytes body = joinFields({"alice", *passwordDigest("secret")});
    EXPECT_EQ(sent, (std::vector<Sent>{{1, SessionHarness::kDispatcherHost, 4000, port, 256, body},
                                       {21, "backup.test", 4000, uint16_t(port + 1), 256, body}}))
        << "version 1.0 is code 256";
    EXPECT_TRUE(h.view.loginEnabled && h.view.inputsEnabled);
}

TEST(Pump, KeepAliveEvery21TicksThenResendsAfter16Unanswered) {
    SessionHarness h;
    Session& s = *h.session;
    h.login();
    std::vector<int> sentAt;
    int lostAt = -1;
    for (int t = 1; t <= 400 && lostAt < 0; ++t) {
        h.tick();
        while (!h.chat.sent.empty()) {
            const auto f = h.sentOn(h.chat);
            EXPECT_EQ(std::tuple(f.header.type, f.header.session, f.body),
                      std::tuple(family::kKeepAlive, kSession, joinFields({"alice"})));
            sentAt.push_back(t);
        }
        if (!s.online) lostAt = t;
    }
    ASSERT_EQ(sentAt.size(), 16u);
    for (size_t i = 1; i < sentAt.size(); ++i) EXPECT_EQ(sentAt[i] - sentAt[i - 1], 21);
    EXPECT_EQ(lostAt, sentAt.back() + 21) << "the 17th keep-alive finds 16 missed";
    EXPECT_TRUE(s.reverifying);
    EXPECT_EQ(s.pengMissed, 1) << "the losing tick still counts its keep-alive";
    EXPECT_TRUE(h.chat.sent.empty()) << "the lost session sends no keep-alive";

    // The login body goes again, unstamped, one tick after reverifyTicks 2, 40 and 80.
    std::vector<int> resentAt;
    for (int t = 1; t <= 81; ++t) {
        h.tick();
        while (!h.chat.sent.empty()) {
            const auto f = h.sentOn(h.chat);
            EXPECT_EQ(std::tuple(f.header.type, f.header.session), std::tuple(kind::kLogin.type, 0u));
            resentAt.push_back(t);
        }
    }
    EXPECT_EQ(resentAt, (std::vector<int>{3, 41, 81}));
    ASSERT_EQ(h.services.toasts.size(), 1u) << "only the first resend shows the toast";
    const auto& toast = h.services.toasts[0];
    EXPECT_EQ(std::tuple(toast.text, toast.milliseconds, toast.sound),
              std::tuple("与服务器断开连接，正在重新发送验证请求。", 6000, h.home() + "/sound/SysMsg.wav"));
    EXPECT_EQ(h.view.frame, "loginFrame");
}

TEST(Pump, AnsweredKeepAlivesHoldTheSessionAndAResetEndsThem) {
    SessionHarness h;
    Session& s = *h.session;
    h.login();
    for (int i = 0; i < 21 * 20; ++i) {
        h.tick();
        if (!h.chat.sent.empty() && h.sentOn(h.chat).header.type == family::kKeepAlive) {
            h.fromChat({.seq = 3, .type = family::kKeepAlive, .session = kSession}, "");
            h.fromChat({.seq = 4, .type = family::kKeepAlive, .sub = 7, .session = kSession}, "");
        }
    }
    EXPECT_TRUE(s.online);
    EXPECT_LT(s.pengMissed, 0) << "double answers give grace";

    h.chat.fail(SocketError::ConnectionReset);
    EXPECT_FALSE(s.online);
    h.tick(30);
    EXPECT_TRUE(h.chat.sent.empty());
}

TEST(Pump, ASecondLossGoesOnCountingAndSkipsTheToast) {
    SessionHarness h;
    Session& s = *h.session;
    h.login();
    s.pengMissed = 16;
    s.pengTicks = 20;
    h.tick(4);
    h.sentOn(h.chat);
    h.accept(99);
    h.tick(2);
    EXPECT_EQ(kindOf(h.sentOn(h.chat)), kind::kFriendRoster) << "the renewed session loads the lists anew";

    s.pengMissed = 16;
    s.pengTicks = 20;
    h.tick();
    const int carried = s.reverifyTicks;
    ASSERT_GE(carried, 2) << "a success does not reset the count";
    h.tick(40 - carried);  // the count reaches 40 here; the resend leaves with the next tick
    EXPECT_TRUE(h.chat.sent.empty());
    h.tick();
    EXPECT_EQ(kindOf(h.sentOn(h.chat)), kind::kLogin);
    EXPECT_EQ(h.services.toasts.size(), 1u);
}

TEST(Pump, TwoFramesInATickThenOneATickWhileABacklogDrainsAndOneGatedRequestATickOut) {
    SessionHarness h;
    h.login();
    int handled = 0;
    h.session->handlers.on(kUnlisted, [&](Session&) { ++handled; });
    const auto frame = [](uint16_t seq, const char* body) {
        return encodeFrame({.seq = seq, .type = kUnlisted.type, .sub = kUnlisted.sub}, body);
    };
    h.chat.deliver(frame(1, "a") + frame(2, "b"));
    h.chat.deliver(frame(3, "c"));
    h.chat.deliver(frame(4, "d"));
    std::vector<int> counts;
    for (int t = 0; t < 4; ++t) {
        h.tick();
        counts.push_back(handled);
    }
    EXPECT_EQ(counts, (std::vector<int>{2, 3, 4, 4}));

    // A stray byte behind a frame is never parsed (the rule needs a difference above 1): the
    // numbering goes on from the last frame, not from the junk.
    h.chat.deliver(frame(5, "e") + "x");
    h.tick(3);
    EXPECT_EQ(handled, 5);
    // The gate lets one request a tick through.
    EXPECT_TRUE(h.session->queueFrameGated(kind::kProfile, code::kProfileShow, joinFields({"alice", "bob"})));
    EXPECT_FALSE(h.session->queueFrameGated(kind::kMemberRoster, code::kNone, joinFields({"alice", "g"})));
    h.tick();
    const auto sent = h.sentOn(h.chat);
    EXPECT_EQ(std::tuple(sent.header.seq, kindOf(sent)), std::tuple(uint16_t(6), kind::kProfile));
    EXPECT_TRUE(h.chat.sent.empty());
    EXPECT_TRUE(h.session->queueFrameGated(kind::kMemberRoster, code::kNone, joinFields({"alice", "g"})));
    h.tick();
    h.chat.take();
    // Two senders past the gate in one tick: the next datagram holds both frames whole, and the
    // ring is in step for the frame after them.
    h.session->queueFrame(kind::kGroupRecord, code::kNone, joinFields({"alice", "g"}));
    h.session->queueFrame(kind::kProfile, code::kProfileAfterAdd, joinFields({"alice", "bobby"}));
    h.tick();
    const Bytes both = h.chat.take().data;
    std::string_view rest = both;
    std::vector<Bytes> bodies;
    while (const auto f = decodeFrame(rest)) {
        bodies.emplace_back(f->body);
        rest.remove_prefix(f->len);
    }
    EXPECT_EQ(bodies, (std::vector<Bytes>{joinFields({"alice", "g"}), joinFields({"alice", "bobby"})}));
    EXPECT_TRUE(rest.empty());
    h.session->queueFrame(kind::kMemberRoster, code::kNone, joinFields({"alice", "h"}));
    h.tick();
    EXPECT_EQ(Bytes(h.sentOn(h.chat).body), joinFields({"alice", "h"}));
}

TEST(Dispatch, NoticesDirectLinksFramesWithoutALeafAndAPoisonedFrame) {
    SessionHarness h;
    Session& s = *h.session;
    h.login();
    // A box holds the pump: no tick may run under it.
    std::vector<bool> timerDuringBox;
    h.services.onBox = [&] { timerDuringBox.push_back(h.timer.enabled()); };
    h.fromChat({.seq = 2, .type = 8, .sub = 1, .session = kSession},
               joinFields({gbk::fromUtf8("服务器维护")}));
    h.tick();
    ASSERT_EQ(h.services.boxes.size(), 1u);
    EXPECT_EQ(std::tuple(h.services.boxes[0].title, h.services.boxes[0].text),
              std::tuple("系统消息", "服务器维护"));
    EXPECT_EQ(timerDuringBox, std::vector<bool>{false});
    EXPECT_TRUE(h.timer.enabled()) << "the tick turns it back on after the box";

    h.fromChat({.seq = 3, .type = 8, .sub = 2, .session = kSession}, joinFields({"hello", "unseen"}));
    h.tick();
    ASSERT_EQ(h.services.toasts.size(), 1u);
    EXPECT_EQ(std::tuple(h.services.toasts[0].text, h.services.toasts[0].milliseconds),
              std::tuple("hello", 6000));

    h.fromChat({.seq = 5, .type = family::kDirectLink, .sub = 3, .code = code::kPeerAbsent}, "");
    h.tick();
    EXPECT_EQ(h.services.boxes.back().text, "对方不在线！");

    const auto boxes = h.services.boxes.size();
    h.fromChat({.seq = 6, .type = 4, .sub = 1}, "x");
    h.fromChat({.seq = 6, .type = kUnlisted.type, .sub = kUnlisted.sub}, "x");
    h.fromChat({.seq = 7, .type = kind::kSessionAside2.type, .sub = kind::kSessionAside2.sub}, "x");
    h.tick(3);
    EXPECT_EQ(h.services.boxes.size(), boxes);
    EXPECT_TRUE(s.online);

    // A frame too long to take empties the ring, and the previous leaf runs again.
    int runs = 0;
    s.handlers.on(kUnlisted, [&](Session&) { ++runs; });
    h.fromChat({.seq = 8, .type = kUnlisted.type, .sub = kUnlisted.sub}, "x");
    h.tick();
    h.fromChat({.seq = 9, .type = 8, .sub = 1}, Bytes(1000, 'p'));
    h.tick();
    EXPECT_EQ(runs, 2);
    EXPECT_TRUE(s.wire.Buf_head == 0 && s.wire.Buf_rear == 0);
    EXPECT_EQ(h.services.boxes.size(), boxes);
}

}  // namespace
}  // namespace nq::test
