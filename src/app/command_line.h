#pragma once
// nqchat's own options, read once by QCommandLineParser from the arguments the application
// object has left (Qt's -platform, -style ... are gone by then). What is not an option is the
// line a game hall passes ("name$digest$mode$"), joined with blanks.

#include <QString>
#include <QStringList>
#include <string>

namespace nq::app {

struct CommandLine {
    bool help = false;
    bool version = false;  // --version
    QString error;         // empty when the options were good
    std::string home;      // --home DIR, as the bytes given
    bool trace = false;    // --trace
    int tickMs = 500;      // --tick-ms N, for time-compressed end-to-end runs
    std::string hallLine;  // the rest, as the bytes given
};

// args as QCoreApplication would list them, argv[0] first, each argument's bytes as Latin-1
// characters so that paths and the hall line come back byte for byte whatever their encoding.
[[nodiscard]] CommandLine parseCommandLine(const QStringList& args);

// The same from the argv that the application object has already cleaned of Qt's options.
[[nodiscard]] CommandLine parseCommandLine(int argc, char** argv);

// What --help prints.
[[nodiscard]] QString commandLineHelp();

}  // namespace nq::app
