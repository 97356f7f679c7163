#pragma once
// frmAddnew: the wizard that finds people and groups and adds them, one window for three jobs
// told apart by its caption (添加好友, 添加黑名单, 添加群). Step one picks a search mode and
// takes the text; step two lists results; step three adds the chosen row, and for a group first
// asks for a verification text. The window's whole state is its caption (the job), its `Tag`
// (the step and the reply it waits for) and two page counters; the replies come through Search
// and act only in the step that waits for them.

#include <QString>
#include <QWidget>
#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "contacts/search.h"

class QLabel;
class QLineEdit;
class QRadioButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace nq {
class Contacts;
class ImageList;
class Session;
class XPContainer;
class lvButtons_H;
}  // namespace nq

namespace nq::app {

class frmAddnew : public QWidget {
    Q_OBJECT
  public:
    // The captions that name the jobs.
    static constexpr const char* kFriendJob = "添加好友";
    static constexpr const char* kBlacklistJob = "添加黑名单";
    static constexpr const char* kGroupJob = "添加群";
    // Values of `Tag`; empty is step one.
    static constexpr const char* kFindingFriend = "addOnefrd";
    static constexpr const char* kFindingForBlacklist = "addToBad";
    static constexpr const char* kGroups = "addVlg";
    static constexpr const char* kAddsFriend = "Addfriend";
    static constexpr const char* kAddsToBlacklist = "AddBad";
    // Characters a verification text may hold.
    static constexpr int kVerifyLimit = 30;

    // `heads` draws the results' icons; it may be null (no icons).
    frmAddnew(Session& session, Contacts& contacts, Search& search, const ImageList* heads,
              QWidget* parent = nullptr);

    // What a menu item does: `Tag` cleared, the window shown, the caption set and, with
    // `optionCaptions`, the three options named for the job.
    void openAs(const QString& caption, bool optionCaptions);
    // The main window's comSerch: straight to step two with a friend search for `text`.
    void searchFromMain(const Bytes& text, bool byName);

    [[nodiscard]] const QString& Tag() const { return tag_; }
    [[nodiscard]] QString caption() const { return windowTitle(); }
    [[nodiscard]] int16_t userPage() const { return userPage_; }
    [[nodiscard]] int16_t groupPage() const { return groupPage_; }

    // ---- the buttons, as a click runs them ----
    void comAddClick(int index);
    void comMoreClick();
    void comSendClick();
    void comCloseClick();
    void optionClicked(int index);  // 1..3
    void rowDoubleClicked();

    // A double click on a person's row shows his profile (name, request mode); on a group whose
    // card is cached, the card. Nothing happens until these are given.
    std::function<void(const Bytes& name, int mode)> showProfile;
    std::function<void(const Bytes& group)> showGroupCard;

    XPContainer* mainframe;
    QRadioButton* Option1;
    QRadioButton* Option2;
    QRadioButton* Option3;
    QLabel* lbType;
    QLineEdit* txtName;
    QTreeWidget* lstResult;
    QLabel* lbInfo;
    std::array<lvButtons_H*, 3> comAdd{};  // back, next, close
    lvButtons_H* comMore;
    lvButtons_H* comDetail;
    XPContainer* XPContainer1;
    QLineEdit* Text1;
    QLabel* Label3;
    lvButtons_H* comSend;
    lvButtons_H* comClose;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void buildControls();
    void connectReplies();
    void setTag(const char* tag) { tag_ = QString::fromUtf8(tag); }
    [[nodiscard]] bool isJob(const char* job) const { return windowTitle() == QString::fromUtf8(job); }
    void box(const char* text, bool stopIcon = false);
    // Empties the list and gives it these columns.
    void resetColumns(const std::vector<const char*>& headers);
    void addRow(const FoundRow& row);
    [[nodiscard]] QTreeWidgetItem* selectedRow() const;
    void showPanel(bool on);
    void startSearch();
    void addSelected(bool toBlacklist);
    void listFirstPage();

    void onPersonFound(FrameKind kind, const FoundRow& row);
    void onPersonNotFound();
    void onOnlinePage(const std::vector<FoundRow>& rows, bool full);
    void onGroupsFound(FrameKind kind, const std::vector<FoundRow>& rows, bool full);
    void onGroupsNotFound(FrameKind kind);
    void onText1Changed();

    Session& session_;
    Contacts& contacts_;
    Search& search_;
    const ImageList* heads_;
    QString tag_;
    int16_t userPage_ = 0;
    int16_t groupPage_ = 0;
};

}  // namespace nq::app
