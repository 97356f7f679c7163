// nqchat: the client. Our own options come off the command line; whatever remains is the line
// a game hall passes to log a member in ("name$digest$mode$").

#include <QApplication>
#include <QFont>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "app/command_line.h"
#include "app/main_form.h"
#include "app/program_folder.h"
#include "app/signal_bridge.h"
#include "desktop/hall_socket.h"
#include "desktop/tray.h"
#include "desktop/wayland_session.h"
#include "session/startup.h"

namespace {

// How long a second nqchat waits for the running one to take its start line.
constexpr int kHandOverMs = 3000;

// The folder of the running executable, the last fallback for the program folder.
std::string executableFolder() {
    std::error_code ec;
    const std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    return ec ? std::string(".") : exe.parent_path().string();
}

// Qt aborts with a long story when it finds no display. Without one the options are still read
// (by a core application, which needs none) so that --help and mistakes answer as usual.
bool platformArgument(int argc, char** argv) {
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], "-platform") == 0 || std::strcmp(argv[i], "--platform") == 0) return true;
    return false;
}

bool displayAvailable(int argc, char** argv) {
    for (const char* var : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
        if (const char* v = std::getenv(var); v && *v) return true;
    return platformArgument(argc, argv);
}

// The window's edge hiding, snapping and the toasts' corner need global positions, which only
// X11 gives: on a Wayland desktop the client runs through XWayland unless told otherwise.
void preferXWayland(int argc, char** argv) {
    const bool wayland = nq::waylandSession(std::getenv("WAYLAND_DISPLAY"), std::getenv("XDG_SESSION_TYPE"));
    if (!nq::chooseXWayland(wayland, std::getenv("DISPLAY"), std::getenv("QT_QPA_PLATFORM"),
                            platformArgument(argc, argv)))
        return;
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    std::fputs("nqchat: Wayland session: running through XWayland (QT_QPA_PLATFORM=wayland runs natively)\n",
               stderr);
}

// The IM's Chinese captions need a CJK font; WenQuanYi Micro Hei is the one we install. The
// family is named, not looked up: listing the font database first costs the start about 5 ms,
// and an absent family falls back through fontconfig all the same.
// Qt's own dialogs (the colour dialog, the buttons of a message box) speak the program's
// language, not the desktop's: everything else in it is Chinese. Without Debian's
// qt6-translations-l10n they stay English.
void installQtTranslation() {
    static QTranslator qtbase;
    if (qtbase.load(QLocale(QLocale::Chinese, QLocale::China), "qtbase", "_",
                    QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(&qtbase);
}

void chooseFont() {
    QFont f("WenQuanYi Micro Hei");
    f.setPointSize(10);
    QApplication::setFont(f);
}

}  // namespace

int main(int argc, char** argv) {
    preferXWayland(argc, argv);
    const bool gui = displayAvailable(argc, argv);
    // The application object takes Qt's own options (-platform, -style ...) out of argv before
    // ours are read.
    std::unique_ptr<QCoreApplication> app =
        gui ? std::make_unique<QApplication>(argc, argv) : std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication::setApplicationName("nqchat");

    const nq::app::CommandLine line = nq::app::parseCommandLine(argc, argv);
    if (line.help) {
        std::fputs(qPrintable(nq::app::commandLineHelp()), stdout);
        return 0;
    }
    if (line.version) {
        std::printf("nqchat %s\n", NQ_VERSION);
        return 0;
    }
    if (!line.error.isEmpty()) {
        std::fprintf(stderr, "nqchat: %s\n%s", qPrintable(line.error),
                     qPrintable(nq::app::commandLineHelp()));
        return 2;
    }
    const auto env = [](const char* name) {
        const char* v = std::getenv(name);
        return std::string(v ? v : "");
    };
    const nq::app::FolderChoice folders =
        nq::app::chooseFolders({line.home, env("NQCHAT_HOME"), executableFolder(), env("XDG_DATA_HOME"),
                                env("HOME"), NQ_INSTALLED_DATA_DIR},
                               [](const std::string& path) { return std::filesystem::exists(path); });
    if (const std::string error = nq::app::prepareProgramFolder(folders, NQ_SEED_SYS_INI); !error.empty()) {
        std::fprintf(stderr, "nqchat: %s\n", error.c_str());
        return 2;
    }
    const std::string& folder = folders.programFolder;
    if (!std::filesystem::is_directory(folder)) {
        std::fprintf(stderr, "nqchat: the program folder %s does not exist or is not a folder\n",
                     folder.c_str());
        return 2;
    }
    // A client of this program folder already runs: it takes the start line's wish, and this
    // process ends instead of logging the same member in twice.
    if (nq::parseHallLine(nq::gbk::fromUtf8(line.hallLine))) {
        const std::string socket = nq::hallSocketPathFor(folder);
        if (const auto answer = nq::sendHallRequest(socket, "start " + line.hallLine, kHandOverMs)) {
            if (*answer == "ok") return 0;
            std::fprintf(stderr, "nqchat: the running client refused the start line: %s\n", answer->c_str());
            return 1;
        }
    }
    if (!gui) {
        std::fputs("nqchat: no display: set DISPLAY, run under xvfb-run, or set QT_QPA_PLATFORM=offscreen\n",
                   stderr);
        return 1;
    }

    // The window hides to the tray while logged in, and toasts come and go: the program ends
    // when the main window unloads, never because no window happens to be visible.
    QApplication::setQuitOnLastWindowClosed(false);
    chooseFont();
    installQtTranslation();
    // Dialogs without a picture of their own (settings, profiles, the wizard) carry the program's.
    QApplication::setWindowIcon(nq::appIcon());

    nq::app::MainformOptions formOptions;
    formOptions.programFolder = std::filesystem::absolute(folder).lexically_normal().string();
    formOptions.assetFolder = std::filesystem::absolute(folders.assetFolder).lexically_normal().string();
    formOptions.tickMs = line.tickMs;
    formOptions.trace = line.trace;
    if (!line.home.empty())
        formOptions.homeArgument = std::filesystem::absolute(line.home).lexically_normal().string();

    nq::app::Mainform form(formOptions);
    QObject::connect(&form, &nq::app::Mainform::unloaded, app.get(), &QCoreApplication::quit,
                     Qt::QueuedConnection);
    nq::app::SignalBridge terminator;
    QObject::connect(&terminator, &nq::app::SignalBridge::terminateRequested, &form,
                     &nq::app::Mainform::exitProgram);

    form.load(line.hallLine);
    form.show();
    return QCoreApplication::exec();
}
