#include "conversation/chat_mode.h"

#include <array>
#include <utility>

namespace nq {

namespace {

constexpr std::array<std::pair<ChatMode, std::string_view>, 5> kModeTexts{{
    {ChatMode::PTP, "PTP"},
    {ChatMode::OTM, "OTM"},
    {ChatMode::TUN, "TUN"},
    {ChatMode::MM, "MM"},
    {ChatMode::OTU, "OTU"},
}};

Bytes framed(std::string_view openingUtf8, std::string_view name) {
    Bytes caption = gbk::fromUtf8(openingUtf8);
    caption += name;
    caption += gbk::fromUtf8("聊天中");
    return caption;
}

}  // namespace

std::string_view chatModeText(ChatMode mode) {
    for (const auto& [m, text] : kModeTexts)
        if (m == mode) return text;
    return {};
}

std::optional<ChatMode> chatModeFromText(std::string_view text) {
    for (const auto& [m, t] : kModeTexts)
        if (t == text) return m;
    return std::nullopt;
}

Bytes personCaption(std::string_view name) {
    return framed("与", name);
}
Bytes groupCaption(std::string_view name) {
    return framed("在", name);
}

Bytes chatCaption(ChatMode mode, std::string_view name) {
    return mode == ChatMode::OTM || mode == ChatMode::MM ? groupCaption(name) : personCaption(name);
}

}  // namespace nq
