// The public room: the demo's 珀岚大厅, dave its staff.

#include "chat_fixture.h"

namespace nq::server {
namespace {

TEST_F(ChatTest, TheRoomCountsEachOnceCarriesLinesAndLosesWhoseSessionEnds) {
    for (const auto& [c, name] : {std::pair{alice, "alice"}, {bob, "bob"}, {carol, "carol"}, {dave, "dave"}})
        enter(c, name);
    EXPECT_EQ(framesOf(alice, kind::kRoomList).at(0).fields(), gs({"珀岚大厅", "dave"}));
    for (const Endpoint& c : {alice, bob, bob, carol}) say(c, kind::kRoom, code::kRoomEnter);
    EXPECT_EQ(codesOf(framesOf(alice, kind::kRoom)), (std::vector<uint16_t>{1, 1, 1}));
    EXPECT_EQ(framesOf(carol, kind::kRoom).at(1).fields(), gs({"alice", "bob"}));
    say(dave, kind::kRoom, code::kRoomLine, {g("珀岚大厅"), g("x")});  // not in the room
    const Bytes text = g("宋体/10/0/1:00/大家好");
    say(carol, kind::kRoom, code::kRoomLine, {g("珀岚大厅"), text});
    for (const Endpoint& c : {alice, bob, carol})
        EXPECT_EQ(framesOf(c, kind::kRoom).back().fields(),
                  (std::vector<Bytes>{"carol", g("珀岚大厅"), text}));
    EXPECT_TRUE(framesOf(dave, kind::kRoom).empty());
    say(bob, kind::kLogout);
    EXPECT_EQ(framesOf(alice, kind::kRoom).back().fields(), gs({"bob"}));
    EXPECT_EQ(framesOf(alice, kind::kRoom).back().header.code, code::kRoomLeave);
    say(alice, kind::kRoom, code::kRoomLeave);
    say(alice, kind::kRoom, code::kRoomEnter);  // back in: carol is listed, bob not
    EXPECT_EQ(framesOf(alice, kind::kRoom).back().fields(), gs({"carol"}));
}

}  // namespace
}  // namespace nq::server
