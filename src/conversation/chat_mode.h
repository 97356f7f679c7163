#pragma once
// The words every part of a conversation agrees on: which kind of conversation a window holds,
// how its caption names it (windows are found again by caption alone), and the marks of the
// chat record file.

#include <optional>
#include <string_view>

#include "wire/gbk.h"

namespace nq {

// The routing of a window, kept as the text the windows carry ("PTP", "OTM", ...).
enum class ChatMode {
    PTP,  // one to one with a friend or a stranger
    OTM,  // a group
    TUN,  // one to one with a group member
    MM,   // the public room
    OTU,  // a group member's line fetched from the tray: shown and recorded, never sent
};

[[nodiscard]] std::string_view chatModeText(ChatMode mode);
[[nodiscard]] std::optional<ChatMode> chatModeFromText(std::string_view text);

// "与" + name + "聊天中" for a person, "在" + name + "聊天中" for a group or the room (GBK).
[[nodiscard]] Bytes personCaption(std::string_view name);
[[nodiscard]] Bytes groupCaption(std::string_view name);
[[nodiscard]] Bytes chatCaption(ChatMode mode, std::string_view name);

// Every record of revMsg.nq opens with these two bytes of code 1.
inline constexpr std::string_view kRecordSeparator{"\x01\x01", 2};
inline constexpr const char* kRecordFile = "revMsg.nq";

}  // namespace nq
