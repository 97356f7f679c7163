#include "server/log.h"

#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <optional>

namespace nq::server {

Logger::Logger()
    : sink_([](std::string_view line) {
          // One write per line: stderr is unbuffered and a partial line would interleave.
          ssize_t ignored = ::write(STDERR_FILENO, line.data(), line.size());
          (void)ignored;
      }) {}

void Logger::log(LogLevel level, const char* format, ...) {
    static constexpr std::string_view kTags[] = {"debug", "info", "warn", "error"};
    char text[2048];
    va_list args;
    va_start(args, format);
    const int n = std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    const size_t size = n < 0 ? 0 : std::min(static_cast<size_t>(n), sizeof text - 1);
    emit(kTags[static_cast<int>(level)], std::string_view(text, size));
}

void Logger::trace(std::string_view text) {
    emit("trace", text);
}

void Logger::emit(std::string_view tag, std::string_view text) {
    timeval tv{};
    gettimeofday(&tv, nullptr);
    tm local{};
    localtime_r(&tv.tv_sec, &local);
    char stamp[40];
    const size_t len = std::strftime(stamp, sizeof stamp, "%H:%M:%S", &local);
    std::snprintf(stamp + len, sizeof stamp - len, ".%03ld", static_cast<long>(tv.tv_usec / 1000));
    std::string line;
    line.reserve(text.size() + 32);
    line.append(stamp).append(" ").append(tag).append(" ").append(text).push_back('\n');
    sink_(line);
}

std::optional<LogLevel> parseLogLevel(std::string_view text) {
    if (text == "debug") return LogLevel::Debug;
    if (text == "info") return LogLevel::Info;
    if (text == "warn") return LogLevel::Warn;
    if (text == "error") return LogLevel::Error;
    return std::nullopt;
}

bool DropLog::allow(Time now) {
    if (now - window_ >= std::chrono::seconds(1)) {
        if (unlogged_)
            NQ_LOG(log_, Info, "%d more dropped frames in the last second were not logged", unlogged_);
        window_ = now;
        logged_ = 0;
        unlogged_ = 0;
    }
    if (logged_ < perSecond_) {
        ++logged_;
        return true;
    }
    ++unlogged_;
    return false;
}

}  // namespace nq::server
