#pragma once
// Levelled log lines to stderr, one write per line so that lines from a busy server never
// interleave. Tests swap the sink to read what the server said.
//
// Lines that a peer can cause at will (a dropped frame, a refused login, a failed step) are
// capped per topic and minute, so that a flood costs the log a few kilobytes a minute, not
// megabytes a second, and a flood of one topic leaves the others their say.

#include <array>
#include <cstdarg>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "server/clock.h"

namespace nq::server {

enum class LogLevel { Debug = 0, Info = 1, Warn = 2, Error = 3 };

// What a capped line is about.
enum class LogTopic {
    Dropped,  // frames and datagrams not served
    Refused,  // logins and messages turned away
    Failed,   // steps that went wrong: the database, a frame too big to send
};
inline constexpr size_t kLogTopics = 3;

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

    // Lines a topic may write per minute; past it, one line when the next minute begins counts
    // what was left out.
    void setLinesPerMinute(int lines) { linesPerMinute_ = lines; }
    // Whether one more line about topic may be written now.
    bool admit(LogTopic topic, Time now);

    void log(LogLevel level, const char* format, ...) __attribute__((format(printf, 3, 4)));
    // Frame traces bypass the level: --trace asks for them explicitly.
    void trace(std::string_view text);

  private:
    void emit(std::string_view tag, std::string_view text);

    struct Allowance {
        Time minuteStart{};
        int written = 0;
        int leftOut = 0;
    };

    LogLevel level_ = LogLevel::Info;
    bool trace_ = false;
    Sink sink_;
    int linesPerMinute_ = 60;
    std::array<Allowance, kLogTopics> allowances_{};
};

#define NQ_LOG(logger, lvl, ...)                                    \
    do {                                                            \
        if ((logger).enabled(::nq::server::LogLevel::lvl))          \
            (logger).log(::nq::server::LogLevel::lvl, __VA_ARGS__); \
    } while (0)

// A line that a peer can cause, capped by topic (see Logger::admit).
#define NQ_LOG_CAPPED(logger, topic, now, lvl, ...)                 \
    do {                                                            \
        if ((logger).enabled(::nq::server::LogLevel::lvl) &&        \
            (logger).admit(::nq::server::LogTopic::topic, now))     \
            (logger).log(::nq::server::LogLevel::lvl, __VA_ARGS__); \
    } while (0)

// A name from the wire, GBK, as UTF-8 fit for one log line: control characters and the
// backslash come out as \xNN, so that a name holding a newline or an escape sequence cannot
// forge a line or drive the terminal.
std::string printable(std::string_view gbkText);

std::optional<LogLevel> parseLogLevel(std::string_view text);

}  // namespace nq::server
