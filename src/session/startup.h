#pragma once
// The small text formats the client's start-up reads: the hall's line and the window position.

#include <optional>
#include <string>
#include <string_view>

#include "wire/gbk.h"

namespace nq {

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

}  // namespace nq
