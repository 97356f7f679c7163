#include "desktop/qt_platform_services.h"

#include <QDesktopServices>
#include <QMessageBox>
#include <QProcess>
#include <QSoundEffect>
#include <QStringList>
#include <QTimer>
#include <QUrl>

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "desktop/show_popup.h"

namespace nq {

namespace {

constexpr int kSoundLifetimeMs = 30000;

QString fromUtf8(const std::string& text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QMessageBox::Icon boxIcon(BoxIcon icon) {
    switch (icon) {
        case BoxIcon::Critical:
            return QMessageBox::Critical;
        case BoxIcon::Exclamation:
            return QMessageBox::Warning;
        case BoxIcon::Information:
            return QMessageBox::Information;
        case BoxIcon::Question:
            return QMessageBox::Question;
        case BoxIcon::None:
            break;
    }
    return QMessageBox::NoIcon;
}

}  // namespace

QtPlatformServices::QtPlatformServices() : sounds_(new QObject) {}

QtPlatformServices::~QtPlatformServices() {
    delete sounds_;
}

BoxAnswer QtPlatformServices::messageBox(const std::string& text, const std::string& title,
                                         BoxButtons buttons, BoxIcon icon) {
    QMessageBox box(boxIcon(icon), fromUtf8(title), fromUtf8(text),
                    buttons == BoxButtons::OkCancel ? QMessageBox::Ok | QMessageBox::Cancel : QMessageBox::Ok,
                    mainWindow_.data());
    box.setDefaultButton(QMessageBox::Ok);
    box.setWindowModality(Qt::ApplicationModal);
    const int answer = box.exec();
    return answer == QMessageBox::Ok ? BoxAnswer::Ok : BoxAnswer::Cancel;
}

void QtPlatformServices::playSound(const std::string& path) {
    if (path.empty()) return;
    QString file = fromUtf8(path);
    file.replace(QLatin1Char('\\'), QLatin1Char('/'));
    auto* effect = new QSoundEffect(sounds_);
    // The effect loads in the background; it plays when ready and goes away when done.
    QObject::connect(effect, &QSoundEffect::statusChanged, effect, [effect] {
        switch (effect->status()) {
            case QSoundEffect::Ready:
                if (!effect->isPlaying()) effect->play();
                break;
            case QSoundEffect::Error:
                effect->deleteLater();
                break;
            default:
                break;
        }
    });
    QObject::connect(effect, &QSoundEffect::playingChanged, effect, [effect] {
        if (!effect->isPlaying()) effect->deleteLater();
    });
    // Without a sound device an effect may neither finish nor fail; it is dropped after a
    // time no notification sound reaches.
    QTimer::singleShot(kSoundLifetimeMs, effect, &QObject::deleteLater);
    effect->setSource(QUrl::fromLocalFile(file));
}

int QtPlatformServices::soundsPlaying() const {
    int count = 0;
    for (QObject* child : sounds_->children()) count += qobject_cast<QSoundEffect*>(child) != nullptr;
    return count;
}

bool QtPlatformServices::startDetached(const std::string& program, const std::vector<std::string>& args) {
    QStringList arguments;
    for (const std::string& a : args) arguments << fromUtf8(a);
    return QProcess::startDetached(fromUtf8(program), arguments);
}

void QtPlatformServices::openUrl(const std::string& url) {
    QDesktopServices::openUrl(QUrl::fromUserInput(fromUtf8(url)));
}

std::chrono::system_clock::time_point QtPlatformServices::now() {
    return std::chrono::system_clock::now();
}

void QtPlatformServices::exitProcess(int code) {
    std::cout.flush();
    std::cerr.flush();
    std::fflush(stdout);
    std::fflush(stderr);
    std::_Exit(code);
}

void QtPlatformServices::showToast(const std::string& text, int milliseconds, const std::string& soundPath) {
    int error = 0;
    ShowPopup(*this, mainWindow_.data(), fromUtf8(text), milliseconds, fromUtf8(soundPath), &error);
}

}  // namespace nq
