// nqchat's command line: how the one parser reads it, and, run as a process, what a user sees
// for help and mistakes and the exit status scripts rely on.

#include <gtest/gtest.h>

#include <QProcess>

#include <cstdlib>

#include "app/command_line.h"
#include "support/temp_dir.h"

namespace nq::app {
namespace {

CommandLine parse(QStringList args) {
    args.prepend("nqchat");
    return parseCommandLine(args);
}

TEST(CommandLine, OptionsAnywhereAndTheRestIsTheHallLine) {
    const CommandLine a = parse({"--home", "/tmp/h", "alice$d1g$2$", "--trace", "x"});
    EXPECT_EQ(std::tuple(a.home, a.trace, a.tickMs, a.hallLine),
              std::tuple("/tmp/h", true, 500, "alice$d1g$2$ x"));
    const CommandLine b = parse({"--home=/x", "--tick-ms", "60000"});  // the top is allowed
    EXPECT_EQ(std::tuple(b.home, b.tickMs, b.error, b.hallLine), std::tuple("/x", 60000, "", ""));
    // Bytes that are not UTF-8 (a GBK name) come through unchanged.
    char raw[] = "\xB0\xAE$d$2$";
    char* argv[] = {const_cast<char*>("nqchat"), raw};
    EXPECT_EQ(parseCommandLine(2, argv).hallLine, raw);
    EXPECT_TRUE(parse({"-h"}).help);
}

TEST(CommandLine, MistakesAreErrorsWithAClearMessage) {
    const std::pair<QStringList, const char*> cases[] = {
        {{"--tick-ms", "5x"}, "--tick-ms takes 1 to 60000 milliseconds, not \"5x\""},
        {{"--tick-ms", "0"}, "--tick-ms takes 1 to 60000 milliseconds, not \"0\""},
        {{"--tick-ms", "60001"}, "--tick-ms takes 1 to 60000 milliseconds, not \"60001\""},
        {{"--tick-ms"}, "--tick-ms needs a value"},
        {{"--home"}, "--home needs a value"},
        {{"--home="}, "--home needs a folder"},
        {{"--tick-sm", "50"}, "unknown option --tick-sm"},
        {{"-x"}, "unknown option -x"},
    };
    for (const auto& [args, message] : cases)
        EXPECT_EQ(parse(args).error, message) << args.join(' ').toStdString();
}

// Runs nqchat with no display unless `set` names one; the exit code (-1 after a crash or a
// hang) and what it printed on stdout and stderr.
std::pair<int, QString> nqchat(const QStringList& args, const std::map<QString, QString>& set) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char* var : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY", "NQCHAT_HOME"}) env.remove(var);
    for (const auto& [name, value] : set) env.insert(name, value);
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(QString::fromLocal8Bit(std::getenv("NQ_BIN_DIR")) + "/src/app/nqchat", args);
    const bool ended = p.waitForFinished(10000) && p.exitStatus() == QProcess::NormalExit;
    if (!ended) p.kill();
    return {ended ? p.exitCode() : -1, p.readAllStandardOutput() + p.readAllStandardError()};
}

TEST(NqchatProgram, AnswersHelpAndMistakesWithOrWithoutADisplayAndLeavesQtItsOptions) {
    test::TempDir home;
    const QString dir = QString::fromStdString(home.path());
    const std::map<QString, QString> offscreen = {{"QT_QPA_PLATFORM", "offscreen"}};
    struct Case {
        QStringList args;
        std::map<QString, QString> env;
        int exitCode;
        const char* message;
    };
    const Case cases[] = {
        {{"--help"}, {}, 0, "usage: nqchat"},
        {{"--version"}, {}, 0, "nqchat 1.0\n"},
        {{"--home", dir, "--tick-ms", "5x"}, {}, 2, "nqchat: --tick-ms takes"},
        {{"--home", dir, "--tick-sm", "50"}, offscreen, 2, "nqchat: unknown option --tick-sm"},
        {{"--home", dir + "/absent"}, offscreen, 2, "nqchat: the program folder"},
        {{}, {{"NQCHAT_HOME", dir + "/env"}, {"QT_QPA_PLATFORM", "offscreen"}}, 2, "env does not exist"},
        {{"--home", dir}, {}, 1, "nqchat: no display"},
        // -platform is Qt's: taken before our options are read, so only the bad tick is refused.
        {{"-platform", "offscreen", "--home", dir, "--tick-ms", "0"}, {}, 2, "nqchat: --tick-ms takes"},
    };
    for (const Case& c : cases) {
        const auto [exitCode, output] = nqchat(c.args, c.env);
        EXPECT_EQ(exitCode, c.exitCode) << c.args.join(' ').toStdString() << "\n" << output.toStdString();
        EXPECT_TRUE(output.contains(c.message)) << output.toStdString();
    }
}

}  // namespace
}  // namespace nq::app
