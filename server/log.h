#pragma once
// Levelled log lines to stderr, one write per line so that lines from a busy server never
// interleave. Tests swap the sink to read what the server said.

#include <cstdarg>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "server/clock.h"

namespace nq::server {

enum class LogLevel { Debug = 0, Info = 1, Warn = 2, Error = 3 };

class Logger {
  public:
    using Sink = std::function<void(std::string_view line)>;

    Logger();

    void setLevel(LogLevel level) { level_ = level; }
    LogLevel level() const { return level_; }
    bool enabled(LogLevel level) const { return level >= level_; }

    void setTrace(bool on) { trace_ = on; }
    bool tracing() const { return trace_; }

    void setSink(Sink sink) { sink_ = std::move(sink); }

    void log(LogLevel level, const char* format, ...) __attribute__((format(printf, 3, 4)));
    // Frame traces bypass the level: --trace asks for them explicitly.
    void trace(std::string_view text);

  private:
    void emit(std::string_view tag, std::string_view text);

    LogLevel level_ = LogLevel::Info;
    bool trace_ = false;
    Sink sink_;
};

#define NQ_LOG(logger, lvl, ...)                                    \
    do {                                                            \
        if ((logger).enabled(::nq::server::LogLevel::lvl))          \
            (logger).log(::nq::server::LogLevel::lvl, __VA_ARGS__); \
    } while (0)

// Lines about dropped frames, at most perSecond a second: after a restart every old client's
// keep-alive is dropped, and thousands of lines a second of that would bury everything else.
// What was held back is counted in one line when the next second begins.
class DropLog {
  public:
    DropLog(Logger& log, int perSecond) : log_(log), perSecond_(perSecond) {}
    // Whether one more line may be written now.
    bool allow(Time now);

  private:
    Logger& log_;
    const int perSecond_;
    Time window_{};
    int logged_ = 0;
    int unlogged_ = 0;
};

std::optional<LogLevel> parseLogLevel(std::string_view text);

}  // namespace nq::server
