#include "server/log.h"

#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <optional>

#include "wire/gbk.h"

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

bool Logger::admit(LogTopic topic, Time now) {
    static constexpr const char* kNames[] = {"dropped-frame", "refusal", "failure"};
    Allowance& a = allowances_[static_cast<size_t>(topic)];
    if (now - a.minuteStart >= std::chrono::minutes(1)) {
        if (a.leftOut && enabled(LogLevel::Warn))
            log(LogLevel::Warn, "%d more %s lines in the last minute were not logged", a.leftOut,
                kNames[static_cast<size_t>(topic)]);
        a = {now, 0, 0};
    }
    if (a.written < linesPerMinute_) {
        ++a.written;
        return true;
    }
    ++a.leftOut;
    return false;
}

std::string printable(std::string_view gbkText) {
    const std::string utf8 = gbk::toUtf8(gbkText);
    std::string out;
    out.reserve(utf8.size());
    for (size_t i = 0; i < utf8.size(); ++i) {
        const auto c = static_cast<unsigned char>(utf8[i]);
        // C1 controls arrive as U+0080..U+009F, two bytes in UTF-8.
        const bool c1 = c == 0xC2 && i + 1 < utf8.size() && static_cast<unsigned char>(utf8[i + 1]) < 0xA0;
        if (c >= 0x20 && c != 0x7F && c != '\\' && !c1) {
            out.push_back(utf8[i]);
            continue;
        }
        char escaped[12];
        std::snprintf(escaped, sizeof escaped, c1 ? "\\u%04x" : "\\x%02x",
                      c1 ? static_cast<unsigned char>(utf8[++i]) : c);
        out += escaped;
    }
    return out;
}

}  // namespace nq::server
