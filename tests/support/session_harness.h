#pragma once
// A client session on in-memory sockets, a recording view and recording services, with the
// dispatcher and the chat server played by the test: it reads what the session sent and
// delivers the answers, and the clock moves only when the test ticks. Nothing waits, so a pump
// test is as fast and as repeatable as a unit test.

#include <algorithm>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>

#include "session/session.h"
#include "session/session_view.h"
#include "session/transport.h"
#include "store/ini_file.h"
#include "support/gbk_text.h"
#include "support/recording_services.h"
#include "support/temp_dir.h"
#include "wire/fields.h"
#include "wire/packet.h"

namespace nq {
inline void PrintTo(FrameKind k, std::ostream* os) {
    *os << "(" << k.type << "," << k.sub << ")";
}
}  // namespace nq

namespace nq::test {

// What the session sends is kept for the test to read; what the test delivers reaches the
// session at once; the timer only records whether it is on.
struct SentDatagram {
    std::string host;  // the remote end set when it was sent
    uint16_t port = 0;
    uint16_t localPort = 0;  // the port the socket was bound to
    Bytes data;
};

class MemorySocket : public DatagramSocket {
  public:
    void close() override { localPort_ = 0; }
    SocketError bind(uint16_t localPort) override {
        binds.push_back(localPort);
        localPort_ = 0;
        if (takenPorts.count(localPort)) return SocketError::AddressInUse;
        if (refusedPorts.count(localPort)) return SocketError::Other;
        localPort_ = localPort;
        return SocketError::None;
    }
    void setRemote(const std::string& host, uint16_t port) override {
        host_ = host;
        port_ = port;
    }
    // A closed socket sends nothing, as a closed descriptor would.
    void send(const Bytes& datagram) override {
        if (localPort_ != 0) sent.push_back({host_, port_, localPort_, datagram});
    }

    // A datagram arrives from the remote end.
    void deliver(const Bytes& datagram) {
        if (onData) onData(datagram);
    }
    void fail(SocketError error) {
        if (onError) onError(error);
    }

    // The oldest datagram not yet taken; throws when there is none.
    SentDatagram take() {
        if (sent.empty()) throw std::runtime_error("the session sent nothing on this socket");
        SentDatagram d = sent.front();
        sent.pop_front();
        return d;
    }
    uint16_t localPort() const { return localPort_; }

    std::set<uint16_t> takenPorts;    // bind() answers AddressInUse for these
    std::set<uint16_t> refusedPorts;  // and Other for these
    std::vector<uint16_t> binds;      // every port asked for, in order
    std::deque<SentDatagram> sent;

  private:
    std::string host_;
    uint16_t port_ = 0;
    uint16_t localPort_ = 0;
};

struct FakeTimer : Timer {
    void setEnabled(bool on) override { on_ = on; }
    bool enabled() const override { return on_; }
    bool on_ = false;
};

struct OwnedFrame {
    FrameHeader header;
    Bytes body;
    Bytes raw;
};
inline OwnedFrame frameOf(const SentDatagram& d) {
    auto f = decodeFrame(d.data);
    if (!f) throw std::runtime_error("the datagram holds no frame");
    return OwnedFrame{f->header, Bytes(f->body), d.data};
}
inline FrameKind kindOf(const OwnedFrame& f) {
    return {f.header.type, f.header.sub};
}

// What the main window would show, kept for tests to read.
class RecordingView : public SessionView {
  public:
    std::string nameText() const override { return name; }
    void setNameText(const std::string& t) override { name = t; }
    std::string passwordText() const override { return password; }
    void setPasswordText(const std::string& t) override { password = t; }
    void setInputsEnabled(bool e) override { inputsEnabled = e; }
    void selectNameText() override { focus = "txtName"; }
    void focusName() override { focus = "txtName"; }
    void selectPasswordText() override { focus = "txtPassword"; }
    void focusPassword() override { focus = "txtPassword"; }
    void setRememberChecked(bool c) override { rememberChecked = c; }
    void setAutoRunChecked(bool c) override { autoRunChecked = c; }
    void setLoginEnabled(bool e) override { loginEnabled = e; }
    void setCancelEnabled(bool e) override { cancelEnabled = e; }
    void setInfo(const std::string& t, InfoColor c) override {
        info = t;
        infoColor = c;
    }
    void setStatus(int panel, const std::string& t) override { status[panel] = t; }
    void showLoginFrame() override { frame = "loginFrame"; }
    void showMainFrame() override { frame = "mainframe"; }
    void clearContacts() override {}
    void setSessionMenusEnabled(bool e) override { sessionMenus = e; }
    void unloadOtherForms() override { ++otherFormUnloads; }
    void unloadMainForm() override { ++mainFormUnloads; }
    void trayRemove() override { trayRemoved = true; }

