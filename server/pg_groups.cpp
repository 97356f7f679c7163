#include "server/pg_statement.h"

// Groups and join requests, sessions and server loads on PostgreSQL.

#include <ctime>

namespace nq::server {
namespace {

int64_t unixNow() {
    return static_cast<int64_t>(std::time(nullptr));
}

// A join request nobody acted on for this long is forgotten: its creator or requester has gone.
constexpr int64_t kJoinRequestSeconds = 7 * 86400;

}  // namespace

std::vector<Group> PgStore::groupsOf(Rows r) {
    std::vector<Group> out;
    for (int i = 0; i < r.size(); ++i)
        out.push_back({r.integer(i, 0), r.gbk(i, 1), r.gbk(i, 2), r.gbk(i, 3)});
    return out;
}

std::optional<Group> PgStore::group(const Bytes& name) {
    auto found =
        groupsOf(run("SELECT id, name, creator, intro FROM chat_groups WHERE name = $1", {gbkArg(name)}));
    if (found.empty()) return std::nullopt;
    return std::move(found.front());
}

std::vector<Group> PgStore::groups() {
    return groupsOf(run("SELECT id, name, creator, intro FROM chat_groups ORDER BY id", {}));
}

std::vector<Group> PgStore::groupsOf(const Bytes& member) {
    return groupsOf(
        run("SELECT g.id, g.name, g.creator, g.intro FROM group_members m "
            "JOIN chat_groups g ON g.id = m.group_id WHERE m.member = $1 ORDER BY m.rowid",
            {gbkArg(member)}));
}

std::vector<Contact> PgStore::groupMembers(int64_t groupId) {
    Rows r =
        run("SELECT a.name, a.nick, a.head FROM group_members m JOIN accounts a ON a.name = m.member "
            "WHERE m.group_id = $1 ORDER BY m.rowid",
            {groupId});
    return r.contacts();
}

std::vector<Bytes> PgStore::coMembers(const Bytes& account) {
    Rows r =
        run("SELECT DISTINCT other.member FROM group_members own JOIN group_members other "
            "ON other.group_id = own.group_id WHERE own.member = $1 AND other.member != $1",
            {gbkArg(account)});
    return r.firstColumn();
}

int64_t PgStore::createGroup(const Group& g) {
    return transaction([&] {
        const int64_t now = unixNow();
        int64_t id = 0;
        try {
            // The creator is the group's host until the admin names another.
            id = run("INSERT INTO chat_groups (name, creator, intro, created_at, host) VALUES ($1, $2, $3, "
                     "$4, $2) "
                     "RETURNING id",
                     {gbkArg(g.name), gbkArg(g.creator), gbkArg(g.intro), now})
                     .integer(0, 0);
        } catch (const PgConstraintError& e) {
            if (e.unique()) throw StoreError("group " + gbk::toUtf8(g.name) + " exists already");
            throw StoreError("no account " + gbk::toUtf8(g.creator));
        }
        run("INSERT INTO group_members (group_id, member, role, joined_at) VALUES ($1, $2, 'creator', $3)",
            {id, gbkArg(g.creator), now});
        return id;
    });
}

bool PgStore::addMember(int64_t groupId, const Bytes& member) {
    try {
        return changed(
                   "INSERT INTO group_members (group_id, member, role, joined_at) VALUES ($1, $2, 'member', "
                   "$3) "
                   "ON CONFLICT DO NOTHING",
                   {groupId, gbkArg(member), unixNow()}) > 0;
    } catch (const PgConstraintError&) {
        throw StoreError("no account " + gbk::toUtf8(member) + " or no group " + std::to_string(groupId));
    }
}

bool PgStore::removeMember(int64_t groupId, const Bytes& member) {
    return transaction([&] {
        const bool removed =
            changed("DELETE FROM group_members WHERE group_id = $1 AND member = $2 AND role != 'creator'",
                    {groupId, gbkArg(member)}) > 0;
        // Whatever roles he held in the group go with him.
        run("UPDATE chat_groups SET hostess = CASE WHEN hostess = $2 THEN '' ELSE hostess END, "
            "deputy = CASE WHEN deputy = $2 THEN '' ELSE deputy END, "
            "butler = CASE WHEN butler = $2 THEN '' ELSE butler END WHERE id = $1",
            {groupId, gbkArg(member)});
        return removed;
    });
}

int PgStore::memberCount(int64_t groupId) {
    return static_cast<int>(
        run("SELECT COUNT(*) FROM group_members WHERE group_id = $1", {groupId}).integer(0, 0));
}

std::optional<Group> PgStore::groupById(int64_t id) {
    auto found = groupsOf(run("SELECT id, name, creator, intro FROM chat_groups WHERE id = $1", {id}));
    if (found.empty()) return std::nullopt;
    return std::move(found.front());
}

std::optional<GroupCard> PgStore::groupCard(const Bytes& name) {
    Rows r = run(
        "SELECT id, name, creator, intro, host, hostess, deputy, butler, kind, available FROM chat_groups "
        "WHERE name = $1",
        {gbkArg(name)});
    if (!r.size()) return std::nullopt;
    GroupCard c;
    c.group = {r.integer(0, 0), r.gbk(0, 1), r.gbk(0, 2), r.gbk(0, 3)};
    c.host = r.gbk(0, 4);
    c.hostess = r.gbk(0, 5);
    c.deputy = r.gbk(0, 6);
    c.butler = r.gbk(0, 7);
    c.kind = static_cast<int>(r.integer(0, 8));
    c.available = static_cast<int>(r.integer(0, 9));
    return c;
}

void PgStore::setRole(int64_t groupId, const std::string& role, const Bytes& account) {
    const char* sql = role == "host"      ? "UPDATE chat_groups SET host = $1 WHERE id = $2"
                      : role == "hostess" ? "UPDATE chat_groups SET hostess = $1 WHERE id = $2"
                      : role == "deputy"  ? "UPDATE chat_groups SET deputy = $1 WHERE id = $2"
                      : role == "butler"  ? "UPDATE chat_groups SET butler = $1 WHERE id = $2"
                                          : nullptr;
    if (!sql) throw StoreError("no role " + role);
    if (changed(sql, {gbkArg(account), groupId}) == 0)
        throw StoreError("no group " + std::to_string(groupId));
}

std::vector<Group> PgStore::groupsPage(int64_t afterId, int64_t skip, int limit) {
    return groupsOf(
        run("SELECT id, name, creator, intro FROM chat_groups WHERE id > $1 ORDER BY id LIMIT $2 "
            "OFFSET $3",
            {afterId, limit, skip}));
}

std::vector<Group> PgStore::groupsNamed(const Bytes& text, int limit) {
    return groupsOf(
        run("SELECT id, name, creator, intro FROM chat_groups WHERE strpos(name, $1) > 0 ORDER BY id "
            "LIMIT $2",
            {gbkArg(text), limit}));
}

std::vector<Bytes> PgStore::dissolveGroup(int64_t groupId) {
    return transaction([&] {
        std::vector<Bytes> members;
        for (const Contact& c : groupMembers(groupId)) members.push_back(c.account);
        // Members and join requests go with it (ON DELETE CASCADE).
        run("DELETE FROM chat_groups WHERE id = $1", {groupId});
        return members;
    });
}

void PgStore::putJoinRequest(const JoinRequest& r) {
    const int64_t now = unixNow();
    transaction([&] {
        run("DELETE FROM join_requests WHERE created_at < $1", {now - kJoinRequestSeconds});
        // Deleted and inserted rather than updated: the newest request goes to the end of the order.
        run("DELETE FROM join_requests WHERE group_id = $1 AND requester = $2",
            {r.groupId, gbkArg(r.requester)});
        run("INSERT INTO join_requests (group_id, requester, text, state, created_at) VALUES ($1, $2, $3, "
            "$4, $5)",
            {r.groupId, gbkArg(r.requester), gbkArg(r.text), static_cast<int>(r.state), now});
    });
}

void PgStore::dropJoinRequest(int64_t groupId, const Bytes& requester) {
    run("DELETE FROM join_requests WHERE group_id = $1 AND requester = $2", {groupId, gbkArg(requester)});
}

std::vector<JoinRequest> PgStore::joinRequestsWhere(const char* sql, const Bytes& key) {
    Rows r = run(sql, {gbkArg(key)});
    std::vector<JoinRequest> out;
    for (int i = 0; i < r.size(); ++i)
        out.push_back({r.integer(i, 0), r.gbk(i, 1), r.gbk(i, 2), r.gbk(i, 3), r.gbk(i, 4),
                       static_cast<JoinState>(r.integer(i, 5))});
    return out;
}

#define NQ_JOIN_SELECT                                                                         \
    "SELECT r.group_id, g.name, g.creator, r.requester, r.text, r.state FROM join_requests r " \
    "JOIN chat_groups g ON g.id = r.group_id "

std::optional<JoinRequest> PgStore::joinRequest(int64_t groupId, const Bytes& requester) {
    for (JoinRequest& r : joinRequestsBy(requester))
        if (r.groupId == groupId) return std::move(r);
    return std::nullopt;
}

std::vector<JoinRequest> PgStore::joinRequestsTo(const Bytes& creator) {
    return joinRequestsWhere(NQ_JOIN_SELECT "WHERE g.creator = $1 ORDER BY r.rowid", creator);
}

std::vector<JoinRequest> PgStore::joinRequestsBy(const Bytes& requester) {
    return joinRequestsWhere(NQ_JOIN_SELECT "WHERE r.requester = $1 ORDER BY r.rowid", requester);
}

#undef NQ_JOIN_SELECT

void PgStore::reportLoad(const std::string& server, int sessions, int64_t now) {
    run("INSERT INTO chat_servers (server, sessions, heartbeat) VALUES ($1, $2, $3) ON CONFLICT (server) "
        "DO UPDATE SET sessions = excluded.sessions, heartbeat = excluded.heartbeat",
        {server, sessions, now});
}

void PgStore::withdrawLoad(const std::string& server) {
    run("DELETE FROM chat_servers WHERE server = $1", {server});
}

std::vector<ServerLoad> PgStore::loads() {
    Rows r = run("SELECT server, sessions, heartbeat FROM chat_servers ORDER BY server", {});
    std::vector<ServerLoad> out;
    for (int i = 0; i < r.size(); ++i)
        out.push_back({r.text(i, 0), static_cast<int>(r.integer(i, 1)), r.integer(i, 2)});
    return out;
}

void PgStore::setOnline(const KeptSession& k, const std::string& server) {
    run("INSERT INTO online (account, server, since, number, address, port, ready) VALUES ($1, $2, $3, $4, "
        "$5, $6, "
        "$7) ON CONFLICT (account) DO UPDATE SET server = excluded.server, since = excluded.since, "
        "number = excluded.number, address = excluded.address, port = excluded.port, ready = excluded.ready",
        {gbkArg(k.account), server, unixNow(), k.number, k.address, int{k.port}, int{k.ready}});
}

void PgStore::setReady(const Bytes& account, const std::string& server) {
    run("UPDATE online SET ready = 1 WHERE account = $1 AND server = $2", {gbkArg(account), server});
}

void PgStore::setOffline(const Bytes& account, const std::string& server, uint32_t number) {
    run("DELETE FROM online WHERE account = $1 AND server = $2 AND number = $3",
        {gbkArg(account), server, number});
}

void PgStore::markStopped(const std::string& server, int64_t now) {
    run("INSERT INTO server_stops (server, stopped_at) VALUES ($1, $2) "
        "ON CONFLICT (server) DO UPDATE SET stopped_at = excluded.stopped_at",
        {server, now});
}

std::vector<KeptSession> PgStore::heldSessions(const std::string& server, int64_t now,
                                               int64_t maxAgeSeconds) {
    std::vector<KeptSession> out;
    transaction([&] {
        // Its last sign of life: the stop it noted, or the last load report before a crash.
        Rows last =
            run("SELECT MAX(t) FROM (SELECT stopped_at AS t FROM server_stops WHERE server = $1 "
                "UNION ALL SELECT heartbeat FROM chat_servers WHERE server = $1) s",
                {server});
        const bool known = !last.isNull(0, 0);
        const int64_t lastSeen = known ? last.integer(0, 0) : 0;
        run("DELETE FROM server_stops WHERE server = $1", {server});
        const bool fresh = known && now - lastSeen <= maxAgeSeconds;
        run(fresh ? "DELETE FROM online WHERE server = $1 AND number = 0"
                  : "DELETE FROM online WHERE server = $1",
            {server});
        if (!fresh) return;
        Rows r =
            run("SELECT number, account, address, port, ready FROM online WHERE server = $1 ORDER BY number",
                {server});
        for (int i = 0; i < r.size(); ++i)
            out.push_back({static_cast<uint32_t>(r.integer(i, 0)), r.gbk(i, 1),
                           static_cast<uint32_t>(r.integer(i, 2)), static_cast<uint16_t>(r.integer(i, 3)),
                           r.integer(i, 4) != 0});
    });
    return out;
}

std::optional<std::string> PgStore::onlineElsewhere(const Bytes& account, const std::string& self,
                                                    int64_t freshSeconds) {
    Rows r =
        run("SELECT o.server FROM online o JOIN chat_servers c ON c.server = o.server "
            "WHERE o.account = $1 AND o.server != $2 AND c.heartbeat >= $3",
            {gbkArg(account), self, unixNow() - freshSeconds});
    if (!r.size()) return std::nullopt;
    return r.text(0, 0);
}

std::vector<Bytes> PgStore::onlineAt(const std::string& server) {
    return run("SELECT account FROM online WHERE server = $1 AND number != 0 ORDER BY account", {server})
        .firstColumn();
}

}  // namespace nq::server
