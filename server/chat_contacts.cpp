// Rosters, profiles, friends and the blacklist.

#include <algorithm>

#include "server/chat_service.h"
#include "server/records.h"

namespace nq::server {

namespace {

std::optional<Account> resolveIn(Store& store, const Bytes& key, bool nickFirst) {
    if (nickFirst) {
        if (auto a = store.accountByNick(key)) return a;
        return store.account(key);
    }
    if (auto a = store.account(key)) return a;
    return store.accountByNick(key);
}

}  // namespace

std::optional<Account> ChatService::resolve(std::string_view name, bool nickFirst) {
    return resolveIn(store_, Bytes(name), nickFirst);
}

void ChatService::onRosters(Session& s, const FrameHeader&, FieldReader&) {
    // Order matters to the client: friends, blacklist, exactly one group roster (whose arrival
    // makes it ask for the rest with (2,6)), then who of the friends is online.
    const std::vector<Contact> friends = store_.friends(s.account);
    if (friends.empty())
        sendTo(s, kind::kFriendRoster, code::kRosterEmpty, {});
    else
        sendTo(s, kind::kFriendRoster, code::kRosterList, friendRoster(friends));

    const std::vector<Contact> blacklist = store_.blacklist(s.account);
    s.blacklist.clear();
    for (const Contact& c : blacklist) s.blacklist.insert(c.account);
    if (!blacklist.empty()) sendTo(s, kind::kBlacklistRoster, code::kRosterList, blacklistRoster(blacklist));

    const std::vector<Group> groups = store_.groupsOf(s.account);
    if (groups.empty())
        sendTo(s, kind::kGroupRoster, code::kRosterEmpty, {}, kTrigger);
    else
        sendTo(s, kind::kGroupRoster, code::kRosterList, groupRoster(groups), kTrigger);

    if (!friends.empty()) {
        std::vector<Contact> online;
        for (const Contact& c : friends)
            if (byAccount_.count(c.account) || bus_.elsewhere(c.account, now_)) online.push_back(c);
        sendTo(s, kind::kFriendRoster, code::kRosterOnline, onlineRoster(online));
    }
    if (!s.ready) s.readyDeadline = now_ + config_.readyFallback();
}

void ChatService::onProfile(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto target = fields.next();
    if (!target) return dropShort(s, h);
    // The user's own profile views ask with the same code; only the request naming a friend
    // just accepted proves that the acceptance was read.
    if (auto it = std::find(s.profilesAwaited.begin(), s.profilesAwaited.end(), *target);
        h.code == code::kProfileAfterAdd && it != s.profilesAwaited.end()) {
        s.profilesAwaited.erase(s.profilesAwaited.begin(), it + 1);
        peerAt(s.endpoint).pacer.triggerAnswered(now_);
    }
    // A refresh of the own profile names a nick (the client falls back to the caption it
    // shows); the others an account.
    auto account = resolve(*target, h.code == code::kProfileRefreshOwn);
    if (!account) {
        // No failure reply exists: the client's wait runs out.
        NQ_LOG_CAPPED(log_, Refused, now_, Info, "no profile for %s asked by %s", printable(*target).c_str(),
                      printable(s.account).c_str());
        return;
    }
    sendTo(s, kind::kProfile, code::kDone, profileRecord(*account));
    if (h.code == code::kProfileAfterAdd && s.offlineCorrections.erase(account->name) &&
        !byAccount_.count(account->name)) {
        // Accepting a friend, the client marks him online; once the profile has given it his nick,
        // this puts him right.
        sendTo(s, kind::kPresence, code::kOffline, joinFields({account->name}));
    }
}

void ChatService::onAddFriend(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto name = fields.next();
    if (!name) return dropShort(s, h);
    auto account = resolve(*name);
    auto refuse = [&](const char* why) {
        NQ_LOG_CAPPED(log_, Refused, now_, Info, "%s cannot add %s as a friend: %s",
                      printable(s.account).c_str(), printable(*name).c_str(), why);
        sendTo(s, kind::kAddFriend, code::kFailed, joinFields({s.account, *name}));
    };
    if (!account) return refuse("no such account");
    if (account->name == s.account) return refuse("that is himself");

    const std::vector<Contact> friends = store_.friends(s.account);
    const bool already = std::any_of(friends.begin(), friends.end(),
                                     [&](const Contact& c) { return c.account == account->name; });
    if (!already) {
        size_t size = rosterEntrySize({account->name, account->nick, account->head});
        for (const Contact& c : friends) size += rosterEntrySize(c);
        if (size > kMaxBody) return refuse("the friend list fills its roster frame");
        writes_.add("add a friend",
                    [owner = s.account, other = account->name](Store& st) { st.addFriend(owner, other); });
        s.blacklist.erase(account->name);
    }
    // The client answers this at once with a profile request for the new friend.
    if (sendTo(s, kind::kAddFriend, code::kDone, joinFields({s.account, account->name}), kTrigger)) {
        if (s.profilesAwaited.size() == kProfilesAwaitedMax) s.profilesAwaited.erase(s.profilesAwaited.begin());
        s.profilesAwaited.push_back(account->name);
    }
    if (!byAccount_.count(account->name)) s.offlineCorrections.insert(account->name);
}

void ChatService::onDeleteFriend(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto name = fields.next();
    if (!name) return dropShort(s, h);
    // Always confirmed: a name the server does not know is a stale entry the client should drop.
    // The name is resolved as the write is made, so that it waits out a database out of reach.
    writes_.add("remove a friend", [owner = s.account, named = Bytes(*name)](Store& st) {
        if (auto account = resolveIn(st, named, false)) st.removeFriend(owner, account->name);
    });
    sendTo(s, kind::kDeleteFriend, code::kDone, joinFields({s.account, *name}));
}

void ChatService::onAddToBlacklist(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto name = fields.next();
    if (!name) return dropShort(s, h);
    auto account = resolve(*name);
    auto refuse = [&](const char* why) {
        NQ_LOG_CAPPED(log_, Refused, now_, Info, "%s cannot blacklist %s: %s", printable(s.account).c_str(),
                      printable(*name).c_str(), why);
        sendTo(s, kind::kAddToBlacklist, code::kFailed, joinFields({s.account, *name}));
    };
    if (!account) return refuse("no such account or nick");
    if (account->name == s.account) return refuse("that is himself");

    const std::vector<Contact> entries = store_.blacklist(s.account);
    const bool already = std::any_of(entries.begin(), entries.end(),
                                     [&](const Contact& c) { return c.account == account->name; });
    if (!already) {
        size_t size = blacklistEntrySize({account->name, account->nick, account->head});
        for (const Contact& c : entries) size += blacklistEntrySize(c);
        if (size > kMaxBody) return refuse("the blacklist fills its roster frame");
        writes_.add("blacklist someone", [owner = s.account, other = account->name](Store& st) {
            st.addToBlacklist(owner, other);
        });
    }
    s.blacklist.insert(account->name);
    sendTo(s, kind::kAddToBlacklist, code::kDone, joinFields({s.account, *name}));
}

void ChatService::onRemoveFromBlacklist(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto name = fields.next();
    if (!name) return dropShort(s, h);
    if (auto account = resolve(*name)) {
        writes_.add("take someone off a blacklist", [owner = s.account, other = account->name](Store& st) {
            st.removeFromBlacklist(owner, other);
        });
        s.blacklist.erase(account->name);
    }
    sendTo(s, kind::kRemoveFromBlacklist, code::kDone, joinFields({s.account, *name}));
}

}  // namespace nq::server
