#pragma once
// A user's whole client in the test process for the end-to-end tests: the main window offscreen
// with real sockets and tick, recording services, the stock faces, logged in against the server
// at `ip`. Time runs at kE2eTickMs.

#include <QDir>
#include <QFile>
#include <memory>

#include "app/chat_windows.h"
#include "app/frm_chat.h"
#include "app/login_frame.h"
#include "conversation/chat_manager.h"
#include "form_rig.h"
#include "session/qt_transport.h"
#include "support/demo_server.h"

namespace nq::test {

inline constexpr int kE2eTickMs = 50;

// One user's whole client with the stock faces, logged in.
struct E2eClient {
    // With a start line the client logs in by it, as a game hall starts it; else by the panel.
    E2eClient(const TempDir& tmp, const QString& ip, const char* name, const std::string& startLine = "")
        : account(name), home(QString::fromStdString(tmp.file(name))) {
        EXPECT_TRUE(QDir().mkpath(home));
        writeCrlf(home + "/Sys.ini", {"[Setting]", "Ver=1.0", "Server=" + ip});
        EXPECT_TRUE(QFile::link(NQ_ASSETS_DIR "/face", home + "/face"));
        EXPECT_TRUE(QFile::copy(NQ_ASSETS_DIR "/keywords.kwd", home + "/keywords.kwd"));
        timer = std::make_unique<QtTimer>(kE2eTickMs, [this] { form->session().tick(); });
        form = std::make_unique<app::Mainform>(app::MainformOptions{home.toStdString(), kE2eTickMs},
                                               app::MainformParts{services, update, chat, *timer, desktop});
        form->load(startLine);
        form->show();
        if (!startLine.empty()) return;
        form->loginFrame().txtName->setText(name);
        form->loginFrame().txtPassword->setText("123456");
        form->loginFrame().com_login->click();
    }
    ~E2eClient() { form.reset(); }

    app::frmChat* window(const char* captionUtf8) const {
        return form->chatWindows().find(gbk::fromUtf8(captionUtf8));
    }
    QByteArray record() const {
        QFile f(home + "/" + account + "/revMsg.nq");
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }
    ChatManager& chats() const { return form->chats(); }

    QString account;
    QString home;
    RecordingServices services;
    RecordingDesktop desktop;
    QtUdpSocket update, chat;
    std::unique_ptr<QtTimer> timer;
    std::unique_ptr<app::Mainform> form;
};

inline bool toasted(const RecordingServices& s, const std::string& text) {
    for (const auto& t : s.toasts)
        if (t.text == text) return true;
    return false;
}

}  // namespace nq::test
