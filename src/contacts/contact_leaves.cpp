// The leaves of the server message handler that the contact model owns: rosters, presence,
// and the answers to adding and removing friends and blacklist entries.

#include <algorithm>
#include <limits>
#include <unordered_set>

#include "contacts/contacts.h"
#include "session/session.h"
#include "store/ini_batch.h"
#include "store/store_keys.h"
#include "wire/fields.h"
#include "wire/head_code.h"

namespace nq {

namespace user = store::user;
using store::numberedKey;

namespace {

constexpr int kShift = Contacts::kOfflineShift;
constexpr int kBlacklistToastMs = 8000;  // the notice with the longer text
constexpr int kBlacklistReplyHead = 4;

// The counters are 16-bit: a step past either end fails and is skipped.
void inc(int16_t& v) {
    if (v < std::numeric_limits<int16_t>::max()) ++v;
}
void dec(int16_t& v) {
    if (v > std::numeric_limits<int16_t>::min()) --v;
}

Bytes nextField(Bytes& body) {
    return cutField(body).value_or(Bytes());
}

std::string utf8(std::string_view gbkText) {
    return gbk::toUtf8(gbkText);
}

}  // namespace

void Contacts::registerLeaves() {
    DispatchTable& h = session_.handlers;
    h.on(kind::kPresence, [this](Session&) { onPresence(); });
    h.on(kind::kFriendRoster, [this](Session&) { onFriendRoster(); });
    h.on(kind::kGroupRoster, [this](Session&) { onGroupRoster(); });
    h.on(kind::kBlacklistRoster, [this](Session&) { onBlacklistRoster(); });
    h.on(kind::kMemberRoster, [this](Session&) { onMemberRoster(); });
    h.on(kind::kAddFriend, [this](Session&) { onAddFriend(); });
    h.on(kind::kDeleteFriend, [this](Session&) { onDeleteFriend(); });
    h.on(kind::kAddToBlacklist, [this](Session&) { onAddToBlacklist(); });
    h.on(kind::kRemoveFromBlacklist, [this](Session&) { onRemoveFromBlacklist(); });
}

// ---- presence ----

void Contacts::onPresence() {
    // With several fields the last one is the account.
    Bytes account;
    while (auto f = cutField(session_.wire.msgBody)) account = *std::move(f);
    if (account == ownName()) return;
    IniBatch file = openUserFile();
    const Bytes nick = file.GetIniKey(account, user::kDearName);
    const float c = session_.wire.head.Code;
    if (c == code::kOnline) {
        comeOnline(file, account, nick);
    } else if (c == code::kOffline) {
        goOffline(file, account, nick);
    }
}

// The friend moves to the top of the list in colour. In the tree each grey node of the account
// gets a colour copy at the top of its group, and then as many nodes of the account as were
// grey go, the first ones first: the oldest node of a name has the lowest index.
void Contacts::comeOnline(IniBatch& file, const Bytes& account, const Bytes& nick) {
    file.WriteIniKey(nick, user::kOnline, "1");
    ItemList& friends = MyList(kFriends);
    if (const int at = friends.find(nick)) {
        const int icon = friends.Item(at).icon;
        if (icon < kShift + 2) return;  // shown online already: neither list nor tree moves
        friends.Remove(at);
        if (friends.count() == 0) {
            friends.AddItem(nick, "", icon - kShift);
        } else {
            friends.InSert(1, nick, "", icon - kShift);
        }
        friends.Redraw();
        inc(onlineCount);
        session_.services().playSound(session_.soundPath("online.wav"));
    }
    for (int n : tree_.findAll(account)) {
        if (tree_.image(n) > kShift) tree_.addFirstChild(tree_.parent(n), account, tree_.image(n) - kShift);
    }
    int grey = 0;
    for (int n : tree_.findAll(account)) grey += tree_.image(n) > kShift;
    for (int i = 0; i < grey; ++i) Remove(tree_, account, "");
    tree_.refresh();
}

// The friend goes to the end of the list in grey; in the tree his nodes only turn grey where
// they stand, each leaving an offline mark under its index in its group's section.
void Contacts::goOffline(IniBatch& file, const Bytes& account, const Bytes& nick) {
    file.WriteIniKey(nick, user::kOnline, "");
    ItemList& friends = MyList(kFriends);
    if (const int at = friends.find(nick)) {
        const int icon = friends.Item(at).icon;
        if (icon > kShift + 1) return;  // shown offline already
        friends.Remove(at);
        friends.AddItem(nick, "", icon + kShift);
        friends.Redraw();
        dec(onlineCount);
    }
    for (int n : tree_.findAll(account)) {
        if (tree_.image(n) >= kShift) continue;
        file.WriteIniKey(tree_.text(tree_.parent(n)), numberedKey(n, user::kOnlineSuffix), "0");
        tree_.setImage(n, tree_.image(n) + kShift);
    }
    tree_.refresh();
}

// ---- rosters ----

void Contacts::onFriendRoster() {
    const float c = session_.wire.head.Code;
    if (c == code::kRosterEmpty) {
        emit mainFrameDue();
        return;
    }
    if (c != code::kRosterList && c != code::kRosterOnline) return;
    IniBatch file = openUserFile();
    if (c == code::kRosterOnline) {
        onlineRoster(file);
        return;
    }
    Bytes& body = session_.wire.msgBody;
    const int count = countNul(body) / 3;
    friendCount = static_cast<int16_t>(count);
    if (count > 0) file.WriteIniKey(user::kFriendCountSection, user::kNum, std::to_string(count));
    ItemList& friends = MyList(kFriends);
    // Only a shorter roster empties the list first: names the cache had beyond a roster of
    // the same length stay until the next login.
    if (count != 0 && count < friends.count()) friends.Clear();
    for (int d = 1; d <= count; ++d) {
        const Bytes account = nextField(body);
        const int head = headOfflineIndex(nextField(body));
        const Bytes nick = nextField(body);
        file.WriteIniKey(user::kFriendsSection, numberedKey(d), nick);
        file.WriteIniKey(account, user::kDearName, nick);
        file.WriteIniKey(nick, user::kNickHeadId, std::to_string(head));
        file.WriteIniKey(nick, user::kItsName, account);
        if (!friends.find(nick)) {
            friends.AddItem(nick, "", head);
            friends.Redraw();
        }
    }
    friends.setSelected(ItemList::kSelectionCleared);
    emit statusChanged(2, "状态：在线");
    emit mainFrameDue();
    emit friendRosterLoaded();
}

// Friends online now, in the server's order, go to the top in colour.
void Contacts::onlineRoster(IniBatch& file) {
    Bytes& body = session_.wire.msgBody;
    const int pairs = countNul(body) / 2;
    onlineCount = static_cast<int16_t>(pairs);
    std::vector<Bytes> nicks;
    for (int j = 1; j <= pairs; ++j) {
        const Bytes account = nextField(body);
        nextField(body);
        nicks.push_back(file.GetIniKey(account, user::kDearName));
        file.WriteIniKey(nicks.back(), user::kOnline, "1");
    }
    ItemList& friends = MyList(kFriends);
    for (int j = 1; j <= pairs; ++j) {
        const Bytes& nick = nicks[static_cast<size_t>(j - 1)];
        const int at = friends.find(nick);
        if (!at || friends.Item(at).icon < kShift) continue;
        const int icon = friends.Item(at).icon - kShift;
        friends.Remove(at);
        if (friends.count() == 0 || (j > friends.count() && j == pairs)) {
            friends.AddItem(nick, "", icon);
        } else if (!friends.InSert(j, nick, "", icon)) {
            // A place past the end, when the reply names people the list lacks: the friend
            // goes last rather than out of the list.
            friends.AddItem(nick, "", icon);
        }
        friends.Redraw();
    }
}

// The groups as the server has them: stored, added to the tree with their creators, and
// every group node the roster does not name removed. Whatever the code, the client then
// asks for what follows the rosters.
void Contacts::onGroupRoster() {
    if (session_.wire.head.Code == code::kRosterList) {
        Bytes& body = session_.wire.msgBody;
        const int count = countNul(body) / 3;
        groupCount = static_cast<int16_t>(count);
        IniBatch file = openUserFile();
        file.WriteIniKey(user::kVillageCountSection, user::kNum, std::to_string(count));
        std::unordered_set<Bytes> named;
        for (int d = 1; d <= count; ++d) {
            const Bytes number = nextField(body);
            const Bytes name = nextField(body);
            const Bytes creator = nextField(body);
            file.WriteIniKey(user::kVillageSection, numberedKey(d, user::kVlgIdSuffix), number);
            file.WriteIniKey(user::kVillageSection, numberedKey(d), name);
            file.WriteIniKey(name, user::kGroupSendFlag, "0");
            file.WriteIniKey(name, user::kGroupBuilder, creator);
            named.insert(name);
            AddVil(tree_, name, NodeTree::kGroupImage);
            AddVilmem(tree_, name, creator, NodeTree::kCreatorImage);
        }
        std::vector<Bytes> gone;
        for (int i = 1; i <= tree_.count(); ++i) {
            if (tree_.hasChildren(i) && !named.count(tree_.text(i))) gone.push_back(tree_.text(i));
        }
        for (const Bytes& g : gone) Remove(tree_, g, "");
    }
    session_.queueFrame(kind::kAfterRosters, code::kNone, session_.ownNameBody());
}

// Each entry is asked about if he is a friend, box and all, in the middle of the roster.
void Contacts::onBlacklistRoster() {
    if (session_.wire.head.Code != code::kRosterList) return;
    Bytes& body = session_.wire.msgBody;
    const int nul = countNul(body);
    if (nul <= 0) return;
    const int pairs = nul / 2;
    blacklistCount = static_cast<int16_t>(pairs);
    IniBatch file = openUserFile();
    file.WriteIniKey(user::kBlacklistCountSection, user::kNum, std::to_string(pairs));
    for (int d = 1; d <= pairs; ++d) {
        const Bytes nick = nextField(body);
        const Bytes headCode = nextField(body);
        file.WriteIniKey(user::kUnfriendlySection, numberedKey(d), nick);
        // The code as it came; the list shows only its last character as the head.
        file.WriteIniKey(nick, user::kNickHeadId, headCode);
        const int head =
            headCode.empty() ? 0 : toInt16(std::string_view(headCode).substr(headCode.size() - 1));
        AHacks(MyList(kBlacklist), nick, head, 0);
    }
    saveTo(file, kSaveBlacklist);
}

void Contacts::onMemberRoster() {
    Bytes& body = session_.wire.msgBody;
    const int nul = countNul(body);
    if (nul == 0) return;
    const Bytes group = nextField(body);
    const float c = session_.wire.head.Code;
    if (c == code::kRosterOnline) {
        membersOnline(group, body);
        return;
    }
    if (c != code::kRosterList) return;
    IniBatch file = openUserFile();
    file.WriteIniKey(group, user::kGroupNum, std::to_string((nul - 1) / 2));
    int k = 2;
    for (auto f = cutField(body); f; f = cutField(body), ++k) {
        if (k % 2 == 0) {
            file.WriteIniKey(group, numberedKey(k / 2), *f);
        } else {
            file.WriteIniKey(group, numberedKey((k - 1) / 2, user::kGroupHeadIdSuffix),
                             std::to_string(headOfflineIndex(*f)));
        }
    }
    // The tree is filled from what the file now says, and grey nodes already there take the
    // head the roster gives.
    const int members = toInt16(file.GetIniKey(group, user::kGroupNum));
    for (int j = 1; j <= members; ++j) {
        int head = toInt16(file.GetIniKey(group, numberedKey(j, user::kGroupHeadIdSuffix)));
        if (head == 0) head = kDefaultMemberHead;
        const Bytes member = file.GetIniKey(group, numberedKey(j));
        if (!member.empty()) AddVilmem(tree_, group, member, head);
        for (int n : tree_.findAll(member)) {
            if (!tree_.hasChildren(n) && tree_.text(tree_.parent(n)) == group && tree_.image(n) > kShift)
                tree_.setImage(n, head);
        }
    }
    saveTo(file, kSaveGroups);
}

// Members online now go to the top of the group in colour; an only member turns colour where
// he stands. The grey nodes they leave are removed after, first ones first.
void Contacts::membersOnline(const Bytes& group, std::string_view body) {
    std::unordered_set<Bytes> online;
    FieldReader fields(body);
    for (int k = 2; auto f = fields.next(); ++k) {
        if (k % 2 == 0) online.emplace(*f);
    }
    const auto leavesOnline = [&] {
        std::vector<int> out;
        for (int g : tree_.findAll(group)) {
            for (int n : tree_.children(g)) {
                if (!tree_.hasChildren(n) && online.count(tree_.text(n))) out.push_back(n);
            }
        }
        std::sort(out.begin(), out.end());
        return out;
    };
    for (int n : leavesOnline()) {
        const int image = tree_.image(n);
        if (image <= kShift) continue;
        const int g = tree_.parent(n);
        if (tree_.childCount(g) == 1) {
            tree_.setImage(n, image - kShift);
        } else {
            tree_.addFirstChild(g, tree_.text(n), image - kShift);
        }
    }
    std::vector<Bytes> grey;
    for (int n : leavesOnline()) {
        if (tree_.image(n) > kShift) grey.push_back(tree_.text(n));
    }
    for (const Bytes& name : grey) Remove(tree_, name, group);
    tree_.refresh();
}

// ---- answers to the user's own requests ----

void Contacts::onAddFriend() {
    Bytes& body = session_.wire.msgBody;
    nextField(body);
    const Bytes name = nextField(body);
    if (name.empty()) return;
    const float c = session_.wire.head.Code;
    if (c == code::kFailed) {
        toast("添加好友 " + utf8(name) + " 失败！");
        emit addFriendAnswered();
        return;
    }
    if (c != code::kDone) return;
    IniBatch file = openUserFile();
    ItemList& friends = MyList(kFriends);
    ItemList& blacklist = MyList(kBlacklist);
    ItemList& strangers = MyList(kStrangers);
    if (blacklist.find(name)) {
        LRemove(blacklist, name);
        saveTo(file, kSaveFriends);
        saveTo(file, kSaveBlacklist);
        blacklist.Redraw();
        friends.InSert(1, name, "", kDefaultFriendHead);
        friends.Redraw();
    }
    if (friends.find(file.GetIniKey(name, user::kDearName))) {
        toast("好友 " + utf8(name) + " 已添加！");
        return;
    }
    if (friends.count() == 0) {
        friends.AddItem(name, "", kDefaultFriendHead);
    } else if (strangers.find(name)) {
        LRemove(strangers, name);
        friends.InSert(1, name, "", kDefaultFriendHead);
        friends.Redraw();
        strangers.Redraw();
    } else {
        friends.InSert(1, name, "", kDefaultFriendHead);
    }
    // Marked online until the profile asked for here brings the real nick and head.
    file.WriteIniKey(name, user::kOnline, "1");
    session_.queueFrame(kind::kProfile, code::kProfileAfterAdd, joinFields({ownName(), name}));
    saveTo(file, kSaveFriends);
    toast("添加好友 " + utf8(name) + " 成功！");
    inc(friendCount);
    inc(onlineCount);
    emit addFriendAnswered();
}

void Contacts::onDeleteFriend() {
    if (session_.wire.head.Code != code::kDone) return;
    Bytes& body = session_.wire.msgBody;
    nextField(body);
    const Bytes account = nextField(body);
    IniBatch file = openUserFile();
    const Bytes nick = file.GetIniKey(account, user::kDearName);
    if (file.GetIniKey(nick, user::kOnline) == "1") dec(onlineCount);
    LRemove(MyList(kFriends), nick);
    saveTo(file, kSaveFriends);
    toast("删除好友 " + utf8(nick) + " 成功！");
    dec(friendCount);
}

void Contacts::onAddToBlacklist() {
    Bytes& body = session_.wire.msgBody;
    nextField(body);
    const Bytes name = nextField(body);
    const float c = session_.wire.head.Code;
    if (c == code::kFailed) {
        toast("添加黑名单 " + utf8(name) + " 失败！");
        return;
    }
    if (c != code::kDone) return;
    IniBatch file = openUserFile();
    ItemList& friends = MyList(kFriends);
    for (int i = 1; i <= friends.count(); ++i) {
        const Bytes nick = friends.Item(i).Caption;
        if (file.GetIniKey(nick, user::kItsName) != name) continue;
        LRemove(friends, nick);
        break;
    }
    AHacks(MyList(kBlacklist), name, kBlacklistReplyHead, 0);
    saveTo(file, kSaveFriends);
    saveTo(file, kSaveBlacklist);
    toast("添加黑名单 " + utf8(name) + " 成功！\n如果您正在游戏中，请重新登录游戏，黑名单提示才生效！",
          kBlacklistToastMs);
}

// The saved blacklist is rewritten, and the name is blanked in whatever the count still covers.
void Contacts::onRemoveFromBlacklist() {
    if (session_.wire.head.Code != code::kDone) return;
    Bytes& body = session_.wire.msgBody;
    nextField(body);
    const Bytes name = nextField(body);
    IniBatch file = openUserFile();
    LRemove(MyList(kBlacklist), name);
    saveTo(file, kSaveFriends);
    saveTo(file, kSaveBlacklist);
    const int n = toInt16(file.GetIniKey(user::kBlacklistCountSection, user::kNum));
    for (int i = 1; i <= n; ++i) {
        if (file.GetIniKey(user::kUnfriendlySection, numberedKey(i)) == name)
            file.WriteIniKey(user::kUnfriendlySection, numberedKey(i), "");
    }
    toast("您已经成功地将 " + utf8(name) + " 从黑名单中取消！");
}

}  // namespace nq
