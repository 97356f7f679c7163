// nqhold: keeps UDP ports open for a server that may stop or crash. It binds the sockets, starts
// the server with them by systemd's LISTEN_FDS protocol, and starts it again whenever it ends,
// so that datagrams wait in the sockets' queues meanwhile and no client is told the port is
// closed. What a systemd socket unit with Restart=always does, for machines without systemd
// (./nq run). It reads no datagram itself.
//
//   nqhold --udp ADDR:PORT [--udp ADDR:PORT ...] -- PROGRAM [ARGS...]
//
// SIGTERM or SIGINT stop the server and then nqhold; SIGHUP restarts the server at once.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Ms = std::chrono::milliseconds;

// systemd's RestartSec= default; doubled, up to kLongestDelay, while the server keeps dying young.
constexpr Ms kFirstDelay{100};
constexpr Ms kLongestDelay{5000};
constexpr auto kYoung = std::chrono::seconds(10);
// Five young deaths in a row (systemd's StartLimitBurst=) and it will not come up by itself.
constexpr int kYoungDeathsToGiveUp = 5;
// A server that refuses its command line or database (nqserver's status 2) will refuse it again.
constexpr int kRefusedStatus = 2;
constexpr int kFirstInheritedFd = 3;  // SD_LISTEN_FDS_START

[[noreturn]] void fail(int status, const std::string& why) {
    std::fprintf(stderr, "nqhold: %s\n", why.c_str());
    std::exit(status);
}

int bindUdp(const std::string& where) {
    const size_t colon = where.rfind(':');
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    char* end = nullptr;
    const long port = colon == std::string::npos ? 0 : std::strtol(where.c_str() + colon + 1, &end, 10);
    if (colon == std::string::npos || *end != '\0' || port < 1 || port > 65535 ||
        inet_pton(AF_INET, where.substr(0, colon).c_str(), &sa.sin_addr) != 1)
        fail(2, "--udp wants an IPv4 ADDR:PORT, not \"" + where + "\"");
    sa.sin_port = htons(static_cast<uint16_t>(port));
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0)
        fail(1, "cannot bind " + where + ": " + std::strerror(errno));
    return fd;
}

pid_t startProgram(const std::vector<int>& sockets, char** argv) {
    const pid_t pid = fork();
    if (pid < 0) fail(1, std::string("cannot fork: ") + std::strerror(errno));
    if (pid > 0) return pid;
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // Out of the way first, so that moving one down to 3, 4, ... never overwrites another.
    const int n = static_cast<int>(sockets.size());
    std::vector<int> high;
    for (int fd : sockets) high.push_back(fcntl(fd, F_DUPFD_CLOEXEC, kFirstInheritedFd + n));
    for (int i = 0; i < n; ++i) dup2(high[i], kFirstInheritedFd + i);  // dup2 leaves them open on exec
    setenv("LISTEN_FDS", std::to_string(n).c_str(), 1);
    setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
    unsetenv("LISTEN_FDNAMES");
    execvp(argv[0], argv);
    std::fprintf(stderr, "nqhold: cannot start %s: %s\n", argv[0], std::strerror(errno));
    _exit(127);
}

std::string howItEnded(int status) {
    if (WIFSIGNALED(status)) return "was killed by signal " + std::to_string(WTERMSIG(status));
    return "ended with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<int> sockets;
    std::string held;
    int i = 1;
    for (; i < argc && std::strcmp(argv[i], "--") != 0; ++i) {
        if (std::strcmp(argv[i], "--udp") != 0 || i + 1 >= argc)
            fail(2, "usage: nqhold --udp ADDR:PORT [--udp ADDR:PORT ...] -- PROGRAM [ARGS...]");
        sockets.push_back(bindUdp(argv[++i]));
        held += (held.empty() ? "" : ", ") + std::string(argv[i]);
    }
    char** program = argv + i + 1;
    if (sockets.empty() || i + 1 >= argc)
        fail(2, "usage: nqhold --udp ADDR:PORT [--udp ADDR:PORT ...] -- PROGRAM [ARGS...]");

    sigset_t handled;
    sigemptyset(&handled);
    for (int s : {SIGTERM, SIGINT, SIGHUP, SIGCHLD}) sigaddset(&handled, s);
    sigprocmask(SIG_BLOCK, &handled, nullptr);
    const int signals = signalfd(-1, &handled, SFD_CLOEXEC);
    if (signals < 0) fail(1, std::string("cannot set up signalfd: ") + std::strerror(errno));

    std::fprintf(stderr, "nqhold: holding udp %s for %s\n", held.c_str(), program[0]);
    pid_t child = -1;
    Clock::time_point startedAt, restartAt = Clock::now();
    bool stopping = false, restartNow = false, startPending = true;
    Ms delay = kFirstDelay;
    int youngDeaths = 0;
    for (;;) {
        if (startPending && !stopping && Clock::now() >= restartAt) {
            child = startProgram(sockets, program);
            startedAt = Clock::now();
            startPending = false;
            std::fprintf(stderr, "nqhold: started %s, pid %d\n", program[0], static_cast<int>(child));
        }
        int timeout = -1;
        if (startPending)
            timeout = static_cast<int>(
                std::max<int64_t>(0, std::chrono::ceil<Ms>(restartAt - Clock::now()).count()));
        pollfd p{signals, POLLIN, 0};
        if (poll(&p, 1, timeout) <= 0) continue;
        signalfd_siginfo info{};
        if (read(signals, &info, sizeof info) != static_cast<ssize_t>(sizeof info)) continue;
        if (info.ssi_signo == SIGTERM || info.ssi_signo == SIGINT || info.ssi_signo == SIGHUP) {
            const bool hup = info.ssi_signo == SIGHUP;
            stopping = stopping || !hup;
            restartNow = hup;
            if (child > 0)
                kill(child, SIGTERM);
            else if (stopping)
                return 0;
            else
                restartAt = Clock::now();
            continue;
        }
        int status = 0;
        pid_t ended;
        while ((ended = waitpid(-1, &status, WNOHANG)) > 0) {
            if (ended != child) continue;
            child = -1;
            if (stopping) return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
            const std::string what = "pid " + std::to_string(ended) + " " + howItEnded(status) + "; ";
            Ms wait{0};
            if (!restartNow) {
                const bool young = Clock::now() - startedAt < kYoung;
                if (!young) {
                    delay = kFirstDelay;
                    youngDeaths = 0;
                }
                wait = delay;
                if (young) {
                    delay = std::min(delay * 2, kLongestDelay);
                    ++youngDeaths;
                }
                if (WIFEXITED(status) && WEXITSTATUS(status) == kRefusedStatus)
                    fail(kRefusedStatus, what + "it refused its command line or database, giving up");
                if (youngDeaths >= kYoungDeathsToGiveUp)
                    fail(1, what + "it died " + std::to_string(youngDeaths) +
                                " times within 10 s of its start, giving up");
            }
            std::fprintf(stderr, "nqhold: %sstarting it again in %lld ms\n", what.c_str(),
                         static_cast<long long>(wait.count()));
            restartAt = Clock::now() + wait;
            startPending = true;
            restartNow = false;
        }
    }
}
