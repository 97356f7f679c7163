#pragma once
// What the end-to-end tests share: nqserver with the demo accounts on a loopback address of its
// own, program folders written as the client finds them, and waiting on the event loop.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>
#include <QStringList>
#include <cstdlib>
#include <functional>

#include "support/loopback.h"
#include "support/temp_dir.h"

namespace nq::test {

// Runs the event loop until done; the deadline is a bound for a broken build, not a timing goal.
inline bool waitUntil(const std::function<bool()>& done, int timeoutMs = 20000) {
    for (const QDeadlineTimer deadline(timeoutMs); !done();
         QCoreApplication::processEvents(QEventLoop::AllEvents, 20))
        if (deadline.hasExpired()) return false;
    return true;
}

inline void writeCrlf(const QString& path, const QStringList& lines) {
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write((lines.join("\r\n") + "\r\n").toUtf8());
}

inline QString binDir() {
    return QString::fromLocal8Bit(std::getenv("NQ_BIN_DIR"));
}

// nqserver tracing every frame to `trace`, its clients' tick compressed to tickMs.
struct DemoServer {
    explicit DemoServer(const TempDir& tmp, int tickMs) : ip(QString::fromStdString(claimLoopbackAddress())) {
        const QString db = QString::fromStdString(tmp.file("nqserver.db"));
        EXPECT_EQ(QProcess::execute(binDir() + "/server/nqserver", {"--db", db, "demo"}), 0)
            << "nqserver demo failed";
        QObject::connect(&process, &QProcess::readyReadStandardError,
                         [this] { trace += process.readAllStandardError(); });
        process.start(binDir() + "/server/nqserver",
                      {"--db", db, "--address", ip, "--trace", "--pace-tick", QString::number(tickMs)});
        ready = waitUntil([this] { return trace.contains("ready"); }, 5000);
    }
    ~DemoServer() {
        process.terminate();
        EXPECT_TRUE(process.waitForFinished(5000));
    }

    QString ip;
    QProcess process;
    QByteArray trace;
    bool ready = false;
};

}  // namespace nq::test
