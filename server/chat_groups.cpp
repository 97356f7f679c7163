// The members of a group, for its members only, and the lines they say to each other.

#include <algorithm>

#include "server/chat_service.h"
#include "server/records.h"

namespace nq::server {
namespace {

// Group lines are live only and never wait in the store, so past this many frames held for a
// member his group lines are dropped: a busy group leaves room in what is held for his other
// frames. Below the 16 held under which his waiting messages are read from the store, so that a
// busy group never keeps them there; live one-to-one lines go to the store only past 32 held.
constexpr size_t kGroupHeldMax = 8;
// Ended sessions whose stamps are kept at most; past it an arbitrary one goes.
constexpr size_t kRetiredStampsMax = 1 << 16;
// Groups whose members are kept for an outage of the database at most (some 10 MB at 200
// members each); past it an arbitrary one goes.
constexpr size_t kGroupsSeenMax = 512;

bool isMember(const std::vector<Contact>& members, const Bytes& account) {
    return std::any_of(members.begin(), members.end(),
                       [&](const Contact& c) { return c.account == account; });
}

}  // namespace

std::optional<std::pair<Group, std::vector<Contact>>> ChatService::groupWithMembers(const Bytes& name) {
    try {
        auto group = store_.group(name);
        if (!group) {
            groupsSeen_.erase(name);
            return std::nullopt;
        }
        auto members = store_.groupMembers(group->id);
        if (groupsSeen_.size() >= kGroupsSeenMax && !groupsSeen_.count(name))
            groupsSeen_.erase(groupsSeen_.begin());
        return groupsSeen_[name] = {std::move(*group), std::move(members)};
    } catch (const StoreUnavailable&) {
        auto it = groupsSeen_.find(name);
        if (it == groupsSeen_.end()) throw;
        return it->second;
    }
}

void ChatService::onMemberRoster(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto name = fields.next();
    if (!name) return dropShort(s, h);
    const auto group = groupWithMembers(Bytes(*name));
    const std::vector<Contact> members = group ? group->second : std::vector<Contact>{};
    if (!isMember(members, s.account)) {
        // The client asks only for groups its roster gave it; no answer exists for the rest.
        NQ_LOG_CAPPED(log_, Refused, now_, Info, "no member roster of %s for %s: no such group, or not his",
                      printable(*name).c_str(), printable(s.account).c_str());
        return;
    }
    // Who is online is asked first, so that a database out of reach leaves no half answer.
    std::vector<Contact> online;
    for (const Contact& c : members)
        if (byAccount_.count(c.account) || bus_.elsewhere(c.account, now_)) online.push_back(c);
    // All members first, as offline; then those online, whom the client moves up and lights.
    for (const Bytes& body : memberRosters(*name, members))
        sendTo(s, kind::kMemberRoster, code::kRosterList, body);
    for (const Bytes& body : memberRosters(*name, online))
        sendTo(s, kind::kMemberRoster, code::kRosterOnline, body);
}

// A member's line goes to every other member online, here and on the other chat servers, and to
// nobody else; members offline miss it, as the client keeps no group line it was not sent.
void ChatService::onGroupLine(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto name = fields.next();
    const auto text = fields.next();
    if (!name || !text) return dropShort(s, h);
    const auto group = groupWithMembers(Bytes(*name));
    const std::vector<Contact> members = group ? group->second : std::vector<Contact>{};
    if (!isMember(members, s.account)) {
        // A window left open on a group he has left, or a forged name: his line reaches nobody.
        NQ_LOG_CAPPED(log_, Refused, now_, Info,
                      "dropped a group line of %s to %s: no such group, or not his",
                      printable(s.account).c_str(), printable(*name).c_str());
        return toastRefusal(s, "你不在这个群里，这条消息没有发出。");
    }
    if (!groupRates_.take(s.account, now_)) {
        NQ_LOG_CAPPED(log_, Refused, now_, Info, "dropped a group line of %s to %s: over %d lines a minute",
                      printable(s.account).c_str(), printable(*name).c_str(),
                      config_.input.groupLinesPerMinute);
        return toastRefusal(s, "群里发言太快，有的消息没有发出。");
    }
    const Bytes body = chatBody(s.account, group->first.name, *text);
    deliverGroupLine(s.account, members, body);
    if (!allOnlineHere(members)) bus_.tell(now_, BusKind::GroupLine, s.account, 0, {}, body);
}

// The other chat servers are told of a group's traffic only when a member may be online there.
bool ChatService::allOnlineHere(const std::vector<Contact>& members) const {
    return std::all_of(members.begin(), members.end(),
                       [&](const Contact& c) { return byAccount_.count(c.account) > 0; });
}

void ChatService::onGroupLineElsewhere(const BusEvent& e) {
    FieldReader fields(e.body);
    const auto sender = fields.next();
    const auto name = fields.next();
    if (!sender || !name) return;
    if (const auto group = groupWithMembers(Bytes(*name)))
        deliverGroupLine(Bytes(*sender), group->second, e.body);
}

void ChatService::deliverGroupLine(const Bytes& sender, const std::vector<Contact>& members,
                                   const Bytes& body) {
    for (const Contact& m : members) {
        auto it = byAccount_.find(m.account);
        if (m.account == sender || it == byAccount_.end()) continue;
        Session& r = sessions_.at(it->second);
        if (peerAt(r.endpoint).pacer.heldCount() >= kGroupHeldMax) {
            NQ_LOG_CAPPED(log_, Dropped, now_, Info,
                          "dropped a group line of %s to %s: %zu frames held already",
                          printable(sender).c_str(), printable(r.account).c_str(), kGroupHeldMax);
            continue;
        }
        // The stamp counts only once the frame is queued, so the stamps the client reads run on.
        if (send(r.endpoint, kind::kGroupChat, code::kNone, r.stamps.next(), body)) r.stamps.issue();
    }
}

void ChatService::retireStamps(const Session& s) {
    if (s.stamps.last == 0 && !s.stamps.wrapped) return;
    if (retiredStamps_.size() >= kRetiredStampsMax) retiredStamps_.erase(retiredStamps_.begin());
    retiredStamps_[s.endpoint] = {s.stamps, now_};
}

void ChatService::takeRetiredStamps(Session& s) {
    auto it = retiredStamps_.find(s.endpoint);
    if (it == retiredStamps_.end()) return;
    s.stamps = it->second.stamps;
    retiredStamps_.erase(it);
}

void ChatService::toastRefusal(Session& s, const char* utf8) {
    if (limitNotices_.take(s.account, now_))
        sendTo(s, kind::kNoticeToast, code::kNone, joinFields({gbk::fromUtf8(utf8)}));
}

}  // namespace nq::server
