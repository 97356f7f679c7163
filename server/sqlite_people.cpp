#include "server/sqlite_statement.h"

// Profiles saved by their owners, the online listing, groups made, joined, left and dissolved by
// users, and the join requests between them.

#include <ctime>

namespace nq::server {
namespace {

int64_t unixNow() {
    return static_cast<int64_t>(std::time(nullptr));
}

// A join request nobody acted on for this long is forgotten: its creator or requester has gone.
constexpr int64_t kJoinRequestSeconds = 7 * 86400;

constexpr const char* kGroupColumns = "id, name, creator, intro";

}  // namespace

void SqliteStore::saveProfile(const Account& a) {
    auto& s = prepare(
        "UPDATE accounts SET nick = ?, head = ?, signature = ?, age = ?, sex = ?, country = ?, province = ?, "
        "city = ?, email = ?, address = ?, postcode = ?, phone = ?, mobile = ?, real_name = ?, school = ?, "
        "work = ?, zodiac_animal = ?, blood_type = ?, star_sign = ? WHERE name = ?");
    int c = 1;
    s.gbkText(c++, a.nick);
    s.gbkText(c++, a.head);
    s.gbkText(c++, a.signature);
    s.integer(c++, a.age);
    s.integer(c++, a.sex);
    for (const Bytes* field : a.profileTexts()) s.gbkText(c++, *field);
    s.gbkText(c++, a.name);
    try {
        s.run();
    } catch (const Statement::ConstraintError&) {
        throw StoreError("nick " + gbk::toUtf8(a.nick) + " is taken by another account");
    }
}

void SqliteStore::setCoins(const Bytes& name, int64_t coins) {
    prepare("UPDATE accounts SET coins = ? WHERE name = ?").integer(1, coins).gbkText(2, name).run();
    if (sqlite3_changes(db_) == 0) throw StoreError("no account " + gbk::toUtf8(name));
}

std::vector<Contact> SqliteStore::onlinePage(const Bytes& after, int64_t skip, int limit,
                                             const std::string& self, int64_t freshSince) {
    std::vector<Contact> out;
    // Rows of servers that stopped reporting are what a crash left; their people are gone. Walking
    // the covering index in account order stops after the page, and the rows skipped cost no read
    // of the table; the index by server would sort every row online instead.
    auto& s = prepare(
        "SELECT a.name, a.nick, a.head FROM (SELECT o.account FROM online o INDEXED BY online_page "
        "WHERE o.account > ?1 AND o.number != 0 AND (o.server = ?2 OR EXISTS (SELECT 1 FROM chat_servers c "
        "WHERE c.server = o.server AND c.heartbeat >= ?3)) ORDER BY o.account LIMIT ?4 OFFSET ?5) p "
        "JOIN accounts a ON a.name = p.account ORDER BY p.account");
    s.gbkText(1, after).text(2, self).integer(3, freshSince).integer(4, limit).integer(5, skip);
    while (s.step()) out.push_back({s.columnGbk(0), s.columnGbk(1), s.columnGbk(2)});
    return out;
}

bool SqliteStore::removeMember(int64_t groupId, const Bytes& member) {
    return transaction([&] {
        prepare("DELETE FROM group_members WHERE group_id = ? AND member = ? AND role != 'creator'")
            .integer(1, groupId)
            .gbkText(2, member)
            .run();
        const bool removed = sqlite3_changes(db_) > 0;
        // Whatever roles he held in the group go with him.
        for (const char* sql : {"UPDATE chat_groups SET hostess = '' WHERE id = ?1 AND hostess = ?2",
                                "UPDATE chat_groups SET deputy = '' WHERE id = ?1 AND deputy = ?2",
                                "UPDATE chat_groups SET butler = '' WHERE id = ?1 AND butler = ?2"})
            prepare(sql).integer(1, groupId).gbkText(2, member).run();
        return removed;
    });
}

int SqliteStore::memberCount(int64_t groupId) {
    auto& s = prepare("SELECT COUNT(*) FROM group_members WHERE group_id = ?");
    s.integer(1, groupId);
    const int n = s.step() ? static_cast<int>(s.columnInt(0)) : 0;
    s.reset();
    return n;
}

std::optional<Group> SqliteStore::groupById(int64_t id) {
    static const std::string sql = std::string("SELECT ") + kGroupColumns + " FROM chat_groups WHERE id = ?";
    auto& s = prepare(sql.c_str());
    s.integer(1, id);
    if (!s.step()) return std::nullopt;
    Group g{s.columnInt(0), s.columnGbk(1), s.columnGbk(2), s.columnGbk(3)};
    s.reset();
    return g;
}

std::optional<GroupCard> SqliteStore::groupCard(const Bytes& name) {
    auto& s = prepare(
        "SELECT id, name, creator, intro, host, hostess, deputy, butler, kind, available FROM chat_groups "
        "WHERE name = ?");
    s.gbkText(1, name);
    if (!s.step()) return std::nullopt;
    GroupCard c;
    c.group = {s.columnInt(0), s.columnGbk(1), s.columnGbk(2), s.columnGbk(3)};
    c.host = s.columnGbk(4);
    c.hostess = s.columnGbk(5);
    c.deputy = s.columnGbk(6);
    c.butler = s.columnGbk(7);
    c.kind = static_cast<int>(s.columnInt(8));
    c.available = static_cast<int>(s.columnInt(9));
    s.reset();
    return c;
}

void SqliteStore::setRole(int64_t groupId, const std::string& role, const Bytes& account) {
    const char* sql = role == "host"      ? "UPDATE chat_groups SET host = ? WHERE id = ?"
                      : role == "hostess" ? "UPDATE chat_groups SET hostess = ? WHERE id = ?"
                      : role == "deputy"  ? "UPDATE chat_groups SET deputy = ? WHERE id = ?"
                      : role == "butler"  ? "UPDATE chat_groups SET butler = ? WHERE id = ?"
                                          : nullptr;
    if (!sql) throw StoreError("no role " + role);
    prepare(sql).gbkText(1, account).integer(2, groupId).run();
    if (sqlite3_changes(db_) == 0) throw StoreError("no group " + std::to_string(groupId));
}

std::vector<Group> SqliteStore::groupsPage(int64_t afterId, int64_t skip, int limit) {
    static const std::string sql = std::string("SELECT ") + kGroupColumns +
                                   " FROM chat_groups WHERE id > ? ORDER BY id LIMIT ? OFFSET ?";
    std::vector<Group> out;
    auto& s = prepare(sql.c_str());
    s.integer(1, afterId).integer(2, limit).integer(3, skip);
    while (s.step()) out.push_back({s.columnInt(0), s.columnGbk(1), s.columnGbk(2), s.columnGbk(3)});
    return out;
}

std::vector<Group> SqliteStore::groupsNamed(const Bytes& text, int limit) {
    static const std::string sql = std::string("SELECT ") + kGroupColumns +
                                   " FROM chat_groups WHERE instr(name, ?) > 0 ORDER BY id LIMIT ?";
    std::vector<Group> out;
    auto& s = prepare(sql.c_str());
    s.gbkText(1, text).integer(2, limit);
    while (s.step()) out.push_back({s.columnInt(0), s.columnGbk(1), s.columnGbk(2), s.columnGbk(3)});
    return out;
}

std::vector<Bytes> SqliteStore::dissolveGroup(int64_t groupId) {
    return transaction([&] {
        std::vector<Bytes> members;
        for (const Contact& c : groupMembers(groupId)) members.push_back(c.account);
        // Members and join requests go with it (ON DELETE CASCADE).
        prepare("DELETE FROM chat_groups WHERE id = ?").integer(1, groupId).run();
        return members;
    });
}

void SqliteStore::putJoinRequest(const JoinRequest& r) {
    const int64_t now = unixNow();
    prepare("DELETE FROM join_requests WHERE created_at < ?").integer(1, now - kJoinRequestSeconds).run();
    prepare(
        "INSERT OR REPLACE INTO join_requests (group_id, requester, text, state, created_at) "
        "VALUES (?, ?, ?, ?, ?)")
        .integer(1, r.groupId)
        .gbkText(2, r.requester)
        .gbkText(3, r.text)
        .integer(4, static_cast<int>(r.state))
        .integer(5, now)
        .run();
}

void SqliteStore::dropJoinRequest(int64_t groupId, const Bytes& requester) {
    prepare("DELETE FROM join_requests WHERE group_id = ? AND requester = ?")
        .integer(1, groupId)
        .gbkText(2, requester)
        .run();
}

std::vector<JoinRequest> SqliteStore::joinRequestsWhere(const char* sql, const Bytes& key) {
    std::vector<JoinRequest> out;
    auto& s = prepare(sql);
    s.gbkText(1, key);
    while (s.step())
        out.push_back({s.columnInt(0), s.columnGbk(1), s.columnGbk(2), s.columnGbk(3), s.columnGbk(4),
                       static_cast<JoinState>(s.columnInt(5))});
    return out;
}

#define NQ_JOIN_SELECT                                                                         \
    "SELECT r.group_id, g.name, g.creator, r.requester, r.text, r.state FROM join_requests r " \
    "JOIN chat_groups g ON g.id = r.group_id "

std::optional<JoinRequest> SqliteStore::joinRequest(int64_t groupId, const Bytes& requester) {
    for (JoinRequest& r : joinRequestsBy(requester))
        if (r.groupId == groupId) return std::move(r);
    return std::nullopt;
}

std::vector<JoinRequest> SqliteStore::joinRequestsTo(const Bytes& creator) {
    return joinRequestsWhere(NQ_JOIN_SELECT "WHERE g.creator = ? ORDER BY r.rowid", creator);
}

std::vector<JoinRequest> SqliteStore::joinRequestsBy(const Bytes& requester) {
    return joinRequestsWhere(NQ_JOIN_SELECT "WHERE r.requester = ? ORDER BY r.rowid", requester);
}

#undef NQ_JOIN_SELECT

}  // namespace nq::server
