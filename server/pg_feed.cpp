#include "server/pg_feed.h"

#include <libpq-fe.h>

#include "server/pg_store.h"

namespace nq::server {
namespace {

// While notifications flow the table is read only as a safety net; without them, as often as
// the SQLite bus reads it.
constexpr auto kListeningInterval = std::chrono::seconds(5);
constexpr auto kPollingInterval = std::chrono::milliseconds(250);
constexpr auto kListenRetry = std::chrono::seconds(1);

}  // namespace

PgFeed::PgFeed(PgStore& store, std::string uri) : store_(store), uri_(std::move(uri)) {
    listen();
}

PgFeed::~PgFeed() {
    if (conn_) PQfinish(conn_);
    if (lost_) PQfinish(lost_);
}

void PgFeed::listen() {
    nextListen_ = std::chrono::steady_clock::now() + kListenRetry;
    PGconn* c = PQconnectdb(uri_.c_str());
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
}

int64_t PgFeed::start() {
    return store_.lastEventId();
}

Store::BusRead PgFeed::read(int64_t afterId, const std::string& self) {
    if (!conn_ && std::chrono::steady_clock::now() >= nextListen_) listen();
    return store_.eventsAfter(afterId, self);
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
        return true;  // read the table now: what came meanwhile is only there
    }
    bool others = false;
    while (PGnotify* n = PQnotifies(conn_)) {
        others |= self != n->extra;
        PQfreemem(n);
    }
    return others;
}

}  // namespace nq::server
