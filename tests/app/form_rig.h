#pragma once
// A Mainform on a temporary program folder with recording services, a recording desktop, and
// the session's sockets and timer in memory, the dispatcher and the chat server played by the
// test (support/session_harness.h).

#include <QApplication>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/desktop_bridge.h"
#include "app/login_frame.h"
#include "app/main_form.h"
#include "store/store_keys.h"
#include "support/session_harness.h"
#include "widgets/lv_buttons_h.h"

namespace nq::test {

namespace keys = store::settings;

class RecordingDesktop : public app::MainformDesktop {
  public:
    void trayAdd(QWidget*, const std::string& tip) override {
        calls.push_back("trayAdd:" + tip);
        if (onTrayAdd) onTrayAdd();
    }
    void trayRemove() override { calls.push_back("trayRemove"); }
    void onTrayClick(std::function<void(TrayClick)> handler) override { click = std::move(handler); }
    void traySetState(int state) override { trayStates.push_back(state); }
    void setTopMost(QWidget*, bool enable) override {
        calls.push_back(enable ? "topMost:on" : "topMost:off");
    }
    void applyStoredTransparency(QWidget*, const std::string& transValue) override {
        calls.push_back("transparency:" + transValue);
    }
    bool trayAvailable() const override { return hasTray; }
    void applyHotkey(int id, const std::string& text, const std::string& action) override {
        calls.push_back("hotkey:" + std::to_string(id) + ":" + action + ":" + text);
    }
    void onHotkeyFetch(std::function<void()> handler) override { hotkeyFetch = std::move(handler); }

    std::vector<std::string> calls;  // in the order they came
    std::vector<int> trayStates;     // every tray picture asked for, in order
    std::function<void(TrayClick)> click;
    std::function<void()> onTrayAdd;
    std::function<void()> hotkeyFetch;
    bool hasTray = true;
};

class FormRig : public ScriptedServers {
  public:
    enum LoggedIn { kLoggedIn };
    FormRig() = default;
    explicit FormRig(LoggedIn) {
        load();
        login();
    }
    ~FormRig() {
        // Close any window a test opened besides the form, so that the next test starts bare.
        form.reset();
        for (QWidget* w : QApplication::topLevelWidgets()) w->close();
    }

    std::string readKey(std::string_view key) { return readIni(keys::kUserFileName, key); }
    std::string position() { return readIni(keys::kUserFileName, keys::kMainForm, keys::kPositionSection); }

    app::Mainform& make() {
        form = std::make_unique<app::Mainform>(app::MainformOptions{dir.path()},
                                               app::MainformParts{services, update, chat, timer, desktop});
        QObject::connect(form.get(), &app::Mainform::unloaded, [this] { ++unloadCount; });
        return *form;
    }
    app::Mainform& load(const std::string& commandLine = "") {
        if (!form) make();
        form->load(commandLine);
        form->show();
        return *form;
    }

    Session& session() { return form->session(); }
    void tick(int n = 1) override {
        for (int i = 0; i < n; ++i) session().tick();
    }
    // Through the login panel as a user types and clicks, then on to online.
    void login() {
        app::LoginFrame& f = form->loginFrame();
        f.txtName->setText("alice");
        f.txtPassword->setText("123456");
        f.com_login->click();
        completeLogin(session(), [this] { tick(); });
    }

    RecordingDesktop desktop;
    std::unique_ptr<app::Mainform> form;
    int unloadCount = 0;
};

}  // namespace nq::test
