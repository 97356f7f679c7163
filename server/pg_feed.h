#pragma once
// The events between chat servers on PostgreSQL: each event row is announced with NOTIFY in the
// transaction that writes it, so another server hears of it when it commits rather than at its
// next look at the table. Reading still goes to the table, from the last event read: that is
// what catches a server up on what it missed while its listening connection was down.

#include <chrono>
#include <string>

#include "server/bus_feed.h"

struct pg_conn;

namespace nq::server {

class PgStore;

// The channel every chat server of a database listens on; the payload names the publishing server.
inline constexpr const char* kBusChannel = "nq_bus";

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

    PgStore& store_;
    std::string uri_;
    pg_conn* conn_ = nullptr;
    // A lost connection stays open until the next one is made, so that the new socket never
    // reuses the number the loop watched.
    pg_conn* lost_ = nullptr;
    std::chrono::steady_clock::time_point nextListen_{};
};

}  // namespace nq::server
