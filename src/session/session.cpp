#include "session/session.h"

#include <cstdio>
#include <filesystem>

#include "wire/fields.h"
#include "wire/frame_trace.h"

namespace nq {

namespace {
constexpr const char* kSetting = "Setting";
}

Session::Session(std::string programFolder, PlatformServices& services, SessionView& view,
                 DatagramSocket& winSock_Update, DatagramSocket& SocketChat, Timer& timer_Peng)
    : programFolder_(std::move(programFolder)),
      services_(services),
      view_(view),
      update_(winSock_Update),
      chat_(SocketChat),
      timer_(timer_Peng) {
    chat_.onData = [this](const Bytes& d) { chatDataArrival(d); };
    chat_.onError = [this](int e) { chatError(e); };
    update_.onData = [this](const Bytes& d) { updateDataArrival(d); };
    update_.onError = [](int) {};
    hooks.loadFromfile = [this] { queueFrame(3, 4, 0, ownNameBody()); };
    registerSessionLeaves();
}

std::string Session::sysIni() const {
    return programFolder_ + "/Sys.ini";
}
std::string Session::userIni() const {
    return programFolder_ + "/User.ini";
}
std::string Session::soundPath(const std::string& file) const {
    return programFolder_ + "/sound/" + file;
}
std::string Session::updaterPath() const {
    return programFolder_ + "/update";
}

std::string Session::userFolder() const {
    // The folder carries the account's name as typed; on Linux file names are UTF-8, and a
    // name must never climb out of the program folder.
    std::string name = gbk::toUtf8(myName);
    for (char& c : name)
        if (c == '/') c = '_';
    if (name == "." || name == "..") name = "_" + name;
    return programFolder_ + "/" + name;
}

void Session::InitGlobals() {
    static_cast<WireState&>(*this) = WireState{};
    recvIdle = sendIdle = pengTicks = pengMissed = 0;
    reverifyTicks = dispatchTicks = waitTicks = blinkTicks = 0;
    sendDone = viaDispatcher = online = reverifying = waitDispatcher = waitReply = waitLogin = false;
    queueActive = false;
    reseed();
    localPort = static_cast<uint16_t>(7000 + rng_() % 1000);
}

Bytes Session::ownNameBody() const {
    return joinFields({myName});
}

void Session::queueFrame(float type, float sub, float code, const Bytes& body) {
    PacketHead h;
    h.Type = type;
    h.Sub = sub;
    h.Code = code;
    sendBody = body;
    SendPacket(*this, h, body);
}

bool Session::queueFrameGated(float type, float sub, float code, const Bytes& body) {
    if (!sendQueueFree) return false;
    queueFrame(type, sub, code, body);
    return true;
}

Bytes Session::pullQueuedFrame() {
    // sendBody gives the length; the blacklist move pads it to cover both of its frames.
    return takeFromSendRing(*this, static_cast<size_t>(gbkLength(sendBody) + kHeaderSize));
}

void Session::sendNow(const Bytes& datagram) {
    trace("out", "chat", datagram);
    chat_.send(datagram);
}

void Session::trace(const char* direction, const char* channel, const Bytes& datagram) const {
    if (!traceFrames) return;
    std::fprintf(stderr, "%s\n", describeDatagram(direction, channel, datagram).c_str());
}

std::string Session::readSetting(const std::string& file, const char* key) {
    ini.setINIFileName(file);
    return ini.GetIniKey(kSetting, key);
}

void Session::writeSetting(const std::string& file, const char* key, const Bytes& value) {
    ini.setINIFileName(file);
    ini.WriteIniKey(kSetting, key, value);
}

void Session::remPwdClicked(bool checked) {
    writeSetting(userIni(), "isrempwd", checked ? "1" : "0");
}
void Session::autoRunClicked(bool checked) {
    writeSetting(userIni(), "OutoRun", checked ? "1" : "0");
}

void Session::ensureUserFolder() {
    std::error_code ec;
    std::filesystem::create_directories(userFolder(), ec);
}

}  // namespace nq
