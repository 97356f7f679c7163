#pragma once
// Who opens the add wizard and what it stands on: the searches' leaves, which live as long as
// the session, and the one frmAddnew, made at its first opening and gone when closed. The
// contact area's 添加... items (and through them the 操作 menu and the top bar's add button)
// open it for their job; the quick find's comSerch enters it at step two.

#include <QObject>
#include <QPointer>
#include <functional>

#include "app/frm_addnew.h"
#include "contacts/search.h"

namespace nq::app {

class Mainform;

class AddWizards : public QObject {
    Q_OBJECT
  public:
    explicit AddWizards(Mainform& form);
    ~AddWizards() override;

    // The window for a job ("添加好友", "添加黑名单", "添加群"), as the job's menu item opens it.
    frmAddnew& open(const char* job);
    // comSerch: online and with text in the quick find box, a friend search for that text.
    void quickSearch();
    // The open window, or null.
    [[nodiscard]] frmAddnew* window() const { return window_; }
    Search& search() { return search_; }

    // What a result's double click opens: a person's profile (name, request mode) and a cached
    // group card. Until given, the double click does nothing.
    void setProfileOpener(std::function<void(const Bytes&, int)> show);
    void setGroupCardOpener(std::function<void(const Bytes&)> show);

  private:
    frmAddnew& made();  // the window, made if it is not open
    void attachItems();

    Mainform& form_;
    Search search_;
    QPointer<frmAddnew> window_;
    std::function<void(const Bytes&, int)> showProfile_;
    std::function<void(const Bytes&)> showGroupCard_;
    bool quickSearchConnected_ = false;
};

}  // namespace nq::app
