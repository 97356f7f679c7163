#pragma once
// Server time is the monotonic clock, passed into every decision so that tests can run it by hand.

#include <chrono>

namespace nq::server {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;
using Duration = Clock::duration;
using Millis = std::chrono::milliseconds;

inline double secondsOf(Duration d) {
    return std::chrono::duration<double>(d).count();
}

}  // namespace nq::server
