#pragma once
// A client session wired to real loopback sockets, a recording view and recording services,
// with a dispatcher and a chat server scripted by the test. Each test passes its own
// 127.0.0.N, so tests run in parallel while the dispatcher port stays 4000.

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <memory>

#include "store/ini_file.h"
#include "wire/fields.h"
#include "wire/packet.h"
#include "session/qt_transport.h"
#include "session/session.h"
#include "support/recording_services.h"
#include "support/recording_view.h"
#include "support/scripted_peer.h"

namespace nq::test {

template <class Pred>
bool waitFor(Pred pred, int timeoutMs = 3000) {
    QElapsedTimer t;
    t.start();
    while (!pred()) {
        if (t.elapsed() > timeoutMs) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return true;
}

struct OwnedFrame {
    FrameHeader header;
    uint16_t len = 0;
    Bytes body;
    Bytes raw;
};

inline std::optional<OwnedFrame> firstFrame(const Bytes& datagram) {
    auto f = decodeFrame(datagram);
    if (!f) return std::nullopt;
    return OwnedFrame{f->header, f->len, Bytes(f->body), datagram};
}

// The first frame of the next datagram at the peer; a test that waits in vain fails loudly.
inline OwnedFrame expectFrame(ScriptedPeer& peer) {
    auto r = peer.receive(2000);
    if (!r) throw std::runtime_error("no datagram arrived at the peer");
    auto f = firstFrame(r->data);
    if (!f) throw std::runtime_error("the datagram holds no frame");
    return *f;
}

class SessionHarness {
  public:
    static constexpr uint16_t kChatPort = 8000;

    explicit SessionHarness(const std::string& ip)
        : ip(ip), dispatcher(ip, Session::kDispatcherPort), chat(ip, kChatPort) {
        home = dir.path().toStdString();
        writeIni("Sys.ini", "Server", ip);
        session = std::make_unique<Session>(home, services, view, updateSocket, chatSocket, timer);
        session->InitGlobals();
        auto onUpdate = updateSocket.onData;
        updateSocket.onData = [this, onUpdate](const Bytes& d) {
            ++dispatcherArrivals;
            onUpdate(d);
        };
        auto onChat = chatSocket.onData;
        chatSocket.onData = [this, onChat](const Bytes& d) {
            ++chatArrivals;
            onChat(d);
        };
    }

    void writeIni(const std::string& file, const std::string& key, const std::string& value) {
        CIniFile ini(home + "/" + file);
        ini.WriteIniKey("Setting", key, value);
    }
    std::string readIni(const std::string& file, const std::string& key) {
        CIniFile ini(home + "/" + file);
        return ini.GetIniKey("Setting", key);
    }

    // One tick, then a moment for datagrams the tick sent to be answered and read.
    void tick(int n = 1) {
        for (int i = 0; i < n; ++i) {
            session->tick();
            QCoreApplication::processEvents();
        }
    }

    OwnedFrame expect(ScriptedPeer& peer) { return expectFrame(peer); }
    bool nothingAt(ScriptedPeer& peer, int ms = 30) { return !peer.receive(ms); }

    void fromDispatcher(uint16_t code, const Bytes& body, uint16_t type = 1) {
        const int before = dispatcherArrivals;
        dispatcher.reply(encodeFrame({.seq = 1, .type = type, .sub = 1, .code = code}, body));
        if (!waitFor([&] { return dispatcherArrivals > before; }))
            throw std::runtime_error("dispatcher reply lost");
    }
    void fromChat(const Bytes& datagram) {
        const int before = chatArrivals;
        chat.reply(datagram);
        if (!waitFor([&] { return chatArrivals > before; })) throw std::runtime_error("chat datagram lost");
    }
    void fromChat(FrameHeader h, const Bytes& body) { fromChat(encodeFrame(h, body)); }

    // The whole way in: click, dispatcher redirect, chat server accepts with session.
    void login(const std::string& name = "alice", const std::string& password = "secret",
               uint32_t sessionNumber = 0x00ABCDEF) {
        view.name = name;
        view.password = password;
        session->comLoginClick();
        tick();
        expect(dispatcher);
        fromDispatcher(1, joinFields({ip, std::to_string(kChatPort)}));
        tick();
        expect(chat);
        fromChat({.seq = 1, .type = 1, .sub = 1, .session = sessionNumber, .code = 1},
                 joinFields({gbk::fromUtf8("爱丽丝"), "m3"}));
        tick();
        if (!session->online) throw std::runtime_error("login did not complete");
        // The first tick online sends the roster request; tests start after it.
        tick();
        if (expect(chat).header.sub != 4) throw std::runtime_error("no roster request after login");
    }

    std::string ip;
    QTemporaryDir dir;
    std::string home;
    ScriptedPeer dispatcher;
    ScriptedPeer chat;
    RecordingServices services;
    RecordingView view;
    QtUdpSocket updateSocket;
    QtUdpSocket chatSocket;
    FakeTimer timer;
    std::unique_ptr<Session> session;
    int dispatcherArrivals = 0;
    int chatArrivals = 0;
};

}  // namespace nq::test
