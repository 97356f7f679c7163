// The 500 ms tick that moves all traffic, and the socket events that feed it.

#include <cstdlib>
#include <limits>

#include "session/session.h"

#include "wire/fields.h"

namespace nq {

namespace {

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
    storeDatagram(*this, reinterpret_cast<const uint8_t*>(datagram.data()), datagram.size());
    recvIdle = 0;
}

void Session::chatError(int error) {
    // A datagram socket hears of a closed server port as a reset; keep-alive stops with it.
    if (error == kErrConnectionReset) online = false;
}

void Session::HandleServerMessage() {
    if (head.Type == 2.0f) {
        queueActive = true;
        ini.setINIFileName(userFolder() + "/NQUser.nq");
    }
    handlers.dispatch(*this, head.Type, head.Sub);
}

void Session::transmitPending() {
    sendQueueFree = false;
    const Bytes datagram = pullQueuedFrame();
    sendDone = false;
    if (viaDispatcher) {
        viaDispatcher = false;
        trace("out", "dispatcher", datagram);
        update_.send(datagram);
    } else {
        sendNow(datagram);
    }
    sendPending = false;
    sendQueueFree = true;
    sendDone = true;
    sendIdle = 0;
}

void Session::tick() {
    // Off first: a box shown by a leaf holds the pump instead of nesting further ticks.
    timer_.setEnabled(false);
    pumpStopped_ = false;
    ini.setINIFileName(userFolder() + "/NQUser.nq");

    inc(recvIdle);
    inc(sendIdle);
    inc(pengTicks);
    inc(blinkTicks);

    if (recvIdle >= 1 && recvPending) {
        ParsePacket(*this);
        HandleServerMessage();
        frameTaken = true;
    }
    // At most two frames a tick, and one a tick while a backlog drains: part of the timing
    // the servers pace themselves by.
    if (recvIdle >= 1 && frameTaken && std::abs(Buf_rear - Buf_head) > 1) {
        ParsePacket(*this);
        HandleServerMessage();
    }
    if (recvIdle >= 1) recvIdle = 0;

    if (sendIdle >= 1 && sendPending) transmitPending();
    if (sendIdle >= 1) sendIdle = 0;

    if (hooks.unreadScan) hooks.unreadScan();
    if (blinkTicks >= 44) blinkTicks = 0;

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
    if (!(pengTicks > 20 && sendDone)) return;
    if (pengMissed > 15) {
        online = false;
        reverifying = true;
        pengMissed = 0;
        sendBody = loginBody;
        sessionId = 0;
    }
    pengTicks = 0;
    const Bytes frame = buildKeepAlive(*this, myName);
    if (online) sendNow(frame);
    inc(pengMissed);
}

void Session::reverifyStep() {
    inc(reverifyTicks);
    if (reverifyTicks == 2 || reverifyTicks == 40 || reverifyTicks == 80) {
        view_.showLoginFrame();
        view_.clearContacts();
        view_.setLoginEnabled(false);
        view_.setInfo(kReverifyText, InfoColor::Black);
        view_.selectNameText();
        sessionId = 0;
        viaDispatcher = false;
        queueFrame(1, 1, 0, loginBody);
        if (reverifyTicks == 2) services_.showToast(kReverifyText, 6000, soundPath("SysMsg.wav"));
        view_.setStatus(2, "状态：重新验证");
    }
    if (reverifyTicks > 80) {
        reverifyTicks = 0;
        reverifying = false;
        services_.messageBox("连接服务器超时！", kTimeoutTitle, BoxButtons::Ok, BoxIcon::None);
        comCancleClick();
        pumpStopped_ = true;
    }
}

void Session::dispatcherWaitStep() {
    inc(dispatchTicks);
    if (dispatchTicks == 20) retryDispatcher("Server1");
    if (dispatchTicks == 80) retryDispatcher("Server2");
    if (dispatchTicks == 140) {
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
        if (waitTicks >= 100) {
            services_.messageBox("连接服务器超时,请重试！", kTimeoutTitle, BoxButtons::Ok, BoxIcon::None);
            waitTicks = 0;
            waitLogin = false;
            waitReply = false;
        }
    } else if (waitTicks > 50) {
        services_.messageBox("连接服务器失败！", kTimeoutTitle, BoxButtons::Ok, BoxIcon::None);
        waitTicks = 0;
        waitReply = false;
    }
}

void Session::registerSessionLeaves() {
    handlers.on(1, 1, [](Session& s) {
        if (s.head.Code == 1.0f) {
            s.onLoginAccepted();
        } else if (s.head.Code == 2.0f) {
            // The chat server's refusal also ends the wait for its answer, or a time-out box
            // would follow the red line fifty seconds later.
            s.waitReply = false;
            s.onPasswordRefused();
        } else if (s.head.Code == 3.0f) {
            s.onLoggedInElsewhere();
        }
    });
    // The roster's arrival ends the login: the contact pages replace the login panel. The
    // contact model registers its own leaf over this one, which also fills the lists.
    handlers.on(3, 4, [](Session& s) {
        if (s.head.Code != 1.0f && s.head.Code != 2.0f) return;
        s.view().setStatus(2, "状态：在线");
        s.view().showMainFrame();
    });
    // The end of the group roster asks for what follows the rosters, without the gate.
    handlers.on(3, 5, [](Session& s) {
        if (s.head.Code != 1.0f) s.queueFrame(2, 6, 0, s.ownNameBody());
    });
    handlers.on(1, 2, [](Session&) {});
    handlers.on(1, 3, [](Session&) {});
    handlers.on(8, 1, [](Session& s) {
        s.services().messageBox(noticeText(s.msgBody), "系统消息", BoxButtons::Ok, BoxIcon::None);
    });
    handlers.on(8, 2, [](Session& s) {
        s.services().showToast(noticeText(s.msgBody), 6000, s.soundPath("SysMsg.wav"));
    });
    handlers.on(9, DispatchTable::kAnySub, [](Session& s) { dec(s.pengMissed); });
    handlers.on(10, DispatchTable::kAnySub, [](Session& s) {
        if (s.head.Code == 1.0f) {
            for (int i = 0; i < 4; ++i) cutField(s.msgBody);
            s.reseed();
        } else if (s.head.Code == 2.0f) {
            s.services().messageBox("对方不在线！", kAppTitle, BoxButtons::Ok, BoxIcon::None);
        } else if (s.head.Code == 3.0f) {
            for (int i = 0; i < 5; ++i) cutField(s.msgBody);
        }
    });
}

}  // namespace nq
