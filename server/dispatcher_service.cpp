#include "server/dispatcher_service.h"

#include "server/records.h"
#include "wire/fields.h"
#include "wire/frame_kinds.h"
#include "wire/frame_trace.h"

namespace nq::server {
namespace {

constexpr Duration kLoadRefresh = std::chrono::seconds(1);
// A chat server that has not reported for this long is taken to be down.
constexpr int64_t kStaleAfterSeconds = 15;

}  // namespace

DispatcherService::DispatcherService(Store& store, const DispatcherConfig& config, Logger& log,
                                     LocalLoad localLoad, HostFor hostFor, WallClock wall)
    : store_(store),
      config_(config),
      log_(log),
      localLoad_(std::move(localLoad)),
      hostFor_(std::move(hostFor)),
      wall_(std::move(wall)),
      gate_(store, config_.login, log),
      frameRates_(config.input.framesPerSecond, 2 * config.input.framesPerSecond),
      replyRates_(config.input.repliesPerSecond, 2 * config.input.repliesPerSecond) {
    minimumCode_ = versionCodeOf(config_.minimumVersion).value_or(256);
    targets_.resize(config_.targets.size());
}

// The client sends one login a datagram and waits seconds for the answer before it tries again.
// One frame a datagram is read, so that a datagram never brings more than one answer: anybody
// can send in a victim's name, and the answers would go to her.
void DispatcherService::onDatagram(const Endpoint& from, std::string_view data, Time now) {
    if (log_.tracing()) log_.trace(describeDatagram("in", "dispatcher " + from.toString(), data));
    if (now >= nextForget_) {
        nextForget_ = now + std::chrono::seconds(1);
        frameRates_.forgetFull(now);
        replyRates_.forgetFull(now);
    }
    auto frame = decodeFrame(data);
    if (!frame) {
        NQ_LOG_CAPPED(log_, Dropped, now, Info, "dispatcher dropped %zu bytes from %s that are no frame",
                      data.size(), from.toString().c_str());
        return;
    }
    if (frame->len < data.size())
        NQ_LOG_CAPPED(log_, Dropped, now, Info,
                      "dispatcher read one frame of a datagram from %s, %zu bytes left",
                      from.toString().c_str(), data.size() - frame->len);
    if (!frameRates_.take(from, now)) {
        NQ_LOG_CAPPED(log_, Dropped, now, Info, "dispatcher dropped a frame from %s: over %g frames a second",
                      from.toString().c_str(), config_.input.framesPerSecond);
        return;
    }
    if (FrameKind{frame->header.type, frame->header.sub} != kind::kLogin) {
        NQ_LOG_CAPPED(log_, Dropped, now, Info, "dispatcher dropped (%u,%u) from %s: it only takes logins",
                      frame->header.type, frame->header.sub, from.toString().c_str());
        return;
    }
    try {
        login(from, *frame, now);
    } catch (const StoreError& e) {
        NQ_LOG_CAPPED(log_, Failed, now, Error, "dispatcher could not check a login from %s: %s",
                      from.toString().c_str(), e.what());
    }
}

void DispatcherService::login(const Endpoint& from, const Frame& f, Time now) {
    FieldReader fields(f.body);
    const auto name = fields.next();
    const auto digest = fields.next();
    if (!name || !digest) {
        NQ_LOG_CAPPED(log_, Refused, now, Info, "dispatcher dropped a login from %s without name and digest",
                      from.toString().c_str());
        return;
    }
    const std::string who = printable(*name);
    // The version comes first: an old client may not even speak today's login.
    if (f.header.code < minimumCode_) {
        NQ_LOG_CAPPED(log_, Refused, now, Info, "%s at %s has version %s, below %s: update ordered",
                      who.c_str(), from.toString().c_str(), versionTextOf(f.header.code).c_str(),
                      config_.minimumVersion.c_str());
        const std::string& target =
            config_.updateTarget.empty() ? config_.minimumVersion : config_.updateTarget;
        reply(from, code::kUpdateOrdered,
              updateOrder(config_.minimumVersion, minimumCode_, f.header.code, target), now);
        return;
    }
    const LoginOutcome checked = gate_.check(from.address, Bytes(*name), *digest, now);
    if (checked.verdict == LoginVerdict::HeldBack) return;  // silence: the client tries again later
    if (checked.verdict == LoginVerdict::Refused) {
        NQ_LOG_CAPPED(log_, Refused, now, Info, "dispatcher refused %s at %s: %s", who.c_str(),
                      from.toString().c_str(), checked.why);
        reply(from, code::kWrongPassword, {}, now);
        return;
    }
    if (config_.targets.empty()) {
        NQ_LOG_CAPPED(log_, Failed, now, Error, "dispatcher has no chat server to name");
        return;
    }
    const size_t i = chooseTarget(now);
    const ChatTarget& t = config_.targets[i];
    const std::string host = t.host.empty() ? hostFor_(from) : t.host;
    const int64_t second = wall_();
    SentInSecond& sent = targets_[i].sent[static_cast<size_t>(second) % kSentSeconds];
    if (sent.second != second) sent = {second, 0};
    ++sent.count;
    NQ_LOG(log_, Info, "dispatcher sends %s at %s to %s:%u", who.c_str(), from.toString().c_str(),
           host.c_str(), t.port);
    reply(from, code::kGoToChatServer, joinFields({host, std::to_string(t.port)}), now);
}

void DispatcherService::refreshLoads(Time now) {
    if (now < nextRefresh_) return;
    nextRefresh_ = now + kLoadRefresh;
    std::vector<ServerLoad> reported;
    bool read = true;
    try {
        reported = store_.loads();
    } catch (const StoreError& e) {
        NQ_LOG_CAPPED(log_, Failed, now, Warn, "dispatcher cannot read chat server loads: %s", e.what());
        read = false;
    }
    const int64_t wall = wall_();
    for (size_t i = 0; i < config_.targets.size(); ++i) {
        const ChatTarget& c = config_.targets[i];
        const std::string key = c.key(c.host);
        Target& t = targets_[i];
        const std::optional<int> local = localLoad_ ? localLoad_(c) : std::nullopt;
        const ServerLoad* last = nullptr;
        for (const ServerLoad& r : reported)
            if (r.server == key) last = &r;
        t.load.reset();
        if (local) {
            t.load = *local;
            t.reportedAt = wall;
        } else if (last && wall - last->heartbeat <= kStaleAfterSeconds) {
            t.load = last->sessions;
            t.reportedAt = last->heartbeat;
        }
        // The operator learns when logins stop going to a chat server and when they go again.
        const bool running = t.load.has_value();
        if (!read || local || t.running == running) continue;
        t.running = running;
        if (running)
            NQ_LOG(log_, Info, "dispatcher sends logins to chat server %s, which reports %d session%s",
                   key.c_str(), *t.load, *t.load == 1 ? "" : "s");
        else if (last)
            NQ_LOG(log_, Warn,
                   "dispatcher takes chat server %s as gone: its last report is %lld s old; logins go "
                   "to the others",
                   key.c_str(), static_cast<long long>(wall - last->heartbeat));
        else
            NQ_LOG(log_, Warn,
                   "dispatcher has no report from chat server %s: no logins go to it while others "
                   "report",
                   key.c_str());
    }
}

// A report holds the logins that reached the chat server before it was written. One sent in the
// second before the report's may have been on its way still (the client sends its login at its
// next tick), so it counts on top until a later report.
int DispatcherService::sentSince(const Target& t, int64_t second) const {
    int n = 0;
    for (const SentInSecond& s : t.sent) n += s.second >= second ? s.count : 0;
    return n;
}

size_t DispatcherService::chooseTarget(Time now) {
    refreshLoads(now);
    std::optional<size_t> best;
    int bestLoad = 0;
    for (size_t i = 0; i < targets_.size(); ++i) {
        const Target& t = targets_[i];
        if (!t.load) continue;
        const int load = *t.load + sentSince(t, t.reportedAt - 1);
        if (!best || load < bestLoad) {
            best = i;
            bestLoad = load;
        }
    }
    if (best) return *best;
    return roundRobin_++ % config_.targets.size();
}

void DispatcherService::reply(const Endpoint& to, uint16_t code, const Bytes& body, Time now) {
    if (!replyRates_.take(to.address, now)) return;  // the client asks again after its wait
    seq_ = seq_ >= kSeqWrap - 1 ? 1 : seq_ + 1;
    Datagram d{to, encodeFrame({seq_, kind::kLogin.type, kind::kLogin.sub, 0, code}, body)};
    if (log_.tracing()) log_.trace(describeDatagram("out", "dispatcher " + to.toString(), d.data));
    output_.push_back(std::move(d));
}

}  // namespace nq::server
