// NQUser.nq as the cache of the lists and the tree: filled from at login, saved to after
// every change the server confirms, and the online marks dropped at exit.

#include <cmath>
#include <limits>
#include <unordered_map>

#include "contacts/contacts.h"
#include "session/session.h"
#include "store/ini_batch.h"
#include "store/ini_file.h"
#include "store/store_keys.h"
#include "wire/fields.h"

namespace nq {

namespace user = store::user;
using store::numberedKey;

int16_t Contacts::toInt16(std::string_view text) {
    const double v = std::nearbyint(toNumber(text));
    if (v < std::numeric_limits<int16_t>::min() || v > std::numeric_limits<int16_t>::max()) return 0;
    return static_cast<int16_t>(v);
}

// The cache fills the lists before the rosters arrive. Its asymmetries are kept: the
// blacklist is never filled from it (the roster always brings it), and a cache without
// friends shows no groups either.
void Contacts::loadFromfile() {
    MyList(kFriends).setSelected(ItemList::kSelectionCleared);
    MyList(kBlacklist).setSelected(ItemList::kSelectionCleared);
    const std::string path = userFilePath();
    session_.ini.setINIFileName(path);
    if (!fileExists(path)) return;
    IniBatch file(path);
    const int friends = toInt16(file.GetIniKey(user::kFriendCountSection, user::kNum));
    const int groups = toInt16(file.GetIniKey(user::kVillageCountSection, user::kNum));
    if (friends == 0) return;

    for (int i = 1; i <= friends; ++i) {
        const Bytes nick = file.GetIniKey(user::kFriendsSection, numberedKey(i));
        int head = toInt16(file.GetIniKey(nick, user::kNickHeadId));
        if (head == 0) head = kDefaultFriendHead;
        if (!nick.empty()) AFriend(MyList(kFriends), nick, head, 0);
    }
    if (groups > 0) {
        for (int i = 1; i <= groups; ++i) {
            // A numbered flag in "Village" that nothing reads; the one that counts is in the
            // group's own section.
            file.WriteIniKey(user::kVillageSection, numberedKey(i, user::kSendFlagSuffix), "0");
            const Bytes name = file.GetIniKey(user::kVillageSection, numberedKey(i));
            if (!name.empty()) AddVil(tree_, name, NodeTree::kGroupImage);
        }
        for (int i = 1; i <= groups; ++i) {
            const Bytes name = file.GetIniKey(user::kVillageSection, numberedKey(i));
            const int members = toInt16(file.GetIniKey(name, user::kGroupNum));
            for (int j = 1; j <= members; ++j) {
                int head = toInt16(file.GetIniKey(name, numberedKey(j, user::kGroupHeadIdSuffix)));
                if (head == 0) head = kDefaultMemberHead;
                const Bytes member = file.GetIniKey(name, numberedKey(j));
                if (!member.empty()) AddVilmem(tree_, name, member, head);
            }
        }
    }
    emit statusChanged(2, "状态：在线");
    emit mainFrameDue();
}

void Contacts::saveTofile(int kind) {
    IniBatch file = openUserFile();
    saveTo(file, kind);
}

// An empty list is not saved at all, so the file keeps the old count and names. The friends'
// numbered heads are always the offline picture; the blacklist's are stored as shown.
void Contacts::saveTo(IniBatch& file, int kind) {
    if (kind == kSaveFriends || kind == kSaveBlacklist) {
        const ItemList& list = MyList(kind == kSaveFriends ? kFriends : kBlacklist);
        if (list.count() == 0) return;
        const std::string_view section =
            kind == kSaveFriends ? user::kFriendsSection : user::kUnfriendlySection;
        for (int d = 1; d <= list.count(); ++d) {
            const ListItem& item = list.Item(d);
            int head = item.icon;
            if (kind == kSaveFriends && head < kOfflineShift + 2) head += kOfflineShift;
            file.WriteIniKey(section, numberedKey(d), item.Caption);
            file.WriteIniKey(section, numberedKey(d, user::kHeadIdSuffix), std::to_string(head));
        }
        file.WriteIniKey(kind == kSaveFriends ? user::kFriendCountSection : user::kBlacklistCountSection,
                         user::kNum, std::to_string(list.count()));
        return;
    }
    if (kind != kSaveGroups) return;
    // Members in index order under the text of their parent: every node with children counts
    // as a group, and two groups of one name share their members.
    std::unordered_map<Bytes, std::vector<int>> leavesOf;
    for (int j = 1; j <= tree_.count(); ++j) {
        if (!tree_.hasChildren(j) && tree_.parent(j)) leavesOf[tree_.text(tree_.parent(j))].push_back(j);
    }
    int d = 0;
    for (int i = 1; i <= tree_.count(); ++i) {
        if (!tree_.hasChildren(i)) continue;
        const Bytes& group = tree_.text(i);
        ++d;
        // The id key gets the group's name here, not the number the roster stored.
        file.WriteIniKey(user::kVillageSection, numberedKey(d, user::kVlgIdSuffix), group);
        file.WriteIniKey(user::kVillageSection, numberedKey(d), group);
        int m = 0;
        for (int j : leavesOf[group]) {
            ++m;
            const int image = tree_.image(j);
            file.WriteIniKey(group, numberedKey(m), tree_.text(j));
            file.WriteIniKey(group, numberedKey(m, user::kGroupHeadIdSuffix),
                             std::to_string(image > kOfflineShift ? image : image + kOfflineShift));
        }
        file.WriteIniKey(group, user::kGroupNum, std::to_string(m));
    }
}

void Contacts::saveQuit() {
    IniBatch file = openUserFile();
    const ItemList& friends = MyList(kFriends);
    for (int i = 1; i <= friends.count(); ++i) file.WriteIniKey(friends.Item(i).Caption, user::kOnline, "");
}

}  // namespace nq
