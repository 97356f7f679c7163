// The real programs together: nqserver on its own loopback address with the demo accounts,
// nqchat offscreen with a remembered password and automatic login, time compressed to a 50 ms
// tick. The client is ended the way a user ends it (SIGTERM reaches the 退出 path), and the
// server's frame trace must show the whole life of the session in order.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <cstdlib>
#include <functional>

namespace {

constexpr const char* kIp = "127.0.0.5";
constexpr int kTickMs = 50;
// md5hex(md5hex("123456")), what User.ini keeps for a remembered password.
constexpr const char* kDigest = "14e1b600b1fd579f47433b88e8d85291";

// The build tree: the shared test main sets NQ_BIN_DIR unless the caller points elsewhere.
QString binDir() { return QString::fromLocal8Bit(std::getenv("NQ_BIN_DIR")); }

// A child process whose stderr is collected as it comes.
class Child {
  public:
    Child() {
        QObject::connect(&process, &QProcess::readyReadStandardError,
                         [this] { err += process.readAllStandardError(); });
    }
    ~Child() {
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished(2000);
        }
    }
    QProcess process;
    QByteArray err;
};

bool waitUntil(const std::function<bool()>& done, int timeoutMs) {
    QElapsedTimer t;
    t.start();
    while (!done()) {
        if (t.elapsed() > timeoutMs) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

void writeCrlf(const QString& path, const QStringList& lines) {
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write((lines.join("\r\n") + "\r\n").toUtf8());
}

// The server's trace lines of frames that arrived at it, "in dispatcher ..." and "in chat ...".
QStringList framesIn(const QByteArray& trace) {
    QStringList out;
    for (const QString& line : QString::fromUtf8(trace).split('\n'))
        if (line.contains(" trace in ")) out << line.mid(line.indexOf(" trace in ") + 10);
    return out;
}

int indexOf(const QStringList& lines, const QString& pattern, int from = 0) {
    const QRegularExpression re(pattern);
    for (int i = from; i < lines.size(); ++i)
        if (re.match(lines[i]).hasMatch()) return i;
    return -1;
}

TEST(EndToEnd, AutoLoginKeepAliveAndExitAgainstTheRealServer) {
    const QString bin = binDir();
    const QString server = bin + "/server/nqserver";
    const QString client = bin + "/src/app/nqchat";
    ASSERT_TRUE(QFileInfo(server).isExecutable()) << server.toStdString() << " is missing: build nqserver";
    ASSERT_TRUE(QFileInfo(client).isExecutable()) << client.toStdString() << " is missing: build nqchat";

    QTemporaryDir tmp;
    ASSERT_TRUE(tmp.isValid());
    const QString db = tmp.filePath("nqserver.db");
    ASSERT_EQ(QProcess::execute(server, {"--db", db, "demo"}), 0) << "nqserver demo failed";

    Child srv;
    srv.process.start(server,
                      {"--db", db, "--address", kIp, "--trace", "--pace-tick", QString::number(kTickMs)});
    ASSERT_TRUE(srv.process.waitForStarted(5000));
    ASSERT_TRUE(waitUntil([&] { return srv.err.contains("ready"); }, 5000)) << "nqserver did not come up:\n"
                                                                            << srv.err.toStdString();

    const QString home = tmp.filePath("home");
    ASSERT_TRUE(QDir().mkpath(home));
    writeCrlf(home + "/Sys.ini", {"[Setting]", "Ver=1.0", QString("Server=") + kIp});
    writeCrlf(home + "/User.ini",
              {"[Setting]", "UserName=alice", "isrempwd=1", "OutoRun=1", QString("Password=") + kDigest});

    Child cli;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    cli.process.setProcessEnvironment(env);
    cli.process.start(client, {"--home", home, "--tick-ms", QString::number(kTickMs), "--trace"});
    ASSERT_TRUE(cli.process.waitForStarted(5000));

    // Two keep-alives are 42 ticks after login: about two seconds at this tick.
    const bool alive = waitUntil([&] { return srv.err.count("(9,0)") >= 4; }, 20000);
    ASSERT_TRUE(alive) << "no two keep-alives arrived.\nserver:\n"
                       << srv.err.toStdString() << "\nclient:\n"
                       << cli.err.toStdString();

    cli.process.terminate();
    ASSERT_TRUE(cli.process.waitForFinished(10000)) << "nqchat did not end on SIGTERM";
    EXPECT_EQ(cli.process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(cli.process.exitCode(), 0);
    ASSERT_TRUE(waitUntil([&] { return srv.err.contains("logged out"); }, 5000))
        << "the server saw no logout:\n"
        << srv.err.toStdString();

    const QStringList in = framesIn(srv.err);
    const int login = indexOf(in, R"(^dispatcher .*\(1,1\) code=256 .*\| alice \| )" + QString(kDigest));
    const int chatLogin =
        indexOf(in, R"(^chat .*\(1,1\) code=0 .*\| alice \| )" + QString(kDigest), login + 1);
    const int roster = indexOf(in, R"(^chat .*\(3,4\) .*\| alice$)", chatLogin + 1);
    const int keepAlive1 = indexOf(in, R"(^chat .*\(9,0\) .*\| alice$)", roster + 1);
    const int keepAlive2 = indexOf(in, R"(^chat .*\(9,0\) .*\| alice$)", keepAlive1 + 1);
    const int logout = indexOf(in, R"(^chat .*\(1,5\) .*\| alice$)", keepAlive2 + 1);
    EXPECT_GE(login, 0) << "dispatcher login (version 1.0 = code 256)";
    EXPECT_GT(chatLogin, login) << "login repeated to the chat server";
    EXPECT_GT(roster, chatLogin) << "roster request";
    EXPECT_GT(keepAlive1, roster) << "first keep-alive";
    EXPECT_GT(keepAlive2, keepAlive1) << "second keep-alive";
    EXPECT_GT(logout, keepAlive2) << "quit frame at exit";
    EXPECT_EQ(indexOf(in, R"(\(1,5\))", logout + 1), -1) << "one quit frame only";

    // The client's own trace saw the acceptance, and the exit stored the window's position.
    EXPECT_TRUE(cli.err.contains("in chat")) << cli.err.toStdString();
    QFile userIni(home + "/User.ini");
    ASSERT_TRUE(userIni.open(QIODevice::ReadOnly));
    EXPECT_TRUE(QRegularExpression(R"(\[Position\]\r\nMainform=\d+(\.\d+)?,\d+(\.\d+)?,\r\n)")
                    .match(QString::fromUtf8(userIni.readAll()))
                    .hasMatch());

    srv.process.terminate();
    EXPECT_TRUE(srv.process.waitForFinished(5000));
}

}  // namespace
