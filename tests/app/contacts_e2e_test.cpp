// The contact area against the real server: alice's whole client runs in this process (the
// window offscreen, real sockets and tick, recording services, so her lists can be read), bob is
// a real nqchat process, and nqserver has the demo accounts and group. Time runs at a 50 ms tick.

#include <gtest/gtest.h>

#include <QDir>
#include <QProcess>

#include "app/login_frame.h"
#include "contacts/contacts.h"
#include "e2e_support.h"
#include "form_rig.h"
#include "session/qt_transport.h"
#include "widgets/lv_buttons_h.h"

namespace nq {
namespace {

constexpr int kTickMs = 50;
constexpr const char* kDigest = "14e1b600b1fd579f47433b88e8d85291";  // md5hex(md5hex("123456"))

Bytes gbkOf(const char* utf8) {
    return gbk::fromUtf8(utf8);
}

bool toasted(const test::RecordingServices& s, const std::string& text) {
    for (const auto& t : s.toasts)
        if (t.text == text) return true;
    return false;
}

TEST(ContactsEndToEnd, AFriendRisesAndSinksAMemberIsAddedAndDeletedAGroupExpands) {
    const QString bin = test::binDir();
    test::TempDir tmp;
    test::DemoServer demo(tmp, kTickMs);
    ASSERT_TRUE(demo.ready) << demo.trace.toStdString();
    const QString& ip = demo.ip;
    const QByteArray& log = demo.trace;

    const QString aliceHome = QString::fromStdString(tmp.file("alice"));
    const QString bobHome = QString::fromStdString(tmp.file("bob"));
    for (const QString& home : {aliceHome, bobHome}) {
        ASSERT_TRUE(QDir().mkpath(home));
        test::writeCrlf(home + "/Sys.ini", {"[Setting]", "Ver=1.0", "Server=" + ip});
    }
    test::writeCrlf(bobHome + "/User.ini",
                    {"[Setting]", "UserName=bob", "isrempwd=1", "OutoRun=1", QString("Password=") + kDigest});

    test::RecordingServices services;
    test::RecordingDesktop desktop;
    QtUdpSocket update, chat;
    std::unique_ptr<app::Mainform> form;
    QtTimer timer(kTickMs, [&] { form->session().tick(); });
    form = std::make_unique<app::Mainform>(app::MainformOptions{aliceHome.toStdString(), kTickMs},
                                           app::MainformParts{services, update, chat, timer, desktop});
    form->load("");
    form->show();
    form->loginFrame().txtName->setText("alice");
    form->loginFrame().txtPassword->setText("123456");
    form->loginFrame().com_login->click();

    Contacts& c = form->contacts();
    ItemList& friends = c.MyList(Contacts::kFriends);
    const Bytes bob = gbkOf("鲍勃");
    const auto bobAt = [&] { return friends.find(bob); };
    ASSERT_TRUE(test::waitUntil([&] { return friends.count() == 3 && bobAt() > 0; }))
        << "alice's friend roster never came\n"
        << log.toStdString();
    ASSERT_GT(friends.Item(bobAt()).icon, Contacts::kOfflineShift) << "bob is offline at first";

    QProcess bobClient;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    bobClient.setProcessEnvironment(env);
    bobClient.start(bin + "/src/app/nqchat", {"--home", bobHome, "--tick-ms", QString::number(kTickMs)});
    EXPECT_TRUE(test::waitUntil([&] {
        return bobAt() == 1 && friends.Item(1).icon <= Contacts::kOfflineShift;
    })) << "bob did not rise to the top in colour";

    // His client quits once its login is over and it keeps alive, as a user's would.
    EXPECT_TRUE(test::waitUntil([&] { return log.contains("KeepAlive | bob"); })) << "bob never kept alive";
    bobClient.terminate();
    EXPECT_TRUE(bobClient.waitForFinished(10000));
    EXPECT_TRUE(test::waitUntil([&] {
        return bobAt() == friends.count() && friends.Item(bobAt()).icon > 20;
    })) << "bob did not sink grey to the end";

    NodeTree& tree = c.MyTree();
    const int group = tree.find(gbkOf("周末棋友会"));
    ASSERT_GT(group, 0) << "the demo group is not in the tree";
    c.treeExpanded(group, true);
    const auto member = [&](const char* name) {
        for (int child : tree.children(tree.find(gbkOf("周末棋友会"))))
            if (tree.text(child) == name) return child;
        return 0;
    };
    EXPECT_TRUE(test::waitUntil([&] { return member("erin") && member("bob") && member("carol"); }))
        << "the group did not expand into its members";

    // erin is a member but nobody's friend: alice adds her from the tree. She stands first under
    // her account until a profile reply brings her nick. Then alice deletes dave, a roster friend.
    const QString userFile = aliceHome + "/alice/NQUser.nq";
    const auto fileHas = [&](const char* utf8) {
        QFile f(userFile);
        return f.open(QIODevice::ReadOnly) && f.readAll().contains(QByteArray::fromStdString(gbkOf(utf8)));
    };
    c.memberToFriend(member("erin"));
    EXPECT_TRUE(test::waitUntil([&] { return toasted(services, "添加好友 erin 成功！"); })) << "no add toast";
    EXPECT_EQ(friends.find("erin"), 1);
    EXPECT_TRUE(fileHas("[Friends]\r\n1=erin\r\n"));

    // A user's next click comes after the frames the add sent have left: the menu action, like
    // most senders, writes into the one send ring without waiting for it.
    ASSERT_TRUE(test::waitUntil([&] { return form->session().wire.sendQueueFree; }));
    const Bytes dave = gbkOf("戴夫");
    friends.setSelected(friends.find(dave));
    c.deleteFriend();
    EXPECT_TRUE(test::waitUntil([&] { return toasted(services, "删除好友 戴夫 成功！"); }))
        << "no delete toast";
    EXPECT_EQ(friends.find(dave), 0);
    EXPECT_EQ(friends.count(), 3);

    form.reset();
}

}  // namespace
}  // namespace nq
