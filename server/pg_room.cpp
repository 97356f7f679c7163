#include "server/pg_statement.h"

// The public room on PostgreSQL: its name and staff, and who is in it at which chat server.

#include <algorithm>
#include <ctime>

namespace nq::server {

std::optional<Room> PgStore::room() {
    Rows r = run("SELECT name, staff FROM room WHERE id = 1", {});
    if (!r.size()) return std::nullopt;
    Room room{r.gbk(0, 0), {}};
    const Bytes staff = r.gbk(0, 1);
    for (size_t at = 0; at < staff.size();) {
        const size_t end = std::min(staff.find('\n', at), staff.size());
        if (end > at) room.staff.push_back(staff.substr(at, end - at));
        at = end + 1;
    }
    return room;
}

void PgStore::setRoom(const Room& room) {
    Bytes staff;
    for (const Bytes& a : room.staff) staff += a + "\n";
    run("INSERT INTO room (id, name, staff) VALUES (1, $1, $2) "
        "ON CONFLICT (id) DO UPDATE SET name = excluded.name, staff = excluded.staff",
        {gbkArg(room.name), gbkArg(staff)});
}

void PgStore::enterRoom(const Bytes& account, const std::string& server) {
    // Coming in again counts as coming last, as SQLite's replaced row does: a new rowid.
    run("INSERT INTO room_members (account, server, joined_at) VALUES ($1, $2, $3) "
        "ON CONFLICT (account) DO UPDATE SET server = excluded.server, joined_at = excluded.joined_at, "
        "rowid = nextval(pg_get_serial_sequence('room_members', 'rowid'))",
        {gbkArg(account), server, static_cast<int64_t>(std::time(nullptr))});
}

void PgStore::leaveRoom(const Bytes& account, const std::string& server) {
    run("DELETE FROM room_members WHERE account = $1 AND server = $2", {gbkArg(account), server});
}

std::vector<Bytes> PgStore::roomMembersAt(const std::string& server) {
    Rows r = run("SELECT account FROM room_members WHERE server = $1 ORDER BY joined_at, rowid", {server});
    return r.firstColumn();
}

std::vector<Bytes> PgStore::roomMembersElsewhere(const std::string& self, int64_t freshSince, int limit) {
    Rows r =
        run("SELECT r.account FROM room_members r JOIN chat_servers c ON c.server = r.server "
            "WHERE r.server != $1 AND c.heartbeat >= $2 ORDER BY r.joined_at, r.rowid LIMIT $3",
            {self, freshSince, limit});
    return r.firstColumn();
}

}  // namespace nq::server
