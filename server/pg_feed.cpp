#include "server/pg_feed.h"

#include <libpq-fe.h>

#include <algorithm>
#include <charconv>

#include "server/pg_store.h"

namespace nq::server {
namespace {

// While notifications flow the table is read only as a safety net; without them, as often as
// the SQLite bus reads it. The safety net is due a poll interval early, so that a read the chat
// server makes on its own 5 s timer finds it due rather than just missing it.
constexpr auto kListeningInterval = std::chrono::seconds(5);
constexpr auto kPollingInterval = std::chrono::milliseconds(250);
constexpr auto kSafetyNet = kListeningInterval - kPollingInterval;
// A try to listen again that fails waits this long before the next, doubling up to the most:
// against a host that does not answer, each try blocks the loop for the URI's connect_timeout.
constexpr auto kListenRetry = std::chrono::seconds(1);
constexpr auto kListenRetryMax = std::chrono::seconds(30);
// Events held between two reads at most: a server that reads none (it thinks itself alone)
// forgets them and reads the table when it reads again.
constexpr size_t kHeardMax = 4096;

constexpr char kHex[] = "0123456789abcdef";

void appendHex(std::string& out, std::string_view bytes) {
    out += ' ';
    if (bytes.empty()) out += '.';  // a field of its own even when empty
    for (unsigned char c : bytes) {
        out += kHex[c >> 4];
        out += kHex[c & 15];
    }
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

std::optional<std::string> fromHex(std::string_view hex) {
    if (hex == ".") return std::string();
    if (hex.empty() || hex.size() % 2) return std::nullopt;
    std::string out;
    for (size_t i = 0; i < hex.size(); i += 2) {
        const int hi = hexDigit(hex[i]), lo = hexDigit(hex[i + 1]);
        if (hi < 0 || lo < 0) return std::nullopt;
        out += static_cast<char>(hi * 16 + lo);
    }
    return out;
}

template <typename T>
std::optional<T> number(std::string_view text) {
    T v{};
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return v;
}

}  // namespace

std::string busPayload(const BusEvent& e) {
    std::string out = " " + std::to_string(static_cast<int>(e.kind)) + " " + std::to_string(e.code);
    appendHex(out, e.origin);
    appendHex(out, e.account);
    appendHex(out, e.target);
    if (out.size() + 1 + 2 * e.body.size() > kBusPayloadMax)
        out += " -";
    else
        appendHex(out, e.body);
    return out;
}

std::optional<HeardEvent> parseBusPayload(std::string_view payload) {
    std::string_view f[7];
    for (std::string_view& field : f) {
        const size_t end = std::min(payload.find(' '), payload.size());
        field = payload.substr(0, end);
        payload.remove_prefix(std::min(end + 1, payload.size()));
    }
    const auto id = number<int64_t>(f[0]);
    const auto kind = number<int>(f[1]);
    const auto code = number<int>(f[2]);
    auto origin = fromHex(f[3]), account = fromHex(f[4]), target = fromHex(f[5]);
    const bool whole = f[6] != "-";
    auto body = whole ? fromHex(f[6]) : std::string();
    if (!payload.empty() || !id || *id <= 0 || !kind || *kind < 1 || *kind > kBusKindMax || !code ||
        !origin || !account || !target || !body)
        return std::nullopt;
    return HeardEvent{{*id, std::move(*origin), static_cast<BusKind>(*kind), std::move(*account), *code,
                       std::move(*target), std::move(*body)},
                      whole};
}

PgFeed::PgFeed(PgStore& store, std::string uri) : store_(store), uri_(std::move(uri)) {
    listen();
}

PgFeed::~PgFeed() {
    if (conn_) PQfinish(conn_);
    if (lost_) PQfinish(lost_);
}

void PgFeed::listen() {
    listenRetry_ =
        std::clamp<std::chrono::steady_clock::duration>(listenRetry_ * 2, kListenRetry, kListenRetryMax);
    nextListen_ = std::chrono::steady_clock::now() + listenRetry_;
    PGconn* c = PQconnectdb(uri_.c_str());
    // The server ending this connection says so as a notice, which would go to stderr.
    PQsetNoticeProcessor(
        c, [](void*, const char*) {}, nullptr);
    PGresult* r =
        PQstatus(c) == CONNECTION_OK ? PQexec(c, (std::string("LISTEN ") + kBusChannel).c_str()) : nullptr;
    const bool ok = r && PQresultStatus(r) == PGRES_COMMAND_OK && PQsetnonblocking(c, 1) == 0;
    PQclear(r);
    if (!ok) {
        PQfinish(c);
        return;
    }
    if (lost_) PQfinish(lost_);
    lost_ = nullptr;
    conn_ = c;
    listenRetry_ = {};
    tableDue_ = true;  // what came while nobody listened is only in the table
}

int64_t PgFeed::start() {
    return store_.lastEventId();
}

std::optional<Store::BusRead> PgFeed::fromHeard(int64_t afterId, const std::string& self) const {
    Store::BusRead read{{}, afterId};
    for (const HeardEvent& h : heard_) {
        if (h.event.id <= afterId) continue;
        // A hole is an event whose notification did not come, or not yet: a transaction rolled
        // back after taking its id leaves one for good, which the table read settles.
        if (h.event.id != read.lastId + 1 || !h.whole) return std::nullopt;
        read.lastId = h.event.id;
        if (h.event.origin != self) read.events.push_back(h.event);
    }
    return read;
}

Store::BusRead PgFeed::read(int64_t afterId, const std::string& self) {
    const auto now = std::chrono::steady_clock::now();
    if (!conn_ && now >= nextListen_) listen();
    if (conn_ && !tableDue_ && now < nextTableRead_)
        if (auto read = fromHeard(afterId, self)) {
            heard_.clear();
            return std::move(*read);
        }
    Store::BusRead read = store_.eventsAfter(afterId, self);
    tableDue_ = false;
    nextTableRead_ = now + kSafetyNet;
    while (!heard_.empty() && heard_.front().event.id <= read.lastId) heard_.pop_front();
    return read;
}

void PgFeed::publish(Store& store, const BusEvent& event) {
    store.publish(event);
}

Duration PgFeed::readInterval() const {
    if (conn_) return kListeningInterval;
    return kPollingInterval;
}

int PgFeed::wakeFd() const {
    return conn_ ? PQsocket(conn_) : -1;
}

bool PgFeed::takeWake(const std::string& self) {
    if (!conn_) return false;
    if (!PQconsumeInput(conn_) || PQstatus(conn_) != CONNECTION_OK) {
        lost_ = conn_;
        conn_ = nullptr;
        heard_.clear();
        return true;  // read the table now: what came meanwhile is only there
    }
    bool others = false;
    while (PGnotify* n = PQnotifies(conn_)) {
        auto heard = parseBusPayload(n->extra);
        PQfreemem(n);
        if (!heard || heard_.size() >= kHeardMax) {
            // Not ours to read (another program on the channel, an older server), or too many
            // unread: the table tells what it was.
            heard_.clear();
            tableDue_ = others = true;
            continue;
        }
        others |= heard->event.origin != self;
        if (heard->event.origin == self) heard->event.body.clear();  // only its id counts
        heard_.push_back(std::move(*heard));
    }
    return others;
}

}  // namespace nq::server
