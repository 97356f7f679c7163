#include "desktop/tray.h"

#include <QSystemTrayIcon>
#include <QWidget>

#include <algorithm>

#include "wire/gbk.h"

// Resources of a static library are registered by hand before first use.
static void initDesktopResources() {
    Q_INIT_RESOURCE(desktop);
}

namespace nq {

namespace {

QIcon iconFromResources(const char* small, const char* large) {
    // Registering twice would be harmless; once is enough.
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

}  // namespace

Tray::Tray(QObject* parent) : QObject(parent) {}

Tray::~Tray() {
    TrayRemove();
}

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

void Tray::TrayAdd(QWidget* mainWindow, const QString& tip) {
    if (!icon_) {
        icon_ = new QSystemTrayIcon(this);
        connect(icon_.data(), &QSystemTrayIcon::activated, this,
                [this](QSystemTrayIcon::ActivationReason why) {
                    if (why == QSystemTrayIcon::Trigger || why == QSystemTrayIcon::DoubleClick)
                        emit clicked(TrayClick::Left);
                    if (why == QSystemTrayIcon::Context) emit clicked(TrayClick::Right);
                });
    }
    record_.window = mainWindow;
    record_.tipGbk = trayTipBytes(tip);
    record_.tip = QString::fromStdString(gbk::toUtf8(record_.tipGbk.toStdString()));
    record_.picture = TrayPicture::MainWindowIcon;
    record_.icon = mainWindow != nullptr ? mainWindow->windowIcon() : QIcon();
    record_.added = true;
    icon_->setIcon(record_.icon);
    icon_->setToolTip(record_.tip);
    icon_->show();
}

QSystemTrayIcon* Tray::icon() const {
    return icon_.data();
}

void Tray::TrayRemove() {
    record_.added = false;
    if (icon_) {
        icon_->hide();
        delete icon_.data();
    }
}

void Tray::TraySetIcon(QWidget* mainWindow) {
    switch (TrayIconState) {
        case 0:
            record_.picture = TrayPicture::None;
            record_.icon = QIcon();
            break;
        case 1:
            record_.picture = TrayPicture::MainWindowIcon;
            record_.icon = mainWindow != nullptr ? mainWindow->windowIcon() : QIcon();
            break;
        case 2:
            record_.picture = TrayPicture::NotLoggedIn;
            record_.icon = notLoggedInIcon();
            break;
        default:
            return;
    }
    // Changing the picture of an icon that is not in the notification area shows nothing.
    if (record_.added && icon_) icon_->setIcon(record_.icon);
}

QIcon appIcon() {
    return iconFromResources(":/nq/image/nqchat16.png", ":/nq/image/nqchat32.png");
}

QIcon notLoggedInIcon() {
    return iconFromResources(":/nq/image/offline16.png", ":/nq/image/offline32.png");
}

}  // namespace nq
