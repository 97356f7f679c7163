// The real programs together: nqserver on a loopback address of its own with the demo accounts
// and group; alice's whole client in this process (the window offscreen, real sockets and tick,
// recording services, so that her lists can be read); bob a real nqchat process that logs in by
// itself with a remembered password. Time runs at a 50 ms tick. bob is ended the way a user ends
// him (SIGTERM reaches the 退出 path), and the server's frame trace must show his whole session.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>

#include "contacts/contacts.h"
#include "e2e_client.h"
#include "wire/frame_kinds.h"

namespace nq {
namespace {

using test::DemoServer;
using test::toasted;
using test::waitUntil;
using test::writeCrlf;

// md5hex(md5hex("123456")), what User.ini keeps for a remembered password.
constexpr const char* kDigest = "14e1b600b1fd579f47433b88e8d85291";

// The first trace line from `from` on where a frame of the kind arrived at the server's channel
// ("dispatcher" or "chat") and `rest` follows the kind's name; -1 when there is none.
int arrival(const QByteArray& trace, const char* channel, FrameKind kind, const QString& rest, int from = 0) {
    const QStringList lines = QString::fromUtf8(trace).split('\n');
    const QRegularExpression re(QString(R"( trace in %1 .*\(%2,%3\) .* %4%5)")
                                    .arg(channel)
                                    .arg(kind.type)
                                    .arg(kind.sub)
                                    .arg(QLatin1String(frameKindName(kind)->data()), rest));
    for (int i = std::max(from, 0); i < lines.size(); ++i)
        if (re.match(lines[i]).hasMatch()) return i;
    return -1;
}

TEST(EndToEnd, AFriendLogsInKeepsAliveAndQuitsAMemberIsAddedAndDeletedAGroupExpands) {
    test::TempDir tmp;
    DemoServer demo(tmp, test::kE2eTickMs);
    ASSERT_TRUE(demo.ready) << demo.trace.toStdString();
    const QByteArray& log = demo.trace;
    const QString bobHome = QString::fromStdString(tmp.file("bob"));
    ASSERT_TRUE(QDir().mkpath(bobHome));
    writeCrlf(bobHome + "/Sys.ini", {"[Setting]", "Ver=1.0", "Server=" + demo.ip});
    writeCrlf(bobHome + "/User.ini",
              {"[Setting]", "UserName=bob", "isrempwd=1", "OutoRun=1", QString("Password=") + kDigest});
    test::E2eClient alice(tmp, demo.ip, "alice");
    Contacts& c = alice.form->contacts();
    ItemList& friends = c.MyList(Contacts::kFriends);
    const Bytes bob = gbk::fromUtf8("鲍勃");
    const auto bobAt = [&] { return friends.find(bob); };
    ASSERT_TRUE(waitUntil([&] { return friends.count() == 3 && bobAt() > 0; }))
        << "alice's friend roster never came\n"
        << log.toStdString();
    ASSERT_GT(friends.Item(bobAt()).icon, Contacts::kOfflineShift) << "bob is offline at first";

    QProcess bobClient;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    bobClient.setProcessEnvironment(env);
    bobClient.start(demo.bin + "/src/app/nqchat",
                    {"--home", bobHome, "--tick-ms", QString::number(test::kE2eTickMs)});
    EXPECT_TRUE(waitUntil([&] { return bobAt() == 1 && friends.Item(1).icon <= Contacts::kOfflineShift; }))
        << "bob did not rise to the top in colour";

    // His client quits once it has kept alive twice (42 ticks after the login), as a user's would.
    const QString ofBob = R"( \| bob$)";
    const auto keepAlive = [&](int from) { return arrival(log, "chat", kind::kKeepAlive, ofBob, from); };
    ASSERT_TRUE(waitUntil([&] { return keepAlive(keepAlive(0) + 1) >= 0; }))
        << "no two keep-alives of bob arrived\n"
        << log.toStdString() << bobClient.readAllStandardError().toStdString();
    bobClient.terminate();
    ASSERT_TRUE(bobClient.waitForFinished(10000)) << "nqchat did not end on SIGTERM";
    EXPECT_EQ(std::pair(bobClient.exitStatus(), bobClient.exitCode()), std::pair(QProcess::NormalExit, 0));
    EXPECT_TRUE(waitUntil([&] { return bobAt() == friends.count() && friends.Item(bobAt()).icon > 20; }))
        << "bob did not sink grey to the end";
    // His session in the trace, in order: the login at the dispatcher (version 1.0 as code 256)
    // and again at the chat server, the roster request, two keep-alives, one quit frame.
    const int login = arrival(log, "dispatcher", kind::kLogin, QString(R"( \| bob \| )") + kDigest);
    const int chatLogin = arrival(log, "chat", kind::kLogin, QString(R"( \| bob \| )") + kDigest, login + 1);
    const int roster = arrival(log, "chat", kind::kFriendRoster, ofBob, chatLogin + 1);
    const int keepAlive2 = keepAlive(keepAlive(roster + 1) + 1);
    const int logout = arrival(log, "chat", kind::kLogout, ofBob, keepAlive2 + 1);
    EXPECT_TRUE(QString::fromUtf8(log).split('\n').value(login).contains("code=256")) << log.toStdString();
    EXPECT_TRUE(login >= 0 && chatLogin > login && roster > chatLogin && keepAlive2 > roster &&
                logout > keepAlive2)
        << login << " " << chatLogin << " " << roster << " " << keepAlive2 << " " << logout;
    EXPECT_EQ(arrival(log, "chat", kind::kLogout, ofBob, logout + 1), -1) << "one quit frame only";

    NodeTree& tree = c.MyTree();
    const Bytes chess = gbk::fromUtf8("周末棋友会");
    ASSERT_GT(tree.find(chess), 0) << "the demo group is not in the tree";
    c.treeExpanded(tree.find(chess), true);
    const auto member = [&](const char* name) {
        for (int child : tree.children(tree.find(chess)))
            if (tree.text(child) == name) return child;
        return 0;
    };
    EXPECT_TRUE(waitUntil([&] { return member("erin") && member("bob") && member("carol"); }))
        << "the group did not expand into its members";

    // erin is a member but nobody's friend: alice adds her from the tree. She stands first under
    // her account until a profile reply brings her nick. Then alice deletes dave, a roster friend.
    QFile userFile(alice.home + "/alice/NQUser.nq");
    c.memberToFriend(member("erin"));
    EXPECT_TRUE(waitUntil([&] { return toasted(alice.services, "添加好友 erin 成功！"); })) << "no add toast";
    EXPECT_EQ(friends.find("erin"), 1);
    EXPECT_TRUE(userFile.open(QIODevice::ReadOnly) && userFile.readAll().contains("[Friends]\r\n1=erin\r\n"));

    // A user's next click comes after the frames the add sent have left: the menu action, like
    // most senders, writes into the one send ring without waiting for it.
    ASSERT_TRUE(waitUntil([&] { return alice.form->session().wire.sendQueueFree; }));
    const Bytes dave = gbk::fromUtf8("戴夫");
    friends.setSelected(friends.find(dave));
    c.deleteFriend();
    EXPECT_TRUE(waitUntil([&] { return toasted(alice.services, "删除好友 戴夫 成功！"); }))
        << "no delete toast";
    EXPECT_EQ(friends.find(dave), 0);
    EXPECT_EQ(friends.count(), 3);
}

}  // namespace
}  // namespace nq