    std::string name, password, info, focus, frame = "loginFrame";
    InfoColor infoColor = InfoColor::Black;
    std::map<int, std::string> status;
    bool inputsEnabled = true, rememberChecked = false, autoRunChecked = false;
    bool loginEnabled = true, cancelEnabled = false, sessionMenus = false, trayRemoved = false;
    int otherFormUnloads = 0, mainFormUnloads = 0;
};

// The two servers on the far side of the session's sockets, its timer, its services, and the
// program folder, whose Sys.ini names the scripted dispatcher.
class ScriptedServers {
  public:
    static constexpr const char* kDispatcherHost = "dispatcher.test";
    static constexpr const char* kChatHost = "chat.test";
    static constexpr uint16_t kChatPort = 8000;
    static constexpr uint32_t kSessionNumber = 0x00ABCDEF;

    ScriptedServers() { writeIni("Sys.ini", "Server", kDispatcherHost); }
    virtual ~ScriptedServers() = default;
    virtual void tick(int n = 1) = 0;

    // Values are UTF-8 in the test and GBK on disk.
    void writeIni(std::string_view file, std::string_view key, const std::string& value,
                  std::string_view section = "Setting") {
        (void)CIniFile(dir.file(std::string(file))).WriteIniKey(section, key, gbk::fromUtf8(value));
    }
    std::string readIni(std::string_view file, std::string_view key, std::string_view section = "Setting") {
        return gbk::toUtf8(CIniFile(dir.file(std::string(file))).GetIniKey(section, key));
    }

    // The oldest frame the session sent on the socket and nobody has read.
    static OwnedFrame sentOn(MemorySocket& socket) { return frameOf(socket.take()); }
    // The oldest frame sent but keep-alives as "type,sub,code:body", each NUL of the body shown
    // as "|"; "" when none was.
    static std::string sentText(MemorySocket& socket) {
        while (!socket.sent.empty()) {
            const OwnedFrame f = sentOn(socket);
            if (kindOf(f) == kind::kKeepAlive) continue;
            std::string body = gbk::toUtf8(f.body);
            std::replace(body.begin(), body.end(), '\0', '|');
            return std::to_string(f.header.type) + "," + std::to_string(f.header.sub) + "," +
                   std::to_string(f.header.code) + ":" + body;
        }
        return "";
    }
    // What the next tick sends, as sentText.
    std::string sent() {
        tick();
        return sentText(chat);
    }

    void fromDispatcher(uint16_t code, const Bytes& body) {
        update.deliver(encodeFrame({.seq = 1, .type = family::kDispatcher, .sub = 1, .code = code}, body));
    }
    void redirect() {
        fromDispatcher(code::kGoToChatServer, joinFields({kChatHost, std::to_string(kChatPort)}));
    }
    void fromChat(const FrameHeader& h, const Bytes& body) { chat.deliver(encodeFrame(h, body)); }
    // A frame of the chat server with its fields in UTF-8, and the tick that reads it.
    void serve(FrameKind k, uint16_t code, const std::vector<std::string_view>& fields,
               uint32_t session = kSessionNumber) {
        Bytes body;
        for (auto f : fields) appendField(body, g(f));
        fromChat({.seq = 1, .type = k.type, .sub = k.sub, .session = session, .code = code}, body);
        tick();
    }
    void accept(uint32_t sessionNumber = kSessionNumber) {
        fromChat({.seq = 1, .type = 1, .sub = 1, .session = sessionNumber, .code = code::kLoginAccepted},
                 joinFields({gbk::fromUtf8("爱丽丝"), "m3"}));
    }
    // The way in after the click: dispatcher redirect, the chat server accepts. Ends online,
    // with the roster request that the first tick online sends taken off the socket.
    void completeLogin(const Session& s, const std::function<void()>& tick,
                       uint32_t sessionNumber = kSessionNumber) {
        tick();
        sentOn(update);
        redirect();
        tick();
        sentOn(chat);
        accept(sessionNumber);
        tick();
        if (!s.online) throw std::runtime_error("login did not complete");
        tick();
        if (kindOf(sentOn(chat)) != kind::kFriendRoster) throw std::runtime_error("no roster request");
    }

    MemorySocket update;
    MemorySocket chat;
    FakeTimer timer;
    TempDir dir;
    RecordingServices services;
};

class SessionHarness : public ScriptedServers {
  public:
    SessionHarness() {
        session = std::make_unique<Session>(dir.path(), services, view, update, chat, timer);
        session->InitGlobals();
    }

    std::string home() const { return dir.path(); }
    void tick(int n = 1) override {
        for (int i = 0; i < n; ++i) session->tick();
    }

    // Types into the login boxes and clicks com_login.
    void click(const std::string& name = "alice", const std::string& password = "secret") {
        view.name = name;
        view.password = password;
        session->comLoginClick();
    }
    void login(uint32_t sessionNumber = kSessionNumber) {
        click();
        completeLogin(
            *session, [this] { tick(); }, sessionNumber);
    }

    RecordingView view;
    std::unique_ptr<Session> session;
};

}  // namespace nq::test
