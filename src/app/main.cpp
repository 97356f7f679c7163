// nqchat: the client. Our own options come first off the command line; whatever remains is the
// line a game hall passes to log a member in ("name$digest$mode$").

#include <QApplication>
#include <QFont>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "app/main_form.h"
#include "app/signal_bridge.h"
#include "session/startup.h"

namespace {

constexpr const char* kUsage =
    "usage: nqchat [--home DIR] [--trace] [--tick-ms N] [HALL-LINE]\n"
    "  --home DIR    program folder holding Sys.ini, User.ini and the per-user folders\n"
    "                (default: $NQCHAT_HOME, else the folder of the executable)\n"
    "  --trace       print every datagram sent and received to stderr\n"
    "  --tick-ms N   interval of the session timer in ms (default 500); shorter compresses time\n"
    "  --help        this text\n"
    "HALL-LINE is what a game hall passes: name$digest$mode$ (logs in without a click).\n"
    "Exit status: 0 after a normal exit, 1 without a display, 2 for bad options or a missing\n"
    "program folder.\n";

// The folder of the running executable, the last fallback for the program folder.
std::string executableFolder() {
    std::error_code ec;
    const std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    return ec ? std::string(".") : exe.parent_path().string();
}

// Qt aborts with a long story when it finds no display; say it in one line instead.
bool displayAvailable(int argc, char** argv) {
    for (const char* var : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
        if (const char* v = std::getenv(var); v && *v) return true;
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], "-platform") == 0 || std::strcmp(argv[i], "--platform") == 0) return true;
    return false;
}

std::vector<std::string> argsOf(int argc, char** argv) {
    std::vector<std::string> out;
    for (int i = 1; i < argc; ++i) out.emplace_back(argv[i]);
    return out;
}

// The IM's Chinese captions need a CJK font; WenQuanYi Micro Hei is the one we install. The
// family is named, not looked up: listing the font database first costs the start about 5 ms,
// and an absent family falls back through fontconfig all the same.
void chooseFont(QApplication& app) {
    QFont f("WenQuanYi Micro Hei");
    f.setPointSize(10);
    app.setFont(f);
}

}  // namespace

int main(int argc, char** argv) {
    // Checked before Qt starts, so that --help and mistakes need no display.
    std::string folder;
    {
        const nq::AppOptions early = nq::parseAppOptions(argsOf(argc, argv));
        if (early.help) {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (!early.error.empty()) {
            std::fprintf(stderr, "nqchat: %s\n%s", early.error.c_str(), kUsage);
            return 2;
        }
        folder = nq::resolveProgramFolder(early.home, std::getenv("NQCHAT_HOME"), executableFolder());
        if (!std::filesystem::is_directory(folder)) {
            std::fprintf(stderr, "nqchat: the program folder %s does not exist or is not a folder\n",
                         folder.c_str());
            return 2;
        }
        if (!displayAvailable(argc, argv)) {
            std::fputs(
                "nqchat: no display: set DISPLAY, run under xvfb-run, or set QT_QPA_PLATFORM=offscreen\n",
                stderr);
            return 1;
        }
    }

    QApplication app(argc, argv);
    QApplication::setApplicationName("nqchat");
    // The window hides to the tray while logged in, and toasts come and go: the program ends
    // when the main window unloads, never because no window happens to be visible.
    QApplication::setQuitOnLastWindowClosed(false);
    chooseFont(app);

    // Qt has taken its own options (-platform, -style ...) out of argv by now; what is left is
    // ours and the hall's line, which never starts with "--": such a word is a mistyped option.
    const nq::AppOptions options = nq::parseAppOptions(argsOf(argc, argv));
    if (options.rest.rfind("--", 0) == 0) {
        std::fprintf(stderr, "nqchat: unknown option %s\n%s",
                     options.rest.substr(0, options.rest.find(' ')).c_str(), kUsage);
        return 2;
    }

    nq::app::MainformOptions formOptions;
    formOptions.programFolder = std::filesystem::absolute(folder).lexically_normal().string();
    formOptions.tickMs = options.tickMs;
    formOptions.trace = options.trace;

    nq::app::Mainform form(formOptions);
    QObject::connect(&form, &nq::app::Mainform::unloaded, &app, &QCoreApplication::quit,
                     Qt::QueuedConnection);
    nq::app::SignalBridge terminator;
    QObject::connect(&terminator, &nq::app::SignalBridge::terminateRequested, &form,
                     &nq::app::Mainform::exitProgram);

    form.load(options.rest);
    form.show();
    return app.exec();
}
