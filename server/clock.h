#pragma once
// Server time is the monotonic clock, passed into every decision so that tests can run it by hand.
// Wall time, which only matters where processes sharing a database compare stamps (load
// heartbeats), comes through a WallClock for the same reason; no service reads std::time itself.

#include <chrono>
#include <cstdint>
#include <ctime>
#include <functional>

namespace nq::server {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;
using Duration = Clock::duration;
using Millis = std::chrono::milliseconds;

// Seconds since 1970.
using WallClock = std::function<int64_t()>;
inline int64_t systemWallSeconds() {
    return static_cast<int64_t>(std::time(nullptr));
}

inline double secondsOf(Duration d) {
    return std::chrono::duration<double>(d).count();
}

}  // namespace nq::server
