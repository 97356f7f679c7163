// The public room: one per deployment, named with its staff by the admin command and shared by
// every chat server on the database. Each server keeps those in it whose sessions it holds and
// tells the others on the bus who came, who went and what was said.

#include <algorithm>

#include "server/chat_service.h"
#include "server/records.h"

namespace nq::server {
namespace {

// People in the room at most, over all chat servers: every entry, leave and line costs each of
// them a frame.
constexpr size_t kRoomMembersMax = 500;
// The member list a newcomer gets fills this many frames at most (some 300 names); those past
// it show up as they speak or come and go.
constexpr size_t kRoomListFrames = 4;
// Past this many frames held for a member, room traffic to him is dropped, as group lines are:
// what is held for him stays room for his own messages.
constexpr size_t kRoomHeldMax = 8;

}  // namespace

bool ChatService::inRoom(const Bytes& account) const {
    return std::find(roomHere_.begin(), roomHere_.end(), account) != roomHere_.end();
}

void ChatService::onRoom(Session& s, const FrameHeader& h, FieldReader& fields) {
    switch (h.code) {
        case code::kRoomEnter:
            return enterRoom(s);
        case code::kRoomLine:
            return onRoomLine(s, h, fields);
        case code::kRoomLeave:
            return leaveRoom(s.account);
        default:
            NQ_LOG_CAPPED(log_, Dropped, now_, Info, "dropped (2,7) code %u from %s: no such room request",
                          h.code, printable(s.account).c_str());
    }
}

// (3,11): the room's name, then its staff, as many as fit one frame.
void ChatService::sendRoomList(Session& s) {
    if (!room_) return;
    Bytes body = joinFields({room_->name});
    for (const Bytes& staff : room_->staff) {
        if (body.size() + staff.size() + 1 > kMaxBody) break;
        appendField(body, staff);
    }
    sendTo(s, kind::kRoomList, code::kRoomListed, body);
}

// A repeated entry answers again but counts him once and tells nobody else.
void ChatService::enterRoom(Session& s) {
    const Bytes own = joinFields({s.account});
    s.roomListedThrough = bus_.lastEventWritten(now_);
    const std::vector<Bytes> elsewhere = bus_.roomMembersElsewhere(now_, static_cast<int>(kRoomMembersMax));
    if (!inRoom(s.account)) {
        if (!room_ || roomHere_.size() + elsewhere.size() >= kRoomMembersMax) {
            NQ_LOG_CAPPED(log_, Refused, now_, Info, "refused %s the room: %s", printable(s.account).c_str(),
                          room_ ? "it is full" : "no room is named");
            sendTo(s, kind::kRoom, code::kRoomEntryFailed, own);
            return;
        }
        roomHere_.push_back(s.account);
        writes_.add("note an entry to the room",
                    [account = s.account, id = config_.serverId](Store& st) { st.enterRoom(account, id); });
        tellRoom(code::kRoomEntered, own, s.account);
        bus_.tell(now_, BusKind::RoomEnter, s.account);
    }
    sendTo(s, kind::kRoom, code::kRoomEntered, own);

    std::vector<Bytes> frames(1);
    const auto list = [&](const Bytes& name) {
        if (name == s.account) return;
        if (frames.back().size() + name.size() + 1 > kMaxBody) {
            if (frames.size() == kRoomListFrames) return;
            frames.emplace_back();
        }
        appendField(frames.back(), name);
    };
    for (const Bytes& name : roomHere_) list(name);
    for (const Bytes& name : elsewhere)
        if (!inRoom(name)) list(name);
    for (const Bytes& body : frames)
        if (!body.empty()) sendTo(s, kind::kRoom, code::kRoomMembers, body);
}

// A line goes to everyone in the room, its sender too, who drops his own.
void ChatService::onRoomLine(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto room = fields.next();
    const auto text = fields.next();
    if (!room || !text) return dropShort(s, h);
    if (!inRoom(s.account)) {
        NQ_LOG_CAPPED(log_, Refused, now_, Info, "dropped a room line of %s: not in the room",
                      printable(s.account).c_str());
        return toastRefusal(s, "你不在聊天室里，这条消息没有发出。");
    }
    if (!roomRates_.take(s.account, now_)) {
        NQ_LOG_CAPPED(log_, Refused, now_, Info, "dropped a room line of %s: over %d lines a minute",
                      printable(s.account).c_str(), config_.input.roomLinesPerMinute);
        return toastRefusal(s, "聊天室里发言太快，有的消息没有发出。");
    }
    const Bytes body = chatBody(s.account, room_ ? std::string_view(room_->name) : *room, *text);
    tellRoom(code::kRoomLine, body, {});
    bus_.tell(now_, BusKind::RoomLine, s.account, 0, {}, body);
}

void ChatService::leaveRoom(const Bytes& account) {
    auto it = std::find(roomHere_.begin(), roomHere_.end(), account);
    if (it == roomHere_.end()) return;
    roomHere_.erase(it);
    writes_.add("note a leave of the room",
                [account, id = config_.serverId](Store& st) { st.leaveRoom(account, id); });
    tellRoom(code::kRoomLeave, joinFields({account}), account);
    bus_.tell(now_, BusKind::RoomLeave, account);
}

void ChatService::onRoomElsewhere(const BusEvent& e) {
    if (e.kind == BusKind::RoomLine) return tellRoom(code::kRoomLine, e.body, {});
    const Bytes who = joinFields({e.account});
    tellRoom(e.kind == BusKind::RoomEnter ? code::kRoomEntered : code::kRoomLeave, who, e.account, e.id);
}

// An entry or leave on another server that a member's list already showed is not told again.
void ChatService::tellRoom(uint16_t frameCode, const Bytes& body, const Bytes& except, int64_t busEvent) {
    for (const Bytes& account : roomHere_) {
        auto it = byAccount_.find(account);
        if (account == except || it == byAccount_.end()) continue;
        Session& r = sessions_.at(it->second);
        if (busEvent != 0 && busEvent <= r.roomListedThrough) continue;
        if (peerAt(r.endpoint).pacer.heldCount() >= kRoomHeldMax) {
            NQ_LOG_CAPPED(log_, Dropped, now_, Info, "dropped room traffic to %s: %zu frames held already",
                          printable(account).c_str(), kRoomHeldMax);
            continue;
        }
        sendTo(r, kind::kRoom, frameCode, body);
    }
}

void ChatService::restoreRoom() {
    for (const Bytes& account : store_.roomMembersAt(config_.serverId)) {
        if (byAccount_.count(account) && roomHere_.size() < kRoomMembersMax) {
            if (!inRoom(account)) roomHere_.push_back(account);
            continue;
        }
        writes_.add("forget an entry to the room of a session gone",
                    [account, id = config_.serverId](Store& st) { st.leaveRoom(account, id); });
    }
}

}  // namespace nq::server
