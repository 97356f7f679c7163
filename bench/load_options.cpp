#include "load_options.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace nq::bench {
namespace {

// A client sends at most this many messages a second here: the server takes 20 frames a second
// from one client (keep-alives included), so a higher rate would measure that limit instead.
constexpr double kMostPerClient = 10;
// Each chat server claims a loopback address of its own among 127.0.0.2 to .254.
constexpr int kMostServers = 16;

[[noreturn]] void refuse(const std::string& what) {
    throw LoadUsageError(what);
}

std::string shown(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", v);
    return buf;
}

double decimal(const std::string& option, const std::string& text, double low, double high) {
    errno = 0;
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || errno != 0 || !std::isfinite(v) || v < low || v > high)
        refuse(option + " takes a number from " + shown(low) + " to " + shown(high) + ", not \"" + text +
               "\"");
    return v;
}

int whole(const std::string& option, const std::string& text, long low, long high) {
    errno = 0;
    char* end = nullptr;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || v < low || v > high)
        refuse(option + " takes a whole number from " + std::to_string(low) + " to " + std::to_string(high) +
               ", not \"" + text + "\"");
    return static_cast<int>(v);
}

std::vector<double> rateList(const std::string& text) {
    std::vector<double> rates;
    size_t start = 0;
    for (;;) {
        const size_t comma = text.find(',', start);
        rates.push_back(decimal("--rate", text.substr(start, comma - start), 1, 1e7));
        if (comma == std::string::npos) return rates;
        start = comma + 1;
    }
}

Flood floodNamed(const std::string& f) {
    if (f == "none") return Flood::None;
    if (f == "badlogin") return Flood::BadLogin;
    if (f == "keepalive") return Flood::KeepAlive;
    if (f == "offline") return Flood::Offline;
    refuse("--flood is none, badlogin, keepalive or offline, not \"" + f + "\"");
}

}  // namespace

const char* loadUsage() {
    return "usage: bench_load [--clients N] [--seconds S] [--interval-ms MS | --rate R[,R...]]\n"
           "                  [--engine sqlite|postgresql] [--servers N] [--cross SHARE]\n"
           "                  [--p99-limit MS] [--nqserver PATH] [--pg-cluster SCRIPT] [--server-arg ARG]...\n"
           "                  [--flood none|badlogin|keepalive|offline] [--flood-rate DATAGRAMS_A_SECOND]\n";
}

LoadOptions parseLoadOptions(int argc, char** argv, LoadOptions o) {
    std::optional<int> servers;
    std::optional<double> cross;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= argc) refuse(a + " needs a value");
            return argv[++i];
        };
        if (a == "--clients")
            o.clients = whole(a, value(), 2, 1'000'000);
        else if (a == "--seconds")
            o.seconds = decimal(a, value(), 1, 3600);
        else if (a == "--interval-ms") {
            o.intervalMs = whole(a, value(), 1, 600'000);
            o.rates.clear();
        } else if (a == "--rate")
            o.rates = rateList(value());
        else if (a == "--engine") {
            const std::string e = value();
            if (e == "sqlite")
                o.engine = Engine::Sqlite;
            else if (e == "postgresql")
                o.engine = Engine::Postgresql;
            else
                refuse("--engine is sqlite or postgresql, not \"" + e + "\"");
        } else if (a == "--servers")
            servers = whole(a, value(), 1, kMostServers);
        else if (a == "--cross")
            cross = decimal(a, value(), 0, 1);
        else if (a == "--p99-limit")
            o.p99LimitMs = decimal(a, value(), 0.001, 60'000);
        else if (a == "--nqserver")
            o.nqserver = value();
        else if (a == "--pg-cluster")
            o.pgCluster = value();
        else if (a == "--server-arg")
            o.serverArgs.push_back(value());
        else if (a == "--flood-rate")
            o.floodRate = whole(a, value(), 0, 10'000'000);
        else if (a == "--flood")
            o.flood = floodNamed(value());
        else if (a.rfind("--benchmark", 0) == 0)
            continue;  // ./nq bench passes Google Benchmark's options to every program
        else
            refuse("unknown argument \"" + a + "\"");
    }
    // One server on SQLite, as the embedded default runs; three on PostgreSQL, the deployment.
    o.servers = servers.value_or(o.engine == Engine::Postgresql ? 3 : 1);
    o.cross = cross.value_or(o.servers > 1 ? 0.5 : 0);
    if (o.cross > 0 && o.servers < 2) refuse("--cross needs --servers 2 or more: one server has no other");
    if (o.flood != Flood::None && o.servers != 1) refuse("--flood works against one server (--servers 1)");
    if (o.clients < 2 * o.servers) refuse("--clients must be at least twice --servers");
    for (double r : o.rates)
        if (r > kMostPerClient * o.clients)
            refuse("--rate " + shown(r) + " asks more than " + shown(kMostPerClient) +
                   " messages a second of each client, past what the server takes from one client");
    return o;
}

}  // namespace nq::bench
