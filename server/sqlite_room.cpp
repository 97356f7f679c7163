#include "server/sqlite_statement.h"

// The public room: its name and staff, and who is in it at which chat server.

namespace nq::server {

std::optional<Room> SqliteStore::room() {
    auto& s = prepare("SELECT name, staff FROM room WHERE id = 1");
    std::optional<Room> room;
    if (s.step()) {
        room = Room{s.columnGbk(0), {}};
        const Bytes staff = s.columnGbk(1);
        for (size_t at = 0; at < staff.size();) {
            const size_t end = std::min(staff.find('\n', at), staff.size());
            if (end > at) room->staff.push_back(staff.substr(at, end - at));
            at = end + 1;
        }
    }
    s.reset();
    return room;
}

void SqliteStore::setRoom(const Room& room) {
    Bytes staff;
    for (const Bytes& a : room.staff) staff += a + "\n";
    prepare("INSERT OR REPLACE INTO room (id, name, staff) VALUES (1, ?, ?)")
        .gbkText(1, room.name)
        .gbkText(2, staff)
        .run();
}

void SqliteStore::enterRoom(const Bytes& account, const std::string& server) {
    prepare("INSERT OR REPLACE INTO room_members (account, server, joined_at) VALUES (?, ?, ?)")
        .gbkText(1, account)
        .text(2, server)
        .integer(3, static_cast<int64_t>(std::time(nullptr)))
        .run();
}

void SqliteStore::leaveRoom(const Bytes& account, const std::string& server) {
    prepare("DELETE FROM room_members WHERE account = ? AND server = ?")
        .gbkText(1, account)
        .text(2, server)
        .run();
}

std::vector<Bytes> SqliteStore::roomMembersAt(const std::string& server) {
    auto& s = prepare("SELECT account FROM room_members WHERE server = ? ORDER BY joined_at, rowid");
    s.text(1, server);
    std::vector<Bytes> out;
    while (s.step()) out.push_back(s.columnGbk(0));
    return out;
}

std::vector<Bytes> SqliteStore::roomMembersElsewhere(const std::string& self, int64_t freshSince, int limit) {
    auto& s = prepare(
        "SELECT r.account FROM room_members r JOIN chat_servers c ON c.server = r.server "
        "WHERE r.server != ? AND c.heartbeat >= ? ORDER BY r.joined_at, r.rowid LIMIT ?");
    s.text(1, self).integer(2, freshSince).integer(3, limit);
    std::vector<Bytes> out;
    while (s.step()) out.push_back(s.columnGbk(0));
    return out;
}

}  // namespace nq::server
