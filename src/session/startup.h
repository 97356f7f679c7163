#pragma once
// The client's command line and the small text formats its start-up reads.

#include <optional>
#include <string>
#include <vector>

#include "wire/gbk.h"

namespace nq {

// Our own options come off the command line first; what remains is the line the game hall
// passes ("name$digest$mode$"), joined with blanks.
struct AppOptions {
    std::string home;    // --home DIR
    bool trace = false;  // --trace
    int tickMs = 500;    // --tick-ms N, for time-compressed end-to-end runs
    std::string rest;    // the hall's command line, untrimmed
    std::string error;   // non-empty when the options were bad
    bool help = false;
};
AppOptions parseAppOptions(const std::vector<std::string>& args);

// The program folder: --home, else $NQCHAT_HOME, else the executable's folder.
std::string resolveProgramFolder(const std::string& homeOption, const char* envHome,
                                 const std::string& exeDir);

// Three fields cut off the trimmed line, each closed by "$": name, digest, hall command.
// A missing "$" leaves the field empty. An empty line is no hall start.
struct HallStart {
    Bytes name;
    Bytes digest;
    int command = 0;
};
std::optional<HallStart> parseHallLine(std::string_view line);

// A window position "left,top," in twips; applied only when left is above 0.
struct TwipsPosition {
    double left = 0;
    double top = 0;
};
std::optional<TwipsPosition> parsePosition(std::string_view value);
std::string formatPosition(double left, double top);

// Date and time as bodies and chat headers carry them: "2006-5-1 12:30:07" and "12:30:07".
// The date deliberately has no "/", which would split the time field of a chat body.
std::string formatDateTime(long long secondsSinceEpoch);
std::string formatTimeOfDay(long long secondsSinceEpoch);

}  // namespace nq
