#include <gtest/gtest.h>

#include "conversation/chat_rig.h"
#include "conversation/public_room.h"
#include "conversation/room_view.h"

namespace nq::test {
namespace {

struct RoomWindow : RoomView {
    ItemList& members() override { return rows; }
    void prepareMemberRows() override {}
    void writeSystemLine(const Bytes& text, uint32_t color) override {
        lines.push_back(gbk::toUtf8(text) + (color == kRed ? " red" : " title"));
    }
    void setTalkEnabled(bool on) override { talk = on; }
    bool talkEnabled() const override { return talk; }
    void addAddressee(const Bytes& name) override { addressees += gbk::toUtf8(name) + ","; }
    void closeView() override { closed = true; }
    std::string rowsText() const {  // "name/text/icon," per row
        std::string out;
        for (int i = 1; i <= rows.count(); ++i)
            out += gbk::toUtf8(rows.Item(i).Caption + "/" + rows.Item(i).Text) + "/" +
                   std::to_string(rows.Item(i).icon) + ",";
        return out;
    }
    ItemList rows;
    std::vector<std::string> lines;
    std::string addressees;
    bool talk = true, closed = false;
};

struct RoomRig : ChatRig {
    explicit RoomRig(std::vector<std::string> list = {"珀岚大厅", "dave", "bob"}) {
        serve(kind::kRoomList, list);
        serve(kind::kRoomList, list);  // a second list replaces the first
        windows.room = &window;
        room.join(g("珀岚大厅"));
        room.join(g("珀岚大厅"));  // the window is open: no second join
        tick();
    }
    void code(uint16_t c, const std::vector<std::string>& fields) {
        Bytes body;
        for (const auto& f : fields) appendField(body, g(f));
        fromChat({.seq = 1, .type = 2, .sub = 7, .code = c}, body);
        tick();
    }
    PublicRoom room{*session, c, m};
    RoomWindow window;
};

TEST(PublicRoom, TheListTheJoinAndEachCodeFromTheServer) {
    RoomRig r;
    EXPECT_EQ(r.c.MyList(Contacts::kRooms).count(), 1);
    EXPECT_EQ(r.c.MyList(Contacts::kRooms).Item(1).icon, PublicRoom::kRoomIcon);
    EXPECT_EQ(r.room.staffCount(), 2);
    ASSERT_EQ(r.windows.opened.size(), 1u);
    EXPECT_EQ(r.windows.opened[0].caption, g("在珀岚大厅聊天中"));
    EXPECT_EQ(r.sentText(r.chat), "2,7,0:alice|");
    EXPECT_EQ(r.sentText(r.chat), "");
    r.code(1, {"alice"});
    EXPECT_EQ(r.window.rowsText(), "dave/客服/0,bob/客服/0,alice//2,");
    EXPECT_TRUE(r.window.talk && r.room.joined() && r.session->inPublicRoom());
    r.code(5, {"bob", "zoe", "alice"});
    r.code(1, {"carol"});
    r.code(4, {"bob"});
    r.code(4, {"zoe"});
    r.code(4, {"nobody"});
    EXPECT_EQ(r.window.rowsText(), "dave/客服/0,bob/客服/5,alice//2,carol//2,");
    EXPECT_EQ(r.window.addressees, "所有人,zoe,");
    EXPECT_EQ(r.window.lines, (std::vector<std::string>{"正在连接服务器，请稍侯。。。 red",
                                                        "连接服务器成功！欢迎进入珀岚大厅！ red",
                                                        "【系统消息】：carol进来了！ title",
                                                        "【系统消息】：bob离开了！ title",
                                                        "【系统消息】：zoe离开了！ title",
                                                        "【系统消息】：nobody离开了！ title"}));
    r.room.windowClosed(true);
    r.tick();
    EXPECT_EQ(r.sentText(r.chat), "2,7,4:alice|");
    EXPECT_FALSE(r.session->inPublicRoom());
}

// The user on the staff has his one row; a refused join says so and closes without a leave.
TEST(PublicRoom, AStaffMembersOwnRowAndARefusedJoin) {
    RoomRig staff({"珀岚大厅", "alice"});
    staff.code(1, {"alice"});
    EXPECT_EQ(staff.window.rowsText(), "alice/客服/4,");
    RoomRig refused;
    refused.code(2, {"alice"});
    EXPECT_EQ(refused.services.boxes.back().text, "连接珀岚大厅失败！");
    EXPECT_TRUE(refused.window.closed && !refused.window.talk);
    refused.room.windowClosed(refused.window.talk);
    refused.tick();
    refused.sentText(refused.chat);
    EXPECT_EQ(refused.sentText(refused.chat), "");
}

}  // namespace
}  // namespace nq::test
