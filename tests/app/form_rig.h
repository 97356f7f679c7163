#pragma once
// A Mainform on a temporary program folder with recording services, a recording desktop, a
// timer that only the test ticks, and real loopback sockets towards a scripted dispatcher and
// chat server on a loopback address claimed for the rig alone.

#include <QApplication>
#include <QPushButton>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/desktop_bridge.h"
#include "app/login_frame.h"
#include "app/main_form.h"
#include "session/qt_transport.h"
#include "store/ini_file.h"
#include "store/store_keys.h"
#include "support/loopback.h"
#include "support/recording_services.h"
#include "support/recording_view.h"
#include "support/session_harness.h"
#include "support/temp_dir.h"
#include "wire/fields.h"
#include "wire/frame_kinds.h"
#include "wire/packet.h"

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
    void setTopMost(QWidget*, bool enable) override {
        calls.push_back(enable ? "topMost:on" : "topMost:off");
    }
    void applyStoredTransparency(QWidget*, const std::string& transValue) override {
        calls.push_back("transparency:" + transValue);
    }

    std::vector<std::string> calls;  // in the order they came
    std::function<void(TrayClick)> click;
    std::function<void()> onTrayAdd;
};

inline FrameHeader reply(FrameKind kind, uint16_t code, uint32_t session = 0) {
    return {.seq = 1, .type = kind.type, .sub = kind.sub, .session = session, .code = code};
}

class FormRig {
  public:
    static constexpr uint16_t kChatPort = 8000;

    FormRig()
        : ip(claimLoopbackAddress()), dispatcher(ip, Session::kDispatcherPort), chatServer(ip, kChatPort) {
        writeKey(keys::kSysFileName, keys::kServer, ip);
    }
    ~FormRig() {
        // Close any window a test opened besides the form, so that the next test starts bare.
        form.reset();
        for (QWidget* w : QApplication::topLevelWidgets()) w->close();
    }

    void writeKey(std::string_view file, std::string_view key, const std::string& value,
                  std::string_view section = keys::kSettingSection) {
        (void)CIniFile(dir.file(std::string(file))).WriteIniKey(section, key, gbk::fromUtf8(value));
    }
    std::string readKey(std::string_view key, std::string_view section = keys::kSettingSection) {
        return gbk::toUtf8(CIniFile(dir.file(std::string(keys::kUserFileName))).GetIniKey(section, key));
    }
    std::string position() { return readKey(keys::kMainForm, keys::kPositionSection); }

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
    void tick(int n = 1) {
        for (int i = 0; i < n; ++i) {
            session().tick();
            QCoreApplication::processEvents();
        }
    }
    OwnedFrame expect(ScriptedPeer& peer) { return expectFrame(peer); }

    // Through the login panel as a user: type, click, then the dispatcher redirects and the
    // chat server accepts. Ends online with the roster request taken off the wire.
    void login() {
        app::LoginFrame& f = form->loginFrame();
        f.txtName->setText("alice");
        f.txtPassword->setText("123456");
        f.com_login->click();
        tick();
        expect(dispatcher);
        dispatcher.reply(encodeFrame(reply(kind::kLogin, code::kGoToChatServer),
                                     joinFields({ip, std::to_string(kChatPort)})));
        if (!waitFor([&] { return session().waitLogin; })) throw std::runtime_error("no redirect");
        tick();
        expect(chatServer);
        chatServer.reply(encodeFrame(reply(kind::kLogin, code::kLoginAccepted, 77),
                                     joinFields({gbk::fromUtf8("爱丽丝"), "m3"})));
        if (!waitFor([&] {
                tick();
                return session().online;
            }))
            throw std::runtime_error("login did not complete");
        tick();
        const FrameHeader h = expect(chatServer).header;
        if (FrameKind{h.type, h.sub} != kind::kFriendRoster)
            throw std::runtime_error("no roster request after login");
    }

    TempDir dir;
    std::string ip;
    ScriptedPeer dispatcher;  // listening from the start, so that nothing the form sends is lost
    ScriptedPeer chatServer;
    RecordingServices services;
    RecordingDesktop desktop;
    QtUdpSocket update;
    QtUdpSocket chat;
    FakeTimer timer;
    std::unique_ptr<app::Mainform> form;
    int unloadCount = 0;
};

}  // namespace nq::test
