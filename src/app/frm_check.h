#pragma once
// frmCheck ("请求验证"): a group's creator decides on one join request. The window takes the
// oldest waiting request from the message queue by its own timer, shows who asks for which
// group and with what text, and answers once: agree, refuse with an optional reason, or, when
// it is closed without either, a refusal in the shorter form.
//
// The requester and the group are read back out of the sentence of Label1 when answering,
// so a group whose name holds the sentence's own words answers with a shortened name.

#include <QTimer>
#include <QWidget>

#include "wire/gbk.h"

class QLabel;
class QLineEdit;

namespace nq {
class GroupActions;
class IncomingQueue;
class XPContainer;
class lvButtons_H;
}  // namespace nq

namespace nq::app {

class frmCheck : public QWidget {
    Q_OBJECT
  public:
    static constexpr int kReasonChars = 30;
    // How often the timer looks for a request until one is there, in ms.
    static constexpr int kFillMs = 50;

    frmCheck(IncomingQueue& queue, GroupActions& groups, QWidget* parent = nullptr);

    // Timer1's event: the first waiting request from readIndex on fills the window.
    void Timer1Timer();
    void comOKClick();
    void comRefClick();

    // The requester and the group as the sentence of Label1 names them (GBK).
    [[nodiscard]] Bytes requester() const;
    [[nodiscard]] Bytes group() const;

    XPContainer* XPContainer1 = nullptr;
    QLabel* Label1 = nullptr;
    QLineEdit* Text1 = nullptr;
    QLabel* Label2 = nullptr;
    QLineEdit* Text2 = nullptr;
    QLabel* Label3 = nullptr;
    lvButtons_H* comOK = nullptr;
    lvButtons_H* comRef = nullptr;
    QTimer Timer1;

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    void build();
    [[nodiscard]] Bytes reason() const;

    IncomingQueue& queue_;
    GroupActions& groups_;
    bool answered_ = false;
};

}  // namespace nq::app
