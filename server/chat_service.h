#pragma once
// The chat server: sessions, rosters, presence, one-to-one messages, the friend and blacklist
// operations, the members of groups and their group lines. It knows nothing of sockets: datagrams
// come in through onDatagram and leave through output(), and time is passed in, so that tests can
// drive it by hand.
//
// Where each part lives:
//   chat_service.cpp   frames in (the table of handlers by frame kind), timers, stop and restart
//   chat_sessions.cpp  login, logout, keep-alive, the end of a session, presence announcements
//   chat_relay.cpp     one-to-one messages, live and waiting in the store
//   chat_contacts.cpp  rosters, profiles, friends and the blacklist
//   chat_groups.cpp    the members of a group, group lines and their reply stamps
//   chat_room.cpp      the public room: its list, who is in it, its lines
//   chat_output.cpp    frames out, through each client's pacer
//   chat_bus.h         what chat servers sharing a database tell each other, and load reports

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "server/chat_bus.h"
#include "server/clock.h"
#include "server/datagram.h"
#include "server/frame_table.h"
#include "server/log.h"
#include "server/login_throttle.h"
#include "server/pacer.h"
#include "server/rate_limit.h"
#include "server/store.h"
#include "server/sweep_ring.h"
#include "server/write_queue.h"
#include "wire/fields.h"
#include "wire/frame_kinds.h"
#include "wire/packet.h"

namespace nq::server {

struct ChatConfig {
    Duration sessionTimeout = std::chrono::seconds(60);
    PacingConfig pacing;
    LoginLimits login;
    InputLimits input;
    WaitingLimits waiting;
    std::string serverId;  // "host:port" under which this server reports its load

    // A client that never sends (2,6) still gets its waiting messages this long after its
    // friend roster: sixty ticks, half a minute.
    Duration readyFallback() const { return pacing.tick * 60; }
    // Each session and peer is looked at once in this period, a share of them every sweepTurn.
    Duration sweepInterval() const;
    Duration sweepTurn() const { return sweepInterval() / 50; }
};

// The stamps a client gets in the Session field of the group lines sent to it, 1..32767 in turn.
// The client keeps the last one it read (in a signed 16-bit, so nothing above 32767) and sends it
// back in place of its session number: in its next group line, and in whatever frame it sends
// first when it had no stamp yet at its last group line. Stamps go out in order, so those
// issued so far are 1..last, or all of them once the count has wrapped.
struct ReplyStamps {
    static constexpr uint16_t kMax = 32767;
    uint16_t last = 0;
    bool wrapped = false;

    uint16_t next() const { return last >= kMax ? 1 : last + 1; }
    void issue() {
        wrapped |= last >= kMax;
        last = next();
    }
    bool issued(uint32_t stamp) const { return stamp >= 1 && stamp <= kMax && (wrapped || stamp <= last); }
};

class ChatService {
  public:
    ChatService(Store& store, const ChatConfig& config, Logger& log, WallClock wall = systemWallSeconds);

    // Every frame of the datagram, one behind the other by Len. Its writes are committed before
    // it returns, unless commits are batched: then by the next commit or onTimer.
    void onDatagram(const Endpoint& from, std::string_view data, Time now);
    // From now on the caller commits the writes of the datagrams it passed, by commit, after as
    // many as its socket held at once: one transaction for them all. Whatever waits for a write
    // (a login's answer) waits for that commit.
    // With a hold, writes also wait up to that long for others to join them, up to a batch of
    // kGatherEnough: fewer transactions when several servers take turns at one database lock.
    void batchCommits(Duration hold = {}) {
        batchCommits_ = true;
        writes_.gather(hold, kGatherEnough);
    }
    static constexpr size_t kGatherEnough = 512;
    void commit(Time now) { writes_.flush(now); }
    // Time-outs, held frames, notices and the load report; call at least by nextWake.
    void onTimer(Time now);
    Time nextWake(Time now);
    // Readable when another chat server has published events (-1: they are only read on time);
    // onBusWake takes them in at the next onTimer.
    int busWakeFd() const { return bus_.wakeFd(); }
    void onBusWake(Time now) { bus_.woken(now); }

    // Frames released for sending since the last call; the caller empties it.
    std::vector<Datagram>& output() { return output_; }

    void broadcastNotice(NoticeKind kind, const Bytes& text, Time now);

    // Stops serving: messages not yet sent go back to the store. The sessions stay in the store,
    // as they have been since their logins, for restoreSessions at the next start.
    void shutdown(Time now);
    // Takes up the sessions the store holds for this server from before its last stop or crash,
    // so that their clients carry on as if nothing happened: the same session numbers, no
    // presence change, their waiting messages on their way.
    void restoreSessions(Time now);

