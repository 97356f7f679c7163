#pragma once
// frmVlg: one window for two uses. Creating a group ("建立群"): the user's own name as creator,
// a name of at most 24 characters with its counter, an introduction, and comSubmit to send.
// The group card (group + "群资料"): creator, name and introduction from the cache, the hints
// hidden, and comSubmit hidden as well, so the card is only read.

#include <QWidget>

#include "wire/gbk.h"

class QLabel;
class QLineEdit;
class QTextEdit;

namespace nq {
class GroupActions;
struct GroupCard;
class XPContainer;
class lvButtons_H;
}  // namespace nq

namespace nq::app {

class frmVlg : public QWidget {
    Q_OBJECT
  public:
    static constexpr int kNameChars = 24;

    // The create form, with the user's own name as creator.
    frmVlg(GroupActions& groups, const Bytes& ownName, QWidget* parent = nullptr);
    // Turns the form into the card of a group; ownName decides whether the introduction may
    // be edited (it still cannot be sent).
    void showCard(const GroupCard& card, const Bytes& ownName);

    void comSubmitClick();

    XPContainer* XPContainer1 = nullptr;
    QLabel* lbvlg = nullptr;
    QLabel* lbUname = nullptr;
    QLineEdit* txtUname = nullptr;
    QLabel* lbVname = nullptr;
    QLineEdit* txtVname = nullptr;
    QLabel* lbEname = nullptr;
    QLabel* lbNum = nullptr;
    QLabel* lblimit = nullptr;
    QLabel* lbVinfo = nullptr;
    QTextEdit* txtVinfo = nullptr;
    lvButtons_H* comSubmit = nullptr;
    lvButtons_H* comClose = nullptr;

  private:
    void build();

    GroupActions& groups_;
};

}  // namespace nq::app
