#include <gtest/gtest.h>

#include "conversation/chat_rig.h"
#include "conversation/message_body.h"

namespace nq::test {
namespace {

// Only the first four slashes cut; a body of the wrong shape falls back field by field.
TEST(MessageBody, FieldsAreCutByTheFirstFourSlashes) {
    using Row = std::tuple<const char*, const char*, const char*, float, int32_t, const char*>;
    const Row rows[] = {
        {"宋体/10/0/12:00:00/a/b/c", "a/b/c", "宋体", 10, 0, "12:00:00"},
        {"黑体/12.5/255/1:00/", "", "黑体", 12.5f, 255, "1:00"},
        {"plain", "plain", "宋体", 10, 0, "2006-5-1 04:30:07"},
        {"f/8/16711680", "16711680", "f", 8, 0, "2006-5-1 04:30:07"},
        {"//x//t", "t", "宋体", 10, 0, "2006-5-1 04:30:07"},
        {"", "", "宋体", 10, 0, "2006-5-1 04:30:07"},
    };
    const auto now = testNow();
    for (const auto& [utf8, text, font, size, color, time] : rows) {
        const Bytes body = g(utf8);
        EXPECT_EQ(std::tuple(GetText(body), getFontField(body), getSizeField(body), getColorField(body)),
                  std::tuple(g(text), g(font), size, color))
            << utf8;
        EXPECT_EQ(getTimeField(body, now), time) << utf8;
    }
}

// Each mode's frame and body, the peer's account from NQUser.nq, and the record of every line,
// sent or not; a line of 1000 characters is refused before anything is shown.
TEST(MessageBody, EachModeSendsItsFrameAndRecordsTheLine) {
    struct Row {
        ChatMode mode;
        const char* lbFrd;
        const char* text;
        std::optional<FrameKind> frame;
        uint16_t code;
        const char* body;  // NUL shown as |
    };
    const std::string tooLong(1000, 'x');
    const Row rows[] = {
        {ChatMode::PTP, "鲍勃", "/f ", kind::kChat, 0, "alice|bob|宋体/12/255/2006-5-1 04:30:07//f |"},
        {ChatMode::TUN, "鲍勃", "x", kind::kMemberChat, 0, "alice|bob|宋体/12/255/2006-5-1 04:30:07/x|"},
        {ChatMode::OTM, "山庄", "a/b", kind::kGroupChat, 0, "alice|山庄|宋体/12/255/2006-5-1 04:30:07/a/b|"},
        {ChatMode::MM, "大厅", "y", kind::kRoom, 3, "alice|大厅|宋体/12/255/04:30:07/y|"},
        {ChatMode::OTU, "鲍勃", "z", std::nullopt, 0, ""},
        {ChatMode::PTP, "鲍勃", tooLong.c_str(), std::nullopt, 0, ""},
    };
    ChatRig r;
    r.setKey("鲍勃", "ItsName", "bob");
    int panes = 0;
    for (const Row& row : rows) {
        EXPECT_EQ(r.m.SndMsg({row.mode, g(row.lbFrd), {g("宋体"), 12, 255}, g(row.text)}, [&] { ++panes; }),
                  row.text != tooLong);
        r.tick();
        if (!row.frame) {
            EXPECT_TRUE(r.chat.sent.empty()) << row.lbFrd;
            continue;
        }
        const OwnedFrame f = r.sentOn(r.chat);
        Bytes body = g(row.body);
        std::replace(body.begin(), body.end(), '|', '\0');
        EXPECT_EQ(std::tuple(kindOf(f), f.header.code, f.body), std::tuple(*row.frame, row.code, body));
    }
    EXPECT_EQ(panes, 5);
    ASSERT_EQ(r.services.boxes.size(), 1u);
    EXPECT_EQ(r.services.boxes[0].text, "发送内容超过限定大小！");
    const char* at = " (2006-5-1 04:30:07)\r\n  ";
    EXPECT_EQ(r.record(), g(std::string("\1\1$鲍勃爱丽丝") + at + "/f \r\n\1\1$鲍勃爱丽丝" + at + "x\r\n" +
                            "\1\1$山庄爱丽丝" + at + "a/b\r\n\1\1$大厅alice" + at + "y\r\n\1\1$鲍勃爱丽丝" +
                            at + "z\r\n"));
}

}  // namespace
}  // namespace nq::test
