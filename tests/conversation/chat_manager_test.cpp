#include <gtest/gtest.h>

#include "conversation/chat_rig.h"

namespace nq::test {
namespace {

const std::string kLine = "宋体/10/0/1:00/";

TEST(IncomingQueue, TheLeavesKindEachLineOrDropTheUsersOwn) {
    struct Row {
        FrameKind frame;
        std::vector<std::string_view> fields;
        uint32_t stamp;
        const char* sender;
        float kind;  // 0: dropped, the writer stays and nothing sounds; 4 joins the strangers
    };
    const Row rows[] = {
        {kind::kChat, {"alice", "bob", "x"}, 1, "alice", 0},
        {kind::kChat, {"zoe", "alice", "x"}, 1, "zoe", 4},
        {kind::kChat, {"bob", "alice", "x"}, 1, "鲍勃", 1},
        {kind::kChat, {"gus", "alice", "x"}, 1, "gus", 3},
        {kind::kMemberChat, {"zoe", "alice", "x"}, 1, "zoe", 3},
        {kind::kGroupChat, {"gus", "山庄一", "x"}, 77, "gus", 2},
        {kind::kGroupChat, {"gus", "山庄一", "x"}, 40000, "gus", 0},  // a stamp past 16 bits
    };
    for (const Row& row : rows) {
        ChatRig r;
        r.addPeople();
        r.serve(row.frame, row.fields, row.stamp);
        EXPECT_EQ(r.slot(1).sender, g(row.sender));
        EXPECT_EQ(r.slot(1).kind, row.kind) << row.sender;
        EXPECT_EQ(r.m.incomingQueue.writeIndex, row.kind ? 2.0f : 1.0f) << row.sender;
        EXPECT_EQ(r.services.sounds.size(), row.kind ? 1u : 0u) << row.sender;
        EXPECT_EQ(r.c.MyList(Contacts::kStrangers).count(), row.kind == 4 ? 1 : 0) << row.sender;
        EXPECT_EQ(r.session->wire.replyStamp, row.stamp == 77 ? 77 : 0) << row.sender;
    }
}

// Oldest first for each window; the delivery of a later slot moves readIndex past an older one
// for good.
TEST(IncomingQueue, ADeliveryMovesReadIndexPastAnOlderSlotOfAnotherWindow) {
    ChatRig r;
    r.addPeople();
    for (const char* line : {"x1", "y1", "y2"})
        r.serve(kind::kChat, {line[0] == 'x' ? "bob" : "gus", "a", kLine + line});
    EXPECT_EQ(r.m.takeFor("gus")->text, "y1");
    EXPECT_EQ(r.m.takeFor("gus")->text, "y2");
    EXPECT_FALSE(r.m.takeFor(g("鲍勃")));
    EXPECT_EQ(r.m.incomingQueue.readIndex, 3);
    EXPECT_EQ(r.record(), "\1\1gus (1:00)\r\n  y1\r\n\1\1gus (1:00)\r\n  y2\r\n");
}

// The writer wraps behind slot 1000, readIndex never: nothing more reaches a window.
TEST(IncomingQueue, AfterSlot1000TheWriterGoesToSlot2AndDeliveryStops) {
    ChatRig r;
    r.m.incomingQueue.writeIndex = r.m.incomingQueue.readIndex = 999;
    for (const char* line : {"a", "b", "c"}) r.serve(kind::kMemberChat, {"gus", "", kLine + line});
    EXPECT_EQ(r.slot(1000).text, g(kLine + "b"));
    EXPECT_EQ(r.slot(2).text, g(kLine + "c"));
    EXPECT_FALSE(r.m.takeFor("gus"));
}

// Dark on an odd count, the head on an even one; an open window flashes instead.
TEST(UnreadScan, AFriendsRowBlinksByTheTickParityUntilHisWindowOpens) {
    ChatRig r;
    r.addPeople();
    r.serve(kind::kChat, {"bob", "alice", "x"});
    for (auto [ticks, icon, tray] : {std::tuple{3, 0, 0}, {4, 4, 1}, {5, 0, 0}}) {
        r.session->blinkTicks = static_cast<int16_t>(ticks);
        r.m.unreadScan();
        EXPECT_EQ(r.c.MyList(Contacts::kFriends).Item(1).icon, icon) << ticks;
        EXPECT_EQ(r.m.trayState, tray) << ticks;
    }
    r.windows.open = {{personCaption(g("鲍勃")), ChatMode::PTP}};
    r.session->blinkTicks = 4;
    r.m.unreadScan();
    EXPECT_EQ(r.c.MyList(Contacts::kFriends).Item(1).icon, 0);
    EXPECT_EQ(r.windows.flashed, std::vector{personCaption(g("鲍勃"))});

    // A line that comes while a window is open flashes it and marks no row as blinking.
    ChatRig open;
    open.addPeople();
    open.windows.open = r.windows.open;
    open.serve(kind::kChat, {"bob", "alice", "x"});
    open.m.unreadScan();
    EXPECT_FALSE(open.m.blinking("bob") || open.m.blinking(g("鲍勃")));
}

TEST(OpenNextPending, TheNewWindowsModeFollowsWhereTheSenderIsFound) {
    struct Row {
        FrameKind frame;
        std::vector<std::string_view> fields;
        ChatMode mode;
        const char* caption;
        int friendIcon;  // his head in colour again once his line is fetched
    };
    const Row rows[] = {
        {kind::kChat, {"bob", "a", "x"}, ChatMode::PTP, "与鲍勃聊天中", 4},
        {kind::kMemberChat, {"gus", "a", "x"}, ChatMode::OTU, "与gus聊天中", 0},
        {kind::kChat, {"zoe", "a", "x"}, ChatMode::PTP, "与zoe聊天中", 0},
        {kind::kGroupChat, {"gus", "山庄一", "x"}, ChatMode::OTM, "在山庄一聊天中", 0},
    };
    for (const Row& row : rows) {
        ChatRig r;
        r.addPeople();
        r.c.MyList(Contacts::kFriends).SetIcon(1, 0);
        r.serve(row.frame, row.fields);
        EXPECT_FALSE(r.m.OpenNextPending());
        ASSERT_EQ(r.windows.opened.size(), 1u) << row.caption;
        EXPECT_EQ(r.windows.opened[0].mode, row.mode) << row.caption;
        EXPECT_EQ(r.windows.opened[0].caption, g(row.caption));
        EXPECT_EQ(r.c.MyList(Contacts::kFriends).Item(1).icon, row.friendIcon) << row.caption;
    }
    ChatRig idle;  // nothing queued: only the tray's click moves a main window off the top edge
    idle.m.OpenNextPending();
    idle.m.openNextPendingByHotkey();
    EXPECT_EQ(idle.windows.mainShown, (std::vector{true, false}));
}

}  // namespace
}  // namespace nq::test
