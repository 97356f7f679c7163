#include "server/sqlite_statement.h"

#include <algorithm>

// Waiting messages, notices, server loads, sessions and the bus between chat servers.

namespace nq::server {

int64_t SqliteStore::storeMessage(const Bytes& receiver, const Bytes& body, uint16_t sub) {
    prepare("INSERT INTO waiting_messages (receiver, body, created_at, sub) VALUES (?, ?, ?, ?)")
        .gbkText(1, receiver)
        .blob(2, body)
        .integer(3, static_cast<int64_t>(std::time(nullptr)))
        .integer(4, sub)
        .run();
    return sqlite3_last_insert_rowid(db_);
}

std::vector<WaitingMessage> SqliteStore::waitingMessages(const Bytes& receiver, int64_t afterId, int limit) {
    std::vector<WaitingMessage> out;
    auto& s = prepare(
        "SELECT id, body, sub FROM waiting_messages WHERE receiver = ? AND id > ? ORDER BY id LIMIT ?");
    s.gbkText(1, receiver).integer(2, afterId).integer(3, limit);
    while (s.step()) out.push_back({s.columnInt(0), s.columnBlob(1), static_cast<uint16_t>(s.columnInt(2))});
    return out;
}

void SqliteStore::deleteMessages(std::span<const int64_t> ids) {
    if (ids.empty()) return;
    transaction([&] {
        for (int64_t id : ids) prepare("DELETE FROM waiting_messages WHERE id = ?").integer(1, id).run();
    });
}

int SqliteStore::countWaiting(const Bytes& receiver, int upTo) {
    auto& s = prepare("SELECT COUNT(*) FROM (SELECT 1 FROM waiting_messages WHERE receiver = ? LIMIT ?)");
    s.gbkText(1, receiver).integer(2, upTo);
    const int n = s.step() ? static_cast<int>(s.columnInt(0)) : 0;
    s.reset();
    return n;
}

int SqliteStore::dropWaitingBefore(int64_t wallSeconds) {
    prepare("DELETE FROM waiting_messages WHERE created_at < ?").integer(1, wallSeconds).run();
    return sqlite3_changes(db_);
}

int64_t SqliteStore::queueNotice(NoticeKind kind, const Bytes& text) {
    const auto now = static_cast<int64_t>(std::time(nullptr));
    // Notices only matter to servers running now; a day's worth is plenty for a look back.
    prepare("DELETE FROM notices WHERE created_at < ?").integer(1, now - 86400).run();
    prepare("INSERT INTO notices (kind, text, created_at) VALUES (?, ?, ?)")
        .integer(1, static_cast<int>(kind))
        .gbkText(2, text)
        .integer(3, now)
        .run();
    return sqlite3_last_insert_rowid(db_);
}

std::vector<Notice> SqliteStore::noticesAfter(int64_t id) {
    std::vector<Notice> out;
    auto& s = prepare("SELECT id, kind, text FROM notices WHERE id > ? ORDER BY id");
    s.integer(1, id);
    while (s.step())
        out.push_back(
            {s.columnInt(0), static_cast<NoticeKind>(std::clamp<int64_t>(s.columnInt(1), 1, 3)), s.columnGbk(2)});
    return out;
}

int64_t SqliteStore::lastNoticeId() {
    auto& s = prepare("SELECT COALESCE(MAX(id), 0) FROM notices");
    const int64_t id = s.step() ? s.columnInt(0) : 0;
    s.reset();
    return id;
}

void SqliteStore::reportLoad(const std::string& server, int sessions, int64_t now) {
    prepare(
        "INSERT INTO chat_servers (server, sessions, heartbeat) VALUES (?, ?, ?) "
        "ON CONFLICT(server) DO UPDATE SET sessions = excluded.sessions, heartbeat = excluded.heartbeat")
        .text(1, server)
        .integer(2, sessions)
        .integer(3, now)
        .run();
}

void SqliteStore::withdrawLoad(const std::string& server) {
    prepare("DELETE FROM chat_servers WHERE server = ?").text(1, server).run();
}

std::vector<ServerLoad> SqliteStore::loads() {
    std::vector<ServerLoad> out;
    auto& s = prepare("SELECT server, sessions, heartbeat FROM chat_servers ORDER BY server");
    while (s.step()) out.push_back({s.columnText(0), static_cast<int>(s.columnInt(1)), s.columnInt(2)});
    return out;
}

void SqliteStore::setOnline(const KeptSession& k, const std::string& server) {
    // One statement per login, as before sessions were kept: the row was written anyway.
    prepare(
        "INSERT INTO online (account, server, since, number, address, port, ready) VALUES (?, ?, ?, ?, ?, ?, "
        "?) "
        "ON CONFLICT(account) DO UPDATE SET server = excluded.server, since = excluded.since, "
        "number = excluded.number, address = excluded.address, port = excluded.port, ready = excluded.ready")
        .gbkText(1, k.account)
        .text(2, server)
        .integer(3, static_cast<int64_t>(std::time(nullptr)))
        .integer(4, k.number)
        .integer(5, k.address)
        .integer(6, k.port)
        .integer(7, k.ready)
        .run();
}

void SqliteStore::setReady(const Bytes& account, const std::string& server) {
    prepare("UPDATE online SET ready = 1 WHERE account = ? AND server = ?")
        .gbkText(1, account)
        .text(2, server)
        .run();
}

void SqliteStore::setOffline(const Bytes& account, const std::string& server, uint32_t number) {
    prepare("DELETE FROM online WHERE account = ? AND server = ? AND number = ?")
        .gbkText(1, account)
        .text(2, server)
        .integer(3, number)
        .run();
}

void SqliteStore::markStopped(const std::string& server, int64_t now) {
    prepare(
        "INSERT INTO server_stops (server, stopped_at) VALUES (?, ?) "
        "ON CONFLICT(server) DO UPDATE SET stopped_at = excluded.stopped_at")
        .text(1, server)
        .integer(2, now)
        .run();
}

std::vector<KeptSession> SqliteStore::heldSessions(const std::string& server, int64_t now,
                                                   int64_t maxAgeSeconds) {
    std::vector<KeptSession> out;
    transaction([&] {
        // Its last sign of life: the stop it noted, or the last load report before a crash.
        auto& last = prepare(
            "SELECT MAX(t) FROM (SELECT stopped_at AS t FROM server_stops WHERE server = ?1 "
            "UNION ALL SELECT heartbeat FROM chat_servers WHERE server = ?1)");
        last.text(1, server);
        const bool known = last.step() && !last.isNull(0);
        const int64_t lastSeen = known ? last.columnInt(0) : 0;
        last.reset();
        prepare("DELETE FROM server_stops WHERE server = ?").text(1, server).run();
        const bool fresh = known && now - lastSeen <= maxAgeSeconds;
        prepare(fresh ? "DELETE FROM online WHERE server = ? AND number = 0"
                      : "DELETE FROM online WHERE server = ?")
            .text(1, server)
            .run();
        if (!fresh) return;
        auto& s = prepare(
            "SELECT number, account, address, port, ready FROM online WHERE server = ? ORDER BY number");
        s.text(1, server);
        while (s.step())
            out.push_back({static_cast<uint32_t>(s.columnInt(0)), s.columnGbk(1),
                           static_cast<uint32_t>(s.columnInt(2)), static_cast<uint16_t>(s.columnInt(3)),
                           s.columnInt(4) != 0});
    });
    return out;
}

std::optional<std::string> SqliteStore::onlineElsewhere(const Bytes& account, const std::string& self,
                                                        int64_t freshSeconds) {
    auto& s = prepare(
        "SELECT o.server FROM online o JOIN chat_servers c ON c.server = o.server "
        "WHERE o.account = ? AND o.server != ? AND c.heartbeat >= ?");
    s.gbkText(1, account).text(2, self).integer(3, static_cast<int64_t>(std::time(nullptr)) - freshSeconds);
    std::optional<std::string> server;
    if (s.step()) server = s.columnText(0);
    s.reset();
    return server;
}

std::vector<Bytes> SqliteStore::onlineAt(const std::string& server) {
    auto& s = prepare("SELECT account FROM online WHERE server = ? AND number != 0 ORDER BY account");
    s.text(1, server);
    std::vector<Bytes> out;
    while (s.step()) out.push_back(s.columnGbk(0));
    return out;
}

void SqliteStore::publish(const BusEvent& e) {
    prepare(
        "INSERT INTO bus (origin, kind, account, code, target, created_at, body) "
        "VALUES (?, ?, ?, ?, ?, ?, ?)")
        .text(1, e.origin)
        .integer(2, static_cast<int>(e.kind))
        .gbkText(3, e.account)
        .integer(4, e.code)
        .text(5, e.target)
        .integer(6, static_cast<int64_t>(std::time(nullptr)))
        .blob(7, e.body)
        .run();
}

Store::BusRead SqliteStore::eventsAfter(int64_t id, const std::string& exceptOrigin) {
    BusRead read;
    read.lastId = std::max(id, lastEventId());
    auto& s = prepare(
        "SELECT id, origin, kind, account, code, target, body FROM bus "
        "WHERE id > ? AND id <= ? AND origin != ? ORDER BY id");
    s.integer(1, id).integer(2, read.lastId).text(3, exceptOrigin);
    while (s.step()) {
        BusEvent e;
        e.id = s.columnInt(0);
        e.origin = s.columnText(1);
        e.kind = static_cast<BusKind>(s.columnInt(2));
        e.account = s.columnGbk(3);
        e.code = static_cast<int>(s.columnInt(4));
        e.target = s.columnText(5);
        e.body = s.columnBlob(6);
        read.events.push_back(std::move(e));
    }
    return read;
}

int64_t SqliteStore::lastEventId() {
    auto& s = prepare("SELECT COALESCE(MAX(id), 0) FROM bus");
    const int64_t id = s.step() ? s.columnInt(0) : 0;
    s.reset();
    return id;
}

void SqliteStore::pruneEvents(int64_t olderThanSeconds) {
    prepare("DELETE FROM bus WHERE created_at < ?")
        .integer(1, static_cast<int64_t>(std::time(nullptr)) - olderThanSeconds)
        .run();
}

}  // namespace nq::server
