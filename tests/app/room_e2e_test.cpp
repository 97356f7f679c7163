// The public room against the real server: alice, bob and carol come into the demo's 珀岚大厅,
// hear each other's lines, and carol's exit takes her out of the others' member lists.

#include <gtest/gtest.h>

#include <QTest>

#include "app/contact_area.h"
#include "contacts/contacts.h"
#include "e2e_client.h"
#include "widgets/rich_text.h"

namespace nq {
namespace {

TEST(RoomEndToEnd, ThreeInTheRoomHearEachOtherAndOneWhoQuitsLeavesTheLists) {
    test::TempDir tmp;
    test::DemoServer demo(tmp, test::kE2eTickMs);
    ASSERT_TRUE(demo.ready) << demo.trace.toStdString();
    test::E2eClient alice(tmp, demo.ip, "alice"), bob(tmp, demo.ip, "bob");
    auto carol = std::make_unique<test::E2eClient>(tmp, demo.ip, "carol");
    std::vector<app::frmChat*> rooms;
    for (test::E2eClient* c : {&alice, &bob, carol.get()}) {
        ItemList& list = c->form->contacts().MyList(Contacts::kRooms);
        ASSERT_TRUE(test::waitUntil([&] { return list.count() == 1; })) << demo.trace.toStdString();
        list.setSelected(1);
        c->form->contactArea().listDoubleClicked(Contacts::kRooms);
        rooms.push_back(c->window("在珀岚大厅聊天中"));
        ASSERT_TRUE(rooms.back() && test::waitUntil([&] { return rooms.back()->talkEnabled(); }));
    }
    const auto listed = [](app::frmChat* w, const char* name) { return w->members().find(name) > 0; };
    EXPECT_TRUE(test::waitUntil([&] { return listed(rooms[0], "carol") && listed(rooms[2], "bob"); }));
    EXPECT_TRUE(listed(rooms[0], "dave") && !listed(rooms[0], "erin"));  // staff first, absent or not

    for (int i : {0, 1}) {
        QTest::keyClicks(&rooms[i]->sendBox(), i ? "bob here" : "alice here");
        QTest::keyClick(&rooms[i]->sendBox(), Qt::Key_S, Qt::AltModifier);
    }
    for (int i : {0, 1, 2}) {
        EXPECT_TRUE(test::waitUntil([&] {
            const QString pane = rooms[i]->revPane().Text();
            return pane.contains("alice here") && pane.contains("bob here");
        })) << i << "\n" << rooms[i]->revPane().Text().toStdString();
    }

    carol->form->exitProgram();
    carol.reset();
    EXPECT_TRUE(test::waitUntil([&] { return !listed(rooms[0], "carol") && !listed(rooms[1], "carol"); }))
        << demo.trace.toStdString();
}

}  // namespace
}  // namespace nq
