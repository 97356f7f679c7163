// Opens two toasts, one that goes away by itself and one that waits for Ok, and ends after
// the first has gone: a way to look at them on a real screen.
//   toast_demo [sound file]

#include <QApplication>
#include <QTimer>

#include "desktop/qt_platform_services.h"
#include "desktop/show_popup.h"
#include "desktop/tray.h"

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setWindowIcon(nq::appIcon());
    const QString sound = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString();

    nq::QtPlatformServices services;
    nq::ShowPopup(services.toasts(), nullptr, QStringLiteral("您的好友 小溪 已经将您加为好友。"), 8000,
                  sound);
    QTimer::singleShot(600, [&] {
        nq::ShowPopup(services.toasts(), nullptr,
                      QStringLiteral("您已成功加入 山庄「江南茶馆」，现在可以开始聊天了。"), 0, sound);
    });
    QTimer::singleShot(14000, &app, &QApplication::quit);
    return QApplication::exec();
}
