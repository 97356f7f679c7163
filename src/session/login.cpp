// Login through the dispatcher and the chat server, the login panel's buttons, logout.

#include <filesystem>

#include "wire/digest.h"
#include "wire/fields.h"
#include "wire/head_code.h"
#include "session/session.h"
#include "session/startup.h"

namespace nq {

namespace {
// Bounds the port walk on address-in-use: a machine with every port taken must not hang the login.
constexpr int kMaxBindAttempts = 256;

uint16_t nextPort(uint16_t port) {
    const int p = port + Session::kPortStepOnConflict;
    return static_cast<uint16_t>(p > 65535 - Session::kChatPortOffset ? 7000 + p % 1000 : p);
}
}  // namespace

void Session::reseed() {
    const auto ticks = services_.now().time_since_epoch().count();
    rng_.seed(static_cast<uint32_t>(ticks ^ (ticks >> 32)));
}

std::string Session::noticeText(const Bytes& body) {
    Bytes text = body;
    while (!text.empty() && text.back() == '\0') text.pop_back();
    return gbk::toUtf8(text);
}

void Session::restoreLoginPanel(const std::string& commandLine) {
    if (fileExists(userIni())) {
        view_.setNameText(gbk::toUtf8(readSetting(userIni(), "UserName")));
        if (toNumber(readSetting(userIni(), "isrempwd")) == 1) {
            view_.setRememberChecked(true);
            if (!view_.nameText().empty()) view_.setPasswordText(kPasswordPlaceholder);
        }
    }
    if (!view_.nameText().empty() && !view_.passwordText().empty() &&
        readSetting(userIni(), "OutoRun") == "1") {
        view_.setAutoRunChecked(true);
        comLoginClick();
    } else {
        view_.setAutoRunChecked(false);
    }

    hallStart = false;
    const auto hall = parseHallLine(gbk::fromUtf8(commandLine));
    if (!hall) return;
    hallStart = true;
    hallCommand = hall->command;
    view_.setLoginEnabled(false);
    view_.setCancelEnabled(true);
    timer_.setEnabled(true);
    view_.setNameText(gbk::toUtf8(hall->name));
    view_.setPasswordText(kPasswordPlaceholder);
    startLogin(hall->name, joinFields({hall->name, hall->digest}));
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

    const Bytes stored = readSetting(userIni(), "Password");

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
        const int err = update_.bind(localPort);
        if (err == 0) return true;
        if (err != kErrAddressInUse) return false;
        localPort = nextPort(localPort);
    }
    return false;
}

std::string Session::clientVersion() {
    const std::string ver = readSetting(sysIni(), "Ver");
    return ver.empty() ? "1.0" : ver;
}

void Session::showAwaitingVerification(const std::string& name) {
    view_.setInfo("正在等待服务器验证，请稍侯。。。", InfoColor::Black);
    view_.setStatus(1, "用户:" + name);
    view_.setStatus(2, "状态：等待验证");
    view_.setInputsEnabled(false);
}

void Session::startLogin(const Bytes& name, const Bytes& body) {
    std::string server = readSetting(sysIni(), "Server");
    if (server.empty()) server = kDefaultServer;
    if (!bindUpdateSocket(server)) return;
    loginBody = body;
    viaDispatcher = true;
    queueFrame(1, 1, static_cast<float>(versionCode(clientVersion())), body);
    showAwaitingVerification(gbk::toUtf8(name));
    waitDispatcher = true;
}

void Session::retryDispatcher(const char* serverKey) {
    const std::string host = readSetting(sysIni(), serverKey);
    // The retry binds the next port up, so a lingering reply to the first port is not read.
    update_.close();
    update_.setRemote(host, kDispatcherPort);
    if (update_.bind(static_cast<uint16_t>(localPort + 1)) != 0) return;
    viaDispatcher = true;
    queueFrame(1, 1, static_cast<float>(versionCode(clientVersion())), loginBody);
    showAwaitingVerification(view_.nameText());
}

void Session::updateDataArrival(const Bytes& datagram) {
    trace("in", "dispatcher", datagram);
    storeDatagram(*this, reinterpret_cast<const uint8_t*>(datagram.data()), datagram.size());
    recvIdle = 0;
    // The dispatcher's answer is acted on at once, outside the tick.
    ParsePacket(*this);
    onDispatcherFrame();
}

void Session::onDispatcherFrame() {
    if (head.Type != 1.0f) return;
    if (head.Code == 1.0f) {
        const Bytes host = cutField(msgBody).value_or(Bytes());
        const int port = static_cast<int>(toNumber(cutField(msgBody).value_or(Bytes())));
        for (int attempt = 0; attempt < kMaxBindAttempts; ++attempt) {
            chat_.close();
            chat_.setRemote(host, static_cast<uint16_t>(port));
            const int err = chat_.bind(static_cast<uint16_t>(localPort + kChatPortOffset));
            if (err != kErrAddressInUse) break;
            localPort = nextPort(localPort);
        }
        viaDispatcher = false;
        queueFrame(1, 1, 0, loginBody);
        waitDispatcher = false;
        waitLogin = true;
        waitReply = true;
    } else if (head.Code == 2.0f) {
        onPasswordRefused();
        waitDispatcher = false;
    } else if (head.Code == 3.0f) {
        onLoggedInElsewhere();
    } else if (head.Code == 4.0f) {
        startUpdater();
    }
}

void Session::onLoginAccepted() {
    waitReply = false;
    const auto fields = splitAll(msgBody);
    if (!fields.empty()) myNick = Bytes(fields[0]);
    if (fields.size() > 1) myHead = std::to_string(headOnlineIndex(fields[1]));
    online = true;
    reverifying = false;
    sendDone = true;
    sessionId = head.Session;

    const std::string password = view_.passwordText();
    if (readSetting(userIni(), "isrempwd") == "1") {
        if (password != kPasswordPlaceholder) {
            if (auto digest = passwordDigest(gbk::fromUtf8(password)))
                writeSetting(userIni(), "Password", *digest);
        }
    } else {
        writeSetting(userIni(), "Password", "");
    }
    myName = gbk::fromUtf8(view_.nameText());
    writeSetting(userIni(), "UserName", myName);

    view_.setStatus(2, "状态：登录成功");
    waitDispatcher = false;
    view_.setInfo("验证通过.正在读取信息，请稍后...", InfoColor::Black);
    ensureUserFolder();
    if (hooks.loadFromfile) hooks.loadFromfile();
    view_.setInputsEnabled(true);
    exitAllowed = false;
    view_.setSessionMenusEnabled(true);
    if (hooks.applyHotkey) hooks.applyHotkey();
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
    useStamp = false;
    sendAtOnce(1, 5, 0, ownNameBody());
    online = false;
}

void Session::sendQuitRoom() {
    sendAtOnce(2, 7, 4, ownNameBody());
}

void Session::sendAtOnce(float type, float sub, float code, const Bytes& body) {
    queueFrame(type, sub, code, body);
    sendPending = false;
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
    if (hooks.afterLogout) hooks.afterLogout();
}

void Session::unload() {
    if (online) {
        sendQuit();
        if (hooks.saveQuit) hooks.saveQuit();
    }
    if (hooks.inPublicRoom && hooks.inPublicRoom()) sendQuitRoom();
}

}  // namespace nq
