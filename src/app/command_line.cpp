#include "app/command_line.h"

#include <QCommandLineParser>

namespace nq::app {

namespace {

constexpr int kMaxTickMs = 60000;

QString optionName(const QString& name) {
    return (name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + name;
}

}  // namespace

QString commandLineHelp() {
    return QStringLiteral(
        "usage: nqchat [--home DIR] [--trace] [--tick-ms N] [HALL-LINE]\n"
        "  --home DIR    program folder holding Sys.ini, User.ini and the per-user folders\n"
        "                (default: $NQCHAT_HOME, else the executable's folder when it holds\n"
        "                Sys.ini, else $XDG_DATA_HOME/nqchat)\n"
        "  --trace       print every datagram sent and received to stderr\n"
        "  --tick-ms N   interval of the session timer in ms (default 500); shorter compresses time\n"
        "  --version     the version, then exit\n"
        "  --help        this text\n"
        "HALL-LINE is what a game hall passes: name$digest$mode$ (logs in without a click).\n"
        "Exit status: 0 after a normal exit, 1 without a display, 2 for bad options or a missing\n"
        "program folder.\n");
}

CommandLine parseCommandLine(const QStringList& args) {
    QCommandLineParser parser;
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version(QStringLiteral("version"));
    const QCommandLineOption home(QStringLiteral("home"), QString(), QStringLiteral("DIR"));
    const QCommandLineOption trace(QStringLiteral("trace"));
    const QCommandLineOption tickMs(QStringLiteral("tick-ms"), QString(), QStringLiteral("N"));
    parser.addOptions({version, home, trace, tickMs});

    CommandLine line;
    if (!parser.parse(args)) {
        const QStringList unknown = parser.unknownOptionNames();
        if (!unknown.isEmpty()) {
            line.error = QStringLiteral("unknown option ") + optionName(unknown.first());
        } else if (!args.isEmpty() &&
                   (args.last() == QLatin1String("--home") || args.last() == QLatin1String("--tick-ms"))) {
            line.error = args.last() + QStringLiteral(" needs a value");
        } else {
            line.error = parser.errorText();
        }
        return line;
    }
    if (parser.isSet(help)) {
        line.help = true;
        return line;
    }
    if (parser.isSet(version)) {
        line.version = true;
        return line;
    }
    line.trace = parser.isSet(trace);
    if (parser.isSet(home)) {
        line.home = parser.value(home).toLatin1().toStdString();
        if (line.home.empty()) {
            line.error = QStringLiteral("--home needs a folder");
            return line;
        }
    }
    if (parser.isSet(tickMs)) {
        bool ok = false;
        line.tickMs = parser.value(tickMs).toInt(&ok);
        if (!ok || line.tickMs < 1 || line.tickMs > kMaxTickMs) {
            line.error = QStringLiteral("--tick-ms takes 1 to %1 milliseconds, not \"%2\"")
                             .arg(kMaxTickMs)
                             .arg(parser.value(tickMs));
            return line;
        }
    }
    line.hallLine = parser.positionalArguments().join(QLatin1Char(' ')).toLatin1().toStdString();
    return line;
}

CommandLine parseCommandLine(int argc, char** argv) {
    QStringList args;
    for (int i = 0; i < argc; ++i) args << QString::fromLatin1(argv[i]);
    return parseCommandLine(args);
}

}  // namespace nq::app
