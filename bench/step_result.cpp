#include "step_result.h"

#include <algorithm>
#include <cstdio>

namespace nq::bench {
namespace {

const char* engineName(Engine e) {
    return e == Engine::Postgresql ? "PostgreSQL" : "SQLite";
}

void printLatency(const char* label, Samples& s) {
    std::printf("%-24s p50 %.3f ms, p99 %.3f ms, p99.9 %.3f ms, max %.3f ms (%zu samples)\n", label,
                s.percentileMs(0.5), s.percentileMs(0.99), s.percentileMs(0.999), s.maxMs(), s.size());
}

}  // namespace

bool stepWithinLimit(StepResult& r, const LoadOptions& o) {
    return r.all.size() > 0 && r.all.percentileMs(0.99) < o.p99LimitMs && r.received * 1000 >= r.sent * 999;
}

double Samples::percentileMs(double p) {
    if (ns_.empty()) return 0;
    if (!sorted_) std::sort(ns_.begin(), ns_.end());
    sorted_ = true;
    return ns_[std::min(ns_.size() - 1, static_cast<size_t>(p * ns_.size()))] / 1e6;
}

bool stepOverloaded(StepResult& r, const LoadOptions& o) {
    return r.received * 100 < r.sent * 99 || r.all.percentileMs(0.99) > 10 * o.p99LimitMs;
}

void printHeader(const LoadOptions& o) {
    std::printf(
        "%d clients on %d chat server%s (%s), %.0f%% of the messages to a client of another server; "
        "keep-alive every %.1f s; %.0f s measured per step after 3 s of warm-up\n",
        o.clients, o.servers, o.servers > 1 ? "s" : "", engineName(o.engine), 100 * o.cross,
        o.keepAliveSeconds, o.seconds);
}

void printStep(StepResult& r, const LoadOptions& o, int index) {
    const double w = r.window;
    std::printf("\n== step %d: %.0f messages/s asked (each client every %.0f ms)\n", index, r.asked,
                1000.0 * o.clients / r.asked);
    std::printf("%-24s %.0f sent (%.0f across servers), %.0f received\n", "messages/s", r.sent / w,
                r.crossSent / w, r.received / w);
    std::printf("%-24s %lld of %lld; %lld wrong; %lld refused by the server (toasts); %lld sends failed\n",
                "lost", static_cast<long long>(r.sent - r.received), static_cast<long long>(r.sent),
                static_cast<long long>(r.wrong), static_cast<long long>(r.refused),
                static_cast<long long>(r.sendFailures));
    std::printf("%-24s %.0f in, %.0f out\n", "frames/s at the servers", (r.sent + r.keepAlivesSent) / w,
                r.framesIn / w);
    printLatency("latency, all", r.all);
    if (o.cross > 0) {
        printLatency("latency, same server", r.same);
        printLatency("latency, across servers", r.cross);
    }
    std::printf("%-24s p50 %.3f ms, p99 %.3f ms, max %.3f ms (%zu answered)\n", "keep-alive round trip",
                r.keepAlive.percentileMs(0.5), r.keepAlive.percentileMs(0.99), r.keepAlive.maxMs(),
                r.keepAlive.size());
    for (ServerStep& s : r.servers) {
        std::printf(
            "server %-17s %.0f msg/s from its clients, %.0f to them; latency to them p50 %.3f, p99 %.3f, "
            "max %.3f ms",
            s.id.c_str(), s.sent / w, s.received / w, s.latency.percentileMs(0.5),
            s.latency.percentileMs(0.99), s.latency.maxMs());
        if (o.cross > 0) std::printf(" (across: p99 %.3f ms)", s.crossLatency.percentileMs(0.99));
        std::printf("; %.0f%% of a core; %.1f MB resident, peak %.1f MB\n", 100 * s.cpuSeconds / w, s.rssMb,
                    s.peakMb);
    }
    if (o.engine == Engine::Postgresql)
        std::printf("%-24s %.0f%% of a core (every backend together)\n", "PostgreSQL",
                    100 * r.databaseCpu / w);
    std::printf("%-24s %.0f%% of a core\n", "generator", 100 * r.generatorCpu / w);
    std::printf("%-24s %.1f KB in the window (%.1f KB/s); database grew %.1f MB\n", "server logs",
                r.logGrowth / 1024.0, r.logGrowth / 1024.0 / w, r.databaseGrowth / 1048576.0);
    if (o.flood != Flood::None)
        std::printf("%-24s %lld datagrams (%.0f a second)\n", "flood", static_cast<long long>(r.floodSent),
                    r.floodSent / w);
}

void printHeld(const std::vector<HeldSessions>& held) {
    int clients = 0, answered = 0;
    for (const HeldSessions& h : held) {
        clients += h.clients;
        answered += h.answered;
    }
    std::printf("\n%-24s %d of %d clients answered a last keep-alive\n", "sessions held", answered, clients);
    for (const HeldSessions& h : held)
        std::printf("server %-17s %d of its %d answered; it reports %d sessions\n", h.id.c_str(), h.answered,
                    h.clients, h.reported);
}

void printSweep(std::vector<StepResult>& steps, const LoadOptions& o) {
    std::printf("\n== every step\n%10s %10s %10s %10s %10s %10s %10s %10s\n", "asked/s", "sent/s", "across/s",
                "lost", "p99 ms", "p99 across", "max ms", "peak MB");
    const StepResult* best = nullptr;
    for (StepResult& r : steps) {
        double peak = 0;
        for (const ServerStep& s : r.servers) peak = std::max(peak, s.peakMb);
        std::printf("%10.0f %10.0f %10.0f %10lld %10.3f %10.3f %10.3f %10.1f\n", r.asked, r.sent / r.window,
                    r.crossSent / r.window, static_cast<long long>(r.sent - r.received),
                    r.all.percentileMs(0.99), r.cross.percentileMs(0.99), r.all.maxMs(), peak);
        if (stepWithinLimit(r, o) && (!best || r.sent > best->sent)) best = &r;
    }
    if (best)
        std::printf(
            "highest rate with p99 under %.1f ms and under 0.1%% lost: %.0f messages/s, %.0f of them "
            "across servers\n",
            o.p99LimitMs, best->sent / best->window, best->crossSent / best->window);
    else
        std::printf("no step kept p99 under %.1f ms with under 0.1%% lost\n", o.p99LimitMs);
}

}  // namespace nq::bench
