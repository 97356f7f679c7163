#include "load_servers.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "support/loopback.h"

namespace nq::bench {
namespace {

std::atomic<bool> gStopAsked{false};

// A server that has not bound its port by then is taken as stuck: starting takes well under a
// second on SQLite and on a local PostgreSQL.
constexpr auto kStartLimit = std::chrono::seconds(20);
// A graceful stop writes back what each server held; past this it is killed.
constexpr auto kStopLimit = std::chrono::seconds(30);

int64_t fileSize(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 ? static_cast<int64_t>(st.st_size) : 0;
}

int64_t folderBytes(const std::string& path) {
    std::error_code ec;
    int64_t total = 0;
    for (std::filesystem::recursive_directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec))
        if (it->is_regular_file(ec)) total += static_cast<int64_t>(it->file_size(ec));
    return total;
}

std::string fileText(const std::string& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

bool portTaken(const std::string& address, uint16_t port) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    sa.sin_port = htons(port);
    ::inet_pton(AF_INET, address.c_str(), &sa.sin_addr);
    const bool taken = ::bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0 && errno == EADDRINUSE;
    ::close(fd);
    return taken;
}

// The fields after the command name in /proc/PID/stat; field 3 (the state) comes first.
std::vector<std::string> statFields(pid_t pid) {
    const std::string stat = fileText("/proc/" + std::to_string(pid) + "/stat");
    std::vector<std::string> parts;
    const size_t close = stat.rfind(')');
    if (close == std::string::npos || close + 2 > stat.size()) return parts;
    size_t start = close + 2;
    for (size_t i = start; i <= stat.size(); ++i)
        if (i == stat.size() || stat[i] == ' ') {
            parts.push_back(stat.substr(start, i - start));
            start = i + 1;
        }
    return parts;
}

}  // namespace

std::pair<double, double> memoryOf(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    double rss = 0, peak = 0;
    while (std::getline(in, line)) {
        if (line.rfind("VmRSS:", 0) == 0) rss = std::atof(line.c_str() + 6) / 1024;
        if (line.rfind("VmHWM:", 0) == 0) peak = std::atof(line.c_str() + 6) / 1024;
    }
    return {rss, peak};
}

double cpuSecondsOf(pid_t pid) {
    const std::vector<std::string> parts = statFields(pid);
    if (parts.size() < 13) return 0;
    // utime and stime are fields 14 and 15.
    return (std::atof(parts[11].c_str()) + std::atof(parts[12].c_str())) / sysconf(_SC_CLK_TCK);
}

void pinTo(pid_t pid, int cpu) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(cpu, &set);
    sched_setaffinity(pid, sizeof set, &set);
}

void stopOnSignals() {
    struct sigaction sa {};
    sa.sa_handler = [](int) { gStopAsked = true; };
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
}

bool stopAsked() {
    return gStopAsked.load(std::memory_order_relaxed);
}

LoadServers::LoadServers(const LoadOptions& options) : o_(options) {
    char pattern[] = "/tmp/nqserver-load-XXXXXX";
    if (!mkdtemp(pattern))
        throw std::runtime_error(std::string("cannot make a folder in /tmp: ") + strerror(errno));
    folder_ = pattern;
    // The cluster inside runs as postgres when the bench runs as root, and must reach its folder.
    chmod(folder_.c_str(), 0755);
}

LoadServers::~LoadServers() {
    stop();
}

const std::string& LoadServers::database() {
    if (!database_.empty()) return database_;
    if (o_.engine == Engine::Sqlite) {
        database_ = folder_ + "/load.db";
    } else {
        startCluster();
        // The cluster listens on a socket in its folder only; trust for the postgres user.
        database_ = "postgresql:///postgres?host=" + clusterDir_ + "&user=postgres";
    }
    return database_;
}

