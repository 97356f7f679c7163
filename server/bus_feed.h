#pragma once
// How the events between chat servers travel. Today's feed is the store's bus table, which each
// server reads on a timer: the one way that works on a SQLite file shared by processes of one
// machine. An engine that can push events (PostgreSQL's LISTEN/NOTIFY) gives a feed of its own
// through Store::busFeed, keeping the table as what a server catches up from after a reconnect;
// the chat server does not change.

#include <memory>
#include <string>

#include "server/clock.h"
#include "server/store.h"

namespace nq::server {

class BusFeed {
  public:
    virtual ~BusFeed() = default;
    // The id from which reading starts: events from before the start were for others.
    virtual int64_t start() = 0;
    // The events of others after id, and the id the next read goes on from.
    virtual Store::BusRead read(int64_t afterId, const std::string& self) = 0;
    // Publishing is a write like any other, made inside the server's batch by this call, so that
    // an event is seen only once the writes it tells of are committed.
    virtual void publish(Store& store, const BusEvent& event) = 0;
    // The longest time between two reads when nothing says that events wait.
    virtual Duration readInterval() const = 0;
    // Readable when events wait, for the loop to watch; -1 when the feed is only read on time.
    virtual int wakeFd() const { return -1; }
    // Takes what made wakeFd readable; true when it told of events of servers other than self.
    virtual bool takeWake(const std::string& /*self*/) { return false; }
};

// The bus table, read four times a second.
class TableFeed : public BusFeed {
  public:
    explicit TableFeed(Store& store) : store_(store) {}
    int64_t start() override { return store_.lastEventId(); }
    Store::BusRead read(int64_t afterId, const std::string& self) override {
        return store_.eventsAfter(afterId, self);
    }
    void publish(Store& store, const BusEvent& event) override { store.publish(event); }
    Duration readInterval() const override { return std::chrono::milliseconds(250); }

  private:
    Store& store_;
};

}  // namespace nq::server