    size_t sessionCount() const { return sessions_.size(); }
    // For tests and the admin view: the session number of an account that is online.
    std::optional<uint32_t> sessionOf(const Bytes& account) const;
    size_t unreadEstimate(const Endpoint& client, Time now);
    // What is held back for a client, and how many clients the server keeps pacing state for.
    struct Held {
        size_t frames = 0;
        size_t bytes = 0;
    };
    Held heldFor(const Endpoint& client) const;
    size_t pacedCount() const { return peers_.size(); }
    size_t writesWaiting() const { return writes_.size(); }

  private:
    struct Session {
        uint32_t number = 0;
        Bytes account;
        Bytes nick;
        Bytes head;
        Endpoint endpoint;
        Time lastHeard;
        Time readyDeadline;
        bool ready = false;                   // waiting messages may flow: (2,6) came, or its deadline passed
        bool moreWaiting = false;             // the store still holds messages older than any live one
        int64_t lastWaitingId = 0;            // highest stored message queued for this session
        std::unordered_set<Bytes> blacklist;  // accounts whose messages are refused
        std::unordered_set<Bytes> offlineCorrections;  // friends added while away, see addFriend
        // Friends accepted whose profile request has not come yet, oldest first: that request
        // answers the acceptance (see onProfile).
        std::vector<Bytes> profilesAwaited;  // at most 16; a vector, as an empty deque holds 600 bytes
        ReplyStamps stamps;
        // The last bus event written when his room member list was read: entries and leaves
        // on other servers up to it are in the list already.
        int64_t roomListedThrough = 0;
        // Where the last page of each listing ended, so that the next one goes on from there.
        struct {
            int64_t nextRow = 0;
            Bytes afterAccount;
        } onlinePage;
        struct {
            int64_t nextRow = 0;
            int64_t afterId = 0;
        } groupPage;
        uint32_t swept = 0;  // the round of sessionRing_ that last looked at it
    };
    // More acceptances than this unanswered were lost on the way, or come from no client.
    static constexpr size_t kProfilesAwaitedMax = 16;

    struct Peer {
        explicit Peer(const PacingConfig& c) : pacer(c) {}
        ClientPacer pacer;
        uint16_t seq = 0;
        uint32_t session = 0;
        uint32_t swept = 0;  // the round of peerRing_ that last looked at it
    };

    // A frame of a session, its own account already read from the front of the body.
    using Handler = void (ChatService::*)(Session& s, const FrameHeader& h, FieldReader& fields);
    static const FrameTable<Handler>& handlers();
    void handleFrame(const Endpoint& from, const Frame& frame);
    // The session at that address, when stamp is one it was issued.
    Session* stampedAt(const Endpoint& from, uint32_t stamp);
    void dropShort(Session& s, const FrameHeader& h);
    // A request the database is needed for, while it is out of reach: the protocol's own
    // refusal where it has one, else nothing, as if the datagram were lost.
    void refuseUnavailable(Session& s, const FrameHeader& h, std::string_view body);

    // chat_sessions.cpp
    void login(const Endpoint& from, const Frame& frame);
    void onLogout(Session& s, const FrameHeader& h, FieldReader& fields);
    void onKeepAlive(Session& s, const FrameHeader& h, FieldReader& fields);
    void onDirectLink(Session& s, const FrameHeader& h, FieldReader& fields);
    void admit(const Endpoint& from, const Account& account, uint32_t number, bool elsewhere);
    Session& openSession(uint32_t number, const Account& account, const Endpoint& from);
    void endSession(uint32_t number, bool announceOffline, const char* reason);
    void keepUnsent(const Session& s);
    void expel(uint32_t number, const char* reason);
    // Tells at once those here who list the account or share a group with it, or, while
    // announcements wait, after them.
    void announce(const Bytes& account, uint16_t presenceCode);
    void tellPresence(const Bytes& account, uint16_t presenceCode);
    // Announcements that waited for the database, and the people of servers that went or came
    // back, a slice each turn.
    void tellPresenceDue(Time now);
    void serverChanged(const ChatBus::ServerChange& change);
    uint32_t freshSessionNumber();
    const Session* presentAt(const Endpoint& from);

