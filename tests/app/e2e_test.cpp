// The real programs together: nqserver on a loopback address of its own with the demo accounts,
// nqchat offscreen with a remembered password and automatic login, time compressed to a 50 ms
// tick. The client is ended the way a user ends it (SIGTERM reaches the 退出 path), and the
// server's frame trace must show the whole life of the session in order.

#include <gtest/gtest.h>

#include <QDir>
#include <QProcess>
#include <QRegularExpression>

#include "e2e_support.h"
#include "wire/frame_kinds.h"

namespace nq {
namespace {

constexpr int kTickMs = 50;
// md5hex(md5hex("123456")), what User.ini keeps for a remembered password.
constexpr const char* kDigest = "14e1b600b1fd579f47433b88e8d85291";

// The first trace line from `from` on where a frame of the kind arrived at the server's channel
// ("dispatcher" or "chat") and `rest` follows the kind's name; -1 when there is none.
int arrival(const QStringList& lines, const char* channel, FrameKind kind, const QString& rest,
            int from = 0) {
    const QRegularExpression re(QString(R"( trace in %1 .*\(%2,%3\) .* %4%5)")
                                    .arg(channel)
                                    .arg(kind.type)
                                    .arg(kind.sub)
                                    .arg(QLatin1String(frameKindName(kind)->data()), rest));
    for (int i = std::max(from, 0); i < lines.size(); ++i)
        if (re.match(lines[i]).hasMatch()) return i;
    return -1;
}

TEST(EndToEnd, AutoLoginKeepAliveAndExitAgainstTheRealServer) {
    const QString bin = test::binDir();
    test::TempDir tmp;
    test::DemoServer demo(tmp, kTickMs);
    ASSERT_TRUE(demo.ready) << demo.trace.toStdString();
    const QString& ip = demo.ip;
    QByteArray& trace = demo.trace;

    const QString home = QString::fromStdString(tmp.file("home"));
    ASSERT_TRUE(QDir().mkpath(home));
    test::writeCrlf(home + "/Sys.ini", {"[Setting]", "Ver=1.0", "Server=" + ip});
    test::writeCrlf(home + "/User.ini", {"[Setting]", "UserName=alice", "isrempwd=1", "OutoRun=1",
                                         QString("Password=") + kDigest});
    QProcess client;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    client.setProcessEnvironment(env);
    client.start(bin + "/src/app/nqchat", {"--home", home, "--tick-ms", QString::number(kTickMs)});

    // Two keep-alives come 42 ticks after login: about two seconds at this tick.
    const auto lines = [&] { return QString::fromUtf8(trace).split('\n'); };
    const auto keepAlives = [&](const QStringList& l) {
        return arrival(l, "chat", kind::kKeepAlive, "", arrival(l, "chat", kind::kKeepAlive, "") + 1);
    };
    ASSERT_TRUE(test::waitUntil([&] { return keepAlives(lines()) >= 0; }, 20000))
        << "no two keep-alives arrived.\nserver:\n"
        << trace.toStdString() << "\nclient:\n"
        << client.readAllStandardError().toStdString();

    client.terminate();
    ASSERT_TRUE(client.waitForFinished(10000)) << "nqchat did not end on SIGTERM";
    EXPECT_EQ(client.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(client.exitCode(), 0);
    ASSERT_TRUE(test::waitUntil([&] { return trace.contains("logged out"); }, 5000)) << trace.toStdString();

    const QStringList in = lines();
    const QString alice = QString(R"( \| alice \| )") + kDigest;
    const int login = arrival(in, "dispatcher", kind::kLogin, alice);
    const int chatLogin = arrival(in, "chat", kind::kLogin, alice, login + 1);
    const int roster = arrival(in, "chat", kind::kFriendRoster, R"( \| alice$)", chatLogin + 1);
    const int keepAlive1 = arrival(in, "chat", kind::kKeepAlive, R"( \| alice$)", roster + 1);
    const int keepAlive2 = arrival(in, "chat", kind::kKeepAlive, R"( \| alice$)", keepAlive1 + 1);
    const int logout = arrival(in, "chat", kind::kLogout, R"( \| alice$)", keepAlive2 + 1);
    EXPECT_GE(login, 0) << "dispatcher login";
    EXPECT_TRUE(in.value(login).contains("code=256")) << "version 1.0 = code 256";
    EXPECT_GT(chatLogin, login) << "login repeated to the chat server";
    EXPECT_GT(roster, chatLogin) << "roster request";
    EXPECT_GT(keepAlive1, roster) << "first keep-alive";
    EXPECT_GT(keepAlive2, keepAlive1) << "second keep-alive";
    EXPECT_GT(logout, keepAlive2) << "quit frame at exit";
    EXPECT_EQ(arrival(in, "chat", kind::kLogout, "", logout + 1), -1) << "one quit frame only";
}

}  // namespace
}  // namespace nq