bool LoadServers::runClusterScript(const char* command) {
    const std::string dir = folder_ + "/pg";
    const pid_t pid = fork();
    if (pid == 0) {
        execl(o_.pgCluster.c_str(), o_.pgCluster.c_str(), command, dir.c_str(), static_cast<char*>(nullptr));
        std::fprintf(stderr, "bench_load: cannot run %s: %s\n", o_.pgCluster.c_str(), strerror(errno));
        _exit(127);
    }
    int status = 0;
    return pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void LoadServers::startCluster() {
    if (access(o_.pgCluster.c_str(), X_OK) != 0)
        throw std::runtime_error("no PostgreSQL cluster script at " + o_.pgCluster +
                                 " (give --pg-cluster PATH)");
    // Marked as running before the script ends, so that a half-made cluster is removed too.
    clusterDir_ = folder_ + "/pg";
    if (!runClusterScript("start"))
        throw std::runtime_error("could not start a PostgreSQL cluster in " + clusterDir_ + " with " +
                                 o_.pgCluster + " (its message, if any, is above)");
    clusterStarted_ = true;
}

ServerProcess LoadServers::spawn(int index) {
    ServerProcess s;
    s.address = nq::test::claimLoopbackAddress();
    s.id = s.address + ":" + std::to_string(kChatPort);
    s.log = folder_ + "/server-" + std::to_string(index) + ".log";
    std::vector<std::string> args{
        o_.nqserver, "serve",       "--db", database(),    "--address",
        s.address,   "--log-level", "info", "--chat-port", std::to_string(kChatPort)};
    // One server also dispatches, for the bad-login flood; several are chat servers only, placed
    // by the bench itself (see the header of bench_load.cpp).
    if (o_.servers > 1) args.insert(args.end(), {"--role", "chat", "--public-host", s.address});
    args.insert(args.end(), o_.serverArgs.begin(), o_.serverArgs.end());
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    const pid_t parent = getpid();
    s.pid = fork();
    if (s.pid == 0) {
        // A bench that dies takes its servers with it.
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent) _exit(1);
        const int log = open(s.log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (log >= 0) dup2(log, STDERR_FILENO);
        execv(argv[0], argv.data());
        std::fprintf(stderr, "bench_load: cannot run %s: %s\n", argv[0], strerror(errno));
        _exit(127);
    }
    if (s.pid < 0) throw std::runtime_error("cannot start " + o_.nqserver + ": " + strerror(errno));
    return s;
}

void LoadServers::waitUntilBound(const ServerProcess& s) {
    const auto until = std::chrono::steady_clock::now() + kStartLimit;
    while (!portTaken(s.address, kChatPort)) {
        int status = 0;
        const bool gone = waitpid(s.pid, &status, WNOHANG) == s.pid;
        if (gone || std::chrono::steady_clock::now() > until || stopAsked()) {
            std::fprintf(stderr, "bench_load: the log of the server on %s:\n%s", s.address.c_str(),
                         fileText(s.log).c_str());
            if (!gone) {
                kill(s.pid, SIGKILL);
                waitpid(s.pid, &status, 0);
            }
            const std::string why = gone ? "stopped at once" : "did not bind its port within 20 s";
            throw std::runtime_error("nqserver on " + s.address + " " + why + " (its log is above)");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

void LoadServers::start() {
    database();
    for (int i = 0; i < o_.servers; ++i) servers_.push_back(spawn(i));
    for (const ServerProcess& s : servers_) waitUntilBound(s);
    // One server gets a core to itself, the generator the other, as in the figures of one server
    // before the cluster. Several servers and PostgreSQL are left to the scheduler: they cannot
    // each have one on this machine.
    const int cpus = static_cast<int>(std::thread::hardware_concurrency());
    if (o_.servers == 1 && cpus > 1) pinTo(servers_[0].pid, cpus - 1);
}

void LoadServers::stop() {
    for (const ServerProcess& s : servers_) kill(s.pid, SIGTERM);
    const auto until = std::chrono::steady_clock::now() + kStopLimit;
    for (const ServerProcess& s : servers_) {
        int status = 0;
        bool killed = false;
        while (waitpid(s.pid, &status, WNOHANG) == 0) {
            if (!killed && std::chrono::steady_clock::now() > until) {
                killed = true;
                std::fprintf(stderr, "bench_load: the server on %s took over 30 s to stop; killed\n",
                             s.address.c_str());
                kill(s.pid, SIGKILL);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
    servers_.clear();
    if (!clusterDir_.empty()) {
        // After a failed start only what it left is removed: its failure was told already.
        if (!runClusterScript("stop") && clusterStarted_)
            std::fprintf(stderr, "bench_load: could not stop the PostgreSQL cluster in %s with %s\n",
                         clusterDir_.c_str(), o_.pgCluster.c_str());
        clusterDir_.clear();
        clusterStarted_ = false;
    }
    if (!folder_.empty()) {
        std::error_code ec;
        std::filesystem::remove_all(folder_, ec);
        folder_.clear();
    }
}

double LoadServers::databaseCpuSeconds() const {
    if (clusterDir_.empty()) return 0;
    const pid_t postmaster = std::atoi(fileText(clusterDir_ + "/data/postmaster.pid").c_str());
    if (postmaster <= 0) return 0;
    double total = cpuSecondsOf(postmaster);
    // Its backends, one per connection, and its helpers are its children.
    if (DIR* proc = opendir("/proc")) {
        while (dirent* e = readdir(proc)) {
            const pid_t pid = std::atoi(e->d_name);
            if (pid <= 0) continue;
            const std::vector<std::string> f = statFields(pid);
            if (f.size() > 1 && std::atoi(f[1].c_str()) == postmaster) total += cpuSecondsOf(pid);
        }
        closedir(proc);
    }
    return total;
}

int64_t LoadServers::databaseBytes() const {
    if (o_.engine == Engine::Sqlite) return fileSize(database_) + fileSize(database_ + "-wal");
    return clusterDir_.empty()
               ? 0
               : folderBytes(clusterDir_ + "/data/base") + folderBytes(clusterDir_ + "/data/pg_wal");
}

int64_t LoadServers::logBytes() const {
    int64_t total = 0;
    for (const ServerProcess& s : servers_) total += fileSize(s.log);
    return total;
}

}  // namespace nq::bench
