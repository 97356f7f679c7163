// The game hall against the real server: a client started with a mode-3 start line opens the
// conversation nqtemp.nq names, and the real nqhall adds two friends to a running client.

#include <gtest/gtest.h>

#include <QProcess>

#include "contacts/contacts.h"
#include "e2e_client.h"
#include "store/store_keys.h"
#include "wire/digest.h"

namespace nq {
namespace {

using test::E2eClient;
using test::waitUntil;

TEST(HallEndToEnd, AStartLineOpensItsConversationAndNqhallAddsTwoFriends) {
    test::TempDir tmp;
    test::DemoServer demo(tmp, test::kE2eTickMs);
    ASSERT_TRUE(demo.ready) << demo.trace.toStdString();
    const std::string account = tmp.file("alice") + "/alice";
    std::filesystem::create_directories(account);
    (void)CIniFile(account + "/nqtemp.nq").WriteIniKey(store::temp::kHallChatSection, "1", "bob");
    E2eClient alice(tmp, demo.ip, "alice", "alice$" + *passwordDigest("123456") + "$3$");
    EXPECT_TRUE(waitUntil([&] { return alice.window("bob") != nullptr; })) << demo.trace.toStdString();
    EXPECT_TRUE(alice.form->session().online);

    E2eClient erin(tmp, demo.ip, "erin");
    ASSERT_TRUE(
        waitUntil([&] { return erin.form->session().online && erin.form->session().wire.sendQueueFree; }));
    QProcess hall;
    hall.start(NQHALL, {"--home", erin.home, "add-friends", "bob", "carol"});
    ASSERT_TRUE(waitUntil([&] { return hall.state() == QProcess::NotRunning; }));
    EXPECT_EQ(hall.exitCode(), 0) << hall.readAllStandardError().toStdString();
    EXPECT_FALSE(QFile::exists(erin.home + "/nqtemp.nq"));
    const ItemList& friends = erin.form->contacts().MyList(Contacts::kFriends);
    EXPECT_TRUE(waitUntil([&] { return friends.count() == 2; })) << demo.trace.toStdString();
}

}  // namespace
}  // namespace nq
