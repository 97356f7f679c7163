#pragma once
// A Mainform on a temporary program folder with recording services, a recording desktop, a
// timer that only the test ticks, and real loopback sockets towards a scripted dispatcher and
// chat server on the test's own 127.0.2.N.

#include <QApplication>
#include <QPushButton>
#include <QTemporaryDir>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/desktop_bridge.h"
#include "app/login_frame.h"
#include "app/main_form.h"
#include "store/ini_file.h"
#include "wire/fields.h"
#include "wire/packet.h"
#include "session/qt_transport.h"
#include "support/recording_services.h"
#include "support/recording_view.h"
#include "support/session_harness.h"

namespace nq::test {

class RecordingDesktop : public app::MainformDesktop {
  public:
    void trayAdd(QWidget*, const std::string& tip) override {
        calls.push_back("trayAdd");
        tips.push_back(tip);
        if (onTrayAdd) onTrayAdd();
    }
    void trayRemove() override { calls.push_back("trayRemove"); }
    void onTrayClick(std::function<void(TrayClick)> handler) override { click = std::move(handler); }
    void setTopMost(QWidget*, bool enable) override {
        calls.push_back("setTopMost");
        topMost.push_back(enable);
    }
    void applyStoredTransparency(QWidget*, const std::string& transValue) override {
        calls.push_back("transparency");
        transValues.push_back(transValue);
    }

    std::vector<std::string> calls;  // in the order they came
    std::vector<std::string> tips;
    std::vector<bool> topMost;
    std::vector<std::string> transValues;
    std::function<void(TrayClick)> click;
    std::function<void()> onTrayAdd;
};

class FormRig {
  public:
    static constexpr uint16_t kChatPort = 8000;

    explicit FormRig(const std::string& ip) : ip(ip) {
        home = dir.path().toStdString();
        writeKey("Sys.ini", "Setting", "Server", ip);
        // Both servers listen from the start, so that nothing the form sends is lost.
        dispatcher_ = std::make_unique<ScriptedPeer>(ip, Session::kDispatcherPort);
        chat_ = std::make_unique<ScriptedPeer>(ip, kChatPort);
    }
    ~FormRig() {
        // Close any window a test opened besides the form, so that the next test starts bare.
        form.reset();
        for (QWidget* w : QApplication::topLevelWidgets()) w->close();
    }

    void writeKey(const std::string& file, const std::string& section, const std::string& key,
                  const std::string& value) {
        CIniFile(home + "/" + file).WriteIniKey(section, key, gbk::fromUtf8(value));
    }
    std::string readKey(const std::string& file, const std::string& section, const std::string& key) {
        return gbk::toUtf8(CIniFile(home + "/" + file).GetIniKey(section, key));
    }

    app::Mainform& make() {
        app::MainformOptions o;
        o.programFolder = home;
        form = std::make_unique<app::Mainform>(o, app::MainformParts{services, update, chat, timer, desktop});
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
    void tick(int n = 1) {
        for (int i = 0; i < n; ++i) {
            session().tick();
            QCoreApplication::processEvents();
        }
    }

    ScriptedPeer& dispatcher() { return *dispatcher_; }
    ScriptedPeer& chatServer() { return *chat_; }
    OwnedFrame expect(ScriptedPeer& peer) { return expectFrame(peer); }

    // Through the login panel as a user: type, click, then the dispatcher redirects and the
    // chat server accepts. Ends online with the roster request taken off the wire.
    void login(const std::string& name = "alice", const std::string& password = "123456") {
        ScriptedPeer& d = dispatcher();
        ScriptedPeer& c = chatServer();
        app::LoginFrame& f = form->loginFrame();
        f.txtName->setText(QString::fromStdString(name));
        f.txtPassword->setText(QString::fromStdString(password));
        f.com_login->click();
        tick();
        expect(d);
        d.reply(encodeFrame({.seq = 1, .type = 1, .sub = 1, .code = 1},
                            joinFields({ip, std::to_string(kChatPort)})));
        if (!waitFor([&] { return session().waitLogin; })) throw std::runtime_error("no redirect");
        tick();
        expect(c);
        c.reply(encodeFrame({.seq = 1, .type = 1, .sub = 1, .session = 77, .code = 1},
                            joinFields({gbk::fromUtf8("爱丽丝"), "m3"})));
        if (!waitFor([&] {
                tick();
                return session().online;
            }))
            throw std::runtime_error("login did not complete");
        tick();
        if (expect(c).header.sub != 4) throw std::runtime_error("no roster request after login");
    }

    std::string ip;
    QTemporaryDir dir;
    std::string home;
    RecordingServices services;
    RecordingDesktop desktop;
    QtUdpSocket update;
    QtUdpSocket chat;
    FakeTimer timer;
    std::unique_ptr<app::Mainform> form;
    int unloadCount = 0;

  private:
    std::unique_ptr<ScriptedPeer> dispatcher_;
    std::unique_ptr<ScriptedPeer> chat_;
};

}  // namespace nq::test
