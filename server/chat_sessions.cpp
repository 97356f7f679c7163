// Sessions: login, logout, keep-alive, the end of a session and what friends hear of it.

#include <sys/random.h>

#include <cerrno>
#include <system_error>

#include "server/chat_service.h"

namespace nq::server {
namespace {

// Announcements waiting at most: a server that dies with this many sessions still has its
// people told offline. Past it the oldest go, and with them a presence change nobody hears of.
constexpr size_t kPresenceDueMax = 65536;
// Announcements made from the queue in one turn: each costs two reads of the store, and the
// loop serves in between.
constexpr int kPresencePerTurn = 32;

}  // namespace

uint32_t ChatService::freshSessionNumber() {
    // The session number is all that stands between a forged datagram and a session, so each
    // one comes straight from the kernel: no generator whose state could be read back from the
    // numbers it gave out. At most 2^31 - 1 because the client keeps it in a signed conversion
    // on some paths.
    for (;;) {
        uint32_t n = 0;
        if (getrandom(&n, sizeof n, 0) != static_cast<ssize_t>(sizeof n)) {
            if (errno == EINTR) continue;
            throw std::system_error(errno, std::generic_category(), "getrandom");
        }
        n &= 0x7FFFFFFF;
        if (n != 0 && !sessions_.count(n)) return n;
    }
}

// One client, one ring: the session at an address and port belongs to the client there for as
// long as it keeps sending. Its keep-alive comes every 10.5 s; two missed ones, or none due
// while a notice box of ours stops the client, and it may have gone.
const ChatService::Session* ChatService::presentAt(const Endpoint& from) {
    auto p = peers_.find(from);
    if (p == peers_.end() || p->second.session == 0) return nullptr;
    auto s = sessions_.find(p->second.session);
    if (s == sessions_.end()) return nullptr;
    const bool heard = now_ - s->second.lastHeard <= config_.pacing.stallSilence;
    return heard || p->second.pacer.readingStopped(now_) ? &s->second : nullptr;
}

void ChatService::login(const Endpoint& from, const Frame& f) {
    FieldReader fields(f.body);
    const auto name = fields.next();
    const auto digest = fields.next();
    if (!name || !digest) {
        NQ_LOG_CAPPED(log_, Refused, now_, Info, "dropped a login from %s without name and digest",
                      from.toString().c_str());
        return;
    }
    // Only a forger can log in as someone else from the address of a client still sending: the
    // login is dropped unchecked. Nor does any refusal go there: the client would take it for its
    // own and close its socket.
    const Session* present = presentAt(from);
    if (present && present->account != *name) {
        NQ_LOG_CAPPED(log_, Refused, now_, Warn,
                      "dropped a login of %s from %s: the session of %s there is alive",
                      printable(*name).c_str(), from.toString().c_str(), printable(present->account).c_str());
        return;
    }
    LoginOutcome checked = gate_.check(from.address, Bytes(*name), *digest, now_);
    if (checked.verdict != LoginVerdict::Accepted) {
        const bool refused = checked.verdict == LoginVerdict::Refused;
        NQ_LOG_CAPPED(log_, Refused, now_, Info, "login of %s from %s %s: %s", printable(*name).c_str(),
                      from.toString().c_str(), refused ? "refused" : "held back", checked.why);
        if (refused && !present) refuseLogin(from);
        return;
    }
    // The session is opened and answered once its row is in the store, so that neither a crash
    // nor a full disk leaves a session the store does not know of. A lock holds the answer back
    // until it is gone; the client waits for it for some 25 s.
    if (!loggingIn_.insert(from).second) return;  // its first try is still being written
    const Account account = std::move(*checked.account);
    const uint32_t number = freshSessionNumber();
    const KeptSession row{number, account.name, from.address, from.port, false};
    // Asked before the row is written: the row then names this server.
    bus_.lookAgainForOthers();
    const bool elsewhere = !byAccount_.count(account.name) && bus_.elsewhere(account.name, now_);
    auto done = [this, from, account, number, elsewhere](bool written) {
        loggingIn_.erase(from);
        if (written) return admit(from, account, number, elsewhere);
        NQ_LOG(log_, Warn, "login of %s from %s failed: its session could not be stored",
               printable(account.name).c_str(), from.toString().c_str());
        // Nothing else answers a client that cannot log in now; it reads this as any refusal.
        refuseLogin(from);
    };
    if (!writes_.add(
            "store a session", [row, id = config_.serverId](Store& st) { st.setOnline(row, id); },
            std::move(done))) {
        loggingIn_.erase(from);
        NQ_LOG_CAPPED(log_, Failed, now_, Error, "login of %s from %s failed: too many writes wait",
                      printable(account.name).c_str(), from.toString().c_str());
        refuseLogin(from);
    }
}

void ChatService::admit(const Endpoint& from, const Account& account, uint32_t number, bool elsewhere) {
    bool wasOnline = false;
    if (auto old = byAccount_.find(account.name); old != byAccount_.end()) {
        wasOnline = true;
        const uint32_t oldNumber = old->second;
        // The account stays online throughout, so its friends hear nothing of the move.
        if (sessions_.at(oldNumber).endpoint == from)
            // The client's re-verification after it lost the session: a new session replaces it.
            endSession(oldNumber, false, "replaced by a new login from the same address");
        else
            expel(oldNumber, "logged in elsewhere");
    } else if (elsewhere) {
        wasOnline = true;
        bus_.tell(now_, BusKind::Kick, account.name);
    }
    // One client, one ring: a session at this address that another account replaces had gone
    // quiet (presentAt), so its client has left.
    if (Peer& peer = peerAt(from); peer.session != 0)
        endSession(peer.session, true, "another account logged in from its address");

    bus_.cameHere(account.name);
    Session& s = openSession(number, account, from);
    NQ_LOG(log_, Info, "session %u: %s logged in from %s", s.number, printable(s.account).c_str(),
           from.toString().c_str());
    sendTo(s, kind::kLogin, code::kLoginAccepted, joinFields({s.nick, s.head}));
    if (!wasOnline) {
        announce(s.account, code::kOnline);
        bus_.tell(now_, BusKind::Presence, s.account, code::kOnline);
    }
}

void ChatService::onLogout(Session& s, const FrameHeader&, FieldReader&) {
    endSession(s.number, true, "logged out");
}

void ChatService::onKeepAlive(Session& s, const FrameHeader&, FieldReader&) {
    sendTo(s, kind::kKeepAlive, code::kNone, {}, kAnswer);
}

// Files never travel in this version: every direct-link request hears that the peer is absent,
// which the client shows as a box and nothing else.
void ChatService::onDirectLink(Session& s, const FrameHeader& h, FieldReader&) {
    sendTo(s, {family::kDirectLink, h.sub}, code::kPeerAbsent, {});
}

ChatService::Session& ChatService::openSession(uint32_t number, const Account& account,
                                               const Endpoint& from) {
    Session& s = sessions_[number];
    sessionRing_.add(number);
    s.number = number;
    s.account = account.name;
    s.nick = account.nick;
    s.head = account.head;
    s.endpoint = from;
    s.lastHeard = now_;
    s.readyDeadline = now_ + config_.readyFallback();
    for (const Contact& c : store_.blacklist(s.account)) s.blacklist.insert(c.account);
    takeRetiredStamps(s);
    byAccount_[s.account] = number;
    Peer& peer = peerAt(from);
    peer.session = number;
    peer.pacer.sessionOpened(now_);
    return s;
}

// The account logged in again somewhere else: this session ends and its client is told so.
void ChatService::expel(uint32_t number, const char* reason) {
    const Endpoint old = sessions_.at(number).endpoint;
    endSession(number, false, reason);
    send(old, kind::kLogin, code::kLoggedInElsewhere, number, {});
}

void ChatService::endSession(uint32_t number, bool announceOffline, const char* reason) {
    auto it = sessions_.find(number);
    if (it == sessions_.end()) return;
    Session s = std::move(it->second);
    sessions_.erase(it);
    byAccount_.erase(s.account);
    NQ_LOG(log_, Info, "session %u of %s at %s ended: %s", number, printable(s.account).c_str(),
           s.endpoint.toString().c_str(), reason);

    keepUnsent(s);
    retireStamps(s);
    leaveRoom(s.account);
    writes_.add("end a stored session", [account = s.account, id = config_.serverId, number](Store& st) {
        st.setOffline(account, id, number);
    });
    if (announceOffline) {
        announce(s.account, code::kOffline);
        bus_.tell(now_, BusKind::Presence, s.account, code::kOffline);
    }
}

// The session's frames still held back by pacing: its chat messages are in the store already,
// where the next session finds them. Its client's pacer stays, for a next session there.
void ChatService::keepUnsent(const Session& s) {
    auto p = peers_.find(s.endpoint);
    if (p == peers_.end()) return;
    if (p->second.session == s.number) {
        p->second.session = 0;
        p->second.pacer.sessionEnded();
    }
    int kept = 0;
    for (OutFrame& f : p->second.pacer.takeHeld()) {
        if (!f.row) continue;
        f.row->held = false;
        rowsInMemory_.erase(f.row->id);
        ++kept;
    }
    if (kept)
        NQ_LOG(log_, Info, "left %d unsent messages in the store for %s", kept, printable(s.account).c_str());
    blocked_.erase(s.endpoint);
}

void ChatService::announce(const Bytes& account, uint16_t presenceCode) {
    if (presenceDue_.empty()) {
        try {
            return tellPresence(account, presenceCode);
        } catch (const StoreBusy& e) {
            NQ_LOG_CAPPED(log_, Failed, now_, Warn, "presence of %s waits for the database: %s",
                          printable(account).c_str(), e.what());
            presenceRetryAt_ = now_ + WriteQueue::kRetry;
        }
    }
    if (presenceDue_.size() >= kPresenceDueMax) {
        NQ_LOG_CAPPED(log_, Dropped, now_, Warn, "dropped a presence change of %s: %zu wait already",
                      printable(presenceDue_.front().first).c_str(), presenceDue_.size());
        presenceDue_.pop_front();
    }
    presenceDue_.emplace_back(account, presenceCode);
}

void ChatService::tellPresenceDue(Time now) {
    if (now < presenceRetryAt_) return;
    try {
        while (!serverChanges_.empty()) {
            serverChanged(serverChanges_.front());
            serverChanges_.pop_front();
        }
        for (int told = 0; told < kPresencePerTurn && !presenceDue_.empty(); ++told) {
            tellPresence(presenceDue_.front().first, presenceDue_.front().second);
            presenceDue_.pop_front();
        }
    } catch (const StoreBusy&) {
        presenceRetryAt_ = now + WriteQueue::kRetry;
        throw;
    }
}

// Tells every online user who lists the account, or shares a group with it, that it came
// (kOnline) or went (kOffline). Once each: a friend who is a co-member too, or shares several
// groups, is one user, and a second report would only be a frame more for his ring. Both lists
// are read before anyone is told, so a store that fails leaves nobody told.
void ChatService::tellPresence(const Bytes& account, uint16_t presenceCode) {
    const Bytes body = joinFields({account});
    std::unordered_set<Bytes> told;
    for (const auto& people : {store_.ownersListing(account), store_.coMembers(account)}) {
        for (const Bytes& person : people) {
            auto it = byAccount_.find(person);
            if (it != byAccount_.end() && told.insert(person).second)
                sendTo(sessions_.at(it->second), kind::kPresence, presenceCode, body);
        }
    }
}

// Another chat server stopped reporting, or reports again. Its rows stay, for its own restart;
// here those who list its people hear that they went, or came back, and the room here loses or
// regains those who were in it there.
void ChatService::serverChanged(const ChatBus::ServerChange& c) {
    const std::vector<Bytes> people = store_.onlineAt(c.server);
    const std::vector<Bytes> roomThere = store_.roomMembersAt(c.server);
    if (c.back)
        NQ_LOG(log_, Info, "chat server %s is running: its %zu sessions count", c.server.c_str(),
               people.size());
    else
        NQ_LOG(log_, Warn, "chat server %s has not reported for 15 s: its %zu sessions are taken as gone",
               c.server.c_str(), people.size());
    for (const Bytes& account : people)
        if (!byAccount_.count(account)) {
            if (presenceDue_.size() >= kPresenceDueMax) break;
            presenceDue_.emplace_back(account, c.back ? code::kOnline : code::kOffline);
        }
    for (const Bytes& account : roomThere)
        if (!inRoom(account))
            tellRoom(c.back ? code::kRoomEntered : code::kRoomLeave, joinFields({account}), account);
}

}  // namespace nq::server
