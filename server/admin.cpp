#include "server/admin.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <type_traits>

#include "server/credentials.h"
#include "server/names.h"
#include "server/records.h"
#include "wire/digest.h"

namespace nq::server {
namespace {

constexpr int64_t kLiveServerSeconds = 15;

Bytes gbkOf(const std::string& utf8, const char* what) {
    auto g = gbkExactly(utf8);
    if (!g) throw UsageError(std::string(what) + " \"" + utf8 + "\" holds characters that GBK cannot write");
    return *g;
}

std::string sealedPassword(const std::string& password) {
    if (password.empty()) throw UsageError("the password is empty");
    // The client digests one byte per character, so a password outside ASCII can never log in.
    for (char c : password)
        if (static_cast<unsigned char>(c) >= 0x80 || static_cast<unsigned char>(c) < 0x20)
            throw UsageError("the password must be printable ASCII: the client cannot send anything else");
    return sealDigest(*passwordDigest(password));
}

Account existing(Store& store, const std::string& utf8Name) {
    auto a = store.account(gbkOf(utf8Name, "name"));
    if (!a) throw UsageError("no account " + utf8Name);
    return *a;
}

void createAccount(Store& store, Account a) {
    if (auto p = accountProblem(a.name)) throw UsageError(*p);
    if (auto p = nickProblem(a.nick)) throw UsageError(*p);
    // The client resolves a blacklist entry as an account first and a nick second; a nick that
    // is somebody else's account would name the wrong person.
    if (auto other = store.account(a.nick); other && other->name != a.name)
        throw UsageError("nick " + gbk::toUtf8(a.nick) + " is the account of somebody else");
    if (auto other = store.accountByNick(a.name); other && other->name != a.name)
        throw UsageError("account " + gbk::toUtf8(a.name) + " is the nick of " + gbk::toUtf8(other->name));
    // The client keeps people and groups in the same sections and the same tree, by name.
    for (const Bytes* n : {&a.name, &a.nick})
        if (store.group(*n)) throw UsageError(gbk::toUtf8(*n) + " is the name of a group");
    store.createAccount(a);
}

size_t rosterSize(Store& store, const Bytes& owner) {
    size_t size = 0;
    for (const Contact& c : store.friends(owner)) size += rosterEntrySize(c);
    return size;
}

// Makes a and b friends of each other, within what one roster frame carries.
void befriend(Store& store, const Account& a, const Account& b) {
    for (const auto& pair : {std::pair{&a, &b}, std::pair{&b, &a}}) {
        const Account* owner = pair.first;
        const Account* other = pair.second;
        const auto friends = store.friends(owner->name);
        const bool already = std::any_of(friends.begin(), friends.end(),
                                         [&](const Contact& c) { return c.account == other->name; });
        if (!already &&
            rosterSize(store, owner->name) + rosterEntrySize({other->name, other->nick, other->head}) >
                kMaxBody)
            throw UsageError("the friend list of " + gbk::toUtf8(owner->name) +
                             " is full: it must fit one frame");
    }
    store.addFriend(a.name, b.name);
    store.addFriend(b.name, a.name);
}

void userAdd(Store& store, const UserAdd& u, std::ostream& out) {
    Account a;
    a.name = gbkOf(u.name, "name");
    a.nick = gbkOf(u.nick, "nick");
    a.head = u.head;
    a.level = u.level;
    a.coins = u.coins;
    a.digest = sealedPassword(u.password);
    createAccount(store, a);
    out << "created " << u.name << " (" << u.nick << ", " << u.head << ")\n";
}

void userList(Store& store, std::ostream& out) {
    const auto all = store.accounts();
    out << "account\tnick\thead\tlevel\tcoins\tfriends\tblacklist\n";
    for (const Account& a : all)
        out << gbk::toUtf8(a.name) << '\t' << gbk::toUtf8(a.nick) << '\t' << a.head << '\t' << a.level << '\t'
            << a.coins << '\t' << store.friends(a.name).size() << '\t' << store.blacklist(a.name).size()
            << '\n';
    out << all.size() << (all.size() == 1 ? " account\n" : " accounts\n");
}

void notice(Store& store, const SendNotice& n, std::ostream& out) {
    const Bytes text = gbkOf(n.text, "notice");
    if (text.empty()) throw UsageError("the notice is empty");
    if (text.size() > kMaxBody - 1)
        throw UsageError("the notice is " + std::to_string(text.size()) +
                         " bytes in GBK; one frame carries " + std::to_string(kMaxBody - 1));
    const int64_t id = store.queueNotice(n.box ? NoticeKind::Box : NoticeKind::Toast, text);
    const auto now = static_cast<int64_t>(std::time(nullptr));
    int servers = 0;
    int sessions = 0;
    for (const ServerLoad& l : store.loads()) {
        if (now - l.heartbeat > kLiveServerSeconds) continue;
        ++servers;
        sessions += l.sessions;
    }
    out << "notice " << id << " queued as a " << (n.box ? "box" : "toast") << "; ";
    if (servers == 0)
        out << "no chat server has reported in the last " << kLiveServerSeconds
            << " s, so nobody will see it\n";
    else
        out << servers << " chat server" << (servers == 1 ? "" : "s") << " with " << sessions
            << " sessions will show it within a second\n";
}

// What the dispatcher and the chat servers go by when they choose and when they look for each
// other: the reports in the database.
void serverList(Store& store, std::ostream& out) {
    const auto now = static_cast<int64_t>(std::time(nullptr));
    const std::vector<ServerLoad> loads = store.loads();
    for (const ServerLoad& l : loads) {
        const int64_t age = now - l.heartbeat;
        out << l.server << '\t' << l.sessions << (l.sessions == 1 ? " session" : " sessions")
            << "\tlast report " << age << " s ago\t" << (age > kLiveServerSeconds ? "gone" : "running")
            << '\n';
    }
    out << loads.size() << (loads.size() == 1 ? " chat server" : " chat servers")
        << "; one that has not reported for " << kLiveServerSeconds << " s is taken as gone\n";
}

// The longest an introduction may be, in GBK bytes: the card that shows it carries eight more
// fields in one frame, and the client keeps it as one line of an INI file.
constexpr size_t kMaxIntroBytes = 400;

// Whether one more group still lets the person's group roster fit one frame. The new group's
// number is not known yet: it is taken as long as any.
bool groupRosterHasRoom(Store& store, const Bytes& person, const Group& more) {
    size_t size = groupEntrySize({INT64_MAX, more.name, more.creator, {}});
    for (const Group& g : store.groupsOf(person)) size += groupEntrySize(g);
    return size <= kMaxBody;
}

void groupAdd(Store& store, const GroupAdd& c, std::ostream& out) {
    Group group;
    group.name = gbkOf(c.name, "group name");
    if (auto p = groupNameProblem(group.name)) throw UsageError(*p);
    if (store.account(group.name) || store.accountByNick(group.name))
        throw UsageError(c.name + " is the account or nick of somebody");
    if (store.group(group.name)) throw UsageError("group " + c.name + " exists already");
    group.intro = gbkOf(c.intro, "introduction");
    if (group.intro.size() > kMaxIntroBytes)
        throw UsageError("the introduction is longer than " + std::to_string(kMaxIntroBytes) +
                         " bytes in GBK");
    if (std::any_of(group.intro.begin(), group.intro.end(),
                    [](char ch) { return static_cast<unsigned char>(ch) < 0x20 || ch == 0x7F; }))
        throw UsageError("the introduction holds a line break or another control character");

    std::vector<Account> people = {existing(store, c.creator)};
    group.creator = people[0].name;
    for (const std::string& m : c.members) {
        Account a = existing(store, m);
        if (std::any_of(people.begin(), people.end(), [&](const Account& p) { return p.name == a.name; }))
            throw UsageError(m + " is named twice");
        people.push_back(std::move(a));
    }
    if (people.size() > kMaxGroupMembers)
        throw UsageError("a group holds " + std::to_string(kMaxGroupMembers) +
                         " people at most, creator included");
    for (const Account& p : people)
        if (!groupRosterHasRoom(store, p.name, group))
            throw UsageError("the groups of " + gbk::toUtf8(p.name) + " fill their roster frame");

    group.id = store.createGroup(group);
    for (size_t i = 1; i < people.size(); ++i) store.addMember(group.id, people[i].name);
    out << "created group " << group.id << " " << c.name << " of " << c.creator << " with " << people.size()
        << (people.size() == 1 ? " member\n" : " members\n");
}

void groupList(Store& store, std::ostream& out) {
    const auto all = store.groups();
    out << "number\tname\tcreator\tmembers\n";
    for (const Group& g : all)
        out << g.id << '\t' << gbk::toUtf8(g.name) << '\t' << gbk::toUtf8(g.creator) << '\t'
            << store.groupMembers(g.id).size() << '\n';
    out << all.size() << (all.size() == 1 ? " group\n" : " groups\n");
}

void groupDissolve(Store& store, const GroupDissolve& d, std::ostream& out) {
    const auto group = store.group(gbkOf(d.name, "group name"));
    if (!group) throw UsageError("no group " + d.name);
    const std::vector<Bytes> members = store.dissolveGroup(group->id);
    // Running chat servers read the notices table once a second; this one names the group and
    // who was in it, since the group itself is gone.
    Bytes text = group->name;
    for (const Bytes& m : members) text += '\n' + m;
    store.queueNotice(NoticeKind::GroupGone, text);
    out << "dissolved group " << group->id << " " << d.name << "; " << members.size()
        << (members.size() == 1 ? " member was" : " members were") << " in it\n";
}

void groupRole(Store& store, const GroupRole& r, std::ostream& out) {
    const auto group = store.group(gbkOf(r.name, "group name"));
    if (!group) throw UsageError("no group " + r.name);
    Bytes account;
    if (!r.account.empty()) {
        account = existing(store, r.account).name;
        const auto members = store.groupMembers(group->id);
        if (std::none_of(members.begin(), members.end(),
                         [&](const Contact& c) { return c.account == account; }))
            throw UsageError(r.account + " is no member of " + r.name);
    }
    store.setRole(group->id, r.role, account);
    out << r.role << " of " << r.name << ": " << (r.account.empty() ? "nobody" : r.account) << "\n";
}

// The room list (3,11) carries the name and every staff account in one frame.
void roomSet(Store& store, const RoomSet& c, std::ostream& out) {
    if (c.name.empty()) {
        const auto room = store.room();
        if (!room) {
            out << "no room is named\n";
            return;
        }
        out << gbk::toUtf8(room->name);
        for (const Bytes& staff : room->staff) out << " " << gbk::toUtf8(staff);
        out << "\n";
        return;
    }
    Room room{gbkOf(c.name, "room name"), {}};
    if (auto p = groupNameProblem(room.name)) throw UsageError(*p);
    // The client keys the room by its name where it keys people and groups by theirs.
    if (store.account(room.name) || store.accountByNick(room.name) || store.group(room.name))
        throw UsageError(c.name + " is the name of somebody or of a group");
    size_t bytes = room.name.size() + 1;
    for (const std::string& s : c.staff) {
        const Account a = existing(store, s);
        if (std::find(room.staff.begin(), room.staff.end(), a.name) != room.staff.end())
            throw UsageError(s + " is named twice");
        room.staff.push_back(a.name);
        bytes += a.name.size() + 1;
    }
    if (bytes > kMaxBody) throw UsageError("the name and the staff take more than one frame");
    store.setRoom(room);
    out << "the room is " << c.name << " with " << room.staff.size() << " staff\n";
}

struct DemoProfile {
    const char* signature;
    int sex;
    int age;
    const char* province;
    const char* city;
    const char* starSign;
    int level;
    int64_t coins;
};

void demo(Store& store, std::ostream& out) {
    static constexpr DemoProfile kProfiles[] = {
        {"今天也要开心", 0, 24, "北京", "北京", "双鱼座", 5, 12000},
        {"在线，随时找我", 1, 27, "上海", "上海", "狮子座", 3, 800},
        {"", 0, 22, "广东", "广州", "天秤座", 2, 300},
        {"忙，晚点回复", 1, 31, "四川", "成都", "魔羯座", 4, 5000},
        {"新来的", 0, 19, "浙江", "杭州", "水瓶座", 1, 0},
    };
    static_assert(std::size(kProfiles) == std::size(kDemoAccounts));
    for (size_t i = 0; i < std::size(kDemoAccounts); ++i) {
        const DemoAccount& d = kDemoAccounts[i];
        if (store.account(d.name)) {
            out << d.name << " exists, kept as it is\n";
            continue;
        }
        const DemoProfile& p = kProfiles[i];
        Account a;
        a.name = d.name;
        a.nick = gbkOf(d.nick, "nick");
        a.head = d.head;
        a.digest = sealedPassword(kDemoPassword);
        a.signature = gbkOf(p.signature, "signature");
        a.sex = p.sex;
        a.age = p.age;
        a.country = gbkOf("中华人民共和国", "country");
        a.province = gbkOf(p.province, "province");
        a.city = gbkOf(p.city, "city");
        a.starSign = gbkOf(p.starSign, "star sign");
        a.level = p.level;
        a.coins = p.coins;
        createAccount(store, a);
        out << "created " << d.name << " (" << d.nick << ", " << d.head << ")\n";
    }
    static constexpr std::pair<const char*, const char*> kPairs[] = {
        {"alice", "bob"}, {"alice", "carol"}, {"bob", "carol"}, {"alice", "dave"}};
    for (auto [x, y] : kPairs) {
        befriend(store, existing(store, x), existing(store, y));
        out << x << " and " << y << " are friends\n";
    }
    if (store.group(gbkOf(kDemoGroup.name, "group name"))) {
        out << kDemoGroup.name << " exists, kept as it is\n";
    } else {
        GroupAdd group{kDemoGroup.name, kDemoGroup.creator, {}, kDemoGroup.intro};
        for (const char* m : kDemoGroup.members) group.members.emplace_back(m);
        groupAdd(store, group, out);
    }
    if (!store.room()) roomSet(store, {kDemoRoom.name, {kDemoRoom.staff}}, out);
    out << "demo accounts ready; every password is " << kDemoPassword << "\n";
}

}  // namespace

void runAdmin(Store& store, const Command& command, std::ostream& out) {
    std::visit(
        [&](const auto& c) {
            using T = std::decay_t<decltype(c)>;
            if constexpr (std::is_same_v<T, UserAdd>) {
                userAdd(store, c, out);
            } else if constexpr (std::is_same_v<T, UserPasswd>) {
                const Account a = existing(store, c.name);
                store.setDigest(a.name, sealedPassword(c.password));
                out << "password of " << c.name << " changed\n";
            } else if constexpr (std::is_same_v<T, UserList>) {
                userList(store, out);
            } else if constexpr (std::is_same_v<T, MakeFriends>) {
                const Account a = existing(store, c.first);
                const Account b = existing(store, c.second);
                if (a.name == b.name) throw UsageError("a user cannot be his own friend");
                befriend(store, a, b);
                out << c.first << " and " << c.second << " are friends\n";
            } else if constexpr (std::is_same_v<T, SendNotice>) {
                notice(store, c, out);
            } else if constexpr (std::is_same_v<T, GroupAdd>) {
                groupAdd(store, c, out);
            } else if constexpr (std::is_same_v<T, GroupList>) {
                groupList(store, out);
            } else if constexpr (std::is_same_v<T, GroupDissolve>) {
                groupDissolve(store, c, out);
            } else if constexpr (std::is_same_v<T, GroupRole>) {
                groupRole(store, c, out);
            } else if constexpr (std::is_same_v<T, UserCoins>) {
                store.setCoins(existing(store, c.name).name, c.coins);
                out << "coins of " << c.name << ": " << c.coins << "\n";
            } else if constexpr (std::is_same_v<T, RoomSet>) {
                roomSet(store, c, out);
            } else if constexpr (std::is_same_v<T, ServerList>) {
                serverList(store, out);
            } else if constexpr (std::is_same_v<T, Demo>) {
                demo(store, out);
            } else {
                throw UsageError("not an admin command");
            }
        },
        command);
}

}  // namespace nq::server
