// Groups that users create, join and leave: the coins it takes to create one, the join request
// relayed to the creator and kept until he is online, his consent or refusal relayed back, the
// requester's confirmation, leaving, and a group the admin dissolved.

#include <algorithm>

#include "server/chat_service.h"
#include "server/names.h"
#include "server/records.h"

namespace nq::server {
namespace {

// The verification text and a refusal's reason: the client's boxes take 30 characters.
constexpr size_t kVerificationBytes = 60;
// The introduction shares the card's frame with eight short fields, and is one INI line.
constexpr size_t kIntroBytes = 400;

Bytes oneLine(std::string_view text, size_t maxBytes) {
    Bytes out(cutGbk(text, maxBytes));
    for (char& c : out)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
    return out;
}

// The codes of a membership event between chat servers.
constexpr int kJoined = 1;
constexpr int kLeft = 2;

bool holds(const std::vector<Contact>& members, const Bytes& account) {
    return std::any_of(members.begin(), members.end(),
                       [&](const Contact& c) { return c.account == account; });
}

}  // namespace

void ChatService::onMayCreateGroup(Session& s, const FrameHeader&, FieldReader&) {
    const auto a = store_.account(s.account);
    const int thousands = config_.input.groupCoinsThousands;
    if (a && a->coins >= int64_t{thousands} * 1000)
        return void(sendTo(s, kind::kMayCreateGroup, code::kDone, {}));
    sendTo(s, kind::kMayCreateGroup, code::kFailed, joinFields({std::to_string(thousands)}));
}

void ChatService::onCreateGroup(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto name = fields.next();
    const auto intro = fields.next();
    if (!name || !intro) return dropShort(s, h);
    const Bytes groupName(*name);
    auto refuse = [&](const std::string& why) {
        NQ_LOG_CAPPED(log_, Refused, now_, Info, "%s cannot create group %s: %s",
                      printable(s.account).c_str(), printable(groupName).c_str(), why.c_str());
        sendTo(s, kind::kCreateGroup, code::kFailed, joinFields({s.account, groupName}));
    };
    const auto a = store_.account(s.account);
    if (!a || a->coins < int64_t{config_.input.groupCoinsThousands} * 1000) return refuse("too few coins");
    if (auto p = groupNameProblem(groupName)) return refuse(*p);
    if (store_.group(groupName)) return refuse("the name is taken");
    if (store_.account(groupName) || store_.accountByNick(groupName)) return refuse("the name is somebody's");
    Group g{0, groupName, s.account, oneLine(*intro, kIntroBytes)};
    size_t roster = groupEntrySize({INT64_MAX, g.name, g.creator, {}});
    for (const Group& mine : store_.groupsOf(s.account)) roster += groupEntrySize(mine);
    if (roster > kMaxBody) return refuse("his groups fill their roster frame");
    store_.createGroup(g);
    sendTo(s, kind::kCreateGroup, code::kDone, joinFields({s.account, groupName}));
}

// A join attempt that fails, told as the confirmation's failure: the client's toast names the group.
void ChatService::refuseJoin(Session& s, const Bytes& group, int64_t id, const char* why) {
    NQ_LOG_CAPPED(log_, Refused, now_, Info, "%s cannot join %s: %s", printable(s.account).c_str(),
                  printable(group).c_str(), why);
    sendTo(s, kind::kJoinGroup, code::kFailed, joinFields({s.account, group, std::to_string(id)}));
}

void ChatService::onJoinRequest(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto creator = fields.next();
    const auto name = fields.next();
    const auto text = fields.next();
    if (!creator || !name || !text) return dropShort(s, h);
    const Bytes groupName(*name);
    const auto group = store_.group(groupName);
    if (!group) return refuseJoin(s, groupName, 0, "no such group");
    const std::vector<Contact> members = store_.groupMembers(group->id);
    if (holds(members, s.account)) return refuseJoin(s, groupName, group->id, "a member already");
    if (members.size() >= kMaxGroupMembers) return refuseJoin(s, groupName, group->id, "the group is full");
    if (auto pending = store_.joinRequest(group->id, s.account);
        pending && pending->state != JoinState::Refused) {
        // His first request stands; a second would open a second window on the creator's screen.
        NQ_LOG_CAPPED(log_, Refused, now_, Info, "dropped a second join request of %s to %s",
                      printable(s.account).c_str(), printable(groupName).c_str());
        return;
    }
    if (!joinRates_.take(s.account, now_))
        return refuseJoin(s, groupName, group->id, "too many join requests this hour");
    JoinRequest r{group->id, group->name, group->creator, s.account, oneLine(*text, kVerificationBytes)};
    store_.putJoinRequest(r);
    if (auto it = byAccount_.find(group->creator); it != byAccount_.end()) {
        if (sessions_.at(it->second).ready) showJoinRequest(sessions_.at(it->second), r);
    } else {
        tellJoinTrafficElsewhere(group->creator);
    }
}

// The request or answer is in the store already; the server holding the account reads it there.
void ChatService::tellJoinTrafficElsewhere(const Bytes& account) {
    if (auto server = bus_.elsewhere(account, now_))
        bus_.tell(now_, BusKind::JoinTraffic, account, 0, *server);
}

void ChatService::showJoinRequest(Session& creator, JoinRequest r) {
    sendTo(creator, kind::kJoinRequest, code::kNone, joinFields({r.requester, r.creator, r.group, r.text}));
    r.state = JoinState::Shown;
    store_.putJoinRequest(r);
}

void ChatService::tellJoinAnswer(Session& requester, JoinRequest r) {
    const bool agreed = r.state == JoinState::Agreed || r.state == JoinState::Told;
    sendTo(requester, kind::kJoinAnswer, agreed ? code::kAgree : code::kRefuse,
           joinFields({r.creator, r.requester, r.group, agreed ? Bytes(" ") : r.text}));
    if (!agreed) return store_.dropJoinRequest(r.groupId, r.requester);
    r.state = JoinState::Told;
    r.text.clear();
    store_.putJoinRequest(r);
}

// At a session's (2,6): requests to his groups that he has not answered, and answers to his own
// requests. An agreement told before and never confirmed is told again, since the client's
// confirmation waits for a free send queue and may never have gone. Woken by another chat
// server later in the session, only what is new is told.
void ChatService::deliverJoinTraffic(Session& s, bool atLogin) {
    for (const JoinRequest& r : store_.joinRequestsTo(s.account))
        if (r.state == JoinState::Asked || (atLogin && r.state == JoinState::Shown)) showJoinRequest(s, r);
    for (const JoinRequest& r : store_.joinRequestsBy(s.account))
        if (r.state == JoinState::Agreed || r.state == JoinState::Refused ||
            (atLogin && r.state == JoinState::Told))
            tellJoinAnswer(s, r);
}

// The creator's answer: own, requester, group, reason; or, when he closed the window without
// answering, own, requester, reason, a refusal of the oldest request of that requester shown to
// him. Only the creator of the group answers, and only a request shown to him; anything else has
// no reply in the protocol and is dropped.
void ChatService::onJoinAnswer(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto requester = fields.next();
    const auto second = fields.next();
    if (!requester || !second) return dropShort(s, h);
    const auto third = fields.next();
    const Bytes who(*requester);
    std::optional<JoinRequest> r;
    if (third) {
        if (auto group = store_.group(Bytes(*second)); group && group->creator == s.account)
            r = store_.joinRequest(group->id, who);
    } else if (h.code == code::kRefuse) {
        for (JoinRequest& mine : store_.joinRequestsTo(s.account))
            if (mine.requester == who && mine.state == JoinState::Shown) {
                r = std::move(mine);
                break;
            }
    }
    if (!r || r->state != JoinState::Shown || (h.code != code::kAgree && h.code != code::kRefuse)) {
        NQ_LOG_CAPPED(log_, Refused, now_, Info,
                      "dropped a join answer of %s about %s: no request of his to answer",
                      printable(s.account).c_str(), printable(who).c_str());
        return;
    }
    r->state = h.code == code::kAgree ? JoinState::Agreed : JoinState::Refused;
    r->text = h.code == code::kAgree ? Bytes() : oneLine(third ? *third : *second, kVerificationBytes);
    store_.putJoinRequest(*r);
    if (auto it = byAccount_.find(who); it != byAccount_.end()) {
        if (sessions_.at(it->second).ready) tellJoinAnswer(sessions_.at(it->second), *r);
    } else {
        tellJoinTrafficElsewhere(who);
    }
}

// Tells every member online here, the one it concerns included.
void ChatService::tellMembers(const std::vector<Contact>& members, FrameKind kind, const Bytes& body) {
    for (const Contact& m : members)
        if (auto it = byAccount_.find(m.account); it != byAccount_.end())
            sendTo(sessions_.at(it->second), kind, code::kDone, body);
}

void ChatService::tellMembersElsewhere(const std::vector<Contact>& members, const Bytes& who, int change,
                                       const Bytes& body) {
    if (!allOnlineHere(members)) bus_.tell(now_, BusKind::Membership, who, change, {}, body);
}

// The body names who and the group; its members are read when the change is committed, so the
// one who left is not among them, and he is not here either.
void ChatService::onMembershipElsewhere(const BusEvent& e) {
    FieldReader fields(e.body);
    const auto who = fields.next();
    const auto name = fields.next();
    if (!who || !name || (e.code != kJoined && e.code != kLeft)) return;
    if (const auto group = store_.group(Bytes(*name)))
        tellMembers(store_.groupMembers(group->id), e.code == kJoined ? kind::kJoinGroup : kind::kLeaveGroup,
                    e.body);
}

void ChatService::onJoinConfirm(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto name = fields.next();
    if (!name) return dropShort(s, h);
    const Bytes groupName(*name);
    const auto group = store_.group(groupName);
    if (!group) return refuseJoin(s, groupName, 0, "no such group");
    const auto r = store_.joinRequest(group->id, s.account);
    if (!r || (r->state != JoinState::Agreed && r->state != JoinState::Told))
        return refuseJoin(s, groupName, group->id, "the creator has not agreed");
    std::vector<Contact> members = store_.groupMembers(group->id);
    if (holds(members, s.account)) {
        store_.dropJoinRequest(group->id, s.account);
        return refuseJoin(s, groupName, group->id, "a member already");
    }
    if (members.size() >= kMaxGroupMembers) return refuseJoin(s, groupName, group->id, "the group is full");
    size_t roster = groupEntrySize(*group);
    for (const Group& mine : store_.groupsOf(s.account)) roster += groupEntrySize(mine);
    if (roster > kMaxBody) return refuseJoin(s, groupName, group->id, "his groups fill their roster frame");
    store_.addMember(group->id, s.account);
    store_.dropJoinRequest(group->id, s.account);
    members.push_back({s.account, s.nick, s.head});
    const Bytes body = joinFields({s.account, group->name, std::to_string(group->id)});
    tellMembers(members, kind::kJoinGroup, body);
    tellMembersElsewhere(members, s.account, kJoined, body);
}

// Leaving: a member but the creator, who keeps his group until the admin dissolves it. A leave
// that cannot be done has no reply in the protocol and is dropped.
void ChatService::onLeaveGroup(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto name = fields.next();
    if (!name) return dropShort(s, h);
    const auto group = store_.group(Bytes(*name));
    const std::vector<Contact> members = group ? store_.groupMembers(group->id) : std::vector<Contact>{};
    if (!group || group->creator == s.account || !holds(members, s.account)) {
        NQ_LOG_CAPPED(log_, Refused, now_, Info,
                      "dropped a leave of %s from %s: no such group, not his, or his own",
                      printable(s.account).c_str(), printable(*name).c_str());
        return;
    }
    store_.removeMember(group->id, s.account);
    const Bytes body = joinFields({s.account, group->name});
    tellMembers(members, kind::kLeaveGroup, body);
    tellMembersElsewhere(members, s.account, kLeft, body);
}

// The admin dissolved a group: its members online here hear it; those away find it gone from
// their next group roster.
void ChatService::groupGone(const Bytes& notice) {
    std::vector<Bytes> lines;
    for (size_t at = 0; at <= notice.size();) {
        const size_t end = std::min(notice.find('\n', at), notice.size());
        lines.emplace_back(notice.substr(at, end - at));
        at = end + 1;
    }
    if (lines.empty() || lines[0].empty()) return;
    const Bytes body = joinFields({lines[0]});
    for (size_t i = 1; i < lines.size(); ++i)
        if (auto it = byAccount_.find(lines[i]); it != byAccount_.end())
            sendTo(sessions_.at(it->second), kind::kGroupDissolved, code::kDone, body);
}

}  // namespace nq::server
