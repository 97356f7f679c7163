#pragma once
// mainframe: the contact area that replaces the login panel once the roster has arrived. This
// is its frame only: the page buttons Com_tab(0..3), the per-page buttons lvButtons_H1(0..6),
// the lists MyList(0..3) and the tree MyTree, and the quick find row. The lists are plain
// until the contact views move in; page switching already follows the page table.

#include <array>

#include "widgets/xp_container.h"

class QLineEdit;
class QListWidget;
class QStackedWidget;
class QTreeWidget;

namespace nq {
class lvButtons_H;
}

namespace nq::app {

class MainFrame : public XPContainer {
    Q_OBJECT
  public:
    enum Page { Friends = 0, Groups = 1, Rooms = 2, Partner = 3 };

    explicit MainFrame(QWidget* parent = nullptr);

    // Com_tab(i) click: the page comes forward, its button turns pure blue, the others black.
    void showPage(int page);
    int currentPage() const { return page_; }
    // lvButtons_H1(0..2) on the friends page: friends, blacklist, strangers.
    void showFriendList(int index);
    int currentFriendList() const;

    // MyList(0), MyList(1) and MyTree are emptied on logout.
    void clearContacts();

    QListWidget* list(int index) const { return lists_.at(static_cast<size_t>(index)); }
    QTreeWidget* tree() const { return tree_; }
    lvButtons_H* tab(int index) const { return tabs_.at(static_cast<size_t>(index)); }

  private:
    QWidget* buildFriendsPage();
    QWidget* buildGroupsPage();
    QWidget* buildRoomsPage();
    QWidget* buildPartnerPage();

    std::array<lvButtons_H*, 4> tabs_{};
    std::array<lvButtons_H*, 7> pageButtons_{};
    std::array<QListWidget*, 4> lists_{};
    QTreeWidget* tree_ = nullptr;
    QStackedWidget* pages_ = nullptr;
    QStackedWidget* friendLists_ = nullptr;
    QLineEdit* findBox_ = nullptr;
    int page_ = Friends;
};

}  // namespace nq::app
