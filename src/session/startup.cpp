#include "session/startup.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "wire/fields.h"

namespace nq {

AppOptions parseAppOptions(const std::vector<std::string>& args) {
    AppOptions o;
    std::string rest;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&](const char* name) -> std::optional<std::string> {
            if (i + 1 >= args.size()) {
                o.error = std::string(name) + " needs a value";
                return std::nullopt;
            }
            return args[++i];
        };
        if (a == "--home") {
            if (auto v = value("--home")) o.home = *v;
        } else if (a.rfind("--home=", 0) == 0) {
            o.home = a.substr(7);
        } else if (a == "--trace") {
            o.trace = true;
        } else if (a == "--tick-ms") {
            if (auto v = value("--tick-ms")) {
                o.tickMs = static_cast<int>(toNumber(*v));
                if (o.tickMs < 1 || o.tickMs > 60000) o.error = "--tick-ms takes 1 to 60000 milliseconds";
            }
        } else if (a == "--help" || a == "-h") {
            o.help = true;
        } else {
            if (!rest.empty()) rest += ' ';
            rest += a;
        }
        if (!o.error.empty()) return o;
    }
    if (o.home.empty() && std::find(args.begin(), args.end(), "--home") != args.end() && o.error.empty())
        o.error = "--home needs a folder";
    o.rest = rest;
    return o;
}

std::string resolveProgramFolder(const std::string& homeOption, const char* envHome,
                                 const std::string& exeDir) {
    if (!homeOption.empty()) return homeOption;
    if (envHome && *envHome) return envHome;
    return exeDir;
}

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

namespace {
std::tm localParts(long long secs) {
    const std::time_t t = static_cast<std::time_t>(secs);
    std::tm tm{};
    localtime_r(&t, &tm);
    return tm;
}
}  // namespace

std::string formatDateTime(long long secs) {
    const std::tm tm = localParts(secs);
    char buf[48];
    std::snprintf(buf, sizeof buf, "%d-%d-%d %02d:%02d:%02d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,
                  tm.tm_hour, tm.tm_min, tm.tm_sec);
    return buf;
}

std::string formatTimeOfDay(long long secs) {
    const std::tm tm = localParts(secs);
    char buf[16];
    std::snprintf(buf, sizeof buf, "%02d:%02d:%02d", tm.tm_hour, tm.tm_min, tm.tm_sec);
    return buf;
}

}  // namespace nq
