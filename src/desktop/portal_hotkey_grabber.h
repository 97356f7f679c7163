#pragma once
// Global hotkeys through the desktop's GlobalShortcuts portal, for Wayland sessions, where no
// program may grab keys for itself. The program holds one portal session for its life; each
// registration becomes one shortcut of that session, named after its identifier, mask and key,
// with the stored combination as the preferred trigger. The portal has the last word on the
// real trigger (it may ask the user); its Activated signal counts as a press.
//
// The registrations behave as the X11 grabs do: registering an identifier again keeps the
// earlier key beside the new one, unregistering drops every key of the identifier named, and a
// key the portal cannot name is dropped without a word.

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QList>
#include <QObject>
#include <QVariantMap>
#include <vector>

#include "desktop/hotkey_grabber.h"

namespace nq {

// One entry of the portal's shortcut list, (sa{sv}) on the bus.
struct PortalShortcut {
    QString id;
    QVariantMap properties;  // "description", "preferred_trigger"
};
using PortalShortcutList = QList<PortalShortcut>;

class PortalHotkeyGrabber final : public QObject, public HotkeyGrabber {
    Q_OBJECT
  public:
    static constexpr const char* kService = "org.freedesktop.portal.Desktop";
    static constexpr const char* kPath = "/org/freedesktop/portal/desktop";
    static constexpr const char* kInterface = "org.freedesktop.portal.GlobalShortcuts";
    static constexpr const char* kRequestInterface = "org.freedesktop.portal.Request";

    // Makes the (sa{sv}) list known to Qt D-Bus; the constructor calls it too.
    static void registerTypes();
    // Whether a portal on `bus` offers the GlobalShortcuts interface (a blocking call).
    static bool available(const QDBusConnection& bus);

    // Asks the portal for a session at once; registrations made before it answers are bound
    // when it does.
    explicit PortalHotkeyGrabber(QDBusConnection bus, QObject* parent = nullptr);

    void RegisterHotKey(int id, std::uint16_t mask, int virtualKey) override;
    void UnregisterHotKey(int id) override;
    void onPressed(std::function<void(int id)> handler) override { handler_ = std::move(handler); }

    [[nodiscard]] QString sessionHandle() const { return session_; }

  private slots:
    void sessionCreated(uint response, const QVariantMap& results);
    void activated(const QDBusMessage& signal);

  private:
    struct Registration {
        int id;
        std::uint16_t mask;
        int virtualKey;
        QString shortcutId;
        QString trigger;
    };
    // The path the portal will give the request of `token`, known before the call so that its
    // answer cannot arrive unheard.
    QString requestPath(const QString& token) const;
    void bind();

    QDBusConnection bus_;
    QString session_;
    int tokens_ = 0;
    std::vector<Registration> registrations_;
    std::function<void(int)> handler_;
};

}  // namespace nq

Q_DECLARE_METATYPE(nq::PortalShortcut)
