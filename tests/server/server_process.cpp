#include "server_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace nq::test {
namespace {

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// Starts argv with stdout and stderr going to files; returns the pid.
pid_t spawn(const std::vector<std::string>& args, const std::string& outPath, const std::string& errPath) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errPath.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                     0644);
    std::vector<char*> argv;
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int rc = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) throw std::runtime_error("cannot start " + args[0]);
    return pid;
}

}  // namespace

std::string nqserverPath() {
    return std::string(std::getenv("NQ_BIN_DIR")) + "/server/nqserver";
}

AdminResult runNqserver(const std::vector<std::string>& args) {
    static const TempDir folder("nqserver-admin");
    const std::string out = folder.file("admin.out");
    const std::string err = folder.file("admin.err");
    std::vector<std::string> argv{nqserverPath()};
    argv.insert(argv.end(), args.begin(), args.end());
    unlink(err.c_str());
    const pid_t pid = spawn(argv, out, err);
    int status = 0;
    waitpid(pid, &status, 0);
    AdminResult r;
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    r.out = readFile(out);
    r.err = readFile(err);
    return r;
}

ServerProcess::ServerProcess(std::string address, std::vector<std::string> extraArgs, std::string sharedDb)
    : address_(std::move(address)), extraArgs_(std::move(extraArgs)) {
    db_ = sharedDb.empty() ? folder_.file("nq.db") : sharedDb;
    logPath_ = folder_.file("server.log");
    for (size_t i = 0; i + 1 < extraArgs_.size(); ++i)
        if (extraArgs_[i] == "--chat-port") chatPort_ = static_cast<uint16_t>(std::stoi(extraArgs_[i + 1]));
}

ServerProcess::~ServerProcess() {
    stop();
}

void ServerProcess::start() {
    if (pid_ > 0) return;
    std::vector<std::string> args{nqserverPath(),
                                  "serve",
                                  "--db",
                                  db_,
                                  "--address",
                                  address_,
                                  "--session-timeout",
                                  std::to_string(kSessionTimeout),
                                  "--pace-tick",
                                  std::to_string(kPaceTickMs),
                                  "--log-level",
                                  "debug",
                                  "--trace"};
    args.insert(args.end(), extraArgs_.begin(), extraArgs_.end());
    const size_t logStart = log().size();
    pid_ = spawn(args, "/dev/null", logPath_);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < deadline) {
        if (log().find("nqserver ready", logStart) != std::string::npos) return;
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            throw std::runtime_error("nqserver exited at start:\n" + log());
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    throw std::runtime_error("nqserver did not become ready:\n" + log());
}

void ServerProcess::stop() {
    if (pid_ <= 0) return;
    kill(pid_, SIGTERM);
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
}

AdminResult ServerProcess::admin(const std::vector<std::string>& args) const {
    std::vector<std::string> all{"--db", db_};
    all.insert(all.end(), args.begin(), args.end());
    return runNqserver(all);
}

void ServerProcess::demo() const {
    const AdminResult r = admin({"demo"});
    if (r.status != 0) throw std::runtime_error("nqserver demo failed: " + r.err);
}

server::Endpoint ServerProcess::dispatcher() const {
    return {*server::parseIpv4(address_), 4000};
}
server::Endpoint ServerProcess::chat() const {
    return {*server::parseIpv4(address_), chatPort_};
}

std::string ServerProcess::log() const {
    return readFile(logPath_);
}

}  // namespace nq::test
