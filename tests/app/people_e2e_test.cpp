// Finding people and groups against the real server: alice, bob and carol each run a whole client
// in this process, nqserver has the demo accounts (alice has the coins to create a group).

#include <gtest/gtest.h>

#include <QProcess>

#include "app/add_wizards.h"
#include "app/frm_check.h"
#include "app/group_windows.h"
#include "contacts/contacts.h"
#include "contacts/group_actions.h"
#include "contacts/search.h"
#include "e2e_client.h"
#include "support/demo_server.h"

namespace nq {
namespace {

using test::E2eClient;
using test::toasted;
using test::waitUntil;

bool inTree(const E2eClient& c, const Bytes& text) {
    return c.form->contacts().MyTree().find(text) > 0;
}

TEST(PeopleEndToEnd, ASearchAddsAFriendAGroupIsJoinedRefusedLeftAndDissolved) {
    test::TempDir tmp;
    test::DemoServer demo(tmp, test::kE2eTickMs);
    ASSERT_TRUE(demo.ready) << demo.trace.toStdString();
    E2eClient alice(tmp, demo.ip, "alice"), bob(tmp, demo.ip, "bob"), carol(tmp, demo.ip, "carol");
    ASSERT_TRUE(waitUntil([&] {
        for (const E2eClient* c : {&alice, &bob, &carol})
            if (!c->form->session().online || !c->form->session().wire.sendQueueFree) return false;
        return true;
    })) << demo.trace.toStdString();
    const auto gateOpen = [](E2eClient& c) {
        return waitUntil([&] { return c.form->session().wire.sendQueueFree; });
    };

    // carol finds erin, nobody's friend yet, by her account and adds her.
    Search& search = carol.form->addWizards().search();
    Bytes found;
    QObject::connect(&search, &Search::personFound,
                     [&](FrameKind, const FoundRow& row) { found = row.text; });
    search.findPerson(kind::kFindPerson, false, "erin");
    ASSERT_TRUE(waitUntil([&] { return found == "erin"; })) << demo.trace.toStdString();
    ASSERT_TRUE(gateOpen(carol));
    search.addFriend("erin");
    EXPECT_TRUE(waitUntil([&] { return toasted(carol.services, "添加好友 erin 成功！"); }));
    EXPECT_GT(carol.form->contacts().MyList(Contacts::kFriends).find("erin"), 0);

    // alice creates a group; bob asks to join and she agrees, carol asks and she refuses.
    const Bytes group = gbk::fromUtf8("新山庄");
    GroupActions& aliceGroups = alice.form->groupWindows().actions();
    bool mayCreate = false;
    QObject::connect(&aliceGroups, &GroupActions::createFormDue, [&] { mayCreate = true; });
    aliceGroups.askCreate();
    ASSERT_TRUE(waitUntil([&] { return mayCreate; })) << demo.trace.toStdString();
    ASSERT_TRUE(gateOpen(alice));
    EXPECT_TRUE(aliceGroups.create(group, gbk::fromUtf8("周末下棋")));
    ASSERT_TRUE(waitUntil([&] { return inTree(alice, group); })) << demo.trace.toStdString();

    const auto answer = [&](E2eClient& asker, bool agree) {
        ASSERT_TRUE(gateOpen(asker));
        asker.form->groupWindows().actions().askToJoin("alice", group, asker.account.toStdString());
        app::frmCheck* check = nullptr;
        ASSERT_TRUE(waitUntil([&] {
            alice.chats().OpenNextPending();
            check = alice.form->chatWindows().joinRequestWindow();
            return check && check->requester() == asker.account.toStdString();
        })) << demo.trace.toStdString();
        ASSERT_TRUE(gateOpen(alice));
        agree ? check->comOKClick() : check->comRefClick();
    };
    answer(bob, true);
    EXPECT_TRUE(waitUntil([&] { return toasted(bob.services, "您加入群： 新山庄 成功！"); }))
        << demo.trace.toStdString();
    EXPECT_TRUE(waitUntil([&] { return toasted(alice.services, "bob加入： 新山庄"); }));
    EXPECT_TRUE(inTree(bob, group));
    answer(carol, false);
    // The refusal names the creator by his account, as the server relays it.
    EXPECT_TRUE(waitUntil([&] { return toasted(carol.services, "alice拒绝了您加入新山庄的验证！"); }));
    EXPECT_FALSE(inTree(carol, group));

    // bob leaves, and alice sees him go.
    ASSERT_TRUE(gateOpen(bob));
    bob.form->groupWindows().actions().leave(group);
    EXPECT_TRUE(waitUntil([&] { return !inTree(bob, group); }));
    EXPECT_TRUE(waitUntil([&] { return toasted(alice.services, "bob退出了 新山庄"); }))
        << demo.trace.toStdString();

    // The admin dissolves it: it leaves alice's tree.
    EXPECT_EQ(QProcess::execute(demo.bin + "/server/nqserver",
                                {"--db", demo.db, "group", "dissolve", QString::fromUtf8("新山庄")}),
              0);
    EXPECT_TRUE(waitUntil([&] { return !inTree(alice, group); })) << demo.trace.toStdString();
}

}  // namespace
}  // namespace nq
