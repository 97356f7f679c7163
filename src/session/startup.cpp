#include "session/startup.h"

#include <cstdio>

#include "wire/fields.h"

namespace nq {

std::optional<HallStart> parseHallLine(std::string_view line) {
    while (!line.empty() && line.front() == ' ') line.remove_prefix(1);
    while (!line.empty() && line.back() == ' ') line.remove_suffix(1);
    if (line.empty()) return std::nullopt;
    auto cut = [&line]() -> std::string_view {
        const size_t d = line.find('$');
        if (d == std::string_view::npos) return {};
        std::string_view f = line.substr(0, d);
        line.remove_prefix(d + 1);
        return f;
    };
    HallStart h;
    h.name = Bytes(cut());
    h.digest = Bytes(cut());
    h.command = static_cast<int>(toNumber(cut()));
    return h;
}

std::optional<TwipsPosition> parsePosition(std::string_view value) {
    const size_t c1 = value.find(',');
    if (c1 == std::string_view::npos) return std::nullopt;
    const size_t c2 = value.find(',', c1 + 1);
    TwipsPosition p;
    p.left = toNumber(value.substr(0, c1));
    p.top =
        toNumber(value.substr(c1 + 1, c2 == std::string_view::npos ? std::string_view::npos : c2 - c1 - 1));
    if (!(p.left > 0)) return std::nullopt;
    return p;
}

std::string formatPosition(double left, double top) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%g,%g,", left, top);
    return buf;
}

}  // namespace nq
