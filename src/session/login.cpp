// Login through the dispatcher and the chat server, the login panel's buttons, logout.

#include <filesystem>

#include "session/session.h"
#include "session/startup.h"
#include "store/store_keys.h"
#include "wire/digest.h"
#include "wire/fields.h"
#include "wire/head_code.h"

namespace nq {

namespace keys = store::settings;

namespace {
// Bounds the port walk on address-in-use: a machine with every port taken must not hang the login.
constexpr int kMaxBindAttempts = 256;
uint16_t nextPort(uint16_t port) {
    const int p = port + Session::kPortStepOnConflict;
    return static_cast<uint16_t>(
        p > 65535 - Session::kChatPortOffset ? Session::kFirstLocalPort + p % Session::kLocalPortBand : p);
}
}  // namespace

void Session::reseed() {
    const auto ticks = services_.now().time_since_epoch().count();
    rng_.seed(static_cast<uint32_t>(ticks ^ (ticks >> 32)));
}

std::string Session::noticeText(const Bytes& body) {
    // A message box shows a C string: whatever follows the first NUL never reaches the screen.
    return gbk::toUtf8(body.substr(0, body.find('\0')));
}

void Session::restoreLoginPanel(const std::string& commandLine) {
    if (fileExists(userIni())) {
        view_.setNameText(gbk::toUtf8(readSetting(userIni(), keys::kUserName)));
        if (toNumber(readSetting(userIni(), keys::kRememberPassword)) == 1) {
            view_.setRememberChecked(true);
            if (!view_.nameText().empty()) view_.setPasswordText(kPasswordPlaceholder);
        }
    }
    if (!view_.nameText().empty() && !view_.passwordText().empty() &&
        readSetting(userIni(), keys::kAutoRun) == "1") {
        view_.setAutoRunChecked(true);
        comLoginClick();
    } else {
        view_.setAutoRunChecked(false);
    }

    hallStart = false;
    if (const auto hall = parseHallLine(gbk::fromUtf8(commandLine))) startHallLogin(*hall);
    emit hallLinkStartDue();
}

void Session::startHallLogin(const HallStart& hall) {
    hallStart = true;
    hallCommand = hall.command;
    view_.setLoginEnabled(false);
    view_.setCancelEnabled(true);
    timer_.setEnabled(true);
    view_.setNameText(gbk::toUtf8(hall.name));
    view_.setPasswordText(kPasswordPlaceholder);
    startLogin(hall.name, joinFields({hall.name, hall.digest}));
}

void Session::comLoginClick() {
    const Bytes name = gbk::fromUtf8(view_.nameText());
    const std::string password = view_.passwordText();
    if (name.empty()) {
        services_.messageBox("请输入用户名！", "提示", BoxButtons::Ok, BoxIcon::Critical);
        view_.focusName();
        return;
    }
    if (password.empty()) {
        services_.messageBox("请输入密码！", "提示", BoxButtons::Ok, BoxIcon::Critical);
        view_.focusPassword();
        return;
    }
    waitLogin = false;
    view_.setLoginEnabled(false);
    view_.setCancelEnabled(true);

    const Bytes stored = readSetting(userIni(), keys::kPassword);

    Bytes body;
    if (password != kPasswordPlaceholder) {
        // A character outside one byte cannot be digested: the click ends here, silently,
        // with com_login left disabled.
        const auto digest = passwordDigest(gbk::fromUtf8(password));
        if (!digest) return;
        body = joinFields({name, *digest});
    } else {
        body = stored.empty() ? loginBody : joinFields({name, stored});
    }
    timer_.setEnabled(true);
    startLogin(name, body);
}

bool Session::bindUpdateSocket(const std::string& host) {
    for (int attempt = 0; attempt < kMaxBindAttempts; ++attempt) {
        update_.close();
        update_.setRemote(host, kDispatcherPort);
        const SocketError err = update_.bind(localPort);
        if (err == SocketError::None) return true;
        if (err != SocketError::AddressInUse) return false;
        localPort = nextPort(localPort);
    }
    return false;
}

// A chat socket that cannot be bound leaves the redirect unanswered: the dispatcher wait goes on,
// with its retries and its give-up, rather than a login sent from a closed socket.
bool Session::bindChatSocket(const Bytes& host, uint16_t port) {
    for (int attempt = 0; attempt < kMaxBindAttempts; ++attempt) {
        chat_.close();
        chat_.setRemote(host, port);
        const SocketError err = chat_.bind(static_cast<uint16_t>(localPort + kChatPortOffset));
        if (err == SocketError::None || err == SocketError::ConnectionReset) return true;
        if (err != SocketError::AddressInUse) return false;
        localPort = nextPort(localPort);
    }
    return false;
}

std::string Session::clientVersion() {
    const std::string ver = readSetting(sysIni(), keys::kVersion);
    return ver.empty() ? "1.0" : ver;
}

void Session::showAwaitingVerification(const std::string& name) {
    view_.setInfo("正在等待服务器验证，请稍侯。。。", InfoColor::Black);
    view_.setStatus(1, "用户:" + name);
    view_.setStatus(2, "状态：等待验证");
    view_.setInputsEnabled(false);
}

void Session::startLogin(const Bytes& name, const Bytes& body) {
    std::string server = readSetting(sysIni(), keys::kServer);
    if (server.empty()) server = kDefaultServer;
    if (!bindUpdateSocket(server)) return;
    loginBody = body;
    viaDispatcher = true;
    queueFrame(kind::kLogin, static_cast<uint16_t>(versionCode(clientVersion())), body);
    showAwaitingVerification(gbk::toUtf8(name));
    waitDispatcher = true;
}

void Session::retryDispatcher(std::string_view serverKey) {
    const std::string host = readSetting(sysIni(), serverKey);
    // The retry binds the next port up, so a lingering reply to the first port is not read.
    update_.close();
    update_.setRemote(host, kDispatcherPort);
    // A failed bind changes nothing: the frame is queued all the same and leaves into nowhere,
    // and the schedule goes on to the next host.
    [[maybe_unused]] const SocketError bound = update_.bind(static_cast<uint16_t>(localPort + 1));
    viaDispatcher = true;
    queueFrame(kind::kLogin, static_cast<uint16_t>(versionCode(clientVersion())), loginBody);
    showAwaitingVerification(view_.nameText());
}

void Session::updateDataArrival(const Bytes& datagram) {
    trace("in", "dispatcher", datagram);
    storeDatagram(wire, reinterpret_cast<const uint8_t*>(datagram.data()), datagram.size());
    recvIdle = 0;
    // The dispatcher's answer is acted on at once, outside the tick.
    ParsePacket(wire);
    onDispatcherFrame();
}

void Session::onDispatcherFrame() {
    if (wire.head.Type != family::kDispatcher) return;
    const float c = wire.head.Code;
    if (c == code::kGoToChatServer) {
        const Bytes host = cutField(wire.msgBody).value_or(Bytes());
        const int port = static_cast<int>(toNumber(cutField(wire.msgBody).value_or(Bytes())));
        if (!bindChatSocket(host, static_cast<uint16_t>(port))) return;
        viaDispatcher = false;
        queueFrame(kind::kLogin, code::kNone, loginBody);
        waitDispatcher = false;
        waitLogin = true;
        waitReply = true;
    } else if (c == code::kWrongPassword) {
        onPasswordRefused();
        waitDispatcher = false;
    } else if (c == code::kLoggedInElsewhere) {
        onLoggedInElsewhere();
    } else if (c == code::kUpdateOrdered) {
        startUpdater();
    }
}

void Session::onLoginAccepted() {
    waitReply = false;
    const auto fields = splitAll(wire.msgBody);
    if (!fields.empty()) myNick = Bytes(fields[0]);
    if (fields.size() > 1) myHead = std::to_string(headOnlineIndex(fields[1]));
    online = true;
    reverifying = false;
    sendDone = true;
    wire.sessionId = wire.head.Session;

    const std::string password = view_.passwordText();
    if (readSetting(userIni(), keys::kRememberPassword) == "1") {
        if (password != kPasswordPlaceholder) {
            if (auto digest = passwordDigest(gbk::fromUtf8(password)))
                writeSetting(userIni(), keys::kPassword, *digest);
        }
    } else {
        writeSetting(userIni(), keys::kPassword, "");
    }
    myName = gbk::fromUtf8(view_.nameText());
    writeSetting(userIni(), keys::kUserName, myName);

    view_.setStatus(2, "状态：登录成功");
    waitDispatcher = false;
    view_.setInfo("验证通过.正在读取信息，请稍后...", InfoColor::Black);
    ensureUserFolder();
    emit cachedListsDue();
    queueFrame(kind::kFriendRoster, code::kNone, ownNameBody());
    view_.setInputsEnabled(true);
    exitAllowed = false;
    view_.setSessionMenusEnabled(true);
    emit hotkeyRegistrationDue();
}

void Session::onPasswordRefused() {
    view_.setInputsEnabled(true);
    view_.setLoginEnabled(true);
    view_.selectPasswordText();
    view_.setInfo("密码错误，请重新输入。", InfoColor::Red);
    view_.focusPassword();
    chat_.close();
}

void Session::onLoggedInElsewhere() {
    services_.messageBox("抱歉，您的帐号在别处登陆！", kAppTitle, BoxButtons::Ok, BoxIcon::None);
    view_.trayRemove();
    services_.exitProcess(0);
}

void Session::comCancleClick() {
    view_.setInputsEnabled(true);
    view_.setLoginEnabled(true);
    chat_.close();
    view_.selectNameText();
    view_.focusName();
    view_.setInfo("", InfoColor::Black);
}

void Session::sendQuit() {
    if (!online) return;
    // The quit frame carries the session number even right after a group message, whose
    // reply stamp would otherwise stand in for it.
    wire.useStamp = false;
    sendAtOnce(kind::kLogout, code::kNone, ownNameBody());
    online = false;
}

void Session::sendQuitRoom() {
    sendAtOnce(kind::kRoom, code::kRoomLeave, ownNameBody());
}

void Session::sendAtOnce(FrameKind frame, uint16_t frameCode, const Bytes& body) {
    queueFrame(frame, frameCode, body);
    wire.sendPending = false;
    sendNow(pullQueuedFrame());
}

void Session::logout() {
    view_.setStatus(2, "状态：未验证");
    view_.setInfo("", InfoColor::Black);
    sendQuit();
    chat_.close();
    view_.showLoginFrame();
    view_.clearContacts();
    view_.setLoginEnabled(true);
    view_.selectNameText();
    view_.unloadOtherForms();
    emit loggedOut();
}

void Session::unload() {
    if (online) {
        sendQuit();
        emit saveQuitDue();
    }
    if (inPublicRoom()) sendQuitRoom();
    emit hotkeyReleaseDue();
}

void Session::finishUnload() {
    emit recordFileCloseDue();
}

}  // namespace nq
