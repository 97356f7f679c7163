#pragma once
// mainframe: the contact area that replaces the login panel once the roster has arrived: the
// quick find row (Text1, comSerch, lvdown), the page buttons Com_tab(0..3), the per-page
// buttons lvButtons_H1(0..6), the lists MyList(0..3) and the tree MyTree painted from the
// contact model, the banners Image1 and imgHVR and the link lbTopvlg.
//
// This is the frame and its page rules only: what a click on a list or the tree does is the
// contact area's (contact_area.h).

#include <QPixmap>
#include <QString>
#include <array>

#include "widgets/image_list.h"
#include "widgets/xp_container.h"

class QLabel;
class QLineEdit;
class QStackedWidget;

namespace nq {
class ContactTreeView;
class IList;
class lvButtons_H;
}  // namespace nq

namespace nq::app {

// Where the frame finds its pictures and which portal pages its links open; an empty address
// leaves its control disabled.
struct MainFrameSetup {
    QString imageFolder;  // holds heads.png, banner.png, partner.png
    QString topGroupsUrl, partnerUrl, hallUrl, communityUrl;
};

class MainFrame : public XPContainer {
    Q_OBJECT
  public:
    enum Page { Friends = 0, Groups = 1, Rooms = 2, Partner = 3 };
    enum SearchMode { ByName = 0, ByNick = 1 };  // 按用户名, 按昵称

    // Rows of the lists, in pixels: a 32-pixel head and a margin.
    static constexpr int kItemHeight = 36;

    // Made at its `design` size: its controls take their design places there, and their Tags
    // move them when the main window changes size.
    MainFrame(const MainFrameSetup& setup, QSize design, QWidget* parent = nullptr);

    // Com_tab(i) click: the page's controls show and the others hide, its button turns pure
    // blue and the others black.
    void showPage(int page);
    // The room-only view: the rooms' list in front with its selection cleared, the rest of the
    // pages' lists, tree, buttons and link hidden, the rooms page's buttons shown and Com_tab(2)
    // blue. Unlike showPage it leaves the banners' visibility and the current page as they were.
    void showRoomOnly();
    int currentPage() const { return page_; }
    // lvButtons_H1(0..2) on the friends page: friends, blacklist, strangers.
    void showFriendList(int index);
    int currentFriendList() const { return friendList_; }

    SearchMode searchMode() const { return searchMode_; }
    void setSearchMode(SearchMode mode) { searchMode_ = mode; }

    IList* list(int index) const { return lists_.at(static_cast<size_t>(index)); }
    ContactTreeView* tree() const { return tree_; }
    lvButtons_H* tab(int index) const { return tabs_.at(static_cast<size_t>(index)); }
    lvButtons_H* pageButton(int index) const { return pageButtons_.at(static_cast<size_t>(index)); }
    QLineEdit* findBox() const { return findBox_; }
    lvButtons_H* searchButton() const { return comSerch_; }
    lvButtons_H* searchModeButton() const { return lvdown_; }
    QLabel* banner() const { return image1_; }
    QLabel* topGroupsLink() const { return lbTopvlg_; }
    const ImageList& heads() const { return heads_; }

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  signals:
    // A portal link was clicked (lbTopvlg, imgHVR, lvButtons_H1(5), (6)).
    void urlRequested(const QString& url);

  private:
    QLayout* buildFindRow();
    QLayout* buildTabRow();
    QWidget* buildButtonRow(const MainFrameSetup& setup);
    QWidget* buildContent(const MainFrameSetup& setup);
    void placeDesign();

    ImageList heads_;
    std::array<lvButtons_H*, 4> tabs_{};
    std::array<lvButtons_H*, 7> pageButtons_{};
    std::array<IList*, 4> lists_{};
    ContactTreeView* tree_ = nullptr;
    QLineEdit* findBox_ = nullptr;
    lvButtons_H* comSerch_ = nullptr;
    lvButtons_H* lvdown_ = nullptr;
    QLabel* image1_ = nullptr;
    QLabel* imgHVR_ = nullptr;
    QLabel* lbTopvlg_ = nullptr;
    QWidget* pageRow_ = nullptr;
    QWidget* content_ = nullptr;
    int page_ = Friends;
    int friendList_ = 0;
    SearchMode searchMode_ = ByName;
    QString partnerUrl_;
};

}  // namespace nq::app
