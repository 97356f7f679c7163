#pragma once
// The contact model of a session: the friend, blacklist, stranger and room lists, the group
// tree, the login counters, and every rule that moves people between them. The lists and the
// tree are the live model and NQUser.nq is their cache: the rosters the server sends rewrite
// both, presence moves people up and down, and the menu actions ask the server for changes.
//
// The model registers its leaves in the session's dispatch table when it is made. Boxes,
// sounds and toasts go through the session's platform services; what only the main window
// can do (its frames, its status bar, the add wizard) leaves as signals.
//
// Every operation that touches NQUser.nq reads and writes it through one IniBatch: one parse
// and one write of the file per operation, however many keys it sets. The one exception is the
// member-list flag of an expanded group, which goes through the session's shared accessor.

#include <QObject>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "contacts/item_list.h"
#include "contacts/node_tree.h"
#include "wire/gbk.h"

namespace nq {

class IniBatch;
class Session;

class Contacts : public QObject {
    Q_OBJECT
  public:
    enum ListIndex { kFriends = 0, kBlacklist = 1, kStrangers = 2, kRooms = 3 };
    enum SaveKind { kSaveFriends = 0, kSaveBlacklist = 1, kSaveGroups = 2 };

    // A friend who has no stored head, and a member who has none.
    static constexpr int kDefaultFriendHead = 2;
    static constexpr int kDefaultMemberHead = 1;
    // A head index shows the offline picture from here up (lists count 1..21 as online).
    static constexpr int kOfflineShift = 20;

    explicit Contacts(Session& session, QObject* parent = nullptr);
    ~Contacts() override;

    ItemList& MyList(int index) { return lists_.at(static_cast<size_t>(index)); }
    NodeTree& MyTree() { return tree_; }

    // The login counters, 16-bit as the rules count them.
    int16_t friendCount = 0;
    int16_t onlineCount = 0;
    int16_t blacklistCount = 0;
    int16_t groupCount = 0;
    void resetCounters();

    // ---- the cache ----
    // Fills the lists and the tree from NQUser.nq after a login; the session asks for the
    // rosters itself.
    void loadFromfile();
    void saveTofile(int kind);
    // The exit: nobody in the friend list counts as online in the file any more.
    void saveQuit();
    // The view's part of a logout or a lost session: friends, blacklist and tree emptied.
    void clearLists();

    // ---- adding and removing; each list or tree argument is one of this model's ----
    void AFriend(ItemList& list, const Bytes& name, int head, int flag);
    void AHacks(ItemList& list, const Bytes& name, int head, int flag);
    void AddVil(NodeTree& tree, const Bytes& name, int image);
    void AddVilmem(NodeTree& tree, const Bytes& group, const Bytes& member, int image);
    void AUnknfrd(ItemList& list, const Bytes& name, int head);
    void LRemove(ItemList& list, std::string_view name);
    void Remove(NodeTree& tree, std::string_view name, std::string_view group);

    // ---- menu actions of the contact area ----
    void deleteFriend();            // 删除好友 on the selected friend
    void setToBlacklist();          // 设置为黑名单 on the selected friend
    void removeFromBlacklist();     // 取消黑名单 on the selected blacklist entry
    void strangerToFriend();        // 加陌生人为好友
    void strangerToBlacklist();     // 设置为陌生人为黑名单
    void memberToFriend(int node);  // 加为好友 on a member node of the tree
    // The quick find box changed: select the first friend whose nick starts with text.
    void quickFind(const Bytes& text);
    // A group node was expanded or collapsed.
    void treeExpanded(int node, bool expanded);

    // The account that created a group, as the group roster stored it ("" when unknown). Reads
    // NQUser.nq without pointing the session's shared accessor at it.
    [[nodiscard]] Bytes groupCreator(std::string_view group) const;

  signals:
    // Status bar panel 1 or 2 shows text (UTF-8).
    void statusChanged(int panel, const std::string& text);
    // The login panel goes and the contact pages come forward.
    void mainFrameDue();
    // The friend roster is in: per-friend state sized to the list, the hall's start action.
    void friendRosterLoaded();
    // An answer to an add-friend request came: the wizard's add button works again.
    void addFriendAnswered();
    // Quick find: the server search buttons (comSerch, lvdown) on or off, and a page to show.
    void serverSearchEnabled(bool enabled);
    void pageRequested(int page);

  private:
    void registerLeaves();
    std::string userFilePath() const;
    // Points the session's shared accessor at NQUser.nq, as the code paths that use the file
    // do, and opens it for one operation.
    IniBatch openUserFile();
    Bytes ownName() const;
    void toast(const std::string& text, int milliseconds = kToastMs);
    void saveTo(IniBatch& file, int kind);

    // ---- leaves (contact_leaves.cpp) ----
    void onPresence();
    void comeOnline(IniBatch& file, const Bytes& account, const Bytes& nick);
    void goOffline(IniBatch& file, const Bytes& account, const Bytes& nick);
    void onFriendRoster();
    void onlineRoster(IniBatch& file);
    void onGroupRoster();
    void onBlacklistRoster();
    void onMemberRoster();
    void membersOnline(const Bytes& group, std::string_view body);
    void onAddFriend();
    void onDeleteFriend();
    void onAddToBlacklist();
    void onRemoveFromBlacklist();

    // A number from the file or a frame as a 16-bit count reads it: junk is 0, and so is a
    // number that does not fit, whose assignment the rules skip.
    static int16_t toInt16(std::string_view text);

    // A box asking OK or Cancel; true for OK.
    bool confirm(const std::string& text, const std::string& title);
    [[nodiscard]] const Bytes* selectedCaption(int list);

    static constexpr int kToastMs = 3000;

    Session& session_;
    std::array<ItemList, 4> lists_;
    NodeTree tree_;
};

}  // namespace nq
