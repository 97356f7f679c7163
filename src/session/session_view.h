#pragma once
// What the session asks of the main window while it logs in, runs and ends. The main window
// implements it; tests implement it with a recorder. Texts are UTF-8.

#include <string>

namespace nq {

enum class InfoColor { Black, Red };

class SessionView {
  public:
    virtual ~SessionView() = default;

    // The login boxes txtName and txtPassword.
    virtual std::string nameText() const = 0;
    virtual void setNameText(const std::string& text) = 0;
    virtual std::string passwordText() const = 0;
    virtual void setPasswordText(const std::string& text) = 0;
    // Enabled with black text, or disabled and greyed.
    virtual void setInputsEnabled(bool enabled) = 0;
    virtual void selectNameText() = 0;  // also gives it the focus
    virtual void focusName() = 0;
    virtual void selectPasswordText() = 0;
    virtual void focusPassword() = 0;
    virtual void setRememberChecked(bool checked) = 0;  // cb_remPwd
    virtual void setAutoRunChecked(bool checked) = 0;   // cb_autoRun

    virtual void setLoginEnabled(bool enabled) = 0;                      // com_login
    virtual void setCancelEnabled(bool enabled) = 0;                     // com_cancle
    virtual void setInfo(const std::string& text, InfoColor color) = 0;  // lbInfo
    virtual void setStatus(int panel, const std::string& text) = 0;      // status bar panels 1 and 2

    virtual void showLoginFrame() = 0;  // loginFrame on top, shown
    virtual void showMainFrame() = 0;   // the contact pages replace the login panel
    virtual void clearContacts() = 0;   // MyList(0), MyList(1) and MyTree
    // 我的基本信息, 添加好友, 添加黑名单, 添加山庄, c创建山庄, 系统设置
    virtual void setSessionMenusEnabled(bool enabled) = 0;
    virtual void unloadOtherForms() = 0;  // every window but the main one
    virtual void unloadMainForm() = 0;    // the normal exit path
    virtual void trayRemove() = 0;
};

}  // namespace nq
