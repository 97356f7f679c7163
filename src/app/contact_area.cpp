#include "app/contact_area.h"

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QMenu>
#include <QWidget>
#include <array>
#include <unordered_set>

#include "app/main_frame.h"
#include "contacts/contacts.h"
#include "session/session.h"
#include "store/ini_file.h"
#include "store/store_keys.h"
#include "widgets/contact_tree_view.h"
#include "widgets/i_list.h"
#include "widgets/lv_buttons_h.h"
#include "wire/fields.h"

namespace nq::app {
namespace {

namespace user = store::user;
constexpr int kShift = Contacts::kOfflineShift;

int onlineHead(int head) {
    return head > kShift ? head - kShift : head;
}

}  // namespace

ContactArea::ContactArea(Session& session, Contacts& contacts, MainFrame& frame, const ContactMenus& menus,
                         QObject* parent)
    : QObject(parent), session_(session), contacts_(contacts), frame_(frame), menus_(menus) {
    for (int i = 0; i < 4; ++i) frame_.list(i)->setModel(&contacts_.MyList(i));
    frame_.tree()->setModel(&contacts_.MyTree());
    connectLists();
    connectTree();
    connectMenus();
    connectFind();
    connect(&frame_, &MainFrame::urlRequested, this,
            [this](const QString& url) { session_.services().openUrl(url.toStdString()); });
    markCreators();
}

QString ContactArea::chatCaption(const char* prefix, const Bytes& name) {
    return QString::fromUtf8(prefix) + QString::fromStdString(gbk::toUtf8(name)) +
           QString::fromUtf8("聊天中");
}

bool ContactArea::raiseChatWindow(const Bytes& name) {
    const QString with = chatCaption("与", name);
    const QString in = chatCaption("在", name);
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (w->windowTitle() != with && w->windowTitle() != in) continue;
        w->setWindowState(w->windowState() & ~Qt::WindowMinimized);
        w->show();
        w->raise();
        w->activateWindow();
        return true;
    }
    return false;
}

void ContactArea::openChat(const ChatRequest& request) {
    if (openChat_) openChat_(request);
}

// ---- the lists ----

void ContactArea::connectLists() {
    for (int i = 0; i < 4; ++i) {
        IList* l = frame_.list(i);
        connect(l, &IList::mouseUp, this,
                [this, i, l](Qt::MouseButton button, Qt::KeyboardModifiers, QPoint at) {
                    if (QMenu* m = listMenu(i, at, button)) m->popup(l->mapToGlobal(at));
                });
        connect(l, &IList::DblClick, this, [this, i] { listDoubleClicked(i); });
    }
}

// Only the head's column of a row counts as the item, and the rows are counted from the top of
// the list whatever its scroll position; the press has already moved the selection.
QMenu* ContactArea::listMenu(int list, QPoint at, Qt::MouseButton button) const {
    if (!session_.online || button != Qt::RightButton || list < 0 || list > 3) return nullptr;
    const IList* l = frame_.list(list);
    const bool onItem = at.y() < l->ItemHeight() * l->count() && at.x() < kItemColumnWidth;
    const size_t i = static_cast<size_t>(list);
    if (onItem) {
        const std::array<QMenu*, 4> itemMenus{menus_.friendItem, menus_.blacklistItem, menus_.strangerItem,
                                              nullptr};
        return l->Selected() != ItemList::kNoneSelected ? itemMenus[i] : nullptr;
    }
    const std::array<QMenu*, 4> emptyMenus{menus_.friendsEmpty, menus_.blacklistEmpty, nullptr, nullptr};
    return emptyMenus[i];
}

// A stranger's icon and a room's settle at once; a friend's or stranger's head is read back from
// NQUser.nq for the new window, in colour when he is online (a blinking row shows it again).
void ContactArea::listDoubleClicked(int list) {
    if (list == Contacts::kBlacklist || list < 0 || list > 3) return;
    ItemList& l = contacts_.MyList(list);
    const int at = l.Selected();
    if (at < 1 || at > l.count()) return;
    const Bytes name = l.Item(at).Caption;
    if (list == Contacts::kStrangers) l.SetIcon(at, kStrangerIcon);
    if (list == Contacts::kRooms) l.SetIcon(at, kRoomIcon);
    if (raiseChatWindow(name)) return;

    const CIniFile file(session_.userFile(user::kFileName));
    int head = static_cast<int>(toNumber(file.GetIniKey(name, user::kNickHeadId)));
    if (head == 0) head = Contacts::kDefaultFriendHead;
    const bool room = list == Contacts::kRooms;
    if (!room) {
        const bool online = file.GetIniKey(name, user::kOnline) == "1";
        l.SetIcon(at, online ? onlineHead(head) : head);
        l.Redraw();
    }
    openChat({room ? "MM" : "PTP", name, chatCaption(room ? "在" : "与", name), onlineHead(head), list, 0});
}

// ---- the tree ----

void ContactArea::connectTree() {
    ContactTreeView* t = frame_.tree();
    connect(t, &ContactTreeView::nodeRightClicked, this, [this, t](int node, QPoint at) {
        if (QMenu* m = treeMenu(node)) m->popup(t->mapToGlobal(at));
    });
    connect(t, &ContactTreeView::nodeDoubleClicked, this, &ContactArea::treeDoubleClicked);
    connect(t, &ContactTreeView::expandToggled, &contacts_, &Contacts::treeExpanded);
    connect(&contacts_.MyTree(), &NodeTree::changed, this, &ContactArea::scheduleMarks);
}

