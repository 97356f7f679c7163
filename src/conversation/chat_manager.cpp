// The manager's parts, delivery to a window, and the two writers of the chat record.

#include "conversation/chat_manager.h"

#include "contacts/contacts.h"
#include "conversation/chat_record.h"
#include "session/session.h"
#include "store/store_keys.h"

namespace nq {

namespace user = store::user;

namespace {

constexpr const char* kTooLong = "发送内容超过限定大小！";

// Before any window exists: nothing is open, and nothing opens.
class NoWindows final : public ChatWindowDirectory {
  public:
    std::vector<OpenChat> openChats() const override { return {}; }
    void flash(const Bytes&) override {}
    void restore(const Bytes&) override {}
    void openChatWindow(const NewChatWindow&) override {}
    void showMainWindow(bool) override {}
    void showJoinRequests() override {}
    void openJoinRequestWindow(const Bytes&) override {}
    RoomView* roomView(const Bytes&) override { return nullptr; }
};

}  // namespace

ChatManager::ChatManager(Session& session, Contacts& contacts, QObject* parent)
    : QObject(parent), session_(session), contacts_(contacts) {
    registerLeaves();
    connect(&session_, &Session::unreadScanDue, this, &ChatManager::unreadScan);
    connect(&session_, &Session::globalsReset, this, [this] {
        incomingQueue.reset();
        trayState = kTrayNotice;
    });
}

ChatManager::~ChatManager() = default;

void ChatManager::setWindowDirectory(ChatWindowDirectory* directory) {
    windows_ = directory;
}

ChatWindowDirectory& ChatManager::windows() {
    static NoWindows none;
    return windows_ ? *windows_ : none;
}

std::string ChatManager::recordFile() const {
    return session_.userFile(kRecordFile);
}

// The paths that read NQUser.nq point the shared accessor at it, as they always did.
Bytes ChatManager::userIniKey(std::string_view section, std::string_view key) {
    session_.ini.setINIFileName(session_.userFile(user::kFileName));
    return session_.ini.GetIniKey(section, key);
}

std::optional<IncomingLine> ChatManager::takeFor(const Bytes& lbFrd) {
    if (!session_.queueActive) return std::nullopt;
    const auto slot = incomingQueue.pickFor(lbFrd, session_.myName);
    if (!slot) return std::nullopt;
    IncomingLine line = Revmsg(*slot);
    incomingQueue.consume(*slot);
    return line;
}

bool ChatManager::hasLineFor(const Bytes& lbFrd) const {
    return session_.queueActive && incomingQueue.pickFor(lbFrd, session_.myName).has_value();
}

IncomingLine ChatManager::Revmsg(int slot) {
    const IncomingQueue::Slot& s = incomingQueue.at(slot);
    IncomingLine line{s.sender,
                      getTimeField(s.text, session_.services().now()),
                      {getFontField(s.text), getSizeField(s.text), getColorField(s.text)},
                      GetText(s.text)};
    appendChatRecord(recordFile(), incomingRecordLine(s.sender, s.receiver, s.room, line.time, line.text));
    return line;
}

bool ChatManager::SndMsg(const OutgoingLine& line, const std::function<void()>& addTorevRtf) {
    if (gbkCharCount(line.text) >= kMaxLineChars) {
        session_.services().messageBox(kTooLong, Session::kAppTitle, BoxButtons::Ok, BoxIcon::Critical);
        return false;
    }
    if (addTorevRtf) addTorevRtf();

    const auto now = session_.services().now();
    // The label shows the nick; the server wants the account, when the cache knows it.
    Bytes peer = userIniKey(line.lbFrd, user::kItsName);
    if (peer.empty()) peer = line.lbFrd;
    if (const auto route = line.mode ? chatRoute(*line.mode) : std::nullopt) {
        const Bytes time = route->timeOfDayOnly ? formatTimeOfDay(now) : formatDateTime(now);
        const Bytes body = composeBody(session_.myName, route->toPeerAccount ? peer : line.lbFrd, line.look,
                                       time, line.text);
        // A group line carries the stamp of the last group line received, not the session.
        if (line.mode == ChatMode::OTM) session_.wire.useStamp = true;
        (void)session_.queueFrameGated(route->frame, route->frameCode, body);
    }

    const Bytes& ownName = line.mode == ChatMode::MM ? session_.myName : session_.myNick;
    appendChatRecord(recordFile(), outgoingRecordLine(line.lbFrd, ownName, formatDateTime(now), line.text));
    return true;
}

}  // namespace nq
