#pragma once
// The events between chat servers on PostgreSQL: each event row is announced with NOTIFY in the
// transaction that writes it, and the notification carries the event itself, so another server
// hears of it at its commit and hands it on without a look at the table. The table stays the
// record: read after the listening connection is made again, whenever the ids heard leave a
// hole (a notification missing, an event too large to be carried), and every few seconds as a
// safety net.

#include <chrono>
#include <deque>
#include <optional>
#include <string>

#include "server/bus_feed.h"

struct pg_conn;

namespace nq::server {

class PgStore;

// The channel every chat server of a database listens on.
inline constexpr const char* kBusChannel = "nq_bus";
// PostgreSQL refuses a payload of 8000 bytes or more; the event's id goes in front of this much.
inline constexpr size_t kBusPayloadMax = 7950;

// An event as a notification carries it, less its id, which the statement that writes the row
// puts in front: " kind code origin account target body", the texts in hex, since GBK bytes
// are no text the database would take. An event past kBusPayloadMax goes without its body ("-").
std::string busPayload(const BusEvent& event);
struct HeardEvent {
    BusEvent event;
    bool whole = true;  // false: its body is only in the table
};
// The notification's whole payload, id in front; nothing when it is not one of ours.
std::optional<HeardEvent> parseBusPayload(std::string_view payload);

class PgFeed : public BusFeed {
  public:
    // Listens on a connection of its own to uri, since the store's connection runs the server's
    // transactions; without it the feed falls back to reading the table on time.
    PgFeed(PgStore& store, std::string uri);
    ~PgFeed() override;
    PgFeed(const PgFeed&) = delete;
    PgFeed& operator=(const PgFeed&) = delete;

    int64_t start() override;
    Store::BusRead read(int64_t afterId, const std::string& self) override;
    void publish(Store& store, const BusEvent& event) override;
    Duration readInterval() const override;
    int wakeFd() const override;
    bool takeWake(const std::string& self) override;

  private:
    void listen();
    // The events heard after afterId when they follow it without a hole, each whole.
    std::optional<Store::BusRead> fromHeard(int64_t afterId, const std::string& self) const;

    PgStore& store_;
    std::string uri_;
    pg_conn* conn_ = nullptr;
    // A lost connection stays open until the next one is made, so that the new socket never
    // reuses the number the loop watched.
    pg_conn* lost_ = nullptr;
    std::chrono::steady_clock::time_point nextListen_{};
    std::chrono::steady_clock::duration listenRetry_{};
    // Heard since the last read, in the order of their ids (PostgreSQL delivers notifications in
    // the order their transactions commit, and the bus lock makes that the order of the ids).
    std::deque<HeardEvent> heard_;
    // Set when what was heard may not be all there is: at the start, after listening again, and
    // after a payload that is not ours.
    bool tableDue_ = true;
    std::chrono::steady_clock::time_point nextTableRead_{};
};

}  // namespace nq::server
