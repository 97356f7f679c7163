// The members of a group, for its members only.

#include <algorithm>

#include "server/chat_service.h"
#include "server/records.h"

namespace nq::server {

void ChatService::onMemberRoster(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto name = fields.next();
    if (!name) return dropShort(s, h);
    const auto group = store_.group(Bytes(*name));
    const std::vector<Contact> members = group ? store_.groupMembers(group->id) : std::vector<Contact>{};
    if (std::none_of(members.begin(), members.end(),
                     [&](const Contact& c) { return c.account == s.account; })) {
        // The client asks only for groups its roster gave it; no answer exists for the rest.
        NQ_LOG_CAPPED(log_, Refused, now_, Info, "no member roster of %s for %s: no such group, or not his",
                      printable(*name).c_str(), printable(s.account).c_str());
        return;
    }
    // All members first, as offline; then those online, whom the client moves up and lights.
    for (const Bytes& body : memberRosters(*name, members))
        sendTo(s, kind::kMemberRoster, code::kRosterList, body);
    std::vector<Contact> online;
    for (const Contact& c : members)
        if (byAccount_.count(c.account) || bus_.elsewhere(c.account, now_)) online.push_back(c);
    for (const Bytes& body : memberRosters(*name, online))
        sendTo(s, kind::kMemberRoster, code::kRosterOnline, body);
}

}  // namespace nq::server
