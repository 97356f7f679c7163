#pragma once
// What chat servers sharing one database tell each other. Each reports its load (sessions and a
// heartbeat in wall seconds) for the dispatcher and for its peers; one that has not reported for
// kFreshSeconds is taken as gone. Through event rows they see each other's presence, expel each
// other's sessions of an account that logs in again, wake each other for messages stored for
// their users, and pass on group lines for members online elsewhere. A server alone on its
// database writes and reads no events at all. While the database is out of reach each server
// goes on as it last saw the others.

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "server/bus_feed.h"
#include "server/clock.h"
#include "server/log.h"
#include "server/store.h"
#include "server/write_queue.h"

namespace nq::server {

class ChatBus {
  public:
    // serverId: "host:port" under which this server reports; empty reports nothing.
    // Reads go to the store; writes join the server's queue, in order with its own.
    ChatBus(Store& store, WriteQueue& writes, std::string serverId, WallClock wall, Logger& log);

    // Whether another chat server has reported within kFreshSeconds, looked up once a second.
    bool othersRunning(Time now);
    // The other servers that stopped reporting (back false) or report again since the last
    // call: a server that dies leaves its rows behind, and only this tells that its people went.
    struct ServerChange {
        std::string server;
        bool back = false;
    };
    std::vector<ServerChange> takeServerChanges() { return std::exchange(changes_, {}); }
    // Whether others run is known again at the next question, if none seemed to run: a server
    // that has just started may hold the friends a login is about to be told of.
    void lookAgainForOthers() {
        if (!othersRunning_) othersCheckedAt_ = Time{};
    }
    // The server that holds a session of account, when it is another one, as the store says now;
    // what it says joins the view below.
    std::optional<std::string> elsewhere(const Bytes& account, Time now);
    // The same from memory: the view of who is online on which other server, kept by their
    // presence events and expulsions and by what elsewhere read. It may be stale either way; a
    // message sent by it is stored all the same, so a wrong guess delays it, never loses it.
    std::optional<std::string> viewedElsewhere(const Bytes& account, Time now);
    // Account logged in here: whatever the view said of him is over.
    void cameHere(const Bytes& account) { viewed_.erase(account); }
    // A one-to-one message for account, whose session server holds: stored as waiting and told
    // to that server with its body, in one write. False when the write queue is full.
    [[nodiscard]] bool relay(const Bytes& account, const std::string& server, const Bytes& body,
                             uint16_t sub);
    // Those in the public room at the other servers, limit at most; none while no other runs.
    std::vector<Bytes> roomMembersElsewhere(Time now, int limit);
    // The newest event of any server, 0 while no other runs.
    int64_t lastEventWritten(Time now);
    void tell(Time now, BusKind kind, const Bytes& account, int code = 0, const std::string& target = {},
              const Bytes& body = {});

    // Events of the other servers, when the read interval has passed since the last read.
    std::vector<BusEvent> poll(Time now);
    // Events older than a minute are taken as read by everyone.
    void prune(Time now);
    // The load report, when it is due: at once on a change, else as a heartbeat.
    void report(Time now, int sessions);
    void withdraw();
    Time nextWake() const;
    // The feed's descriptor for the loop to watch (-1: none), and what to do when it is readable.
    int wakeFd() const { return feed_->wakeFd(); }
    void woken(Time now);

  private:
    // Logs which other chat servers run, once each time that changes.
    void view(const BusEvent& e);
    void viewAt(const Bytes& account, const std::string& server);

    Store& store_;
    std::unique_ptr<BusFeed> feed_;
    WriteQueue& writes_;
    const std::string serverId_;
    WallClock wall_;
    Logger& log_;
    Time nextRead_{};
    Time othersCheckedAt_{};
    bool othersRunning_ = false;
    int64_t lastEventId_ = 0;
    Time nextReport_{};
    int reportedLoad_ = -1;
    int64_t lastReportWall_ = 0;
    // The newest heartbeat seen of each other server, kept when its row goes at a stop, its
    // sessions, and whether it was fresh and its row there at the last look.
    struct Seen {
        int64_t heartbeat = 0;
        int sessions = 0;
        bool fresh = false;
        bool listed = false;
    };
    void noteChange(const std::string& server, const Seen& before, bool fresh, bool listed, int64_t wall);
    std::map<std::string, Seen> seen_;
    bool looked_ = false;
    std::vector<ServerChange> changes_;
    // Account -> the other server holding it. Bounded: past the cap it starts again empty, and
    // misses are read from the store.
    std::unordered_map<Bytes, std::string> viewed_;
    static constexpr size_t kViewedMax = 1 << 18;
    struct Relays {
        std::vector<Store::NewMessage> messages;
        std::vector<std::string> servers;
        bool applied = false;  // a relay after this goes in a write of its own
    };
    std::shared_ptr<Relays> relays_;
    static constexpr size_t kRelaysMax = 512;
};

// The body of a Message event: the waiting row's id in decimal, a space, the frame's body.
Bytes messageEventBody(int64_t row, const Bytes& frameBody);
struct MessageEvent {
    int64_t row = 0;
    Bytes frameBody;
};
std::optional<MessageEvent> parseMessageEvent(const Bytes& body);

}  // namespace nq::server
