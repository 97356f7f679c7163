#pragma once
// The body of a chat line, both ways. Out: own account, NUL, target, NUL, then one text
// "font/size/colour/time/text" and a closing NUL, so one look goes with the whole line. In:
// the parsers that cut that text by its first four slashes, with the fallbacks a body of a
// wrong shape gets instead of a refusal. Everything here is GBK bytes.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

#include "conversation/chat_mode.h"
#include "wire/frame_kinds.h"
#include "wire/gbk.h"

namespace nq {

// The look a line falls back to, and the one every header line of the history pane uses.
inline constexpr std::string_view kDefaultFont{"\xCB\xCE\xCC\xE5"};  // 宋体
inline constexpr float kDefaultFontSize = 10;
inline constexpr int32_t kDefaultColor = 0;  // black

// Where a line of a mode goes: the frame kind and code, and whether the second field of the
// body is the peer's account (else the conversation name as the window shows it).
struct ChatRoute {
    FrameKind frame;
    uint16_t frameCode = code::kNone;
    bool toPeerAccount = false;
    bool timeOfDayOnly = false;  // the room's lines carry no date
};

// Nothing for "OTU": such a window shows and records its lines but never sends them.
[[nodiscard]] std::optional<ChatRoute> chatRoute(ChatMode mode);

// Local time as lines and record headers carry it: "2006-5-1 12:30:07" and "12:30:07". The
// date has no "/" on purpose: a slash would cut the time field of a body into pieces.
[[nodiscard]] Bytes formatDateTime(std::chrono::system_clock::time_point at);
[[nodiscard]] Bytes formatTimeOfDay(std::chrono::system_clock::time_point at);

// A font size as the box reports it in text: "10", "10.5".
[[nodiscard]] Bytes fontSizeText(float size);

// The look of a line as the send box holds it at the moment of sending.
struct LineLook {
    Bytes font;
    float size = kDefaultFontSize;
    int32_t color = kDefaultColor;  // Windows colour value: red in the low byte
};

// own NUL target NUL font/size/colour/time/text NUL.
[[nodiscard]] Bytes composeBody(std::string_view ownAccount, std::string_view target, const LineLook& look,
                                std::string_view time, std::string_view text);

// ---- the received text "font/size/colour/time/text" ----

// What stands behind the fourth slash; with one to three slashes behind the last of them;
// with none the whole text.
[[nodiscard]] Bytes GetText(std::string_view body);
// Fields 1 to 4, each falling back when empty or missing.
[[nodiscard]] Bytes getFontField(std::string_view body);
[[nodiscard]] float getSizeField(std::string_view body);
[[nodiscard]] int32_t getColorField(std::string_view body);
[[nodiscard]] Bytes getTimeField(std::string_view body, std::chrono::system_clock::time_point now);

// Characters of a GBK text as the send box counts them: a two-byte character counts once.
[[nodiscard]] int gbkCharCount(std::string_view gbkText);

}  // namespace nq
