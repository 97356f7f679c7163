// The 500 ms tick that moves all traffic, and the socket events that feed it.

#include <cstdlib>
#include <limits>

#include "session/session.h"
#include "store/store_keys.h"
#include "wire/fields.h"

namespace nq {

namespace {

// Tick counts, at 500 ms a tick.
constexpr int kKeepAliveTicks = 20;          // a keep-alive once the count passes 20: every 21 ticks = 10.5 s
constexpr int kMissedKeepAlives = 15;        // more unanswered than this, and the session is lost
constexpr int kBlinkCycleTicks = 44;         // 22 s
constexpr int kReverifyFirstTicks = 2;       // 1 s: the first resend, with the toast
constexpr int kReverifySecondTicks = 40;     // 20 s
constexpr int kReverifyLastTicks = 80;       // 40 s: the last resend; the next tick gives up
constexpr int kFirstRetryTicks = 20;         // 10 s: the login goes to Server1
constexpr int kSecondRetryTicks = 80;        // 40 s: to Server2
constexpr int kDispatcherGiveUpTicks = 140;  // 70 s
constexpr int kChatServerGiveUpTicks = 100;  // 50 s without the chat server's login answer
constexpr int kReplyGiveUpTicks = 50;        // any other awaited reply: given up past 25 s

constexpr int kToastMs = 6000;

// The counters are 16-bit: an increment past the top fails and is skipped.
inline void inc(int16_t& v) {
    if (v < std::numeric_limits<int16_t>::max()) ++v;
}
inline void dec(int16_t& v) {
    if (v > std::numeric_limits<int16_t>::min()) --v;
}

constexpr const char* kReverifyText = "与服务器断开连接，正在重新发送验证请求。";
constexpr const char* kTimeoutTitle = "聊天工具提示";

}  // namespace

void Session::chatDataArrival(const Bytes& datagram) {
    trace("in", "chat", datagram);
    storeDatagram(wire, reinterpret_cast<const uint8_t*>(datagram.data()), datagram.size());
    recvIdle = 0;
}

void Session::chatError(SocketError error) {
    // A datagram socket hears of a closed server port as a reset; keep-alive stops with it.
    if (error == SocketError::ConnectionReset) online = false;
}

void Session::HandleServerMessage() {
    if (wire.head.Type == family::kTalk) {
        queueActive = true;
        ini.setINIFileName(userFile(store::user::kFileName));
    }
    handlers.dispatch(*this, wire.head.Type, wire.head.Sub);
}

void Session::transmitPending() {
    wire.sendQueueFree = false;
    const Bytes datagram = pullQueuedFrame();
    sendDone = false;
    if (viaDispatcher) {
        viaDispatcher = false;
        trace("out", "dispatcher", datagram);
        update_.send(datagram);
    } else {
        sendNow(datagram);
    }
    wire.sendPending = false;
    wire.sendQueueFree = true;
    sendDone = true;
    wire.sendIdle = 0;
}

void Session::tick() {
    // Off first: a box shown by a leaf holds the pump instead of nesting further ticks.
    timer_.setEnabled(false);
    pumpStopped_ = false;
    ini.setINIFileName(userFile(store::user::kFileName));

    inc(recvIdle);
    inc(wire.sendIdle);
    inc(pengTicks);
    inc(blinkTicks);

    if (recvIdle >= 1 && wire.recvPending) {
        ParsePacket(wire);
        HandleServerMessage();
        wire.frameTaken = true;
    }
    // At most two frames a tick, and one a tick while a backlog drains: part of the timing
    // the servers pace themselves by.
    if (recvIdle >= 1 && wire.frameTaken && std::abs(wire.Buf_rear - wire.Buf_head) > 1) {
        ParsePacket(wire);
        HandleServerMessage();
    }
    if (recvIdle >= 1) recvIdle = 0;

    if (wire.sendIdle >= 1 && wire.sendPending) transmitPending();
    if (wire.sendIdle >= 1) wire.sendIdle = 0;

    tickEndedByScan_ = false;
    emit unreadScanDue();
    if (tickEndedByScan_) {
        timer_.setEnabled(true);
        return;
    }
    if (blinkTicks >= kBlinkCycleTicks) blinkTicks = 0;

    if (online) {
        keepAliveStep();
    } else if (reverifying) {
        reverifyStep();
    }
    if (waitDispatcher) dispatcherWaitStep();
    if (waitReply) replyWaitStep();

    if (!pumpStopped_) timer_.setEnabled(true);
}

void Session::keepAliveStep() {
    if (!(pengTicks > kKeepAliveTicks && sendDone)) return;
    if (pengMissed > kMissedKeepAlives) {
        online = false;
        reverifying = true;
        pengMissed = 0;
        sendBody = loginBody;
        wire.sessionId = 0;
    }
    pengTicks = 0;
    const Bytes frame = buildKeepAlive(wire, myName);
    if (online) sendNow(frame);
    inc(pengMissed);
}

void Session::reverifyStep() {
    inc(reverifyTicks);
    if (reverifyTicks == kReverifyFirstTicks || reverifyTicks == kReverifySecondTicks ||
        reverifyTicks == kReverifyLastTicks) {
        view_.showLoginFrame();
        view_.clearContacts();
        view_.setLoginEnabled(false);
        view_.setInfo(kReverifyText, InfoColor::Black);
        view_.selectNameText();
        wire.sessionId = 0;
        viaDispatcher = false;
        queueFrame(kind::kLogin, code::kNone, loginBody);
        if (reverifyTicks == kReverifyFirstTicks)
            services_.showToast(kReverifyText, kToastMs, soundPath("SysMsg.wav"));
        view_.setStatus(2, "状态：重新验证");
    }
    if (reverifyTicks > kReverifyLastTicks) {
        reverifyTicks = 0;
        reverifying = false;
        services_.messageBox("连接服务器超时！", kTimeoutTitle, BoxButtons::Ok, BoxIcon::None);
        comCancleClick();
        pumpStopped_ = true;
    }
}

void Session::dispatcherWaitStep() {
    inc(dispatchTicks);
    if (dispatchTicks == kFirstRetryTicks) retryDispatcher(store::settings::kServer1);
    if (dispatchTicks == kSecondRetryTicks) retryDispatcher(store::settings::kServer2);
    if (dispatchTicks == kDispatcherGiveUpTicks) {
        services_.messageBox("连接服务器超时,请重试！", kTimeoutTitle, BoxButtons::Ok, BoxIcon::None);
        dispatchTicks = 0;
        waitDispatcher = false;
        comCancleClick();
        pumpStopped_ = true;
    }
}

void Session::replyWaitStep() {
    inc(waitTicks);
    if (waitLogin) {
        if (waitTicks >= kChatServerGiveUpTicks) {
            services_.messageBox("连接服务器超时,请重试！", kTimeoutTitle, BoxButtons::Ok, BoxIcon::None);
            waitTicks = 0;
            waitLogin = false;
            waitReply = false;
        }
    } else if (waitTicks > kReplyGiveUpTicks) {
        services_.messageBox("连接服务器失败！", kTimeoutTitle, BoxButtons::Ok, BoxIcon::None);
        waitTicks = 0;
        waitReply = false;
    }
}

void Session::registerSessionLeaves() {
    handlers.on(kind::kLogin, [](Session& s) {
        const float c = s.wire.head.Code;
        if (c == code::kLoginAccepted) {
            s.onLoginAccepted();
        } else if (c == code::kWrongPassword) {
            // The chat server's refusal also ends the wait for its answer, or a time-out box
            // would follow the red line fifty seconds later.
            s.waitReply = false;
            s.onPasswordRefused();
        } else if (c == code::kLoggedInElsewhere) {
            s.onLoggedInElsewhere();
        }
    });
    // The rosters that end the login, (3,4) to (3,7), are leaves of the contact model.
    handlers.on(kind::kSessionAside2, [](Session&) {});
    handlers.on(kind::kSessionAside3, [](Session&) {});
    handlers.on(kind::kNoticeBox, [](Session& s) {
        s.services().messageBox(noticeText(s.wire.msgBody), "系统消息", BoxButtons::Ok, BoxIcon::None);
    });
    handlers.on(kind::kNoticeToast, [](Session& s) {
        s.services().showToast(noticeText(s.wire.msgBody), kToastMs, s.soundPath("SysMsg.wav"));
    });
    handlers.onFamily(family::kKeepAlive, [](Session& s) { dec(s.pengMissed); });
    // Direct links between peers are not built; their set-up is read and dropped.
    handlers.onFamily(family::kDirectLink, [](Session& s) {
        const float c = s.wire.head.Code;
        if (c == code::kPeerAddress) {
            for (int i = 0; i < 4; ++i) cutField(s.wire.msgBody);
            s.reseed();
        } else if (c == code::kPeerAbsent) {
            s.services().messageBox("对方不在线！", kAppTitle, BoxButtons::Ok, BoxIcon::None);
        } else if (c == code::kPeerDetails) {
            for (int i = 0; i < 5; ++i) cutField(s.wire.msgBody);
        }
    });
}

}  // namespace nq
