#include "contacts/group_actions.h"

#include <cmath>

#include "contacts/contacts.h"
#include "session/session.h"
#include "store/ini_batch.h"
#include "store/ini_file.h"
#include "store/store_keys.h"
#include "wire/fields.h"

namespace nq {

namespace info = store::info;
namespace user = store::user;

namespace {

// A member who joins, the user himself included, shows this head until his roster comes.
constexpr int kJoinedHead = 2;
// The last field of a create request: the group's kind, always the plain one.
constexpr std::string_view kPlainGroup = "0";

Bytes nextField(Bytes& body) {
    return cutField(body).value_or(Bytes());
}

std::string utf8(std::string_view gbkText) {
    return gbk::toUtf8(gbkText);
}

}  // namespace

GroupActions::GroupActions(Session& session, Contacts& contacts, QObject* parent)
    : QObject(parent), session_(session), contacts_(contacts) {
    registerLeaves();
}

void GroupActions::registerLeaves() {
    DispatchTable& h = session_.handlers;
    h.on(kind::kMayCreateGroup, [this](Session&) { onMayCreate(); });
    h.on(kind::kCreateGroup, [this](Session&) { onCreated(); });
    h.on(kind::kGroupDissolved, [this](Session&) { onDissolved(); });
    h.on(kind::kJoinGroup, [this](Session&) { onJoined(); });
    h.on(kind::kLeaveGroup, [this](Session&) { onLeft(); });
    h.on(kind::kJoinAnswer, [this](Session&) { onJoinAnswer(); });
    h.on(kind::kGroupRecord, [this](Session&) { onCard(); });
}

std::string GroupActions::infoFile() const {
    return session_.userFile(info::kFileName);
}

void GroupActions::toast(const std::string& utf8Text) {
    session_.services().showToast(utf8Text, kToastMs, session_.soundPath("SysMsg.wav"));
}

// ---- requests ----

void GroupActions::askCreate() {
    session_.queueFrame(kind::kMayCreateGroup, code::kNone, session_.ownNameBody());
    if (session_.online) emit createButtonEnabled(false);
}

bool GroupActions::create(const Bytes& name, const Bytes& introduction) {
    if (name.empty()) {
        session_.services().messageBox("请您填写群名称！", Session::kAppTitle, BoxButtons::Ok,
                                       BoxIcon::Critical);
        return false;
    }
    session_.queueFrame(kind::kCreateGroup, code::kNone,
                        joinFields({session_.myName, name, introduction, kPlainGroup}));
    return true;
}

void GroupActions::leave(const Bytes& group) {
    session_.queueFrame(kind::kLeaveGroup, code::kNone, joinFields({session_.myName, group}));
}

void GroupActions::askToJoin(const Bytes& creator, const Bytes& group, const Bytes& text) {
    session_.queueFrame(kind::kJoinRequest, code::kNone, joinFields({session_.myName, creator, group, text}));
}

void GroupActions::agree(const Bytes& requester, const Bytes& group) {
    session_.queueFrame(kind::kJoinAnswer, code::kAgree,
                        joinFields({session_.myName, requester, group, " "}));
}

void GroupActions::refuse(const Bytes& requester, const Bytes& group, const Bytes& reason) {
    session_.queueFrame(kind::kJoinAnswer, code::kRefuse,
                        joinFields({session_.myName, requester, group, reason}));
}

// A window closed unanswered refuses with the group left out: the server tells the two forms
// apart by their field count.
void GroupActions::closedWithoutAnswer(const Bytes& requester, const Bytes& reason) {
    session_.queueFrame(kind::kJoinAnswer, code::kRefuse, joinFields({session_.myName, requester, reason}));
}

// A known group number means the card is in the cache; without one the server is asked and
// the reply shows the card.
void GroupActions::showCard(const Bytes& group) {
    if (CIniFile(infoFile()).GetIniKey(group, info::kGroupId).empty()) {
        session_.queueFrame(kind::kGroupRecord, code::kNone, joinFields({session_.myName, group}));
        return;
    }
    emit cardDue(group, false);
}

GroupCard GroupActions::cachedCard(const Bytes& group) const {
    GroupCard card;
    card.name = group;
    card.creator = CIniFile(session_.userFile(user::kFileName)).GetIniKey(group, user::kGroupBuilder);
    card.info = CIniFile(infoFile()).GetIniKey(group, info::kGroupInfo);
    return card;
}

// ---- leaves ----

// A "no" without a body shows nothing and keeps the create button waiting.
void GroupActions::onMayCreate() {
    const float c = session_.wire.head.Code;
    if (c == code::kDone) {
        emit createFormDue();
        emit createButtonEnabled(true);
        return;
    }
    if (c != code::kFailed) return;
    Bytes& body = session_.wire.msgBody;
    if (body.empty()) return;
    const double coins = toNumber(nextField(body)) * kCoinsPerUnit;
    session_.services().messageBox("对不起，建立群需要" +
                                       std::to_string(static_cast<long long>(std::llround(coins))) +
                                       "金币以上，您现在的财富暂时无法建立一个群。",
                                   "提示", BoxButtons::Ok, BoxIcon::Information);
    emit createButtonEnabled(true);
}

// The group count in NQUser.nq stays as the last roster set it: only the next roster counts.
void GroupActions::onCreated() {
    Bytes& body = session_.wire.msgBody;
    nextField(body);
    const Bytes name = nextField(body);
    const float c = session_.wire.head.Code;
    if (c == code::kDone) {
        NodeTree& tree = contacts_.MyTree();
        contacts_.AddVil(tree, name, NodeTree::kGroupImage);
        contacts_.AddVilmem(tree, name, session_.myName, NodeTree::kCreatorImage);
        contacts_.saveTofile(Contacts::kSaveGroups);
        toast("您创建： " + utf8(name) + " 成功！");
    } else if (c == code::kFailed) {
        toast("您创建： " + utf8(name) + " 失败！");
    }
}

void GroupActions::onDissolved() {
    if (session_.wire.head.Code != code::kDone) return;
    Bytes name;
    while (auto f = cutField(session_.wire.msgBody)) name = *std::move(f);
    contacts_.Remove(contacts_.MyTree(), name, "");
    contacts_.saveTofile(Contacts::kSaveGroups);
    toast("您解散： " + utf8(name) + " 成功！");
}

// The tree's tag that would clear the tree on a join is never set by anybody, so that step
// has no effect and is left out.
void GroupActions::onJoined() {
    Bytes& body = session_.wire.msgBody;
    const Bytes member = nextField(body);
    const Bytes group = nextField(body);
    const Bytes number = nextField(body);
    const float c = session_.wire.head.Code;
    if (c == code::kFailed) {
        toast("您加入群： " + utf8(group) + " 失败！");
        return;
    }
    if (c != code::kDone) return;
    NodeTree& tree = contacts_.MyTree();
    if (member != session_.myName) {
        contacts_.AddVilmem(tree, group, member, kJoinedHead);
        contacts_.saveTofile(Contacts::kSaveGroups);
        toast(utf8(member) + "加入： " + utf8(group));
        return;
    }
    contacts_.AddVil(tree, group, NodeTree::kGroupImage);
    contacts_.AddVilmem(tree, group, session_.myName, kJoinedHead);
    contacts_.saveTofile(Contacts::kSaveGroups);
    (void)session_.queueFrameGated(kind::kMemberRoster, code::kNone, joinFields({session_.myName, group}));
    CIniFile(infoFile()).WriteIniKey(group, info::kGroupId, number);
    toast("您加入群： " + utf8(group) + " 成功！");
}

void GroupActions::onLeft() {
    if (session_.wire.head.Code != code::kDone) return;
    Bytes& body = session_.wire.msgBody;
    const Bytes member = nextField(body);
    const Bytes group = nextField(body);
    NodeTree& tree = contacts_.MyTree();
    if (member == session_.myName) {
        contacts_.Remove(tree, group, "");
        toast("退出 " + utf8(group) + " 成功！");
    } else {
        contacts_.Remove(tree, member, group);
        toast(utf8(member) + "退出了 " + utf8(group));
    }
    contacts_.saveTofile(Contacts::kSaveGroups);
}

// Consent is confirmed to the server only while the gate is open: a shut gate loses it.
void GroupActions::onJoinAnswer() {
    Bytes& body = session_.wire.msgBody;
    const Bytes refuser = nextField(body);
    nextField(body);
    const Bytes group = nextField(body);
    const Bytes reason = nextField(body);
    const float c = session_.wire.head.Code;
    if (c == code::kAgree) {
        (void)session_.queueFrameGated(kind::kJoinGroup, code::kNone, joinFields({session_.myName, group}));
    } else if (c == code::kRefuse) {
        std::string text = utf8(refuser) + "拒绝了您加入" + utf8(group) + "的验证！";
        if (!reason.empty()) text += "其理由为：" + utf8(reason) + "。 ";
        toast(text);
    }
}

void GroupActions::onCard() {
    Bytes& body = session_.wire.msgBody;
    Bytes fields[info::kGroupKeys.size() + 1];
    // Number and name first, then the rest in the order the file lists them.
    for (Bytes& f : fields) f = nextField(body);
    const Bytes& name = fields[1];
    IniBatch file(infoFile());
    file.WriteIniKey(name, info::kGroupId, fields[0]);
    for (size_t k = 1; k < info::kGroupKeys.size(); ++k)
        file.WriteIniKey(name, info::kGroupKeys[k], fields[k + 1]);
    file.commit();
    emit cardDue(name, true);
}

}  // namespace nq
