#include "session/session.h"

#include <cstdio>
#include <filesystem>

#include "store/store_keys.h"
#include "wire/fields.h"
#include "wire/frame_trace.h"

namespace nq {

namespace keys = store::settings;

Session::Session(std::string programFolder, PlatformServices& services, SessionView& view,
                 DatagramSocket& winSock_Update, DatagramSocket& SocketChat, Timer& timer_Peng,
                 QObject* parent)
    : QObject(parent),
      programFolder_(std::move(programFolder)),
      services_(services),
      view_(view),
      update_(winSock_Update),
      chat_(SocketChat),
      timer_(timer_Peng) {
    chat_.onData = [this](const Bytes& d) { chatDataArrival(d); };
    chat_.onError = [this](SocketError e) { chatError(e); };
    update_.onData = [this](const Bytes& d) { updateDataArrival(d); };
    update_.onError = [](SocketError) {};
    registerSessionLeaves();
}

std::string Session::sysIni() const {
    return programFolder_ + "/" + std::string(keys::kSysFileName);
}
std::string Session::userIni() const {
    return programFolder_ + "/" + std::string(keys::kUserFileName);
}
std::string Session::soundPath(const std::string& file) const {
    return assetFolder() + "/sound/" + file;
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

std::string Session::userFile(std::string_view name) const {
    return userFolder() + "/" + std::string(name);
}

void Session::InitGlobals() {
    wire = WireState{};
    recvIdle = pengTicks = pengMissed = 0;
    reverifyTicks = dispatchTicks = waitTicks = blinkTicks = 0;
    sendDone = viaDispatcher = online = reverifying = waitDispatcher = waitReply = waitLogin = false;
    queueActive = false;
    reseed();
    localPort = static_cast<uint16_t>(kFirstLocalPort + rng_() % kLocalPortBand);
    emit globalsReset();
}

Bytes Session::ownNameBody() const {
    return joinFields({myName});
}

void Session::queueFrame(FrameKind frame, uint16_t frameCode, const Bytes& body) {
    PacketHead h;
    h.Type = frame.type;
    h.Sub = frame.sub;
    h.Code = frameCode;
    sendBody = body;
    SendPacket(wire, h, body);
}

bool Session::queueFrameGated(FrameKind frame, uint16_t frameCode, const Bytes& body) {
    if (!wire.sendQueueFree) return false;
    queueFrame(frame, frameCode, body);
    return true;
}

Bytes Session::pullQueuedFrame() {
    // Everything queued since the last transmission, not just sendBody's frame: two senders that
    // do not wait for the gate within one tick (a window opening while the tree asks for a
    // group's members) would otherwise send a cut across both frames and leave the ring out of
    // step, so that every later frame went out cut as well. The server reads a datagram of
    // several frames frame by frame.
    const auto pending = static_cast<size_t>((wire.sendWrite - wire.sendRead + kRingSize) % kRingSize);
    return takeFromSendRing(wire, pending);
}

void Session::sendNow(const Bytes& datagram) {
    trace("out", "chat", datagram);
    chat_.send(datagram);
}

void Session::trace(const char* direction, const char* channel, const Bytes& datagram) const {
    if (!traceFrames) return;
    std::fprintf(stderr, "%s\n", describeDatagram(direction, channel, datagram).c_str());
}

Bytes Session::readSetting(const std::string& file, std::string_view key) {
    return CIniFile(file).GetIniKey(keys::kSettingSection, key);
}

void Session::writeSetting(const std::string& file, std::string_view key, std::string_view value) {
    CIniFile(file).WriteIniKey(keys::kSettingSection, key, value);
}

void Session::remPwdClicked(bool checked) {
    writeSetting(userIni(), keys::kRememberPassword, checked ? "1" : "0");
}
void Session::autoRunClicked(bool checked) {
    writeSetting(userIni(), keys::kAutoRun, checked ? "1" : "0");
}

void Session::ensureUserFolder() {
    std::error_code ec;
    std::filesystem::create_directories(userFolder(), ec);
}

bool Session::inPublicRoom() {
    YesNoQuery query;
    emit publicRoomQuery(&query);
    return query.yes();
}

}  // namespace nq