QMenu* ContactArea::treeMenu(int node) {
    const NodeTree& t = contacts_.MyTree();
    if (!session_.online || t.count() == 0 || node < 1 || node > t.count()) return nullptr;
    if (t.hasChildren(node)) return menus_.group;
    memberNode_ = node;
    memberText_ = t.text(node);
    return menus_.member;
}

QMenu* ContactArea::memberMenu(const Bytes& member) {
    if (!session_.online || member.empty()) return nullptr;
    memberText_ = member;
    memberNode_ = contacts_.MyTree().find(member);
    return menus_.member;
}

// Presence moves renumber nodes while a popup is open; the member is then found by name.
int ContactArea::rightClickedMember() const {
    const NodeTree& t = contacts_.MyTree();
    return t.text(memberNode_) == memberText_ ? memberNode_ : t.find(memberText_);
}

void ContactArea::treeDoubleClicked(int node) {
    const NodeTree& t = contacts_.MyTree();
    if (node < 1 || node > t.count()) return;
    const Bytes text = t.text(node);
    if (raiseChatWindow(text)) return;
    const bool group = t.hasChildren(node);
    openChat({group ? "OTM" : "TUN", text, chatCaption(group ? "在" : "与", text), onlineHead(t.image(node)),
              -1, node});
}

void ContactArea::privateMessage(const Bytes& member) {
    if (member.empty() || raiseChatWindow(member)) return;
    openChat({"TUN", member, chatCaption("与", member), 1, -1, 0});
}

// A roster changes the tree once per member; the marks follow once the burst is over.
void ContactArea::scheduleMarks() {
    if (marksDue_) return;
    marksDue_ = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            marksDue_ = false;
            markCreators();
        },
        Qt::QueuedConnection);
}

// The creator's row carries the mark for as long as the group roster names him, also once the
// member roster has given his node a head.
void ContactArea::markCreators() {
    const NodeTree& t = contacts_.MyTree();
    std::unordered_set<int> marks;
    for (int g = 1; g <= t.count(); ++g) {
        if (t.parent(g) != 0 || !t.hasChildren(g)) continue;
        const Bytes creator = contacts_.groupCreator(t.text(g));
        if (creator.empty()) continue;
        for (int m : t.children(g))
            if (t.text(m) == creator) marks.insert(m);
    }
    frame_.tree()->setMarkedNodes(std::move(marks), NodeTree::kCreatorImage);
}

// ---- popups ----

void ContactArea::connectMenus() {
    const auto on = [this](QMenu* menu, const char* name, std::function<void()> action) {
        connect(ContactMenus::item(menu, QString::fromUtf8(name)), &QAction::triggered, this,
                [action = std::move(action)] { action(); });
    };
    Contacts& c = contacts_;
    on(menus_.friendItem, "发送消息", [this] { listDoubleClicked(Contacts::kFriends); });
    on(menus_.friendItem, "删除好友", [&c] { c.deleteFriend(); });
    on(menus_.friendItem, "设置为黑名单", [&c] { c.setToBlacklist(); });
    on(menus_.blacklistItem, "取消黑名单", [&c] { c.removeFromBlacklist(); });
    on(menus_.strangerItem, "发送陌生人消息", [this] { listDoubleClicked(Contacts::kStrangers); });
    on(menus_.strangerItem, "加陌生人为好友", [&c] { c.strangerToFriend(); });
    on(menus_.strangerItem, "设置为陌生人为黑名单", [&c] { c.strangerToBlacklist(); });
    on(menus_.group, "发送群消息", [this] { treeDoubleClicked(frame_.tree()->selectedNode()); });
    on(menus_.member, "发送私人消息", [this] { privateMessage(memberText_); });
    on(menus_.member, "加为好友", [this] { contacts_.memberToFriend(rightClickedMember()); });

    const QList<QAction*> modes = menus_.findMode->actions();
    for (int i = 0; i < modes.size(); ++i) {
        connect(modes[i], &QAction::triggered, this, [this, modes, i] {
            for (int j = 0; j < modes.size(); ++j) modes[j]->setChecked(j == i);
            frame_.setSearchMode(static_cast<MainFrame::SearchMode>(i));
            frame_.findBox()->setFocus(Qt::PopupFocusReason);
            frame_.findBox()->end(false);
        });
    }
}

void ContactArea::connectFind() {
    connect(frame_.findBox(), &QLineEdit::textChanged, this,
            [this](const QString& text) { contacts_.quickFind(gbk::fromUtf8(text.toStdString())); });
    connect(&contacts_, &Contacts::serverSearchEnabled, this, [this](bool on) {
        frame_.searchButton()->setEnabled(on);
        frame_.searchModeButton()->setEnabled(on);
    });
    connect(&contacts_, &Contacts::pageRequested, this, [this](int page) { frame_.tab(page)->click(); });
    lvButtons_H* lvdown = frame_.searchModeButton();
    // Under the button, right edges aligned, so that the popup stays over the window.
    connect(lvdown, &lvButtons_H::Click, this, [this, lvdown] {
        QMenu* m = menus_.findMode;
        m->popup(lvdown->mapToGlobal(QPoint(lvdown->width() - m->sizeHint().width(), lvdown->height())));
    });
}

}  // namespace nq::app