    // chat_relay.cpp
    void onChat(Session& s, const FrameHeader& h, FieldReader& fields);
    void onAfterRosters(Session& s, const FrameHeader& h, FieldReader& fields);
    void makeReady(Session& s);
    void keepInStore(OutFrame& held, const Bytes& receiver, const Bytes& body, uint16_t sub);
    void queueWaiting(Session& s);
    void onWaitingElsewhere(const Bytes& account);
    // To a receiver online on another server; a toast when it cannot be queued.
    void relay(Session& sender, const Bytes& receiver, const std::string& server, const Bytes& body,
               uint16_t sub);
    bool waitingFull(const Bytes& receiver);
    void refuseWaiting(Session& sender, const Bytes& receiver, bool full);
    void onMessageElsewhere(const BusEvent& e);
    [[nodiscard]] bool blacklisted(const Session& s, const Bytes& frameBody) const;
    void deleteRow(int64_t id);
    void dropOldWaiting();

    // chat_contacts.cpp
    void onRosters(Session& s, const FrameHeader& h, FieldReader& fields);
    void onProfile(Session& s, const FrameHeader& h, FieldReader& fields);
    void onAddFriend(Session& s, const FrameHeader& h, FieldReader& fields);
    void onDeleteFriend(Session& s, const FrameHeader& h, FieldReader& fields);
    void onAddToBlacklist(Session& s, const FrameHeader& h, FieldReader& fields);
    void onRemoveFromBlacklist(Session& s, const FrameHeader& h, FieldReader& fields);
    // An account named by its account, else by its nick: how the client names people.
    std::optional<Account> resolve(std::string_view name, bool nickFirst = false);

    // chat_groups.cpp
    void onMemberRoster(Session& s, const FrameHeader& h, FieldReader& fields);
    void onGroupLine(Session& s, const FrameHeader& h, FieldReader& fields);
    // A group line from another chat server, to the members whose sessions are here.
    void onGroupLineElsewhere(const BusEvent& e);
    // The group and its members from the store; while it is out of reach, as last read.
    std::optional<std::pair<Group, std::vector<Contact>>> groupWithMembers(const Bytes& name);
    void deliverGroupLine(const Bytes& sender, const std::vector<Contact>& members, const Bytes& body);
    void retireStamps(const Session& s);
    void takeRetiredStamps(Session& s);
    // Refusals of a sender's lines have no reply in the protocol: a toast says why, once a minute.
    void toastRefusal(Session& s, const char* utf8);

    // chat_people.cpp
    void onFindPerson(Session& s, const FrameHeader& h, FieldReader& fields);
    void onOnlinePage(Session& s, const FrameHeader& h, FieldReader& fields);
    void onGroupPage(Session& s, const FrameHeader& h, FieldReader& fields);
    void onGroupSearch(Session& s, const FrameHeader& h, FieldReader& fields);
    void onGroupCard(Session& s, const FrameHeader& h, FieldReader& fields);
    void onSaveProfile(Session& s, const FrameHeader& h, FieldReader& fields);
    static Bytes groupRows(std::span<const Group> groups, size_t& taken);

    // chat_group_life.cpp
    void onMayCreateGroup(Session& s, const FrameHeader& h, FieldReader& fields);
    void onCreateGroup(Session& s, const FrameHeader& h, FieldReader& fields);
    void onJoinRequest(Session& s, const FrameHeader& h, FieldReader& fields);
    void onJoinAnswer(Session& s, const FrameHeader& h, FieldReader& fields);
    void onJoinConfirm(Session& s, const FrameHeader& h, FieldReader& fields);
    void onLeaveGroup(Session& s, const FrameHeader& h, FieldReader& fields);
    void refuseJoin(Session& s, const Bytes& group, int64_t id, const char* why);
    void showJoinRequest(Session& creator, JoinRequest r);
    void tellJoinAnswer(Session& requester, JoinRequest r);
    // atLogin: requests shown before and never answered are shown again, the client's windows
    // having gone with its last session.
    void deliverJoinTraffic(Session& s, bool atLogin);
    void tellJoinTrafficElsewhere(const Bytes& account);
    void tellMembers(const std::vector<Contact>& members, FrameKind kind, const Bytes& body);
    void tellMembersElsewhere(const std::vector<Contact>& members, const Bytes& who, int change,
                              const Bytes& body);
    bool allOnlineHere(const std::vector<Contact>& members) const;
    void onMembershipElsewhere(const BusEvent& e);
    void groupGone(const Bytes& notice);

    // chat_room.cpp
    void onRoom(Session& s, const FrameHeader& h, FieldReader& fields);
    void enterRoom(Session& s);
    void onRoomLine(Session& s, const FrameHeader& h, FieldReader& fields);
    // Whoever leaves, by his leave frame or by the end of his session; nothing for one not in.
    void leaveRoom(const Bytes& account);
    void sendRoomList(Session& s);
    void onRoomElsewhere(const BusEvent& e);
    // A room frame to everyone in the room here but `except`.
    void tellRoom(uint16_t code, const Bytes& body, const Bytes& except, int64_t busEvent = 0);
    // After a restart: those in the room whose sessions came back are in it again.
    void restoreRoom();
    [[nodiscard]] bool inRoom(const Bytes& account) const;

