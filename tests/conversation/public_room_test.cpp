#include <gtest/gtest.h>

#include "conversation/chat_rig.h"
#include "conversation/public_room.h"
#include "conversation/room_view.h"

namespace nq::test {
namespace {

struct RoomWindow : RoomView {
    ItemList& members() override { return rows; }
    void prepareMemberRows() override {}
    void writeSystemLine(const Bytes& t, uint32_t c) override {
        lines += gbk::toUtf8(t) + (c == kRed ? "!" : ",");
    }
    void setTalkEnabled(bool on) override { talk = on; }
    bool talkEnabled() const override { return talk; }
    void addAddressee(const Bytes& name) override { addressees += gbk::toUtf8(name) + ","; }
    void closeView() override { closed = true; }
    std::string rowsText(std::string out = {}) const {  // "name/text/icon," per row
        for (int i = 1; i <= rows.count(); ++i)
            out += gbk::toUtf8(rows.Item(i).Caption + "/" + rows.Item(i).Text + "/") +
                   std::to_string(rows.Item(i).icon) + ",";
        return out;
    }
    ItemList rows;
    std::string lines, addressees;
    bool talk = true, closed = false;
};

// The room list twice (the second replaces the first), then two double clicks: one join.
struct RoomRig : ChatRig {
    explicit RoomRig(std::vector<std::string_view> list = {"珀岚大厅", "dave", "bob"}) {
        for (int i : {1, 2}) serve(kind::kRoomList, list, i, code::kRoomListed);
        windows.room = &window;
        for ([[maybe_unused]] int i : {1, 2}) room.join(g("珀岚大厅"));
        tick();
    }
    void code(uint16_t c, const std::vector<std::string_view>& fields) { serve(kind::kRoom, fields, 1, c); }
    PublicRoom room{*session, c, m};
    RoomWindow window;
};

TEST(PublicRoom, TheListTheJoinAndEachCodeFromTheServer) {
    RoomRig r;
    const ItemList& rooms = r.c.MyList(Contacts::kRooms);
    EXPECT_TRUE(rooms.count() == 1 && rooms.Item(1).icon == PublicRoom::kRoomIcon &&
                r.room.staffCount() == 2);
    EXPECT_EQ(r.windows.opened.at(0).caption, g("在珀岚大厅聊天中"));
    EXPECT_EQ(r.sentText(r.chat) + r.sentText(r.chat) + (r.window.talk ? "talk" : ""), "2,7,0:alice|");
    r.code(1, {"alice"});
    EXPECT_EQ(r.window.rowsText(), "dave/客服/0,bob/客服/0,alice//2,");
    EXPECT_TRUE(r.window.talk && r.session->inPublicRoom());
    for (auto [c, who] : {std::pair{5, "bob"}, {5, "zoe"}, {1, "carol"}, {4, "bob"}, {4, "zoe"}, {4, "x"}})
        r.code(static_cast<uint16_t>(c), {who, "alice"});
    EXPECT_EQ(r.window.rowsText(), "dave/客服/0,bob/客服/5,alice//2,carol//2,");
    EXPECT_EQ(r.window.addressees, "所有人,zoe,");
    EXPECT_EQ(r.window.lines,
              "正在连接服务器，请稍侯。。。!连接服务器成功！欢迎进入珀岚大厅！!【系统消息】：carol进来了！,"
              "【系统消息】：bob离开了！,【系统消息】：zoe离开了！,【系统消息】：x离开了！,");
    r.room.windowClosed(true);
    r.tick();
    EXPECT_EQ(r.sentText(r.chat), "2,7,4:alice|");
    EXPECT_FALSE(r.session->inPublicRoom());
}

// The user on the staff has his one row; a refused join says so and closes without a leave.
TEST(PublicRoom, AStaffMembersOwnRowAndARefusedJoin) {
    RoomRig staff({"珀岚大厅", "alice"}), refused;
    staff.code(1, {"alice"});
    EXPECT_EQ(staff.window.rowsText(), "alice/客服/4,");
    refused.code(2, {"alice"});
    EXPECT_EQ(refused.services.boxes.at(0).text, "连接珀岚大厅失败！");
    EXPECT_TRUE(refused.window.closed);
    refused.room.windowClosed(refused.window.talk);
    refused.tick();
    EXPECT_EQ(refused.sentText(refused.chat) + refused.sentText(refused.chat), "2,7,0:alice|");
}

}  // namespace
}  // namespace nq::test
