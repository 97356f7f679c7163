#pragma once
// A SessionView that keeps what the main window would show, for tests to read.

#include <map>
#include <string>

#include "session/session_view.h"

namespace nq::test {

class RecordingView : public SessionView {
  public:
    std::string nameText() const override { return name; }
    void setNameText(const std::string& t) override { name = t; }
    std::string passwordText() const override { return password; }
    void setPasswordText(const std::string& t) override { password = t; }
    void setInputsEnabled(bool e) override { inputsEnabled = e; }
    void selectNameText() override {
        focus = "txtName";
        ++nameSelections;
    }
    void focusName() override { focus = "txtName"; }
    void selectPasswordText() override { focus = "txtPassword"; }
    void focusPassword() override { focus = "txtPassword"; }
    void setRememberChecked(bool c) override { rememberChecked = c; }
    void setAutoRunChecked(bool c) override { autoRunChecked = c; }
    void setLoginEnabled(bool e) override { loginEnabled = e; }
    void setCancelEnabled(bool e) override { cancelEnabled = e; }
    void setInfo(const std::string& t, InfoColor c) override {
        info = t;
        infoColor = c;
    }
    void setStatus(int panel, const std::string& t) override { status[panel] = t; }
    void showLoginFrame() override { frame = "loginFrame"; }
    void showMainFrame() override { frame = "mainframe"; }
    void clearContacts() override { ++contactClears; }
    void setSessionMenusEnabled(bool e) override { sessionMenus = e; }
    void unloadOtherForms() override { ++otherFormUnloads; }
    void unloadMainForm() override { ++mainFormUnloads; }
    void trayRemove() override { trayRemoved = true; }

    std::string name, password, info, focus, frame = "loginFrame";
    InfoColor infoColor = InfoColor::Black;
    std::map<int, std::string> status;
    bool inputsEnabled = true, rememberChecked = false, autoRunChecked = false;
    bool loginEnabled = true, cancelEnabled = false, sessionMenus = false, trayRemoved = false;
    int contactClears = 0, otherFormUnloads = 0, mainFormUnloads = 0, nameSelections = 0;
};

}  // namespace nq::test
