#pragma once
// nqserver with the demo accounts on a loopback address of its own, for the end-to-end tests,
// and the program folders' files written as the client finds them.

#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QStringList>
#include <cstdlib>

#include "support/event_loop.h"
#include "support/loopback.h"
#include "support/temp_dir.h"

namespace nq::test {

inline void writeCrlf(const QString& path, const QStringList& lines) {
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write((lines.join("\r\n") + "\r\n").toUtf8());
}

// Tracing every frame to `trace`, its clients' tick compressed to tickMs.
struct DemoServer {
    DemoServer(const TempDir& tmp, int tickMs)
        : ip(QString::fromStdString(claimLoopbackAddress())),
          db(QString::fromStdString(tmp.file("nqserver.db"))) {
        EXPECT_EQ(QProcess::execute(bin + "/server/nqserver", {"--db", db, "demo"}), 0)
            << "nqserver demo failed";
        QObject::connect(&process, &QProcess::readyReadStandardError,
                         [this] { trace += process.readAllStandardError(); });
        process.start(bin + "/server/nqserver",
                      {"--db", db, "--address", ip, "--trace", "--pace-tick", QString::number(tickMs)});
        ready = waitUntil([this] { return trace.contains("ready"); }, 5000);
    }
    ~DemoServer() {
        process.terminate();
        EXPECT_TRUE(process.waitForFinished(5000));
    }

    const QString bin = QString::fromLocal8Bit(std::getenv("NQ_BIN_DIR"));
    QString ip;
    QString db;
    QProcess process;
    QByteArray trace;
    bool ready = false;
};

}  // namespace nq::test
