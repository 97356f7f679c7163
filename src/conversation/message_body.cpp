#include "conversation/message_body.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <limits>

#include "wire/fields.h"

namespace nq {

namespace {

constexpr char kFieldMark = '/';
constexpr int kLookFields = 4;  // font, size, colour, time: the text stands behind them

std::tm localParts(std::chrono::system_clock::time_point at) {
    const std::time_t t = std::chrono::system_clock::to_time_t(at);
    std::tm tm{};
    localtime_r(&t, &tm);
    return tm;
}

// Field n (1..4): between slash n-1 and slash n; empty when slash n is missing.
std::string_view lookField(std::string_view body, int n) {
    size_t start = 0;
    for (int k = 1; k <= n; ++k) {
        const size_t slash = body.find(kFieldMark, start);
        if (slash == std::string_view::npos) return {};
        if (k == n) return body.substr(start, slash - start);
        start = slash + 1;
    }
    return {};
}

}  // namespace

std::optional<ChatRoute> chatRoute(ChatMode mode) {
    switch (mode) {
        case ChatMode::PTP:
            return ChatRoute{kind::kChat, code::kNone, true, false};
        case ChatMode::OTM:
            return ChatRoute{kind::kGroupChat, code::kNone, false, false};
        case ChatMode::TUN:
            return ChatRoute{kind::kMemberChat, code::kNone, true, false};
        case ChatMode::MM:
            return ChatRoute{kind::kRoom, code::kRoomLine, false, true};
        case ChatMode::OTU:
            break;
    }
    return std::nullopt;
}

Bytes formatDateTime(std::chrono::system_clock::time_point at) {
    const std::tm tm = localParts(at);
    char buf[48];
    std::snprintf(buf, sizeof buf, "%d-%d-%d %02d:%02d:%02d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,
                  tm.tm_hour, tm.tm_min, tm.tm_sec);
    return buf;
}

Bytes formatTimeOfDay(std::chrono::system_clock::time_point at) {
    const std::tm tm = localParts(at);
    char buf[16];
    std::snprintf(buf, sizeof buf, "%02d:%02d:%02d", tm.tm_hour, tm.tm_min, tm.tm_sec);
    return buf;
}

Bytes fontSizeText(float size) {
    // Seven significant digits, the precision of a single-precision number in text.
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.7g", static_cast<double>(size));
    return buf;
}

Bytes composeBody(std::string_view ownAccount, std::string_view target, const LineLook& look,
                  std::string_view time, std::string_view text) {
    Bytes line = look.font;
    line += kFieldMark;
    line += fontSizeText(look.size);
    line += kFieldMark;
    line += std::to_string(look.color);
    line += kFieldMark;
    line += time;
    line += kFieldMark;
    line += text;
    return joinFields({ownAccount, target, line});
}

Bytes GetText(std::string_view body) {
    size_t behind = 0;
    for (int k = 0; k < kLookFields; ++k) {
        const size_t slash = body.find(kFieldMark, behind);
        if (slash == std::string_view::npos) break;
        behind = slash + 1;
    }
    return Bytes(body.substr(behind));
}

Bytes getFontField(std::string_view body) {
    const std::string_view f = lookField(body, 1);
    return Bytes(f.empty() ? kDefaultFont : f);
}

float getSizeField(std::string_view body) {
    const std::string_view f = lookField(body, 2);
    return f.empty() ? kDefaultFontSize : static_cast<float>(toNumber(f));
}

// A value that does not fit the 32-bit colour is no colour at all: black.
int32_t getColorField(std::string_view body) {
    const std::string_view f = lookField(body, 3);
    const double v = f.empty() ? kDefaultColor : std::round(toNumber(f));
    if (v < std::numeric_limits<int32_t>::min() || v > std::numeric_limits<int32_t>::max())
        return kDefaultColor;
    return static_cast<int32_t>(v);
}

Bytes getTimeField(std::string_view body, std::chrono::system_clock::time_point now) {
    const std::string_view f = lookField(body, 4);
    return f.empty() ? formatDateTime(now) : Bytes(f);
}

int gbkCharCount(std::string_view gbkText) {
    int n = 0;
    for (size_t i = 0; i < gbkText.size(); ++i, ++n)
        if (static_cast<unsigned char>(gbkText[i]) >= 0x80) ++i;
    return n;
}

}  // namespace nq
