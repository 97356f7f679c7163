#include "server/chat_bus.h"

#include <algorithm>
#include <charconv>
#include <set>

namespace nq::server {
namespace {

constexpr int64_t kFreshSeconds = 15;
constexpr int64_t kEventLifetimeSeconds = 60;
constexpr Duration kLoadReport = std::chrono::seconds(2);
constexpr int64_t kLoadHeartbeatSeconds = 5;

}  // namespace

ChatBus::ChatBus(Store& store, WriteQueue& writes, std::string serverId, WallClock wall, Logger& log)
    : store_(store),
      feed_(store.busFeed()),
      writes_(writes),
      serverId_(std::move(serverId)),
      wall_(std::move(wall)),
      log_(log) {
    lastEventId_ = feed_->start();
}

std::vector<int64_t> Store::storeMessages(std::span<const NewMessage> messages) {
    std::vector<int64_t> ids;
    for (const NewMessage& m : messages) ids.push_back(storeMessage(m.receiver, m.body, m.sub));
    return ids;
}

std::unique_ptr<BusFeed> Store::busFeed() {
    return std::make_unique<TableFeed>(*this);
}

bool ChatBus::othersRunning(Time now) {
    if (othersCheckedAt_ == Time{} || now - othersCheckedAt_ >= std::chrono::seconds(1)) {
        othersCheckedAt_ = now;
        std::vector<ServerLoad> loads;
        try {
            loads = store_.loads();
        } catch (const StoreBusy&) {
            return othersRunning_;
        }
        std::set<std::string> listed;
        for (const ServerLoad& l : loads) {
            if (l.server == serverId_) continue;
            Seen& seen = seen_[l.server];
            seen.heartbeat = std::max(seen.heartbeat, l.heartbeat);
            seen.sessions = l.sessions;
            listed.insert(l.server);
        }
        const int64_t wall = wall_();
        othersRunning_ = false;
        for (auto& [server, seen] : seen_) {
            const bool fresh = wall - seen.heartbeat <= kFreshSeconds, isListed = listed.count(server) > 0;
            noteChange(server, seen, fresh, isListed, wall);
            // Those fresh at the first look were running before this server: nothing changed.
            if (fresh != seen.fresh && looked_) changes_.push_back({server, fresh});
            if (!fresh)
                std::erase_if(viewed_, [&gone = server](const auto& kv) { return kv.second == gone; });
            seen.fresh = fresh;
            seen.listed = isListed;
            othersRunning_ |= fresh;
        }
        looked_ = true;
    }
    return othersRunning_;
}

// For the operator: another server starts to count, is taken as gone, or withdrew at its stop.
void ChatBus::noteChange(const std::string& server, const Seen& before, bool fresh, bool listed,
                         int64_t wall) {
    const char* plural = before.sessions == 1 ? "" : "s";
    if (fresh && listed && !(before.fresh && before.listed))
        NQ_LOG(log_, Info, "chat server %s runs beside this one, with %d session%s", server.c_str(),
               before.sessions, plural);
    else if (!fresh && before.fresh && listed)
        NQ_LOG(log_, Warn, "chat server %s last reported %lld s ago: taken as gone with its %d session%s",
               server.c_str(), static_cast<long long>(wall - before.heartbeat), before.sessions, plural);
    else if (!listed && before.listed && before.fresh)
        NQ_LOG(log_, Info, "chat server %s has stopped", server.c_str());
}

std::optional<std::string> ChatBus::elsewhere(const Bytes& account, Time now) {
    if (!othersRunning(now)) return std::nullopt;
    auto server = store_.onlineElsewhere(account, serverId_, kFreshSeconds);
    if (server)
        viewAt(account, *server);
    else
        viewed_.erase(account);
    return server;
}

std::optional<std::string> ChatBus::viewedElsewhere(const Bytes& account, Time now) {
    if (!othersRunning(now)) return std::nullopt;
    auto it = viewed_.find(account);
    if (it == viewed_.end()) return std::nullopt;
    return it->second;
}

void ChatBus::viewAt(const Bytes& account, const std::string& server) {
    if (viewed_.size() >= kViewedMax) viewed_.clear();
    viewed_[account] = server;
}

void ChatBus::view(const BusEvent& e) {
    if (e.kind == BusKind::Kick || (e.kind == BusKind::Presence && e.code == code::kOnline)) {
        viewAt(e.account, e.origin);
    } else if (e.kind == BusKind::Presence) {
        // Only the server that held him tells that he went: an older session's end elsewhere
        // says nothing of the newer one.
        if (auto it = viewed_.find(e.account); it != viewed_.end() && it->second == e.origin)
            viewed_.erase(it);
    }
}

bool ChatBus::relay(const Bytes& account, const std::string& server, const Bytes& body, uint16_t sub) {
    // The messages of a turn go in one write: their rows in one statement, their events in the
    // next, whatever other writes come between them in the queue.
    if (!relays_ || relays_->applied || relays_->messages.size() >= kRelaysMax) {
        auto relays = std::make_shared<Relays>();
        const bool queued = writes_.add(
            "store messages for other chat servers", [relays, id = serverId_, feed = feed_.get()](Store& s) {
                relays->applied = true;
                const std::vector<int64_t> rows = s.storeMessages(relays->messages);
                for (size_t i = 0; i < rows.size(); ++i) {
                    const Store::NewMessage& m = relays->messages[i];
                    feed->publish(s, {0, id, BusKind::Message, m.receiver, m.sub, relays->servers[i],
                                      messageEventBody(rows[i], m.body)});
                }
            });
        if (!queued) return false;
        relays_ = std::move(relays);
    }
    relays_->messages.push_back({account, body, sub});
    relays_->servers.push_back(server);
    return true;
}

Bytes messageEventBody(int64_t row, const Bytes& frameBody) {
    return std::to_string(row) + ' ' + frameBody;
}

std::optional<MessageEvent> parseMessageEvent(const Bytes& body) {
    const size_t space = body.find(' ');
    if (space == Bytes::npos) return std::nullopt;
    MessageEvent m;
    auto [end, ec] = std::from_chars(body.data(), body.data() + space, m.row);
    if (ec != std::errc() || end != body.data() + space || m.row <= 0) return std::nullopt;
    m.frameBody = body.substr(space + 1);
    return m;
}

std::vector<Bytes> ChatBus::roomMembersElsewhere(Time now, int limit) {
    if (!othersRunning(now)) return {};
    return store_.roomMembersElsewhere(serverId_, wall_() - kFreshSeconds, limit);
}

int64_t ChatBus::lastEventWritten(Time now) {
    return othersRunning(now) ? store_.lastEventId() : 0;
}

void ChatBus::tell(Time now, BusKind kind, const Bytes& account, int code, const std::string& target,
                   const Bytes& body) {
    if (!othersRunning(now)) return;
    BusEvent e{0, serverId_, kind, account, code, target, body};
    writes_.add("tell the other chat servers", [e, feed = feed_.get()](Store& s) { feed->publish(s, e); });
}

std::vector<BusEvent> ChatBus::poll(Time now) {
    if (now < nextRead_) return {};
    nextRead_ = now + feed_->readInterval();
    if (!othersRunning(now)) return {};
    Store::BusRead read;
    try {
        read = feed_->read(lastEventId_, serverId_);
    } catch (const StoreBusy&) {
        nextRead_ = now + WriteQueue::kRetry;  // read again soon: the events wait in the table
        throw;
    }
    lastEventId_ = read.lastId;
    for (const BusEvent& e : read.events) view(e);
    return std::move(read.events);
}

void ChatBus::prune(Time now) {
    if (othersRunning(now))
        writes_.add("prune the events between chat servers",
                    [](Store& s) { s.pruneEvents(kEventLifetimeSeconds); });
}

void ChatBus::report(Time now, int sessions) {
    if (serverId_.empty() || now < nextReport_) return;
    nextReport_ = now + kLoadReport;
    const int64_t wall = wall_();
    if (sessions != reportedLoad_ || wall - lastReportWall_ >= kLoadHeartbeatSeconds) {
        writes_.add("report the load",
                    [id = serverId_, sessions, wall](Store& s) { s.reportLoad(id, sessions, wall); });
        reportedLoad_ = sessions;
        lastReportWall_ = wall;
    }
}

void ChatBus::withdraw() {
    if (!serverId_.empty()) store_.withdrawLoad(serverId_);
}

void ChatBus::woken(Time now) {
    if (feed_->takeWake(serverId_)) nextRead_ = now;
}

Time ChatBus::nextWake() const {
    return std::min(nextRead_, serverId_.empty() ? Time::max() : nextReport_);
}

}  // namespace nq::server
