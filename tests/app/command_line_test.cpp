// nqchat's own command line, run as a process: what a user sees for help and for mistakes, and
// the exit status scripts rely on.

#include <cstdlib>
#include <gtest/gtest.h>

#include <QProcess>
#include <QTemporaryDir>

namespace {

struct Outcome {
    int exitCode = -1;
    QString out;
    QString err;
};

Outcome nqchat(const QStringList& args, const QProcessEnvironment& env) {
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(QString::fromLocal8Bit(std::getenv("NQ_BIN_DIR")) + "/src/app/nqchat", args);
    Outcome r;
    if (!p.waitForFinished(10000)) {
        p.kill();
        p.waitForFinished();
        return r;
    }
    r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = QString::fromUtf8(p.readAllStandardOutput());
    r.err = QString::fromUtf8(p.readAllStandardError());
    return r;
}

QProcessEnvironment offscreen() {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.remove("NQCHAT_HOME");
    return env;
}

TEST(NqchatCommandLine, HelpAndMistakesAnswerWithoutStartingAWindow) {
    QTemporaryDir home;
    const QProcessEnvironment env = offscreen();

    const Outcome help = nqchat({"--help"}, env);
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.startsWith("usage: nqchat")) << help.out.toStdString();

    struct Case {
        QStringList args;
        const char* message;
    };
    const Case cases[] = {
        {{"--tick-ms", "0"}, "nqchat: --tick-ms takes 1 to 60000 milliseconds"},
        {{"--home"}, "nqchat: --home needs a value"},
        {{"--home", home.path(), "--tick-sm", "50"}, "nqchat: unknown option --tick-sm"},
        {{"--home", home.filePath("absent")}, "does not exist or is not a folder"},
    };
    for (const Case& c : cases) {
        const Outcome r = nqchat(c.args, env);
        EXPECT_EQ(r.exitCode, 2) << c.args.join(' ').toStdString();
        EXPECT_TRUE(r.err.contains(c.message)) << r.err.toStdString();
    }

    QProcessEnvironment noDisplay = env;
    for (const char* var : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) noDisplay.remove(var);
    const Outcome headless = nqchat({"--home", home.path()}, noDisplay);
    EXPECT_EQ(headless.exitCode, 1);
    EXPECT_TRUE(headless.err.startsWith("nqchat: no display")) << headless.err.toStdString();
}

TEST(NqchatCommandLine, NqchatHomeNamesTheProgramFolderWhenHomeIsNotGiven) {
    QProcessEnvironment env = offscreen();
    env.insert("NQCHAT_HOME", "/nonexistent-nqchat-home");
    const Outcome r = nqchat({}, env);
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_TRUE(r.err.contains("/nonexistent-nqchat-home")) << r.err.toStdString();
}

}  // namespace
