// Three in the demo's 珀岚大厅 hear each other; carol's exit takes her out of the others' lists.
#include <gtest/gtest.h>

#include <QTest>

#include "app/contact_area.h"
#include "contacts/contacts.h"
#include "conversation/public_room.h"
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
    std::vector<app::frmChat*> w;
    for (test::E2eClient* c : {&alice, &bob, carol.get()}) {
        ItemList& list = c->form->contacts().MyList(Contacts::kRooms);
        ASSERT_TRUE(test::waitUntil([&] { return list.count() == 1; })) << demo.trace.toStdString();
        list.setSelected(1);  // a double click finds any window of that caption in the process: one
        w.empty() ? c->form->contactArea().listDoubleClicked(3)
                  : c->form->publicRoom().join(list.Item(1).Caption);
        w.push_back(c->window("在珀岚大厅聊天中"));
        ASSERT_TRUE(w.back() && test::waitUntil([&] { return w.back()->talkEnabled(); }));
        QTest::keyClicks(&w.back()->sendBox(), "hi from " + c->account);
        QTest::keyClick(&w.back()->sendBox(), Qt::Key_S, Qt::AltModifier);
    }
    const auto listed = [&](int i, const char* name) { return w[size_t(i)]->members().find(name) > 0; };
    EXPECT_TRUE(test::waitUntil([&] { return listed(0, "dave") && listed(2, "alice") && listed(2, "bob"); }));
    for (int i : {0, 1, 2})  // each hears those who spoke after he came in
        EXPECT_TRUE(
            test::waitUntil([&] { return w[size_t(i)]->revPane().Text().contains("hi from carol"); }));
    EXPECT_TRUE(w[0]->revPane().Text().contains("hi from bob"));
    carol->form->session().unload();  // the exit's frames: the whole exit closes every window here
    carol.reset();
    EXPECT_TRUE(test::waitUntil([&] { return !listed(0, "carol") && !listed(1, "carol"); }));
}

}  // namespace
}  // namespace nq
