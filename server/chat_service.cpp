#include "server/chat_service.h"

#include <algorithm>
#include <ctime>

#include "server/credentials.h"
#include "server/names.h"
#include "server/records.h"
#include "wire/fields.h"
#include "wire/frame_trace.h"

namespace nq::server {
namespace {

// Waiting messages are read from the store in slices, so that a user with thousands waiting
// does not pull them all into memory; the next slice comes when few of the last are still held.
constexpr int kWaitingSlice = 64;
constexpr size_t kRefillBelow = 16;

constexpr Duration kNoticePoll = std::chrono::seconds(1);
constexpr Duration kLoadReport = std::chrono::seconds(2);
constexpr int64_t kLoadHeartbeatSeconds = 5;
// After a restart every old client's keep-alive is dropped; thousands of lines a second of that
// would bury everything else.
constexpr int kDropLinesPerSecond = 20;
// A client notices a lost session after about 168 s of unanswered keep-alives; a session kept
// at a stop comes back only if the server is up again well before that.
constexpr int64_t kKeptSessionSeconds = 150;
// A notice box stops the client's tick, keep-alives included, until the user closes it. A user
// away from the screen for a while should not lose his session for that.
constexpr Duration kBoxPatience = std::chrono::minutes(30);
// Chat servers sharing a store read each other's events this often; a server that has not
// reported its load for kFreshSeconds is taken as gone, and events older than a minute as read.
constexpr Duration kBusRead = std::chrono::milliseconds(250);
constexpr int64_t kFreshSeconds = 15;
constexpr int64_t kEventLifetimeSeconds = 60;

std::string printable(std::string_view gbkText) {
    return gbk::toUtf8(gbkText);
}

}  // namespace

Duration ChatConfig::sweepInterval() const {
    return std::min<Duration>(std::chrono::seconds(1), sessionTimeout / 4);
}

ChatService::ChatService(Store& store, const ChatConfig& config, Logger& log)
    : store_(store), config_(config), log_(log), random_(std::random_device{}()) {
    lastNoticeId_ = store_.lastNoticeId();  // notices from before the start were for others
    lastEventId_ = store_.lastEventId();
}

std::optional<uint32_t> ChatService::sessionOf(const Bytes& account) const {
    auto it = byAccount_.find(account);
    if (it == byAccount_.end()) return std::nullopt;
    return it->second;
}

size_t ChatService::unreadEstimate(const Endpoint& client, Time now) {
    auto it = peers_.find(client);
    return it == peers_.end() ? 0 : it->second.pacer.unreadEstimate(now);
}

ChatService::Peer& ChatService::peerAt(const Endpoint& ep) {
    auto it = peers_.find(ep);
    if (it == peers_.end()) it = peers_.emplace(ep, Peer(config_.pacing)).first;
    return it->second;
}

uint32_t ChatService::freshSessionNumber() {
    // Random, so that a session number is not guessed from the last one; at most 2^31 - 1
    // because the client keeps it in a signed conversion on some paths.
    std::uniform_int_distribution<uint32_t> pick(1, 0x7FFFFFFF);
    for (;;) {
        const uint32_t n = pick(random_);
        if (!sessions_.count(n)) return n;
    }
}

void ChatService::onDatagram(const Endpoint& from, std::string_view data, Time now) {
    now_ = now;
    if (log_.tracing()) log_.trace(describeDatagram("in", "chat " + from.toString(), data));
    while (!data.empty()) {
        auto frame = decodeFrame(data);
        if (!frame) {
            if (mayLogDrop())
                NQ_LOG(log_, Info, "dropped %zu bytes from %s that are no frame", data.size(),
                       from.toString().c_str());
            break;
        }
        data.remove_prefix(frame->len);
        try {
            handleFrame(from, *frame);
        } catch (const StoreError& e) {
            // A busy or full database costs this one frame, not the server.
            NQ_LOG(log_, Error, "(%u,%u) from %s failed: %s", frame->header.type, frame->header.sub,
                   from.toString().c_str(), e.what());
        }
    }
    flushDeletes();
}

void ChatService::handleFrame(const Endpoint& from, const Frame& f) {
    const FrameHeader& h = f.header;
    if (h.type == 1 && h.sub == 1) return login(from, f);

    auto it = sessions_.find(h.session);
    if (it == sessions_.end() || !(it->second.endpoint == from)) {
        if (mayLogDrop())
            NQ_LOG(log_, Info, "dropped (%u,%u) from %s: no session %u at that address", h.type, h.sub,
                   from.toString().c_str(), h.session);
        return;
    }
    Session& s = it->second;
    s.lastHeard = now_;
    peerAt(from).pacer.clientHeard(now_);

    FieldReader fields(f.body);
    const auto own = fields.next();
    if (!own || *own != s.account) {
        NQ_LOG(log_, Warn, "dropped (%u,%u) of session %u: it does not name its own account %s", h.type,
               h.sub, s.number, printable(s.account).c_str());
        return;
    }
    auto shortBody = [&] {
        NQ_LOG(log_, Info, "dropped (%u,%u) from %s: body too short", h.type, h.sub,
               printable(s.account).c_str());
    };

    switch (h.type << 8 | h.sub) {
        case 1 << 8 | 5:
            return logout(s);
        case 2 << 8 | 1: {
            const auto peer = fields.next();
            const auto text = fields.next();
            if (!peer || !text) return shortBody();
            return relay(s, *peer, *text);
        }
        case 2 << 8 | 6:
            return afterRosters(s);
        case 3 << 8 | 1:
            if (h.code == 3) peerAt(from).pacer.triggerAnswered(now_);
            if (auto target = fields.next()) return profile(s, h.code, *target);
            return shortBody();
        case 3 << 8 | 4:
            return rosters(s);
        case 5 << 8 | 1:
        case 5 << 8 | 2:
        case 6 << 8 | 1:
        case 6 << 8 | 2: {
            const auto name = fields.next();
            if (!name) return shortBody();
            if (h.type == 5) return h.sub == 1 ? addFriend(s, *name) : deleteFriend(s, *name);
            return h.sub == 1 ? addToBlacklist(s, *name) : removeFromBlacklist(s, *name);
        }
        default:
            if (h.type == 9) return keepAlive(s);
            NQ_LOG(log_, Info, "dropped (%u,%u) code %u from %s: not a kind this server serves", h.type,
                   h.sub, h.code, printable(s.account).c_str());
    }
}

void ChatService::login(const Endpoint& from, const Frame& f) {
    FieldReader fields(f.body);
    const auto name = fields.next();
    const auto digest = fields.next();
    if (!name || !digest) {
        NQ_LOG(log_, Info, "dropped a login from %s without name and digest", from.toString().c_str());
        return;
    }
    auto account = store_.account(Bytes(*name));
    if (!account || !digestMatches(account->digest, *digest)) {
        NQ_LOG(log_, Info, "login of %s from %s refused: %s", printable(*name).c_str(),
               from.toString().c_str(), account ? "wrong password" : "no such account");
        send(from, 1, 1, 2, 0, {});
        return;
    }

    bool wasOnline = false;
    if (auto old = byAccount_.find(account->name); old != byAccount_.end()) {
        wasOnline = true;
        const uint32_t oldNumber = old->second;
        const Endpoint oldEndpoint = sessions_.at(oldNumber).endpoint;
        if (oldEndpoint == from) {
            // The client's re-verification after it lost the session: a new session replaces it.
            endSession(oldNumber, false, "replaced by a new login from the same address");
        } else {
            // The account stays online throughout, so its friends hear nothing of the move.
            endSession(oldNumber, false, "logged in elsewhere");
            send(oldEndpoint, 1, 1, 3, oldNumber, {});
        }
    } else if (elsewhere(account->name)) {
        wasOnline = true;
        tellOthers(BusKind::Kick, account->name);
    }
    // One client, one ring: another account logged in from this address has left it.
    if (Peer& peer = peerAt(from); peer.session != 0)
        endSession(peer.session, true, "another account logged in from its address");

    Session& s = openSession(freshSessionNumber(), *account, from);
    const uint32_t number = s.number;
    NQ_LOG(log_, Info, "session %u: %s logged in from %s", number, printable(s.account).c_str(),
           from.toString().c_str());
    sendTo(s, 1, 1, 1, joinFields({s.nick, s.head}));
    if (!wasOnline) {
        announce(s.account, 1);
        tellOthers(BusKind::Presence, s.account, 1);
    }
}

ChatService::Session& ChatService::openSession(uint32_t number, const Account& account,
                                               const Endpoint& from) {
    Session& s = sessions_[number];
    s.number = number;
    s.account = account.name;
    s.nick = account.nick;
    s.head = account.head;
    s.endpoint = from;
    s.lastHeard = now_;
    s.readyDeadline = now_ + config_.readyFallback();
    for (const Contact& c : store_.blacklist(s.account)) s.blacklist.insert(c.account);
    byAccount_[s.account] = number;
    peerAt(from).session = number;
    store_.setOnline(s.account, config_.serverId);
    return s;
}

void ChatService::logout(Session& s) {
    endSession(s.number, true, "logged out");
}

void ChatService::keepAlive(Session& s) {
    sendTo(s, 9, 0, 0, {});
}

void ChatService::rosters(Session& s) {
    // Order matters to the client: friends, blacklist, exactly one group roster (whose arrival
    // makes it ask for the rest with (2,6)), then who of the friends is online.
    const std::vector<Contact> friends = store_.friends(s.account);
    if (friends.empty())
        sendTo(s, 3, 4, 2, {});
    else
        sendTo(s, 3, 4, 1, friendRoster(friends));

    const std::vector<Contact> blacklist = store_.blacklist(s.account);
    s.blacklist.clear();
    for (const Contact& c : blacklist) s.blacklist.insert(c.account);
    if (!blacklist.empty()) sendTo(s, 3, 6, 1, blacklistRoster(blacklist));

    sendTo(s, 3, 5, 2, {}, kTrigger);  // no groups yet

    if (!friends.empty()) {
        std::vector<Contact> online;
        for (const Contact& c : friends)
            if (byAccount_.count(c.account) || elsewhere(c.account)) online.push_back(c);
        sendTo(s, 3, 4, 3, onlineRoster(online));
    }
    if (!s.ready) s.readyDeadline = now_ + config_.readyFallback();
}

void ChatService::afterRosters(Session& s) {
    peerAt(s.endpoint).pacer.triggerAnswered(now_);
    if (!s.ready) makeReady(s);  // a repeated (2,6) changes nothing
}

void ChatService::makeReady(Session& s) {
    s.ready = true;
    s.moreWaiting = true;
    queueWaiting(s);
}

void ChatService::queueWaiting(Session& s) {
    const std::vector<WaitingMessage> slice =
        store_.waitingMessages(s.account, s.lastWaitingId, kWaitingSlice);
    if (static_cast<int>(slice.size()) < kWaitingSlice) s.moreWaiting = false;
    for (const WaitingMessage& m : slice) {
        s.lastWaitingId = m.id;
        sendTo(s, 2, 1, 0, m.body, kChatMessage, m.id);
    }
    if (!slice.empty())
        NQ_LOG(log_, Debug, "queued %zu waiting messages for %s", slice.size(), printable(s.account).c_str());
}

std::optional<Account> ChatService::resolve(std::string_view name, bool nickFirst) {
    const Bytes key(name);
    if (nickFirst) {
        if (auto a = store_.accountByNick(key)) return a;
        return store_.account(key);
    }
    if (auto a = store_.account(key)) return a;
    return store_.accountByNick(key);
}

void ChatService::relay(Session& s, std::string_view peerName, std::string_view text) {
    Session* receiver = nullptr;
    Bytes receiverName;
    if (auto it = byAccount_.find(Bytes(peerName)); it != byAccount_.end()) {
        receiver = &sessions_.at(it->second);
        receiverName = receiver->account;
    } else {
        // The client names the peer by account, or by nick when its cache lacks the account.
        auto account = resolve(peerName);
        if (!account) {
            NQ_LOG(log_, Info, "dropped a message from %s to unknown %s", printable(s.account).c_str(),
                   printable(peerName).c_str());
            return;
        }
        receiverName = account->name;
        if (auto it = byAccount_.find(receiverName); it != byAccount_.end())
            receiver = &sessions_.at(it->second);
    }
    if (receiverName == s.account) return;  // the client drops its own messages anyway

    const bool refused =
        receiver ? receiver->blacklist.count(s.account) > 0 : store_.isBlacklisted(receiverName, s.account);
    if (refused) {
        NQ_LOG(log_, Debug, "dropped a message from %s: %s has blacklisted him", printable(s.account).c_str(),
               printable(receiverName).c_str());
        return;
    }
    const Bytes body = chatBody(s.account, receiverName, text);
    if (receiver && receiver->ready && !receiver->moreWaiting) {
        sendTo(*receiver, 2, 1, 0, body, kChatMessage);
    } else {
        // Away, or older messages are still on their way to him: this one queues behind them.
        store_.storeMessage(receiverName, body);
        if (!receiver) {
            if (auto server = elsewhere(receiverName)) tellOthers(BusKind::Waiting, receiverName, 0, *server);
        }
    }
}

void ChatService::profile(Session& s, uint16_t code, std::string_view target) {
    // Code 4 names a nick (the client falls back to the caption it shows); the others an account.
    auto account = resolve(target, code == 4);
    if (!account) {
        // No failure reply exists: the client's wait runs out.
        NQ_LOG(log_, Info, "no profile for %s asked by %s", printable(target).c_str(),
               printable(s.account).c_str());
        return;
    }
    sendTo(s, 3, 1, 1, profileRecord(*account));
    if (code == 3 && s.offlineCorrections.erase(account->name) && !byAccount_.count(account->name)) {
        // Accepting a friend, the client marks him online; once the profile has given it his nick,
        // this puts him right.
        sendTo(s, 1, 4, 2, joinFields({account->name}));
    }
}

void ChatService::addFriend(Session& s, std::string_view name) {
    auto account = resolve(name);
    auto refuse = [&](const char* why) {
        NQ_LOG(log_, Info, "%s cannot add %s as a friend: %s", printable(s.account).c_str(),
               printable(name).c_str(), why);
        sendTo(s, 5, 1, 2, joinFields({s.account, name}));
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
        store_.addFriend(s.account, account->name);
        s.blacklist.erase(account->name);
    }
    // The client answers this at once with a profile request for the new friend.
    sendTo(s, 5, 1, 1, joinFields({s.account, account->name}), kTrigger);
    if (!byAccount_.count(account->name)) s.offlineCorrections.insert(account->name);
}

void ChatService::deleteFriend(Session& s, std::string_view name) {
    // Always confirmed: a name the server does not know is a stale entry the client should drop.
    if (auto account = resolve(name)) store_.removeFriend(s.account, account->name);
    sendTo(s, 5, 2, 1, joinFields({s.account, name}));
}

void ChatService::addToBlacklist(Session& s, std::string_view name) {
    auto account = resolve(name);
    auto refuse = [&](const char* why) {
        NQ_LOG(log_, Info, "%s cannot blacklist %s: %s", printable(s.account).c_str(),
               printable(name).c_str(), why);
        sendTo(s, 6, 1, 2, joinFields({s.account, name}));
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
        store_.addToBlacklist(s.account, account->name);
    }
    s.blacklist.insert(account->name);
    sendTo(s, 6, 1, 1, joinFields({s.account, name}));
}

void ChatService::removeFromBlacklist(Session& s, std::string_view name) {
    if (auto account = resolve(name)) {
        store_.removeFromBlacklist(s.account, account->name);
        s.blacklist.erase(account->name);
    }
    sendTo(s, 6, 2, 1, joinFields({s.account, name}));
}

void ChatService::announce(const Bytes& account, uint16_t code) {
    const Bytes body = joinFields({account});
    for (const Bytes& owner : store_.ownersListing(account)) {
        auto it = byAccount_.find(owner);
        if (it != byAccount_.end()) sendTo(sessions_.at(it->second), 1, 4, code, body);
    }
}

void ChatService::endSession(uint32_t number, bool announceOffline, const char* reason) {
    auto it = sessions_.find(number);
    if (it == sessions_.end()) return;
    Session s = std::move(it->second);
    sessions_.erase(it);
    byAccount_.erase(s.account);
    NQ_LOG(log_, Info, "session %u of %s at %s ended: %s", number, printable(s.account).c_str(),
           s.endpoint.toString().c_str(), reason);

    if (auto p = peers_.find(s.endpoint); p != peers_.end()) {
        if (p->second.session == number) p->second.session = 0;
        int kept = 0;
        for (OutFrame& f : p->second.pacer.takeHeld()) {
            // A relayed message that never left goes back to the store; one that came from the
            // store is still there.
            if ((f.flags & kChatMessage) && f.storedId == 0 && f.bytes.size() >= kHeaderSize) {
                store_.storeMessage(s.account, f.bytes.substr(kHeaderSize));
                ++kept;
            }
        }
        if (kept) NQ_LOG(log_, Info, "kept %d unsent messages for %s", kept, printable(s.account).c_str());
        blocked_.erase(s.endpoint);
    }
    store_.setOffline(s.account, config_.serverId);
    if (announceOffline) {
        announce(s.account, 2);
        tellOthers(BusKind::Presence, s.account, 2);
    }
}

void ChatService::send(const Endpoint& to, uint16_t type, uint16_t sub, uint16_t code, uint32_t session,
                       const Bytes& body, uint8_t flags, int64_t storedId) {
    if (body.size() > kMaxBody) {
        NQ_LOG(log_, Error, "refused to send (%u,%u) with a body of %zu bytes to %s", type, sub, body.size(),
               to.toString().c_str());
        return;
    }
    Peer& p = peerAt(to);
    p.seq = p.seq >= kSeqWrap - 1 ? 1 : p.seq + 1;  // 1..5999: the client's numbering follows ours
    OutFrame frame;
    frame.flags = flags;
    frame.storedId = storedId;
    encodeFrame({p.seq, type, sub, session, code}, body, frame.bytes);
    p.pacer.push(std::move(frame));
    releasePeer(to, p);
}

void ChatService::releasePeer(const Endpoint& ep, Peer& peer) {
    released_.clear();
    peer.pacer.release(now_, released_);
    for (OutFrame& f : released_) {
        if (log_.tracing()) log_.trace(describeDatagram("out", "chat " + ep.toString(), f.bytes));
        if (f.storedId) deliveredIds_.push_back(f.storedId);
        output_.push_back({ep, std::move(f.bytes)});
    }
    if (peer.pacer.heldCount())
        blocked_.insert(ep);
    else
        blocked_.erase(ep);
}

bool ChatService::mayLogDrop() {
    if (now_ - dropWindow_ >= std::chrono::seconds(1)) {
        if (dropsUnlogged_)
            NQ_LOG(log_, Info, "%d more dropped frames in the last second were not logged", dropsUnlogged_);
        dropWindow_ = now_;
        dropsLogged_ = 0;
        dropsUnlogged_ = 0;
    }
    if (dropsLogged_ < kDropLinesPerSecond) {
        ++dropsLogged_;
        return true;
    }
    ++dropsUnlogged_;
    return false;
}

void ChatService::flushDeletes() {
    if (deliveredIds_.empty()) return;
    try {
        store_.deleteMessages(deliveredIds_);
        deliveredIds_.clear();
    } catch (const StoreError& e) {
        NQ_LOG(log_, Error, "cannot delete %zu delivered messages yet: %s", deliveredIds_.size(), e.what());
    }
}

void ChatService::broadcastNotice(NoticeKind kind, const Bytes& text, Time now) {
    now_ = now;
    const Bytes body = joinFields({cutGbk(text, kMaxBody - 1)});
    const uint8_t flags = kind == NoticeKind::Box ? kStallsReader : 0;
    for (auto& [number, s] : sessions_) sendTo(s, 8, static_cast<uint16_t>(kind), 0, body, flags);
    NQ_LOG(log_, Info, "notice (%s) sent to %zu sessions", kind == NoticeKind::Box ? "box" : "toast",
           sessions_.size());
}

void ChatService::onTimer(Time now) {
    try {
        timerWork(now);
    } catch (const StoreError& e) {
        NQ_LOG(log_, Error, "housekeeping failed, tried again later: %s", e.what());
    }
    flushDeletes();
}

void ChatService::timerWork(Time now) {
    now_ = now;
    if (!blocked_.empty()) {
        const std::vector<Endpoint> waiting(blocked_.begin(), blocked_.end());
        for (const Endpoint& ep : waiting)
            if (auto it = peers_.find(ep); it != peers_.end()) releasePeer(ep, it->second);
    }

    if (now >= nextSweep_) {
        nextSweep_ = now + config_.sweepInterval();
        std::vector<uint32_t> silent;
        std::vector<uint32_t> due;
        for (auto& [number, s] : sessions_) {
            const Duration silence = now - s.lastHeard;
            const bool boxStands = silence > config_.sessionTimeout && silence <= kBoxPatience &&
                                   peerAt(s.endpoint).pacer.readingStopped(now);
            if (silence > config_.sessionTimeout && !boxStands)
                silent.push_back(number);
            else if (!s.ready && now >= s.readyDeadline)
                due.push_back(number);
        }
        for (uint32_t n : silent) endSession(n, true, "timed out");
        for (uint32_t n : due) {
            Session& s = sessions_.at(n);
            NQ_LOG(log_, Info, "%s never asked for its waiting messages; sending them anyway",
                   printable(s.account).c_str());
            makeReady(s);
        }
        for (auto& [number, s] : sessions_) {
            if (!s.moreWaiting) continue;
            auto p = peers_.find(s.endpoint);
            if (p != peers_.end() && p->second.pacer.heldCount() < kRefillBelow) queueWaiting(s);
        }
        for (auto it = peers_.begin(); it != peers_.end();) {
            if (it->second.session == 0 && it->second.pacer.idle(now))
                it = peers_.erase(it);
            else
                ++it;
        }
    }

    if (now >= nextBusRead_) {
        nextBusRead_ = now + kBusRead;
        readBus();
    }

    if (now >= nextNoticePoll_) {
        nextNoticePoll_ = now + kNoticePoll;
        if (othersRunning()) store_.pruneEvents(kEventLifetimeSeconds);
        for (const Notice& n : store_.noticesAfter(lastNoticeId_)) {
            lastNoticeId_ = n.id;
            broadcastNotice(n.kind, n.text, now);
        }
    }

    if (!config_.serverId.empty() && now >= nextLoadReport_) {
        nextLoadReport_ = now + kLoadReport;
        static_assert(kLoadHeartbeatSeconds > 0);
        const auto wall = static_cast<int64_t>(std::time(nullptr));
        const int load = static_cast<int>(sessions_.size());
        if (load != reportedLoad_ || wall - lastReportWall_ >= kLoadHeartbeatSeconds) {
            store_.reportLoad(config_.serverId, load, wall);
            reportedLoad_ = load;
            lastReportWall_ = wall;
        }
    }
}

void ChatService::restoreSessions(Time now) {
    now_ = now;
    store_.clearOnline(config_.serverId);  // what a crash left behind
    int restored = 0;
    for (const KeptSession& k : store_.takeKeptSessions(config_.serverId, kKeptSessionSeconds)) {
        auto account = store_.account(k.account);
        if (!account || sessions_.count(k.number) || byAccount_.count(k.account) || k.number == 0) continue;
        const Endpoint from{k.address, k.port};
        if (peerAt(from).session != 0) continue;
        Session& s = openSession(k.number, *account, from);
        if (k.ready) makeReady(s);
        ++restored;
    }
    if (restored) NQ_LOG(log_, Info, "took up %d sessions kept at the last stop", restored);
    flushDeletes();
}

bool ChatService::othersRunning() {
    if (othersCheckedAt_ == Time{} || now_ - othersCheckedAt_ >= std::chrono::seconds(1)) {
        othersCheckedAt_ = now_;
        const auto wall = static_cast<int64_t>(std::time(nullptr));
        othersRunning_ = false;
        for (const ServerLoad& l : store_.loads())
            othersRunning_ |= l.server != config_.serverId && wall - l.heartbeat <= kFreshSeconds;
    }
    return othersRunning_;
}

std::optional<std::string> ChatService::elsewhere(const Bytes& account) {
    if (!othersRunning()) return std::nullopt;
    return store_.onlineElsewhere(account, config_.serverId, kFreshSeconds);
}

void ChatService::tellOthers(BusKind kind, const Bytes& account, int code, const std::string& target) {
    if (!othersRunning()) return;
    store_.publish({0, config_.serverId, kind, account, code, target});
}

void ChatService::readBus() {
    if (!othersRunning()) return;
    const Store::BusRead read = store_.eventsAfter(lastEventId_, config_.serverId);
    lastEventId_ = read.lastId;
    for (const BusEvent& e : read.events) {
        auto local = byAccount_.find(e.account);
        switch (e.kind) {
            case BusKind::Presence:
                if (e.code == 1 || e.code == 2) announce(e.account, static_cast<uint16_t>(e.code));
                break;
            case BusKind::Kick:
                if (local != byAccount_.end()) {
                    const uint32_t number = local->second;
                    const Endpoint old = sessions_.at(number).endpoint;
                    endSession(number, false, "logged in on another chat server");
                    send(old, 1, 1, 3, number, {});
                }
                break;
            case BusKind::Waiting:
                if (e.target == config_.serverId && local != byAccount_.end()) {
                    Session& s = sessions_.at(local->second);
                    // Not ready yet: its (2,6) fetches them. Still fetching: the refill will.
                    if (s.ready && !s.moreWaiting) {
                        s.moreWaiting = true;
                        queueWaiting(s);
                    }
                }
                break;
        }
    }
}

Time ChatService::nextWake(Time now) {
    Time wake = std::min({nextSweep_, nextNoticePoll_, nextBusRead_,
                          config_.serverId.empty() ? Time::max() : nextLoadReport_});
    for (const Endpoint& ep : blocked_) {
        auto it = peers_.find(ep);
        if (it == peers_.end()) continue;
        if (auto chance = it->second.pacer.nextChance(now)) wake = std::min(wake, *chance);
    }
    return std::max(wake, now);
}

void ChatService::shutdown(Time now) {
    now_ = now;
    std::vector<uint32_t> numbers;
    std::vector<KeptSession> kept;
    for (auto& [number, s] : sessions_) {
        numbers.push_back(number);
        kept.push_back({number, s.account, s.endpoint.address, s.endpoint.port, s.ready});
    }
    store_.keepSessions(config_.serverId, kept);
    for (uint32_t n : numbers) endSession(n, false, "server stops");
    flushDeletes();
    store_.clearOnline(config_.serverId);
    if (!config_.serverId.empty()) store_.withdrawLoad(config_.serverId);
}

}  // namespace nq::server
