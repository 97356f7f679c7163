#include "app/main_frame.h"

#include "app/button_looks.h"
#include "desktop/mod_autosize.h"
#include "widgets/contact_tree_view.h"
#include "widgets/i_list.h"
#include "widgets/lv_buttons_h.h"

#include <QDir>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QVBoxLayout>

namespace nq::app {
namespace {

constexpr int kMargin = 8;
constexpr int kLvdownWidth = 24;
constexpr int kButtonGap = 4;
const QColor kLink(0x2f, 0x80, 0xed);

lvButtons_H* subButton(const QString& caption, int index, QWidget* parent) {
    auto* b = new lvButtons_H(caption, parent);
    b->setObjectName(QString("lvButtons_H1(%1)").arg(index));
    lookSecondary(*b);
    return b;
}

}  // namespace

MainFrame::MainFrame(const MainFrameSetup& setup, QSize design, QWidget* parent)
    : XPContainer(parent),
      heads_(ImageList::fromFile(QDir(setup.imageFolder).filePath("heads.png"))),
      partnerUrl_(setup.partnerUrl) {
    setObjectName("mainframe");
    // Edge to edge with the band above and the status strip below: background only.
    setStyle(Plain);
    resize(design);

    auto* col = new QVBoxLayout(this);
    col->setContentsMargins(0, 0, 0, kMargin);
    col->setSpacing(4);
    col->addLayout(buildFindRow());
    col->addLayout(buildTabRow());
    col->addWidget(buildButtonRow(setup));
    col->addWidget(buildContent(setup), 1);

    lbTopvlg_ = new QLabel(this);
    lbTopvlg_->setObjectName("lbTopvlg");
    lbTopvlg_->setText(QString("<a href=\"top\" style=\"color:%1\">查看十大群排名</a>").arg(kLink.name()));
    lbTopvlg_->setContentsMargins(kMargin, 0, kMargin, 0);
    lbTopvlg_->setEnabled(!setup.topGroupsUrl.isEmpty());
    connect(lbTopvlg_, &QLabel::linkActivated, this,
            [this, url = setup.topGroupsUrl] { emit urlRequested(url); });
    col->addWidget(lbTopvlg_);

    image1_ = new QLabel(this);
    image1_->setObjectName("Image1");
    image1_->setAlignment(Qt::AlignCenter);
    image1_->setPixmap(QPixmap(QDir(setup.imageFolder).filePath("banner.png")));
    col->addWidget(image1_);

    placeDesign();
    showPage(Friends);
}

// The rows take their design places from the layout once; then the Tags alone move them.
void MainFrame::placeDesign() {
    freezeLayouts(this);
    findBox_->setProperty("Tag", "STRETCHH");
    comSerch_->setProperty("Tag", "MOVEH");
    lvdown_->setProperty("Tag", "MOVEH");
    content_->setProperty("Tag", "STRETCHALL");
    lbTopvlg_->setProperty("Tag", "MOVEV");
    image1_->setProperty("Tag", "STRETCHHMOVEV");
    const QRect pane(kMargin, 0, content_->width() - 2 * kMargin, content_->height());
    for (QWidget* w : {static_cast<QWidget*>(tree_), static_cast<QWidget*>(imgHVR_),
                       static_cast<QWidget*>(lists_[0]), static_cast<QWidget*>(lists_[1]),
                       static_cast<QWidget*>(lists_[2]), static_cast<QWidget*>(lists_[3])}) {
        w->setGeometry(pane);
        w->setProperty("Tag", "STRETCHALL");
    }
    // Each page's buttons share the row among themselves: they stand on one another's places.
    const int rowWidth = pageRow_->width() - 2 * kMargin;
    for (const auto& [from, to] : {std::pair{0, 2}, std::pair{3, 4}, std::pair{5, 6}}) {
        const int n = to - from + 1;
        const int w = (rowWidth - (n - 1) * kButtonGap) / n;
        for (int i = from; i <= to; ++i)
            pageButtons_[static_cast<size_t>(i)]->setGeometry(kMargin + (i - from) * (w + kButtonGap), 0, w,
                                                              pageRow_->height());
    }
}

// Quick find: the box, the server search and the popup of the search mode. The buttons come on
// only when the box holds a text that no friend's name starts with.
QLayout* MainFrame::buildFindRow() {
    findBox_ = new QLineEdit(this);
    findBox_->setObjectName("Text1");
    findBox_->setPlaceholderText("快速查找");
    comSerch_ = new lvButtons_H("查找", this);
    comSerch_->setObjectName("comSerch");
    lookSecondary(*comSerch_);
    lvdown_ = new lvButtons_H("▾", this);
    lvdown_->setObjectName("lvdown");
    lookSecondary(*lvdown_);
    lvdown_->setFixedWidth(kLvdownWidth);
    comSerch_->setEnabled(false);
    lvdown_->setEnabled(false);
    auto* row = new QHBoxLayout;
    row->setContentsMargins(kMargin, kMargin, kMargin, 4);
    row->setSpacing(4);
    row->addWidget(findBox_, 1);
    row->addWidget(comSerch_);
    row->addWidget(lvdown_);
    return row;
}

QLayout* MainFrame::buildTabRow() {
    const std::array<const char*, 4> captions{"好友", "山庄", "聊天室", "合作伙伴"};
    auto* row = new QHBoxLayout;
    row->setContentsMargins(kMargin, 0, kMargin, 0);
    row->setSpacing(0);
    for (int i = 0; i < 4; ++i) {
        auto* t = new lvButtons_H(captions[static_cast<size_t>(i)], this);
        t->setObjectName(QString("Com_tab(%1)").arg(i));
        lookTab(*t);
        connect(t, &lvButtons_H::Click, this, [this, i] { showPage(i); });
        tabs_[static_cast<size_t>(i)] = t;
        row->addWidget(t, 1);
    }
    return row;
}

// All seven page buttons share one row; a page shows its own and hides the rest.
QWidget* MainFrame::buildButtonRow(const MainFrameSetup& setup) {
    const std::array<const char*, 7> captions{"我的好友", "黑名单",   "陌生人",  "创建山庄",
                                              "添加山庄", "游戏大厅", "玩家社区"};
    pageRow_ = new QWidget(this);
    for (int i = 0; i < 7; ++i)
        pageButtons_[static_cast<size_t>(i)] = subButton(captions[static_cast<size_t>(i)], i, pageRow_);
    pageRow_->setFixedHeight(pageButtons_[0]->sizeHint().height());
    for (int i = 0; i < 3; ++i) {
        pageButtons_[static_cast<size_t>(i)]->setMode(lvButtons_H::Option);
        connect(pageButtons_[static_cast<size_t>(i)], &lvButtons_H::Click, this,
                [this, i] { showFriendList(i); });
    }
    // Creating and joining groups come with the group windows.
    pageButtons_[3]->setEnabled(false);
    pageButtons_[4]->setEnabled(false);
    const std::array<QString, 2> portal{setup.hallUrl, setup.communityUrl};
    for (int i = 0; i < 2; ++i) {
        lvButtons_H* b = pageButtons_[static_cast<size_t>(5 + i)];
        const QString url = portal[static_cast<size_t>(i)];
        b->setEnabled(!url.isEmpty());
        connect(b, &lvButtons_H::Click, this, [this, url] { emit urlRequested(url); });
    }
    return pageRow_;
}

// The lists, the tree and the partner banner share one place; a page shows one of them.
QWidget* MainFrame::buildContent(const MainFrameSetup& setup) {
    auto* content = new QWidget(this);
    content_ = content;
    QPalette white = palette();
    white.setColor(QPalette::Base, Qt::white);
    white.setColor(QPalette::Text, QColor(0x22, 0x28, 0x33));
    const int captionY = (kItemHeight - fontMetrics().height()) / 2;
    for (int i = 0; i < 4; ++i) {
        auto* l = new IList(content);
        l->setObjectName(QString("MyList(%1)").arg(i));
        l->setPalette(white);
        l->setItemHeight(kItemHeight);
        // Caption beside the head and centred in the row: the contact lists show no second line.
        l->SetPos(46, captionY, 46, captionY, 6, 2, 6, 2);
        l->setImageList(&heads_);
        lists_[static_cast<size_t>(i)] = l;
    }
    tree_ = new ContactTreeView(content);
    tree_->setObjectName("MyTree");
    tree_->setPalette(white);
    tree_->setImageList(&heads_);

    imgHVR_ = new QLabel(content);
    imgHVR_->setObjectName("imgHVR");
    imgHVR_->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    imgHVR_->setPixmap(QPixmap(QDir(setup.imageFolder).filePath("partner.png")));
    imgHVR_->setFocusPolicy(Qt::StrongFocus);
    if (!setup.partnerUrl.isEmpty()) imgHVR_->setCursor(Qt::PointingHandCursor);
    imgHVR_->installEventFilter(this);
    return content;
}

bool MainFrame::eventFilter(QObject* watched, QEvent* event) {
    if (watched == imgHVR_ && event->type() == QEvent::MouseButtonRelease && !partnerUrl_.isEmpty()) {
        const auto* e = static_cast<QMouseEvent*>(event);
        if (e->button() == Qt::LeftButton && imgHVR_->rect().contains(e->position().toPoint()))
            emit urlRequested(partnerUrl_);
    }
    return XPContainer::eventFilter(watched, event);
}

void MainFrame::showPage(int page) {
    if (page < Friends || page > Partner) return;
    page_ = page;
    const auto showRange = [this](int from, int to, bool on) {
        for (int i = from; i <= to; ++i) pageButtons_[static_cast<size_t>(i)]->setVisible(on);
    };
    // The partner banner stands alone: no page button shows beside it.
    showRange(0, 2, page == Friends);
    showRange(3, 4, page == Groups);
    showRange(5, 6, page == Rooms);
    image1_->setVisible(page != Partner);
    lbTopvlg_->setVisible(page == Groups);
    tree_->setVisible(page == Groups);
    imgHVR_->setVisible(page == Partner);
    for (IList* l : lists_) l->setVisible(false);
    if (page == Friends) showFriendList(0);
    if (page == Groups) tree_->raise();
    if (page == Rooms) {
        lists_[3]->setVisible(true);
        lists_[3]->raise();
        lists_[3]->setSelected(ItemList::kSelectionCleared);
    }
    if (page == Partner) imgHVR_->setFocus(Qt::OtherFocusReason);
    for (int i = 0; i < 4; ++i) {
        lvButtons_H* t = tabs_[static_cast<size_t>(i)];
        const bool current = i == page;
        t->setValue(current);
        t->setForeColor(current ? QColor(0, 0, 255) : QColor(0, 0, 0));
    }
}

void MainFrame::showRoomOnly() {
    for (int i = 0; i < 3; ++i) lists_[static_cast<size_t>(i)]->setVisible(false);
    lists_[3]->setVisible(true);
    lists_[3]->raise();
    lists_[3]->setSelected(ItemList::kSelectionCleared);
    tree_->setVisible(false);
    image1_->setEnabled(true);
    for (int i = 0; i < 7; ++i) pageButtons_[static_cast<size_t>(i)]->setVisible(i >= 5);
    // Our tabs also show the current page pressed: the pressed one follows the blue caption.
    for (int i = 0; i < 4; ++i) {
        tabs_[static_cast<size_t>(i)]->setForeColor(i == Rooms ? QColor(0, 0, 255) : Qt::black);
        tabs_[static_cast<size_t>(i)]->setValue(i == Rooms);
    }
    lbTopvlg_->setVisible(false);
}

void MainFrame::showFriendList(int index) {
    if (index < 0 || index > 2) return;
    friendList_ = index;
    pageButtons_[static_cast<size_t>(index)]->setValue(true);
    for (int i = 0; i < 3; ++i) lists_[static_cast<size_t>(i)]->setVisible(i == index);
    lists_[static_cast<size_t>(index)]->raise();
}

}  // namespace nq::app
