#include "desktop/portal_hotkey_grabber.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>

#include "desktop/hotkey_text.h"

namespace nq {

QDBusArgument& operator<<(QDBusArgument& out, const PortalShortcut& shortcut) {
    out.beginStructure();
    out << shortcut.id << shortcut.properties;
    out.endStructure();
    return out;
}

const QDBusArgument& operator>>(const QDBusArgument& in, PortalShortcut& shortcut) {
    in.beginStructure();
    in >> shortcut.id >> shortcut.properties;
    in.endStructure();
    return in;
}

void PortalHotkeyGrabber::registerTypes() {
    static const bool done = [] {
        qDBusRegisterMetaType<PortalShortcut>();
        qDBusRegisterMetaType<PortalShortcutList>();
        return true;
    }();
    (void)done;
}

bool PortalHotkeyGrabber::available(const QDBusConnection& bus) {
    if (!bus.isConnected()) return false;
    QDBusMessage get =
        QDBusMessage::createMethodCall(kService, kPath, "org.freedesktop.DBus.Properties", "Get");
    get << QString::fromLatin1(kInterface) << QStringLiteral("version");
    // A portal without the interface answers with an error; an absent portal may first be
    // started by the bus, which the timeout (milliseconds) allows for.
    const QDBusMessage reply = bus.call(get, QDBus::Block, 5000);
    return reply.type() == QDBusMessage::ReplyMessage;
}

PortalHotkeyGrabber::PortalHotkeyGrabber(QDBusConnection bus, QObject* parent) : QObject(parent), bus_(bus) {
    registerTypes();
    bus_.connect(kService, kPath, kInterface, "Activated", this, SLOT(activated(QDBusMessage)));
    const QString token = QStringLiteral("nqchat_%1").arg(++tokens_);
    bus_.connect(kService, requestPath(token), kRequestInterface, "Response", this,
                 SLOT(sessionCreated(uint, QVariantMap)));
    QDBusMessage create = QDBusMessage::createMethodCall(kService, kPath, kInterface, "CreateSession");
    create << QVariantMap{{"handle_token", token}, {"session_handle_token", QStringLiteral("nqchat")}};
    bus_.call(create, QDBus::NoBlock);
}

QString PortalHotkeyGrabber::requestPath(const QString& token) const {
    // The caller's unique name without its colon, dots as underscores (":1.42" -> "1_42").
    QString sender = bus_.baseService();
    sender.remove(0, 1).replace('.', '_');
    return QStringLiteral("%1/request/%2/%3").arg(QLatin1String(kPath), sender, token);
}

void PortalHotkeyGrabber::sessionCreated(uint response, const QVariantMap& results) {
    // 0 is success; the user's refusal (1) or a failure (2) leaves the hotkey without effect.
    if (response != 0 || !session_.isEmpty()) return;
    const QVariant handle = results.value("session_handle");
    // The portal's documents call it a string; some portals send an object path.
    session_ = handle.userType() == qMetaTypeId<QDBusObjectPath>() ? handle.value<QDBusObjectPath>().path()
                                                                   : handle.toString();
    if (!session_.isEmpty() && !registrations_.empty()) bind();
}

void PortalHotkeyGrabber::RegisterHotKey(int id, std::uint16_t mask, int virtualKey) {
    const QString trigger = QString::fromStdString(portalTrigger({mask, virtualKey}));
    if (trigger.isEmpty()) return;
    for (const Registration& r : registrations_)
        if (r.id == id && r.mask == mask && r.virtualKey == virtualKey) return;
    registrations_.push_back(
        {id, mask, virtualKey, QStringLiteral("nqchat-%1-%2-%3").arg(id).arg(mask).arg(virtualKey), trigger});
    bind();
}

void PortalHotkeyGrabber::UnregisterHotKey(int id) {
    if (std::erase_if(registrations_, [id](const Registration& r) { return r.id == id; }) > 0) bind();
}

// The portal takes the whole list each time: what is left out of it is let go.
void PortalHotkeyGrabber::bind() {
    if (session_.isEmpty()) return;
    PortalShortcutList shortcuts;
    for (const Registration& r : registrations_)
        shortcuts.push_back({r.shortcutId,
                             {{"description", QStringLiteral("珀岚聊天：取出等待的消息")},
                              {"preferred_trigger", r.trigger}}});
    QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kInterface, "BindShortcuts");
    call << QVariant::fromValue(QDBusObjectPath(session_)) << QVariant::fromValue(shortcuts) << QString()
         << QVariantMap{{"handle_token", QStringLiteral("nqchat_%1").arg(++tokens_)}};
    bus_.call(call, QDBus::NoBlock);
}

// Activated(o session_handle, s shortcut_id, t timestamp, a{sv} options).
void PortalHotkeyGrabber::activated(const QDBusMessage& signal) {
    const QVariantList args = signal.arguments();
    if (args.size() < 2 || args[0].value<QDBusObjectPath>().path() != session_) return;
    const QString shortcutId = args[1].toString();
    // Copied: the handler may register or unregister keys.
    const std::vector<Registration> registrations = registrations_;
    for (const Registration& r : registrations)
        if (r.shortcutId == shortcutId && handler_) handler_(r.id);
}

}  // namespace nq
