#include "app/chat_windows.h"

#include <QApplication>
#include <QClipboard>
#include <QGuiApplication>
#include <QInputMethod>
#include <QMimeData>

#include "app/contact_area.h"
#include "app/frm_chat.h"
#include "app/frm_check.h"
#include "contacts/contacts.h"
#include "conversation/chat_manager.h"
#include "conversation/public_room.h"
#include "session/session.h"
#include "widgets/rich_text.h"

namespace nq::app {
const std::array<const char*, 5> ChatWindows::kLinkPatterns = {"http://", "www.", "https://", "\\\\",
                                                               "ftp:\\\\"};

ChatWindows::ChatWindows(Session& session, Contacts& contacts, ChatManager& chat, QObject* parent)
    : QObject(parent), session_(session), contacts_(contacts), chat_(chat), faces_(session.assetFolder()) {
    boxLook_.font = Bytes(kDefaultFont);
    chat_.setWindowDirectory(this);
    // A queued line may be for any open window; each looks once and sleeps again if not.
    connect(&contacts_.MyTree(), &NodeTree::changed, this, &ChatWindows::followGroupMembers);
    connect(&chat_, &ChatManager::messageQueued, this, [this] {
        for (const auto& w : windows_)
            if (chat_.hasLineFor(w->lbFrdCaption())) w->wakeDelivery();
    });
    connect(&session_, &Session::loggedOut, this, &ChatWindows::closeAll);
}

ChatWindows::~ChatWindows() {
    chat_.setWindowDirectory(nullptr);
    closeAll();
}

std::string ChatWindows::assetFile(const std::string& relative) const {
    return session_.assetFolder() + "/" + relative;
}

void ChatWindows::setMainWindow(QWidget* window, std::function<void(bool)> show) {
    mainWindow_ = window;
    showMain_ = std::move(show);
}

frmChat* ChatWindows::find(const Bytes& caption) const {
    for (const auto& w : windows_)
        if (w->caption() == caption) return w;
    return nullptr;
}

frmChat* ChatWindows::create(std::optional<ChatMode> mode, const Bytes& name) {
    auto* w = new frmChat(*this, mode, name);
    windows_.push_back(w);
    connect(w, &QObject::destroyed, this, [this, w] { std::erase(windows_, w); });
    return w;
}

void ChatWindows::followGroupMembers() {
    const NodeTree& tree = contacts_.MyTree();
    for (const auto& w : windows_) {
        if (w->chatMode != ChatMode::OTM) continue;
        int group = 0;
        for (int n : tree.findAll(w->lbFrdCaption()))
            if (tree.parent(n) == 0) group = n;
        if (group == 0) continue;  // left or dissolved: the list keeps what it last showed
        ItemList& list = w->members();
        const std::vector<int> nodes = tree.children(group);
        bool same = list.count() == static_cast<int>(nodes.size());
        for (int i = 0; same && i < list.count(); ++i) {
            const auto node = nodes[static_cast<size_t>(i)];
            same = list.Item(i + 1).Caption == tree.text(node) && list.Item(i + 1).icon == tree.image(node);
        }
        if (same) continue;  // most changes are blinks of other nodes
        list.Clear();
        for (int node : nodes) list.AddItem(tree.text(node), {}, tree.image(node));
        list.Redraw();
    }
}

void ChatWindows::open(const ChatRequest& request) {
    const std::optional<ChatMode> mode = chatModeFromText(request.chatMode);
    if (frmChat* existing = find(chatCaption(mode.value_or(ChatMode::PTP), request.name))) {
        restore(existing->caption());
        return;
    }
    if (mode == ChatMode::MM) {
        if (room_) room_->join(request.name);
        return;
    }
    frmChat* w = create(mode, request.name);
    if (mode == ChatMode::OTM) {
        const NodeTree& tree = contacts_.MyTree();
        for (int child : tree.children(request.node))
            w->members().AddItem(tree.text(child), {}, tree.image(child));
        w->showGroupPanel(true);
    }
    w->show();
    w->sendBox().setFocus();
    emit windowOpened(w);
}

frmChat* ChatWindows::openMemberChat(const Bytes& member, int head) {
    if (frmChat* existing = find(personCaption(member))) {
        restore(existing->caption());
        return existing;
    }
    frmChat* w = create(ChatMode::TUN, member);
    (void)head;
    w->show();
    emit windowOpened(w);
    return w;
}

void ChatWindows::closeAll() {
    for (const QPointer<frmChat>& w : std::vector<QPointer<frmChat>>(windows_.begin(), windows_.end()))
        if (w) w->close();
}

std::vector<OpenChat> ChatWindows::openChats() const {
    std::vector<OpenChat> out;
    for (const auto& w : windows_) out.push_back({w->caption(), w->chatMode});
    return out;
}

void ChatWindows::flash(const Bytes& caption) {
    if (frmChat* w = find(caption)) QApplication::alert(w);
}

void ChatWindows::restore(const Bytes& caption) {
    frmChat* w = find(caption);
    if (!w) return;
    w->setWindowState(w->windowState() & ~Qt::WindowMinimized);
    w->show();
    w->raise();
    w->activateWindow();
}

void ChatWindows::openChatWindow(const NewChatWindow& window) {
    frmChat* w = create(window.mode, window.lbFrd);
    if (window.groupPanel) {
        for (const GroupMember& m : window.members) w->members().AddItem(m.name, {}, m.icon);
        w->showGroupPanel(true);
    }
    if (window.captionAsGiven) w->setWindowTitle(QString::fromStdString(gbk::toUtf8(window.caption)));
    w->show();
    if (window.focusSendBox) w->sendBox().setFocus();
    emit windowOpened(w);
}

RoomView* ChatWindows::roomView(const Bytes& caption) {
    for (const auto& w : windows_)
        if (w->caption() == caption && w->chatMode == ChatMode::MM) return w;
    return nullptr;
}

void ChatWindows::roomClosed(bool talkWasEnabled) {
    if (room_) room_->windowClosed(talkWasEnabled);
}

void ChatWindows::showMainWindow(bool fixZeroTop) {
    if (showMain_) showMain_(fixZeroTop);
}

// The tray's consent window is one: a second request only brings it up again, and waits in
// the queue until this one is answered.
void ChatWindows::showJoinRequests() {
    if (!groups_) return;
    if (!check_) check_ = new frmCheck(chat_.incomingQueue, *groups_);
    check_->show();
    check_->raise();
}

frmCheck* ChatWindows::joinRequestWindow() const {
    return check_;
}

// The hotkey opens a further window each time, named after the requester.
void ChatWindows::openJoinRequestWindow(const Bytes& caption) {
    if (!groups_) return;
    auto* w = new frmCheck(chat_.incomingQueue, *groups_);
    w->setWindowTitle(QString::fromStdString(gbk::toUtf8(caption)));
    w->show();
}

void ChatWindows::showMemberMenu(const Bytes& member) {
    if (memberMenu_) memberMenu_(member);
}

void ChatWindows::clearClipboardWithoutText() {
    QClipboard* board = QApplication::clipboard();
    if (!board->mimeData()->hasText()) board->clear();
}

bool ChatWindows::inputMethodActive() {
    return QGuiApplication::inputMethod()->isVisible();
}

}  // namespace nq::app