    // chat_output.cpp
    // False when the frame was not queued: the client holds all it may (see PacingConfig).
    bool send(const Endpoint& to, FrameKind kind, uint16_t code, uint32_t session, const Bytes& body,
              uint8_t flags = 0, int64_t storedId = 0);
    bool sendTo(Session& s, FrameKind kind, uint16_t code, const Bytes& body, uint8_t flags = 0,
                int64_t storedId = 0) {
        return send(s.endpoint, kind, code, s.number, body, flags, storedId);
    }
    void refuseLogin(const Endpoint& to);
    void releasePeer(const Endpoint& ep, Peer& peer);
    Peer& peerAt(const Endpoint& ep);

    void timerWork(Time now);
    void sweep(Time now);
    // Whether the store answered this turn's refills so far; after a refusal the rest wait.
    void sweepSession(Session& s, Time now, bool& storeAnswers);
    void onBusEvent(const BusEvent& e);

    Store& store_;
    const ChatConfig config_;
    Logger& log_;
    WallClock wall_;
    WriteQueue writes_;
    ChatBus bus_;
    LoginGate gate_;
    RateBuckets<Endpoint, EndpointHash> frameRates_;
    RateBuckets<uint32_t> replyRates_;  // by IPv4 address
    RateBuckets<Bytes> waitingRates_;   // by sending account
    RateBuckets<Bytes> groupRates_;     // group lines, by sending account
    RateBuckets<Bytes> joinRates_;      // join requests, by requesting account
    RateBuckets<Bytes> roomRates_;      // room lines, by sending account
    RateBuckets<Bytes> limitNotices_;   // one notice a minute to a sender whose messages are turned away
    bool refusedInDatagram_ = false;
    bool batchCommits_ = false;
    uint16_t refusalSeq_ = 0;
    Time now_{};

    std::unordered_map<uint32_t, Session> sessions_;
    std::unordered_map<Bytes, uint32_t> byAccount_;
    std::unordered_map<Endpoint, Peer, EndpointHash> peers_;
    SweepRing<uint32_t> sessionRing_;
    SweepRing<Endpoint> peerRing_;
    // The public room as the store names it, read again with the notices; those in it whose
    // sessions are here, in the order they came, each once.
    std::optional<Room> room_;
    std::vector<Bytes> roomHere_;
    std::unordered_set<Endpoint, EndpointHash> blocked_;  // peers holding frames back

    std::vector<Datagram> output_;
    std::vector<OutFrame> released_;
    // Rows of waiting messages that are on their way from memory, written for messages pacing
    // held back: a refill from the store passes over them.
    std::unordered_set<int64_t> rowsInMemory_;
    // Rows of messages sent, to be deleted in one statement; a new batch once this one was written.
    struct RowBatch {
        std::vector<int64_t> ids;
        bool applied = false;
    };
    std::shared_ptr<RowBatch> rowsToDelete_;
    // Account names a message was sent to, so that the next one needs no read; never stale, as
    // accounts are neither removed nor renamed.
    std::unordered_set<Bytes> knownAccounts_;
    static constexpr size_t kKnownAccountsMax = 1 << 17;
    // Clients whose login waits for its row in the store; a repeat of it is not a second login.
    std::unordered_set<Endpoint, EndpointHash> loggingIn_;
    // The stamps of sessions that ended, by their client's address: the client keeps its last
    // stamp across logins, so the next session there accepts it too.
    struct RetiredStamps {
        ReplyStamps stamps;
        Time at;
    };
    std::unordered_map<Endpoint, RetiredStamps, EndpointHash> retiredStamps_;

    // Announcements not yet made, oldest first, and when to try again after the database refused.
    std::deque<std::pair<Bytes, uint16_t>> presenceDue_;
    std::deque<ChatBus::ServerChange> serverChanges_;
    Time presenceRetryAt_{};
    // The groups whose members were last read, by name, for their lines while the database is
    // out of reach.
    std::unordered_map<Bytes, std::pair<Group, std::vector<Contact>>> groupsSeen_;

    Time nextSweep_{};
    std::optional<Time> lastSweep_;
    Time nextNoticePoll_{};
    Time nextAgeCheck_{};
    int64_t lastNoticeId_ = 0;
};

}  // namespace nq::server
