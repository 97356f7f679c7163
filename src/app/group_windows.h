#pragma once
// The group windows joined to the main window: the group popup's items (查看山庄资料, 创建山庄,
// 退出山庄), the 创建山庄 page button that waits for the server's answer, the create form and
// the cards the group logic asks for, and the consent windows of the conversation windows.

#include <QObject>
#include <QPointer>
#include <memory>

#include "contacts/group_actions.h"

namespace nq::app {

class Mainform;
class MainFrame;
class frmVlg;

class GroupWindows : public QObject {
    Q_OBJECT
  public:
    explicit GroupWindows(Mainform& form);
    ~GroupWindows() override;

    GroupActions& actions() { return actions_; }
    // The window of the create form or the last card, while it is open.
    [[nodiscard]] frmVlg* vlgWindow() const;
    // The contact frame exists now: its create button joins in.
    void frameMade(MainFrame& frame);

  private:
    void connectMenus();
    void showCard(const Bytes& group, bool fromReply);
    frmVlg& freshVlg();
    [[nodiscard]] Bytes selectedGroup() const;

    Mainform& form_;
    GroupActions actions_;
    QPointer<frmVlg> vlg_;
    QPointer<MainFrame> frame_;
};

}  // namespace nq::app
