#pragma once
// What one measured step of bench_load saw, and how it is printed.

#include <cstdint>
#include <string>
#include <vector>

#include "load_options.h"

namespace nq::bench {

// Latencies in nanoseconds; read back in milliseconds.
class Samples {
  public:
    void add(int64_t ns) {
        ns_.push_back(ns);
        sorted_ = false;
    }
    size_t size() const { return ns_.size(); }
    double percentileMs(double p);
    double maxMs() { return percentileMs(1); }

  private:
    std::vector<int64_t> ns_;
    bool sorted_ = true;
};

struct ServerStep {
    std::string id;         // address:port
    int64_t sent = 0;       // messages its clients sent in the window
    int64_t received = 0;   // messages of the window delivered to its clients, late ones too
    Samples latency;        // of those
    Samples crossLatency;   // of those, the ones sent by a client of another server
    double cpuSeconds = 0;  // in the window
    double rssMb = 0;       // at the window's end
    double peakMb = 0;      // since the server started
};

struct StepResult {
    double asked = 0;   // messages a second, all clients together
    double window = 0;  // seconds measured
    std::vector<ServerStep> servers;
    Samples all, same, cross, keepAlive;
    int64_t sent = 0, received = 0, crossSent = 0;
    int64_t wrong = 0, refused = 0, sendFailures = 0;
    int64_t keepAlivesSent = 0;
    int64_t framesIn = 0;  // every frame the clients read in the window
    double databaseCpu = 0, generatorCpu = 0;
    int64_t logGrowth = 0, databaseGrowth = 0, floodSent = 0;
};

// The sessions still answering after the last step, per server, beside what each reports.
struct HeldSessions {
    std::string id;
    int clients = 0;
    int answered = 0;
    int reported = -1;  // -1: no report found
};

// p99 under the limit, and under one message in a thousand lost.
bool stepWithinLimit(StepResult& r, const LoadOptions& o);
// Over 1 % lost, or p99 past ten times the limit: the servers do not keep up, and what they still
// owe would spill into the next step.
bool stepOverloaded(StepResult& r, const LoadOptions& o);

void printHeader(const LoadOptions& o);
void printStep(StepResult& r, const LoadOptions& o, int index);
void printHeld(const std::vector<HeldSessions>& held);
// The table of every step and the highest rate whose p99 stayed under the limit.
void printSweep(std::vector<StepResult>& steps, const LoadOptions& o);

}  // namespace nq::bench
