// What the user does in the contact area: the menu actions that ask the server for a change
// (the answers come back through the leaves), quick find, and expanding a group.

#include "contacts/contacts.h"
#include "session/session.h"
#include "store/ini_batch.h"
#include "store/store_keys.h"
#include "wire/fields.h"
#include "wire/packet.h"

namespace nq {

namespace user = store::user;

void Contacts::deleteFriend() {
    if (!confirm("您确定要将该用户从您的好友中删除吗？", "删除好友")) return;
    const Bytes* nick = selectedCaption(kFriends);
    if (!nick) return;
    const Bytes account = openUserFile().GetIniKey(*nick, user::kItsName);
    session_.queueFrame(kind::kDeleteFriend, code::kNone, joinFields({ownName(), account}));
}

// Two frames back to back, the deletion first; the next tick sends both in one datagram.
void Contacts::setToBlacklist() {
    const Bytes* selected = selectedCaption(kFriends);
    if (!selected) return;
    const Bytes nick = *selected;
    if (!confirm("您确定将好友：" + gbk::toUtf8(nick) + "设置成黑名单吗？", Session::kAppTitle)) return;
    const Bytes account = openUserFile().GetIniKey(nick, user::kItsName);
    const Bytes first = joinFields({ownName(), account});
    const Bytes second = joinFields({ownName(), nick});
    session_.queueFrame(kind::kDeleteFriend, code::kNone, first);
    session_.queueFrame(kind::kAddToBlacklist, code::kNone, second);
}

void Contacts::removeFromBlacklist() {
    if (!confirm("您确定要将该用户从您的黑名单中删除吗？", "删除黑名单")) return;
    if (const Bytes* name = selectedCaption(kBlacklist))
        session_.queueFrame(kind::kRemoveFromBlacklist, code::kNone, joinFields({ownName(), *name}));
}

void Contacts::strangerToFriend() {
    if (const Bytes* name = selectedCaption(kStrangers))
        session_.queueFrame(kind::kAddFriend, code::kNone, joinFields({ownName(), *name}));
}

void Contacts::strangerToBlacklist() {
    if (const Bytes* name = selectedCaption(kStrangers))
        session_.queueFrame(kind::kAddToBlacklist, code::kNone, joinFields({ownName(), *name}));
}

void Contacts::memberToFriend(int node) {
    if (node < 1 || node > tree_.count()) return;
    session_.queueFrame(kind::kAddFriend, code::kNone, joinFields({ownName(), tree_.text(node)}));
}

// A friend whose nick starts with the text is selected on the friends page; only when none
// does, the buttons of the server search come on.
void Contacts::quickFind(const Bytes& text) {
    if (text.empty()) {
        emit serverSearchEnabled(false);
        return;
    }
    ItemList& friends = MyList(kFriends);
    for (int i = 1; i <= friends.count(); ++i) {
        if (!friends.Item(i).Caption.starts_with(text)) continue;
        friends.setSelect(i);
        emit serverSearchEnabled(false);
        emit pageRequested(kFriends);
        return;
    }
    emit serverSearchEnabled(true);
}

// The member list of a group is asked for once a run. The flag is read and written through
// the session's shared accessor wherever it points now, without pointing it anywhere: usually
// NQUser.nq, where the tick left it, but a settings change in between leaves it on User.ini.
void Contacts::treeExpanded(int node, bool expanded) {
    tree_.setExpanded(node, expanded);
    if (!session_.online) return;
    if (tree_.hasChildren(node)) {
        const Bytes group = tree_.text(node);
        CIniFile& ini = session_.ini;
        if (toNumber(ini.GetIniKey(group, user::kGroupSendFlag)) == 0 && session_.wire.sendQueueFree) {
            session_.queueFrame(kind::kMemberRoster, code::kNone, joinFields({ownName(), group}));
            ini.WriteIniKey(group, user::kGroupSendFlag, "1");
        }
    }
    session_.services().playSound(session_.soundPath("GroupShift.wav"));
}

Bytes Contacts::groupCreator(std::string_view group) const {
    return CIniFile(userFilePath()).GetIniKey(group, user::kGroupBuilder);
}

}  // namespace nq
