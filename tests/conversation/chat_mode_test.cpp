#include "conversation/chat_mode.h"

#include <gtest/gtest.h>

namespace nq {
namespace {

// Windows are found again by caption alone, so a mode that picks the wrong opening word makes
// a second window for the same conversation.
TEST(ChatMode, CaptionsAndModeTextsRoundTrip) {
    struct Row {
        ChatMode mode;
        const char* text;
        const char* caption;  // UTF-8 for "bob"
    };
    const Row rows[] = {
        {ChatMode::PTP, "PTP", "与bob聊天中"}, {ChatMode::OTM, "OTM", "在bob聊天中"},
        {ChatMode::TUN, "TUN", "与bob聊天中"}, {ChatMode::MM, "MM", "在bob聊天中"},
        {ChatMode::OTU, "OTU", "与bob聊天中"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(chatModeText(row.mode), row.text);
        EXPECT_EQ(chatModeFromText(row.text), row.mode);
        EXPECT_EQ(gbk::toUtf8(chatCaption(row.mode, "bob")), row.caption) << row.text;
    }
    EXPECT_FALSE(chatModeFromText("ptp").has_value());
}

}  // namespace
}  // namespace nq
