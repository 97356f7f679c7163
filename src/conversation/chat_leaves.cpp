// The leaves of the server message handler that queue chat lines: one to one (2,1), group
// (2,2), group member (2,3) and the public room's lines (2,7) code 3. The session's prelude to
// the family has already set queueActive and pointed the shared accessor at NQUser.nq.
//
// Each leaf fills the slot at writeIndex as it reads the body. A line of the user's own
// account stays in the slot without a kind, and the writer does not move, so the next line
// overwrites it.

#include <limits>

#include "contacts/contacts.h"
#include "conversation/chat_manager.h"
#include "session/session.h"
#include "store/store_keys.h"
#include "wire/fields.h"

namespace nq {

namespace user = store::user;
using Slot = IncomingQueue::Slot;

namespace {

constexpr int kStrangerHead = 2;

// A field the body lacks leaves its target as it was.
void readInto(Bytes& body, Bytes& target) {
    if (auto f = cutField(body)) target = *std::move(f);
}

Bytes nextField(Bytes& body) {
    return cutField(body).value_or(Bytes());
}

}  // namespace

void ChatManager::registerLeaves() {
    DispatchTable& h = session_.handlers;
    h.on(kind::kChat, [this](Session&) { onChat(); });
    h.on(kind::kGroupChat, [this](Session&) { onGroupChat(); });
    h.on(kind::kMemberChat, [this](Session&) { onMemberChat(); });
    h.on(kind::kRoom, [this](Session&) { onRoomLine(); });
    h.on(kind::kJoinRequest, [this](Session&) { onJoinRequest(); });
}

void ChatManager::playMessageSound() {
    session_.services().playSound(session_.soundPath("message.wav"));
}

// A friend or somebody on the blacklist: kind 1; a face known only from a group: 3; anybody
// else is a stranger, who joins the strangers' list.
float ChatManager::kindOfSender(const Bytes& sender) {
    if (contacts_.MyList(Contacts::kFriends).find(sender) ||
        contacts_.MyList(Contacts::kBlacklist).find(sender))
        return IncomingQueue::kFriendLine;
    if (contacts_.MyTree().find(sender)) return IncomingQueue::kMemberLine;
    contacts_.AUnknfrd(contacts_.MyList(Contacts::kStrangers), sender, kStrangerHead);
    return IncomingQueue::kStrangerLine;
}

void ChatManager::onChat() {
    Bytes& body = session_.wire.msgBody;
    const Bytes account = nextField(body);
    const Bytes dearName = session_.ini.GetIniKey(account, user::kDearName);
    Slot& slot = incomingQueue.writeSlot();
    slot.sender = dearName.empty() ? account : dearName;
    slot.receiver.clear();
    slot.room.clear();
    cutField(body);
    readInto(body, slot.text);
    if (slot.sender == session_.myName) return;
    slot.kind = kindOfSender(slot.sender);
    incomingQueue.wrap();
    playMessageSound();
    incomingQueue.advance();
    emit messageQueued();
}

void ChatManager::onGroupChat() {
    Bytes& body = session_.wire.msgBody;
    Slot& slot = incomingQueue.writeSlot();
    slot.room.clear();
    readInto(body, slot.sender);
    readInto(body, slot.receiver);
    readInto(body, slot.text);
    if (slot.sender == session_.myName) return;
    // The stamp is 16-bit: one that does not fit loses the line.
    const double stamp = session_.wire.head.Session;
    if (stamp < std::numeric_limits<int16_t>::min() || stamp > std::numeric_limits<int16_t>::max()) return;
    session_.wire.replyStamp = static_cast<int16_t>(stamp);
    slot.kind = IncomingQueue::kGroupLine;
    incomingQueue.wrap();
    playMessageSound();
    incomingQueue.advance();
    emit messageQueued();
}

// The sound comes last here, after the writer moved.
void ChatManager::onMemberChat() {
    Bytes& body = session_.wire.msgBody;
    Slot& slot = incomingQueue.writeSlot();
    slot.receiver.clear();
    slot.room.clear();
    readInto(body, slot.sender);
    cutField(body);
    readInto(body, slot.text);
    if (slot.sender == session_.myName) return;
    slot.kind = IncomingQueue::kMemberLine;
    incomingQueue.wrap();
    incomingQueue.advance();
    playMessageSound();
    emit messageQueued();
}

// Only a line of a room whose window is open is queued; the window flashes once for it. The
// other codes of the family belong to the room window itself.
void ChatManager::onRoomLine() {
    if (session_.wire.head.Code != code::kRoomLine) return;
    const Bytes caption = groupCaption(roomName);
    bool open = false;
    for (const OpenChat& w : windows().openChats()) {
        if (w.caption == caption && w.mode == ChatMode::MM) {
            open = true;
            break;
        }
    }
    if (!open) return;
    Bytes& body = session_.wire.msgBody;
    Slot& slot = incomingQueue.writeSlot();
    slot.receiver.clear();
    readInto(body, slot.sender);
    cutField(body);
    readInto(body, slot.text);
    if (slot.sender == session_.myName) return;  // the server echoes the user's own lines
    slot.kind = IncomingQueue::kRoomLine;
    slot.room = roomName;
    incomingQueue.wrap();
    playMessageSound();
    incomingQueue.advance();
    windows().flash(caption);
    emit messageQueued();
}

// Somebody asks to join a group the user created: the request waits in the queue like a line,
// with the group where a group line has it, until the consent window takes it. The second
// field names the creator, who is the user.
void ChatManager::onJoinRequest() {
    Bytes& body = session_.wire.msgBody;
    Slot& slot = incomingQueue.writeSlot();
    slot.room.clear();
    readInto(body, slot.sender);
    cutField(body);
    readInto(body, slot.receiver);
    readInto(body, slot.text);
    if (slot.sender == session_.myName) return;
    slot.kind = IncomingQueue::kJoinRequest;
    incomingQueue.wrap();
    playMessageSound();
    incomingQueue.advance();
    emit messageQueued();
}

}  // namespace nq
