#pragma once
// The dispatcher: the client's first stop on port 4000. It checks the version and the
// password and names the chat server with the fewest sessions. Like the chat service it only
// sees datagrams in and out.

#include <array>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "server/clock.h"
#include "server/datagram.h"
#include "server/log.h"
#include "server/login_throttle.h"
#include "server/rate_limit.h"
#include "server/store.h"
#include "wire/packet.h"

namespace nq::server {

struct ChatTarget {
    std::string host;  // empty: the address at which the client reached this dispatcher
    uint16_t port = 0;

    std::string key(const std::string& resolvedHost) const {
        return resolvedHost + ":" + std::to_string(port);
    }
};

struct DispatcherConfig {
    std::string minimumVersion = "1.0";
    std::string updateTarget;  // field 8 of the update order; the minimum version when empty
    std::vector<ChatTarget> targets;
    LoginLimits login;
    InputLimits input;
};

class DispatcherService {
  public:
    // Sessions of a chat server running in this process, which the store may not know yet.
    using LocalLoad = std::function<std::optional<int>(const ChatTarget&)>;
    // The host to name for a target without one, as seen from this client.
    using HostFor = std::function<std::string(const Endpoint& client)>;

    DispatcherService(Store& store, const DispatcherConfig& config, Logger& log, LocalLoad localLoad,
                      HostFor hostFor, WallClock wall = systemWallSeconds);

    void onDatagram(const Endpoint& from, std::string_view data, Time now);
    std::vector<Datagram>& output() { return output_; }

    // The target a login goes to now: fewest sessions among the servers that report, with the
    // logins sent to each that its report may not hold yet, in list order on a tie; round robin
    // when none reports.
    size_t chooseTarget(Time now);
    // Reads the reports once a second even while nobody logs in, so that the log tells when a
    // chat server stops reporting or comes back.
    void onTimer(Time now) { refreshLoads(now); }

  private:
    void login(const Endpoint& from, const Frame& frame, Time now);
    void reply(const Endpoint& to, uint16_t code, const Bytes& body, Time now);
    void refreshLoads(Time now);

    Store& store_;
    const DispatcherConfig config_;
    Logger& log_;
    LocalLoad localLoad_;
    HostFor hostFor_;
    WallClock wall_;
    LoginGate gate_;
    RateBuckets<Endpoint, EndpointHash> frameRates_;
    RateBuckets<uint32_t> replyRates_;  // by IPv4 address
    Time nextForget_{};
    int minimumCode_ = 256;

    std::vector<Datagram> output_;
    uint16_t seq_ = 0;

    // Logins sent to one chat server in one wall second. The ring spans the 15 s for which a
    // report counts, the second before it and the current one.
    struct SentInSecond {
        int64_t second = -1;
        int count = 0;
    };
    static constexpr size_t kSentSeconds = 17;
    // What the dispatcher knows of one chat server: its last report while it counts as running
    // (an in-process server's count is read as of now), whether the log last called it running,
    // and the logins sent to it lately.
    struct Target {
        std::optional<int> load;
        int64_t reportedAt = 0;
        std::optional<bool> running;
        std::array<SentInSecond, kSentSeconds> sent{};
    };
    int sentSince(const Target& t, int64_t second) const;

    std::vector<Target> targets_;
    Time nextRefresh_{};
    size_t roundRobin_ = 0;
};

}  // namespace nq::server
