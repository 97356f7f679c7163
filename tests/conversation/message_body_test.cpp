#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "conversation/chat_rig.h"
#include "conversation/message_body.h"

namespace nq::test {
namespace {

// Only the first four slashes cut; a body of the wrong shape falls back field by field.
TEST(MessageBody, FieldsAreCutByTheFirstFourSlashes) {
    struct Row {
        const char* body;
        const char* text;
        const char* font;
        float size;
        int32_t color;
        const char* time;
    };
    const Row rows[] = {
        {"宋体/10/0/12:00:00/a/b/c", "a/b/c", "宋体", 10, 0, "12:00:00"},
        {"黑体/12.5/255/1:00/", "", "黑体", 12.5f, 255, "1:00"},
        {"plain", "plain", "宋体", 10, 0, "2006-5-1 12:30:07"},
        {"f/8/16711680", "16711680", "f", 8, 0, "2006-5-1 12:30:07"},
        {"//x//t", "t", "宋体", 10, 0, "2006-5-1 12:30:07"},
        {"", "", "宋体", 10, 0, "2006-5-1 12:30:07"},
    };
    setenv("TZ", "UTC", 1);
    tzset();
    const auto now = std::chrono::system_clock::from_time_t(1146486607);
    for (const Row& r : rows) {
        const Bytes body = g(r.body);
        EXPECT_EQ(GetText(body), g(r.text)) << r.body;
        EXPECT_EQ(getFontField(body), g(r.font)) << r.body;
        EXPECT_EQ(getSizeField(body), r.size) << r.body;
        EXPECT_EQ(getColorField(body), r.color) << r.body;
        EXPECT_EQ(getTimeField(body, now), r.time) << r.body;
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
        {ChatMode::PTP, "鲍勃", "hi /smile ", kind::kChat, 0,
         "alice|bob|宋体/12/255/2006-5-1 12:30:07/hi /smile |"},
        {ChatMode::TUN, "zed", "x", kind::kMemberChat, 0, "alice|zed|宋体/12/255/2006-5-1 12:30:07/x|"},
        {ChatMode::OTM, "山庄一", "a/b", kind::kGroupChat, 0,
         "alice|山庄一|宋体/12/255/2006-5-1 12:30:07/a/b|"},
        {ChatMode::MM, "大厅", "y", kind::kRoom, 3, "alice|大厅|宋体/12/255/12:30:07/y|"},
        {ChatMode::OTU, "鲍勃", "z", std::nullopt, 0, ""},
        {ChatMode::PTP, "鲍勃", tooLong.c_str(), std::nullopt, 0, ""},
    };
    ChatRig r;
    r.setKey("鲍勃", "ItsName", "bob");
    int panes = 0;
    for (const Row& row : rows) {
        const bool taken =
            r.m.SndMsg({row.mode, g(row.lbFrd), {g("宋体"), 12, 255}, g(row.text)}, [&] { ++panes; });
        r.tick();
        EXPECT_EQ(taken, row.text != tooLong) << row.lbFrd;
        if (!row.frame) {
            EXPECT_TRUE(r.chat.sent.empty()) << row.lbFrd;
            continue;
        }
        const OwnedFrame f = r.sentOn(r.chat);
        EXPECT_EQ(kindOf(f), *row.frame);
        EXPECT_EQ(f.header.code, row.code);
        Bytes body = g(row.body);
        std::replace(body.begin(), body.end(), '|', '\0');
        EXPECT_EQ(f.body, body);
    }
    EXPECT_EQ(panes, 5);
    EXPECT_EQ(r.services.boxes.back().text, "发送内容超过限定大小！");
    std::ifstream in(r.m.recordFile(), std::ios::binary);
    const std::string record{std::istreambuf_iterator<char>(in), {}};
    const char* at = " (2006-5-1 12:30:07)\r\n  ";
    EXPECT_EQ(record, g(std::string("\1\1$鲍勃爱丽丝") + at + "hi /smile \r\n\1\1$zed爱丽丝" + at + "x\r\n" +
                        "\1\1$山庄一爱丽丝" + at + "a/b\r\n\1\1$大厅alice" + at + "y\r\n\1\1$鲍勃爱丽丝" +
                        at + "z\r\n"));
}

}  // namespace
}  // namespace nq::test
