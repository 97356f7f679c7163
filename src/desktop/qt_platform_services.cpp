#include "desktop/qt_platform_services.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QFile>
#include <QGuiApplication>
#include <QLibrary>
#include <QMessageBox>
#include <QProcess>
#include <QStringList>
#include <QUrl>

#include <cstdio>
#include <cstdlib>

#include "desktop/show_popup.h"

namespace nq {

namespace {

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
    // Offscreen nobody sees the box: a headless run (a script, a check of an installed package)
    // still learns what the client said, and that it now waits for an answer.
    if (QGuiApplication::platformName() == QLatin1String("offscreen"))
        std::fprintf(stderr, "nqchat: message box \"%s\": %s\n", title.c_str(), text.c_str());
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
    if (!soundLoaded_) {
        soundLoaded_ = true;
        // A build keeps the module beside nqchat; a package keeps it under the library folder.
        QString folder = soundModuleFolder_;
        if (folder.isEmpty()) {
            folder = QCoreApplication::applicationDirPath();
            if (!QFile::exists(folder + QLatin1Char('/') + QLatin1String(kSoundModuleName)))
                folder += QLatin1String("/" NQ_SOUND_MODULE_RELDIR);
        }
        QLibrary module(folder + QLatin1Char('/') + QLatin1String(kSoundModuleName));
        play_ = reinterpret_cast<PlaySoundFunction>(module.resolve(kPlaySoundSymbol));
        // Without the module the program stays silent; saying so once is enough.
        if (!play_) std::fprintf(stderr, "nqchat: no sound: %s\n", qPrintable(module.errorString()));
    }
    if (!play_) return;
    QString file = fromUtf8(path);
    file.replace(QLatin1Char('\\'), QLatin1Char('/'));
    play_(sounds_, file);
}

int QtPlatformServices::soundsPlaying() const {
    return static_cast<int>(sounds_->children().size());
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
    std::fflush(stdout);
    std::fflush(stderr);
    std::_Exit(code);
}

void QtPlatformServices::showToast(const std::string& text, int milliseconds, const std::string& soundPath) {
    int error = 0;
    ShowPopup(toasts_, mainWindow_.data(), fromUtf8(text), milliseconds, fromUtf8(soundPath), &error);
}

}  // namespace nq
