// Start-up cost of nqchat against a bare Qt widgets window: wall time from the process start to
// the first painted frame of the login panel, and resident memory at that moment. Both programs
// report their first frame through the pipe named by NQ_READY_FD, so the two are measured alike.
//
//   bench_startup [--runs N]      (default 15; runs alternate between the two programs)
//
// Targets: nqchat at most 2x the bare window's time and 1.3x its resident memory (medians).
// Two more rows are context. The bare window with one Chinese label shows the part of nqchat's
// cost that any window showing CJK text pays (fontconfig, FreeType, HarfBuzz and the CJK face,
// whose mapped pages count as resident). A plain Qt login form with nqchat's controls and texts
// shows what such a window costs before any of nqchat's own code runs.

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

extern char** environ;

namespace {

struct Sample {
    double ms = 0;
    long rssKb = 0;
};

long residentKb(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmRSS:", 0) == 0) return std::strtol(line.c_str() + 6, nullptr, 10);
    return -1;
}

// Starts the program with the pipe's write end named in NQ_READY_FD, waits for its "ready"
// line, reads its resident memory, then ends it with SIGTERM as a user's logout would.
std::optional<Sample> measureOnce(const std::string& program, const std::vector<std::string>& args) {
    int fds[2];
    if (::pipe(fds) != 0) return std::nullopt;
    ::fcntl(fds[0], F_SETFD, FD_CLOEXEC);

    std::vector<std::string> envText;
    for (char** e = environ; *e; ++e)
        if (std::strncmp(*e, "NQ_READY_FD=", 12) != 0) envText.emplace_back(*e);
    envText.push_back("NQ_READY_FD=" + std::to_string(fds[1]));
    if (!std::getenv("QT_QPA_PLATFORM")) envText.push_back("QT_QPA_PLATFORM=offscreen");
    std::vector<char*> envp;
    for (auto& s : envText) envp.push_back(s.data());
    envp.push_back(nullptr);

    std::vector<std::string> argText{program};
    argText.insert(argText.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& s : argText) argv.push_back(s.data());
    argv.push_back(nullptr);

    // The programs' chatter on stderr (Qt's platform notes) would bury the table.
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);

    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    const int rc = ::posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    if (rc != 0) {
        ::close(fds[0]);
        std::fprintf(stderr, "bench_startup: cannot start %s: %s\n", program.c_str(), std::strerror(rc));
        return std::nullopt;
    }
    char buf[16] = {};
    const ssize_t n = ::read(fds[0], buf, sizeof buf - 1);
    const auto ready = std::chrono::steady_clock::now();
    ::close(fds[0]);
    Sample s;
    s.ms = std::chrono::duration<double, std::milli>(ready - start).count();
    s.rssKb = residentKb(pid);
    ::kill(pid, SIGTERM);
    int status = 0;
    ::waitpid(pid, &status, 0);
    if (n <= 0 || std::strncmp(buf, "ready", 5) != 0) {
        std::fprintf(stderr, "bench_startup: %s ended before its first frame\n", program.c_str());
        return std::nullopt;
    }
    return s;
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

struct Summary {
    double medianMs = 0, minMs = 0, medianRssMb = 0;
};

Summary summarise(const std::vector<Sample>& samples) {
    std::vector<double> ms, rss;
    for (const Sample& s : samples) {
        ms.push_back(s.ms);
        rss.push_back(static_cast<double>(s.rssKb) / 1024.0);
    }
    return {median(ms), *std::min_element(ms.begin(), ms.end()), median(rss)};
}

}  // namespace

int main(int argc, char** argv) {
    int runs = 15;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--runs") == 0 && i + 1 < argc) {
            runs = std::max(1, std::atoi(argv[++i]));
        } else if (std::strncmp(argv[i], "--benchmark", 11) == 0) {
            // ./nq bench hands its arguments to every benchmark; Google Benchmark's are not ours.
        } else {
            std::fprintf(stderr, "usage: bench_startup [--runs N]\n");
            return 2;
        }
    }

    // An empty program folder: first run, nothing to log in with, so the login panel is the end.
    char homeTemplate[] = "/tmp/bench_startup_home_XXXXXX";
    const char* home = ::mkdtemp(homeTemplate);
    if (!home) {
        std::perror("bench_startup: mkdtemp");
        return 1;
    }
    const std::string nqchat = NQ_NQCHAT_PATH;
    const std::string bare = NQ_BARE_WINDOW_PATH;

    // One untimed start of each warms the page cache and the font cache for both alike.
    const std::vector<std::string> label{"--chinese-label"}, form{"--login-form"};
    if (!measureOnce(bare, {}) || !measureOnce(bare, label) || !measureOnce(bare, form) ||
        !measureOnce(nqchat, {"--home", home}))
        return 1;

    std::vector<Sample> bareSamples, labelSamples, formSamples, appSamples;
    for (int i = 0; i < runs; ++i) {
        auto b = measureOnce(bare, {});
        auto l = measureOnce(bare, label);
        auto f = measureOnce(bare, form);
        auto a = measureOnce(nqchat, {"--home", home});
        if (!a || !b || !l || !f) return 1;
        bareSamples.push_back(*b);
        labelSamples.push_back(*l);
        formSamples.push_back(*f);
        appSamples.push_back(*a);
    }
    std::string cleanup = std::string("rm -rf '") + home + "'";
    [[maybe_unused]] int ignored = std::system(cleanup.c_str());

    const Summary b = summarise(bareSamples), l = summarise(labelSamples), f = summarise(formSamples),
                  a = summarise(appSamples);
    const double timeRatio = a.medianMs / b.medianMs, rssRatio = a.medianRssMb / b.medianRssMb;
    std::printf("start to first frame, %d runs each (QT_QPA_PLATFORM=%s)\n", runs,
                std::getenv("QT_QPA_PLATFORM") ? std::getenv("QT_QPA_PLATFORM") : "offscreen");
    std::printf("%-18s %12s %10s %14s\n", "program", "median ms", "min ms", "median RSS MB");
    std::printf("%-18s %12.1f %10.1f %14.1f\n", "bare Qt window", b.medianMs, b.minMs, b.medianRssMb);
    std::printf("%-18s %12.1f %10.1f %14.1f\n", "bare + CJK label", l.medianMs, l.minMs, l.medianRssMb);
    std::printf("%-18s %12.1f %10.1f %14.1f\n", "plain login form", f.medianMs, f.minMs, f.medianRssMb);
    std::printf("%-18s %12.1f %10.1f %14.1f\n", "nqchat login", a.medianMs, a.minMs, a.medianRssMb);
    std::printf("ratio time %.2fx (target <= 2.00x) %s\n", timeRatio, timeRatio <= 2.0 ? "ok" : "OVER");
    std::printf("ratio RSS  %.2fx (target <= 1.30x) %s\n", rssRatio, rssRatio <= 1.3 ? "ok" : "OVER");
    std::printf("context: nqchat against the bare window with a CJK label: time %.2fx, RSS %.2fx\n",
                a.medianMs / l.medianMs, a.medianRssMb / l.medianRssMb);
    std::printf("context: nqchat against the plain login form:            time %.2fx, RSS %.2fx\n",
                a.medianMs / f.medianMs, a.medianRssMb / f.medianRssMb);
    return 0;
}
