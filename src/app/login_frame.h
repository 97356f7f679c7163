#pragma once
// loginFrame: the panel the main window shows until the roster arrives. It only lays the
// controls out; what they do is the main window's and the session's business.

#include <QLineEdit>

#include "widgets/xp_container.h"

class QCheckBox;
class QLabel;

namespace nq {
class lvButtons_H;
}

namespace nq::app {

// txtPassword: a password box that selects all of its text whenever it gains the focus, by
// mouse or by keyboard, so that typing replaces the remembered placeholder at once.
class PasswordBox : public QLineEdit {
    Q_OBJECT
  public:
    explicit PasswordBox(QWidget* parent = nullptr);

  protected:
    void focusInEvent(QFocusEvent* event) override;
};

class LoginFrame : public XPContainer {
    Q_OBJECT
  public:
    explicit LoginFrame(QWidget* parent = nullptr);

    // Enabled with black text, or disabled with greyed text.
    void setInputsEnabled(bool enabled);
    void setInfo(const QString& text, bool red);

    QLineEdit* txtName;
    PasswordBox* txtPassword;
    QCheckBox* cb_remPwd;
    QCheckBox* cb_autoRun;
    lvButtons_H* com_login;
    lvButtons_H* com_cancle;
    QLabel* lbInfo;
};

}  // namespace nq::app
