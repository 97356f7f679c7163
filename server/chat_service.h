#pragma once
// The chat server: sessions, rosters, presence, one-to-one messages and the friend and
// blacklist operations. It knows nothing of sockets: datagrams come in through onDatagram and
// leave through output(), and time is passed in, so that tests can drive it by hand.

#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "server/clock.h"
#include "server/datagram.h"
#include "server/log.h"
#include "server/pacer.h"
#include "server/store.h"
#include "wire/packet.h"

namespace nq::server {

struct ChatConfig {
    Duration sessionTimeout = std::chrono::seconds(60);
    PacingConfig pacing;
    std::string serverId;  // "host:port" under which this server reports its load

    // A client that never sends (2,6) still gets its waiting messages this long after its
    // friend roster: sixty ticks, half a minute.
    Duration readyFallback() const { return pacing.tick * 60; }
    Duration sweepInterval() const;
};

class ChatService {
  public:
    ChatService(Store& store, const ChatConfig& config, Logger& log);

    // Every frame of the datagram, one behind the other by Len.
    void onDatagram(const Endpoint& from, std::string_view data, Time now);
    // Time-outs, held frames, notices and the load report; call at least by nextWake.
    void onTimer(Time now);
    Time nextWake(Time now);

    // Frames released for sending since the last call; the caller empties it.
    std::vector<Datagram>& output() { return output_; }

    void broadcastNotice(NoticeKind kind, const Bytes& text, Time now);

    // Ends every session; messages not yet sent go back to the store. The sessions themselves are
    // kept in the store for restoreSessions at the next start.
    void shutdown(Time now);
    // Takes up the sessions a graceful stop kept, so that their clients carry on as if nothing
    // happened: the same session numbers, no presence change, their waiting messages on their way.
    void restoreSessions(Time now);

    size_t sessionCount() const { return sessions_.size(); }
    // For tests and the admin view: the session number of an account that is online.
    std::optional<uint32_t> sessionOf(const Bytes& account) const;
    size_t unreadEstimate(const Endpoint& client, Time now);

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
    };

    struct Peer {
        explicit Peer(const PacingConfig& c) : pacer(c) {}
        ClientPacer pacer;
        uint16_t seq = 0;
        uint32_t session = 0;
    };

    void handleFrame(const Endpoint& from, const Frame& frame);
    void login(const Endpoint& from, const Frame& frame);
    void logout(Session& s);
    void keepAlive(Session& s);
    void rosters(Session& s);
    void afterRosters(Session& s);
    void relay(Session& s, std::string_view peerName, std::string_view text);
    void profile(Session& s, uint16_t code, std::string_view target);
    void addFriend(Session& s, std::string_view name);
    void deleteFriend(Session& s, std::string_view name);
    void addToBlacklist(Session& s, std::string_view name);
    void removeFromBlacklist(Session& s, std::string_view name);

    // An account named by its account, else by its nick: how the client names people.
    std::optional<Account> resolve(std::string_view name, bool nickFirst = false);

    Session& openSession(uint32_t number, const Account& account, const Endpoint& from);
    void endSession(uint32_t number, bool announceOffline, const char* reason);
    void announce(const Bytes& account, uint16_t code);
    void makeReady(Session& s);
    void queueWaiting(Session& s);

    void send(const Endpoint& to, uint16_t type, uint16_t sub, uint16_t code, uint32_t session,
              const Bytes& body, uint8_t flags = 0, int64_t storedId = 0);
    void sendTo(Session& s, uint16_t type, uint16_t sub, uint16_t code, const Bytes& body, uint8_t flags = 0,
                int64_t storedId = 0) {
        send(s.endpoint, type, sub, code, s.number, body, flags, storedId);
    }
    void releasePeer(const Endpoint& ep, Peer& peer);
    Peer& peerAt(const Endpoint& ep);
    uint32_t freshSessionNumber();
    void flushDeletes();
    void timerWork(Time now);

    // Chat servers sharing the store see each other's presence, expel each other's sessions of
    // an account that logs in again, and wake each other for messages stored for their users.
    bool othersRunning();
    std::optional<std::string> elsewhere(const Bytes& account);
    void tellOthers(BusKind kind, const Bytes& account, int code = 0, const std::string& target = {});
    void readBus();
    // Whether one more dropped frame may be logged now: at most a few dozen lines a second.
    bool mayLogDrop();

    Store& store_;
    const ChatConfig config_;
    Logger& log_;
    Time now_{};

    std::unordered_map<uint32_t, Session> sessions_;
    std::unordered_map<Bytes, uint32_t> byAccount_;
    std::unordered_map<Endpoint, Peer, EndpointHash> peers_;
    std::unordered_set<Endpoint, EndpointHash> blocked_;  // peers holding frames back

    std::vector<Datagram> output_;
    std::vector<OutFrame> released_;
    std::vector<int64_t> deliveredIds_;
    std::mt19937 random_;

    Time nextSweep_{};
    Time nextBusRead_{};
    Time othersCheckedAt_{};
    bool othersRunning_ = false;
    int64_t lastEventId_ = 0;
    Time nextNoticePoll_{};
    Time nextLoadReport_{};
    int64_t lastNoticeId_ = 0;
    Time dropWindow_{};
    int dropsLogged_ = 0;
    int dropsUnlogged_ = 0;
    int reportedLoad_ = -1;
    int64_t lastReportWall_ = 0;
};

}  // namespace nq::server
