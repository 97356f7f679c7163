#include "desktop/tray.h"

#include <QCoreApplication>
#include <QSystemTrayIcon>
#include <QWidget>

#include <algorithm>
#include <utility>

#include "wire/gbk.h"

// Resources of a static library are registered by hand before first use.
static void initDesktopResources() {
    Q_INIT_RESOURCE(desktop);
}

namespace nq {

std::int16_t TrayIconState = 2;

namespace {

struct TrayModule {
    TrayRecord record;
    QPointer<QSystemTrayIcon> icon;  // owned by the application object
    std::function<void(TrayClick)> onClick;
};

TrayModule& tray() {
    static TrayModule module;
    return module;
}

QIcon iconFromResources(const char* small, const char* large) {
    static const bool registered = [] {
        initDesktopResources();
        return true;
    }();
    (void)registered;
    // Built on each call: a QIcon kept in static storage would outlive the application.
    QIcon icon;
    icon.addFile(QString::fromLatin1(small), QSize(16, 16));
    icon.addFile(QString::fromLatin1(large), QSize(32, 32));
    return icon;
}

void ensureIcon() {
    TrayModule& t = tray();
    if (t.icon) return;
    t.icon = new QSystemTrayIcon(QCoreApplication::instance());
    QObject::connect(t.icon.data(), &QSystemTrayIcon::activated, [](QSystemTrayIcon::ActivationReason why) {
        const auto& handler = tray().onClick;
        if (!handler) return;
        if (why == QSystemTrayIcon::Trigger || why == QSystemTrayIcon::DoubleClick) handler(TrayClick::Left);
        if (why == QSystemTrayIcon::Context) handler(TrayClick::Right);
    });
}

}  // namespace

QByteArray trayTipBytes(const QString& tip) {
    const Bytes gbk = gbk::fromUtf8(tip.toStdString());
    size_t cut = 0;
    while (cut < gbk.size()) {
        // The protocol's rule: a byte from 0x80 up opens a two-byte character.
        const size_t length = static_cast<unsigned char>(gbk[cut]) >= 0x80 ? 2 : 1;
        if (cut + length > static_cast<size_t>(kTrayTipBytes)) break;
        cut += length;
    }
    return QByteArray(gbk.data(), static_cast<qsizetype>(std::min(cut, gbk.size())));
}

void TrayAdd(QWidget* mainWindow, const QString& tip) {
    TrayModule& t = tray();
    ensureIcon();
    t.record.window = mainWindow;
    t.record.tipGbk = trayTipBytes(tip);
    t.record.tip = QString::fromStdString(gbk::toUtf8(t.record.tipGbk.toStdString()));
    t.record.picture = TrayPicture::MainWindowIcon;
    t.record.icon = mainWindow != nullptr ? mainWindow->windowIcon() : QIcon();
    t.record.added = true;
    t.icon->setIcon(t.record.icon);
    t.icon->setToolTip(t.record.tip);
    t.icon->show();
}

void TrayRemove() {
    TrayModule& t = tray();
    t.record.added = false;
    if (t.icon) {
        t.icon->hide();
        delete t.icon.data();
    }
}

void TraySetIcon(QWidget* mainWindow) {
    TrayModule& t = tray();
    switch (TrayIconState) {
        case 0:
            t.record.picture = TrayPicture::None;
            t.record.icon = QIcon();
            break;
        case 1:
            t.record.picture = TrayPicture::MainWindowIcon;
            t.record.icon = mainWindow != nullptr ? mainWindow->windowIcon() : QIcon();
            break;
        case 2:
            t.record.picture = TrayPicture::NotLoggedIn;
            t.record.icon = notLoggedInIcon();
            break;
        default:
            return;
    }
    // Changing the picture of an icon that is not in the notification area shows nothing.
    if (t.record.added && t.icon) t.icon->setIcon(t.record.icon);
}

const TrayRecord& trayRecord() {
    return tray().record;
}

QSystemTrayIcon* trayIcon() {
    return tray().icon.data();
}

void setTrayClickHandler(std::function<void(TrayClick)> handler) {
    tray().onClick = std::move(handler);
}

QIcon appIcon() {
    return iconFromResources(":/nq/image/nqchat16.png", ":/nq/image/nqchat32.png");
}

QIcon notLoggedInIcon() {
    return iconFromResources(":/nq/image/offline16.png", ":/nq/image/offline32.png");
}

}  // namespace nq
