// Lines that wait: the unread scan that blinks their contacts and the tray, and the fetch of
// the next one from the tray or the hotkey.

#include <cmath>
#include <tuple>

#include "contacts/contacts.h"
#include "conversation/chat_manager.h"
#include "session/session.h"
#include "store/store_keys.h"
#include "wire/fields.h"

namespace nq {

namespace user = store::user;
using Slot = IncomingQueue::Slot;

namespace {

constexpr int kStrangerIcon = 2;
constexpr int kRoomIcon = 13;
constexpr std::string_view kJoinRequestTitle = "\xC7\xEB\xC7\xF3\xD1\xE9\xD6\xA4";  // 请求验证

bool isPersonLine(float kind) {
    return kind == IncomingQueue::kFriendLine || kind == IncomingQueue::kStrangerLine;
}

bool isTreeLine(float kind) {
    return kind == IncomingQueue::kGroupLine || kind == IncomingQueue::kMemberLine;
}

// The tree node a group or member line blinks: the group's, or the member's.
const Bytes& treeKey(const Slot& s) {
    return s.kind == IncomingQueue::kGroupLine ? s.receiver : s.sender;
}

}  // namespace

void ChatManager::setTray(int16_t state) {
    trayState = state;
    emit trayIconRefresh(state);
}

// ---- the unread scan ----

// Each waiting line blinks its row or node, and the tray with it, by the parity of the tick
// counter. A line whose conversation is open flashes that window instead and ends the tick.
// With nothing waiting the tray shows the logged-in picture again, from the accepted login on.
void ChatManager::unreadScan() {
    restoreSettledNodes();
    const IncomingQueue& q = incomingQueue;
    float sum = 0;
    if (q.readIndex < q.writeIndex) {
        const int last = q.lastWritten();
        for (int i = q.readIndex; i <= last; ++i) {
            sum += q.at(i).kind;
            if (!blinkSlot(q.at(i))) return;
        }
    }
    if (sum == 0 && trayState != kTrayLoggedIn && session_.online) setTray(kTrayLoggedIn);
}

bool ChatManager::blinkSlot(const Slot& s) {
    const float kind = s.kind;
    ItemList* list = nullptr;
    int row = 0;
    int node = 0;
    if (kind == IncomingQueue::kFriendLine || kind == IncomingQueue::kStrangerLine) {
        list =
            &contacts_.MyList(kind == IncomingQueue::kFriendLine ? Contacts::kFriends : Contacts::kStrangers);
        row = list->find(s.sender);
        if (!row) return true;
    } else if (isTreeLine(s.kind)) {
        node = contacts_.MyTree().find(treeKey(s));
        if (!node) return true;
    } else if (kind != IncomingQueue::kJoinRequest) {
        return true;
    }

    if (isPersonLine(s.kind) && s.sender == session_.myNick) return false;
    if (flashOpenWindow()) {
        session_.endTickAfterScan();
        return false;
    }
    // Only a row that really blinks: with a window open the scan stops above, and a line the
    // open window is about to take would otherwise leave its sender marked for good.
    if (kind == IncomingQueue::kFriendLine) blinkingFriends_.insert(s.sender);

    const bool dark = session_.blinkTicks % 2 != 0;
    if (kind == IncomingQueue::kJoinRequest) {
        setTray(dark ? kTrayDark : kTrayNotice);
        return true;
    }
    if (list) {
        int icon = 0;
        if (!dark) {
            const int head = static_cast<int>(toNumber(userIniKey(s.sender, user::kNickHeadId)));
            icon = kind == IncomingQueue::kFriendLine ? head - Contacts::kOfflineShift
                                                      : (head == 0 ? kStrangerIcon : head);
        }
        list->SetIcon(row, icon);
        list->Redraw();
    } else {
        NodeTree& tree = contacts_.MyTree();
        const Bytes& key = tree.text(node);
        if (dark) {
            if (tree.image(node) != 0) blankedNodes_[key] = tree.image(node);
            tree.setImage(node, 0);
        } else if (const auto it = blankedNodes_.find(key); it != blankedNodes_.end()) {
            tree.setImage(node, it->second);
        }
        tree.refresh();
    }
    setTray(dark ? kTrayDark : kTrayLoggedIn);
    return true;
}

// Any open window that some waiting line is meant for. A line without a sender ends the look
// for the window at hand.
bool ChatManager::flashOpenWindow() {
    const IncomingQueue& q = incomingQueue;
    const int last = q.lastWritten();
    for (const OpenChat& w : windows().openChats()) {
        if (w.caption.empty()) continue;
        for (int j = q.readIndex; j <= last; ++j) {
            const Slot& s = q.at(j);
            if (s.sender.empty()) break;
            if ((isPersonLine(s.kind) && w.caption == personCaption(s.sender)) ||
                (isTreeLine(s.kind) && w.caption == groupCaption(s.receiver))) {
                windows().flash(w.caption);
                return true;
            }
        }
    }
    return false;
}

// A node blanked by a dark phase gets its picture back once no waiting line blinks it, so a
// delivery in the dark phase does not leave it empty.
void ChatManager::restoreSettledNodes() {
    const IncomingQueue& q = incomingQueue;
    const int last = q.lastWritten();
    NodeTree& tree = contacts_.MyTree();
    for (auto it = blankedNodes_.begin(); it != blankedNodes_.end();) {
        bool waiting = false;
        for (int i = q.readIndex; i <= last && !waiting; ++i)
            waiting = isTreeLine(q.at(i).kind) && treeKey(q.at(i)) == it->first;
        if (waiting) {
            ++it;
            continue;
        }
        const int node = tree.find(it->first);
        if (node && tree.image(node) == 0) {
            tree.setImage(node, it->second);
            tree.refresh();
        }
        it = blankedNodes_.erase(it);
    }
}

// ---- the fetch ----

bool ChatManager::OpenNextPending() {
    return openNext(false);
}

bool ChatManager::openNextPendingByHotkey() {
    return openNext(true);
}

// The friend's row shows his head again: in colour when NQUser.nq has him online.
void ChatManager::settleFriendIcon(const Bytes& name) {
    ItemList& friends = contacts_.MyList(Contacts::kFriends);
    const int row = friends.find(name);
    blinkingFriends_.erase(name);
    int head = static_cast<int>(toNumber(userIniKey(name, user::kNickHeadId)));
    if (head == 0) head = Contacts::kDefaultFriendHead;
    if (userIniKey(name, user::kOnline) == "1" && head > Contacts::kOfflineShift)
        head -= Contacts::kOfflineShift;
    friends.SetIcon(row, head);
    friends.Redraw();
}

std::vector<GroupMember> ChatManager::membersOf(const Bytes& group) const {
    const NodeTree& tree = contacts_.MyTree();
    int node = 0;
    for (int n : tree.findAll(group)) {
        if (tree.parent(n) == 0) {
            node = n;
            break;
        }
    }
    std::vector<GroupMember> members;
    for (int child : tree.children(node)) members.push_back({tree.text(child), tree.image(child)});
    return members;
}

// The walk runs over the slot at writeIndex as well: a free slot only brings up the main window.
bool ChatManager::openNext(bool byHotkey) {
    session_.ini.setINIFileName(session_.userFile(user::kFileName));
    const IncomingQueue& q = incomingQueue;
    ChatWindowDirectory& w = windows();
    if (!(q.readIndex < q.writeIndex)) {
        w.showMainWindow(!byHotkey);
        return false;
    }
    const int last = static_cast<int16_t>(std::lround(q.writeIndex));
    for (int i = q.readIndex; i <= last; ++i) {
        const Slot s = q.at(i);
        if (s.kind == IncomingQueue::kFree) {
            w.showMainWindow(true);
            continue;
        }
        const Bytes person = personCaption(s.sender);
        const Bytes group = groupCaption(s.receiver);
        for (const OpenChat& c : w.openChats()) {
            if (c.caption == person || c.caption == group) {
                w.restore(c.caption);
                return true;
            }
        }

        // The new window's mode follows where the sender is found; a later find wins.
        NewChatWindow window;
        if (contacts_.MyList(Contacts::kFriends).find(s.sender)) {
            settleFriendIcon(s.sender);
            window.mode = ChatMode::PTP;
        }
        const NodeTree& tree = contacts_.MyTree();
        for (int n = 1; n <= tree.count(); ++n) {
            if (tree.text(n) == s.receiver) window.mode = ChatMode::OTM;
            if (tree.text(n) == s.sender && s.kind == IncomingQueue::kMemberLine) window.mode = ChatMode::OTU;
        }
        for (auto [list, icon, mode] : {std::tuple{Contacts::kStrangers, kStrangerIcon, ChatMode::PTP},
                                        std::tuple{Contacts::kRooms, kRoomIcon, ChatMode::MM}}) {
            ItemList& l = contacts_.MyList(list);
            if (const int row = l.find(s.sender)) {
                l.SetIcon(row, icon);
                l.Redraw();
                window.mode = mode;
            }
        }

        if (s.kind == IncomingQueue::kGroupLine) {
            window = {ChatMode::OTM, group, s.receiver, true, membersOf(s.receiver)};
            w.openChatWindow(window);
            continue;
        }
        if (s.kind == IncomingQueue::kJoinRequest) {
            if (byHotkey) {
                w.openJoinRequestWindow(s.sender + Bytes(kJoinRequestTitle));
            } else {
                w.showJoinRequests();
            }
            continue;
        }
        window.caption = person;
        window.lbFrd = s.sender;
        window.groupPanel = false;
        w.openChatWindow(window);
        return false;
    }
    return false;
}

}  // namespace nq
