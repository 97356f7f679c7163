#include "app/main_frame.h"

#include "app/button_looks.h"
#include "widgets/lv_buttons_h.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QStackedWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace nq::app {
namespace {

lvButtons_H* subButton(const QString& caption, int index, QWidget* parent) {
    auto* b = new lvButtons_H(caption, parent);
    b->setObjectName(QString("lvButtons_H1(%1)").arg(index));
    lookSecondary(*b);
    return b;
}

QListWidget* contactList(int index, QWidget* parent) {
    auto* l = new QListWidget(parent);
    l->setObjectName(QString("MyList(%1)").arg(index));
    l->setFrameShape(QFrame::NoFrame);
    return l;
}

}  // namespace

MainFrame::MainFrame(QWidget* parent) : XPContainer(parent) {
    setObjectName("mainframe");
    // Edge to edge with the band above and the status strip below: background only.
    setStyle(Plain);

    // Quick find: its search reaches the server, which comes with the search window; until
    // then the row is shown but idle.
    findBox_ = new QLineEdit(this);
    findBox_->setObjectName("Text1");
    findBox_->setPlaceholderText("快速查找");
    auto* comSerch = new lvButtons_H("查找", this);
    comSerch->setObjectName("comSerch");
    lookSecondary(*comSerch);
    auto* lvdown = new lvButtons_H("▾", this);
    lvdown->setObjectName("lvdown");
    lookSecondary(*lvdown);
    lvdown->setFixedWidth(24);
    for (QWidget* w :
         {static_cast<QWidget*>(findBox_), static_cast<QWidget*>(comSerch), static_cast<QWidget*>(lvdown)})
        w->setEnabled(false);
    auto* find = new QHBoxLayout;
    find->setContentsMargins(8, 8, 8, 4);
    find->setSpacing(4);
    find->addWidget(findBox_, 1);
    find->addWidget(comSerch);
    find->addWidget(lvdown);

    const std::array<const char*, 4> tabCaptions{"好友", "山庄", "聊天室", "合作伙伴"};
    auto* tabRow = new QHBoxLayout;
    tabRow->setContentsMargins(8, 0, 8, 0);
    tabRow->setSpacing(0);
    for (int i = 0; i < 4; ++i) {
        auto* t = new lvButtons_H(tabCaptions[static_cast<size_t>(i)], this);
        t->setObjectName(QString("Com_tab(%1)").arg(i));
        lookTab(*t);
        connect(t, &lvButtons_H::Click, this, [this, i] { showPage(i); });
        tabs_[static_cast<size_t>(i)] = t;
        tabRow->addWidget(t, 1);
    }

    pages_ = new QStackedWidget(this);
    pages_->addWidget(buildFriendsPage());
    pages_->addWidget(buildGroupsPage());
    pages_->addWidget(buildRoomsPage());
    pages_->addWidget(buildPartnerPage());

    auto* col = new QVBoxLayout(this);
    col->setContentsMargins(0, 0, 0, 0);
    col->setSpacing(4);
    col->addLayout(find);
    col->addLayout(tabRow);
    col->addWidget(pages_, 1);

    showPage(Friends);
}

QWidget* MainFrame::buildFriendsPage() {
    auto* page = new QWidget(this);
    auto* row = new QHBoxLayout;
    row->setSpacing(4);
    const std::array<const char*, 3> captions{"我的好友", "黑名单", "陌生人"};
    friendLists_ = new QStackedWidget(page);
    for (int i = 0; i < 3; ++i) {
        auto* b = subButton(captions[static_cast<size_t>(i)], i, page);
        b->setMode(lvButtons_H::Option);
        connect(b, &lvButtons_H::Click, this, [this, i] { showFriendList(i); });
        pageButtons_[static_cast<size_t>(i)] = b;
        row->addWidget(b, 1);
        lists_[static_cast<size_t>(i)] = contactList(i, page);
        friendLists_->addWidget(lists_[static_cast<size_t>(i)]);
    }
    auto* col = new QVBoxLayout(page);
    col->setContentsMargins(8, 4, 8, 0);
    col->addLayout(row);
    col->addWidget(friendLists_, 1);
    return page;
}

QWidget* MainFrame::buildGroupsPage() {
    auto* page = new QWidget(this);
    tree_ = new QTreeWidget(page);
    tree_->setObjectName("MyTree");
    tree_->setHeaderHidden(true);
    tree_->setFrameShape(QFrame::NoFrame);
    auto* row = new QHBoxLayout;
    row->setSpacing(4);
    // Creating and joining groups come with the group windows.
    const std::array<const char*, 2> captions{"创建山庄", "添加山庄"};
    for (int i = 0; i < 2; ++i) {
        auto* b = subButton(captions[static_cast<size_t>(i)], 3 + i, page);
        b->setEnabled(false);
        pageButtons_[static_cast<size_t>(3 + i)] = b;
        row->addWidget(b, 1);
    }
    auto* top = new QLabel("查看十大群排名", page);
    top->setObjectName("lbTopvlg");
    top->setEnabled(false);
    auto* col = new QVBoxLayout(page);
    col->setContentsMargins(8, 4, 8, 0);
    col->addLayout(row);
    col->addWidget(tree_, 1);
    col->addWidget(top);
    return page;
}

QWidget* MainFrame::buildRoomsPage() {
    auto* page = new QWidget(this);
    lists_[3] = contactList(3, page);
    auto* row = new QHBoxLayout;
    row->setSpacing(4);
    // The two portal pages are deployment settings that no configuration names yet.
    const std::array<const char*, 2> captions{"游戏大厅", "玩家社区"};
    for (int i = 0; i < 2; ++i) {
        auto* b = subButton(captions[static_cast<size_t>(i)], 5 + i, page);
        b->setEnabled(false);
        pageButtons_[static_cast<size_t>(5 + i)] = b;
        row->addWidget(b, 1);
    }
    auto* col = new QVBoxLayout(page);
    col->setContentsMargins(8, 4, 8, 0);
    col->addLayout(row);
    col->addWidget(lists_[3], 1);
    return page;
}

QWidget* MainFrame::buildPartnerPage() {
    auto* page = new QWidget(this);
    auto* banner = new QLabel(page);
    banner->setObjectName("imgHVR");
    banner->setAlignment(Qt::AlignCenter);
    auto* col = new QVBoxLayout(page);
    col->addWidget(banner, 1);
    return page;
}

void MainFrame::showPage(int page) {
    if (page < 0 || page > Partner) return;
    page_ = page;
    pages_->setCurrentIndex(page);
    for (int i = 0; i < 4; ++i) {
        lvButtons_H* t = tabs_[static_cast<size_t>(i)];
        const bool current = i == page;
        t->setValue(current);
        t->setForeColor(current ? QColor(0, 0, 255) : QColor(0, 0, 0));
    }
    if (page == Friends) showFriendList(0);
    if (page == Rooms) lists_[3]->clearSelection();
}

void MainFrame::showFriendList(int index) {
    if (index < 0 || index > 2) return;
    pageButtons_[static_cast<size_t>(index)]->setValue(true);
    friendLists_->setCurrentIndex(index);
}

int MainFrame::currentFriendList() const {
    return friendLists_->currentIndex();
}

void MainFrame::clearContacts() {
    lists_[0]->clear();
    lists_[1]->clear();
    tree_->clear();
}

}  // namespace nq::app
