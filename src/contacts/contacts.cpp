// The model's parts, and the operations that add people to the lists and the tree or take
// them out.

#include "contacts/contacts.h"

#include "session/session.h"
#include "store/ini_batch.h"
#include "store/store_keys.h"
#include "wire/fields.h"

namespace nq {

namespace user = store::user;

namespace {
// A group member's name may carry the creator's mark; such a node stands for the same person.
constexpr std::string_view kCreatorMark = "(\xD7\xAF\xD6\xF7)";  // (庄主)
}  // namespace

Contacts::Contacts(Session& session, QObject* parent) : QObject(parent), session_(session) {
    registerLeaves();
}

Contacts::~Contacts() = default;

void Contacts::resetCounters() {
    friendCount = onlineCount = blacklistCount = groupCount = 0;
}

std::string Contacts::userFilePath() const {
    return session_.userFile(user::kFileName);
}

IniBatch Contacts::openUserFile() {
    session_.ini.setINIFileName(userFilePath());
    return IniBatch(userFilePath());
}

Bytes Contacts::ownName() const {
    return session_.myName;
}

void Contacts::toast(const std::string& text, int milliseconds) {
    session_.services().showToast(text, milliseconds, session_.soundPath("SysMsg.wav"));
}

bool Contacts::confirm(const std::string& text, const std::string& title) {
    return session_.services().messageBox(text, title, BoxButtons::OkCancel, BoxIcon::None) == BoxAnswer::Ok;
}

const Bytes* Contacts::selectedCaption(int list) {
    const ItemList& l = MyList(list);
    const int at = l.Selected();
    return at >= 1 && at <= l.count() ? &l.Item(at).Caption : nullptr;
}

void Contacts::clearLists() {
    for (int i : {kFriends, kBlacklist}) {
        MyList(i).Clear();
        MyList(i).Redraw();
    }
    tree_.clear();
    tree_.refresh();
}

// The user's own name is never added; the walks over the other lists decide what else happens.
// A blacklisted person is asked about, and Cancel does not stop the adding: he then stands in
// both lists, which the rules keep on purpose.
void Contacts::AFriend(ItemList& list, const Bytes& name, int head, int /*flag*/) {
    if (name == ownName() || list.find(name)) return;
    ItemList& blacklist = MyList(kBlacklist);
    bool fromBlacklist = false;
    for (int i = 1; i <= blacklist.count() && !fromBlacklist; ++i) {
        if (blacklist.Item(i).Caption != name) continue;
        fromBlacklist =
            confirm("您确定要黑名单中的：" + gbk::toUtf8(name) + "添加为好友吗？", Session::kAppTitle);
    }
    const bool wasStranger = !fromBlacklist && MyList(kStrangers).find(name);
    list.AddItem(name, "", head);
    list.Redraw();
    if (wasStranger) {
        LRemove(MyList(kStrangers), name);
        MyList(kStrangers).Redraw();
    } else if (fromBlacklist) {
        LRemove(blacklist, name);
        blacklist.Redraw();
    }
}

void Contacts::AHacks(ItemList& list, const Bytes& name, int head, int /*flag*/) {
    if (name == ownName() || list.find(name)) return;
    ItemList& friends = MyList(kFriends);
    bool fromFriends = false;
    for (int i = 1; i <= friends.count() && !fromFriends; ++i) {
        if (friends.Item(i).Caption != name) continue;
        fromFriends =
            confirm("您确定要将您的好友：" + gbk::toUtf8(name) + "设置成黑名单吗？", Session::kAppTitle);
    }
    const bool wasStranger = !fromFriends && MyList(kStrangers).find(name);
    list.AddItem(name, "", head);
    list.Redraw();
    if (fromFriends) {
        LRemove(friends, name);
        friends.Redraw();
    } else if (wasStranger) {
        LRemove(MyList(kStrangers), name);
        MyList(kStrangers).Redraw();
    }
}

void Contacts::AUnknfrd(ItemList& list, const Bytes& name, int head) {
    if (list.find(name)) return;
    list.AddItem(name, "", head);
    list.Redraw();
}

void Contacts::LRemove(ItemList& list, std::string_view name) {
    list.Remove(list.find(name));
}

// Any node blocks a group of its name, a member's as well.
void Contacts::AddVil(NodeTree& tree, const Bytes& name, int image) {
    if (tree.find(name)) return;
    tree.addRoot(name, image);
    tree.refresh();
}

// Walks the nodes of the group's name in index order. One with children is a group: the walk
// stops at once when a leaf of any group of that name already is the member, with or without
// the creator's mark; otherwise he is added to it. A childless node of that name takes the
// member as its child unasked. Nodes added on the way are not visited, but they count as
// leaves for the next group of the same name.
void Contacts::AddVilmem(NodeTree& tree, const Bytes& group, const Bytes& member, int image) {
    const auto isMember = [&](int leaf) {
        const Bytes& t = tree.text(leaf);
        if (t == member) return true;
        return t.size() > kCreatorMark.size() && t.ends_with(kCreatorMark) &&
               std::string_view(t).substr(0, t.size() - kCreatorMark.size()) == member;
    };
    const auto present = [&] {
        for (int g : tree.findAll(group)) {
            for (int leaf : tree.children(g)) {
                if (!tree.hasChildren(leaf) && isMember(leaf)) return true;
            }
        }
        return false;
    };
    // New nodes come last, so the indices found here stay valid while adding.
    for (int g : tree.findAll(group)) {
        if (tree.hasChildren(g) && present()) return;
        tree.addChild(g, member, image);
    }
    tree.refresh();
}

void Contacts::Remove(NodeTree& tree, std::string_view name, std::string_view group) {
    int found = 0;
    if (group.empty()) {
        found = tree.find(name);
    } else {
        for (int n : tree.findAll(name)) {
            if (!tree.hasChildren(n) && tree.text(tree.parent(n)) == group) {
                found = n;
                break;
            }
        }
    }
    if (!found) return;
    tree.remove(found);
    tree.refresh();
}

}  // namespace nq
