// The portal hotkey against a fake GlobalShortcuts portal on a private bus of its own.

#include <gtest/gtest.h>

#include <QDBusMessage>
#include <QMutex>
#include <QProcess>
#include <QThread>
#include <QTimer>

#include "desktop/global_hotkey.h"
#include "desktop/portal_hotkey_grabber.h"
#include "support/event_loop.h"

namespace nq::test {
namespace {

constexpr const char* kSession = "/org/freedesktop/portal/desktop/session/1_1/nqchat";

// Answers every request at once, keeps each bound list, and lets the test press a shortcut. It
// lives in a thread of its own: the client's blocking calls must not wait on their own thread.
class FakePortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.GlobalShortcuts")
    Q_PROPERTY(uint version READ version)
  public:
    explicit FakePortal(QDBusConnection bus) : bus_(bus) {}
    uint version() const { return 1; }
    void press(const QString& session, const QString& id) {
        QDBusMessage m = QDBusMessage::createSignal(PortalHotkeyGrabber::kPath,
                                                    PortalHotkeyGrabber::kInterface, "Activated");
        m << QVariant::fromValue(QDBusObjectPath(session)) << id << qulonglong(1) << QVariantMap();
        bus_.send(m);
    }
    std::vector<PortalShortcutList> bound() const {
        QMutexLocker lock(&mutex_);
        return bound_;
    }

  public slots:
    QDBusObjectPath CreateSession(const QVariantMap& options, const QDBusMessage& call) {
        return respond(call, options, {{"session_handle", QString(kSession)}});
    }
    // The full name: Qt D-Bus looks the parameter types up by the names moc records.
    QDBusObjectPath BindShortcuts(const QDBusObjectPath&, const QList<nq::PortalShortcut>& shortcuts,
                                  const QString&, const QVariantMap& options, const QDBusMessage& call) {
        QMutexLocker lock(&mutex_);
        bound_.push_back(shortcuts);
        return respond(call, options, {});
    }

  private:
    QDBusObjectPath respond(const QDBusMessage& call, const QVariantMap& options,
                            const QVariantMap& results) {
        const QString path = QString("%1/request/%2/%3")
                                 .arg(PortalHotkeyGrabber::kPath, call.service().mid(1).replace('.', '_'),
                                      options.value("handle_token").toString());
        QTimer::singleShot(0, this, [this, path, results] {
            QDBusMessage m =
                QDBusMessage::createSignal(path, PortalHotkeyGrabber::kRequestInterface, "Response");
            m << 0u << results;
            bus_.send(m);
        });
        return QDBusObjectPath(path);
    }
    QDBusConnection bus_;
    mutable QMutex mutex_;
    std::vector<PortalShortcutList> bound_;
};

TEST(PortalHotkey, BindsEveryKeyOfAddDelAddAndAPressFetches) {
    QProcess daemon;
    daemon.start("dbus-daemon", {"--session", "--nofork", "--print-address=1"});
    ASSERT_TRUE(daemon.waitForReadyRead(10000)) << "dbus-daemon did not start";
    const QString address = QString::fromUtf8(daemon.readLine()).trimmed();
    QDBusConnection portalBus = QDBusConnection::connectToBus(address, "fake-portal");
    QDBusConnection clientBus = QDBusConnection::connectToBus(address, "client");
    EXPECT_FALSE(PortalHotkeyGrabber::available(clientBus)) << "no portal on the bus yet";

    PortalHotkeyGrabber::registerTypes();
    QThread thread;
    FakePortal portal(portalBus);
    portal.moveToThread(&thread);
    thread.start();
    const std::unique_ptr<QThread, void (*)(QThread*)> stop(&thread, [](QThread* t) {
        t->quit();
        t->wait();
    });
    ASSERT_TRUE(
        portalBus.registerObject(PortalHotkeyGrabber::kPath, &portal,
                                 QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties));
    ASSERT_TRUE(portalBus.registerService(PortalHotkeyGrabber::kService));
    EXPECT_TRUE(PortalHotkeyGrabber::available(clientBus));

    auto grabber = std::make_unique<PortalHotkeyGrabber>(clientBus);
    PortalHotkeyGrabber& g = *grabber;
    GlobalHotkey hotkey(std::move(grabber));
    int fetches = 0;
    QObject::connect(&hotkey, &GlobalHotkey::fetchRequested, [&] { ++fetches; });
    hotkey.ApplyHotkey(1, "Ctrl+Alt,81", "Add");  // before the session exists: bound when it does
    ASSERT_TRUE(waitUntil([&] { return portal.bound().size() == 1; }));
    EXPECT_EQ(g.sessionHandle(), kSession);
    hotkey.ApplyHotkey(1, "Ctrl+Alt,81", "Del");
    hotkey.ApplyHotkey(1, "Shift,123", "Add");
    ASSERT_TRUE(waitUntil([&] { return portal.bound().size() == 2; }));
    const PortalShortcutList both = portal.bound().back();
    ASSERT_EQ(both.size(), 2) << "Del leaves the first key bound";
    EXPECT_EQ(both[0].id, "nqchat-1-3-81");
    EXPECT_EQ(both[0].properties.value("preferred_trigger").toString(), "CTRL+ALT+q");
    EXPECT_EQ(both[1].properties.value("preferred_trigger").toString(), "SHIFT+F12");

    portal.press("/elsewhere", "nqchat-1-3-81");
    portal.press(kSession, "nqchat-1-3-81");
    EXPECT_TRUE(waitUntil([&] { return fetches == 1; }));
    portal.press(kSession, "nqchat-1-4-123");
    EXPECT_TRUE(waitUntil([&] { return fetches == 2; }));
    daemon.kill();
    daemon.waitForFinished();
}

}  // namespace
}  // namespace nq::test

#include "portal_hotkey_test.moc"
