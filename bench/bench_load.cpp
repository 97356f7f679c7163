// Load generator for nqserver: starts a server of its own, logs in N simulated clients, keeps
// them alive and has each send one-to-one messages to a partner at the client's top rate (one
// frame per 500 ms). Prints sessions held, frames per second, relay latency and the server's
// memory and CPU. Not a test: it measures.
//
//   bench_load [--clients N] [--seconds S] [--interval-ms MS] [--nqserver PATH]
//              [--flood none|badlogin|keepalive|offline] [--flood-rate N]
//
// The server runs pinned to one core and the generator to the other. Latency is taken from the
// sender's clock just before sendto to the kernel's receive stamp on the partner's socket, so
// that the generator's own delays in reading do not count against the server. Clients sit 50 to
// an address on 127.1.0.0/16, as clients behind many addresses do, so that what is measured is
// the server and not its limits per address.
//
// A flood runs through the measured window from a thread of its own at 127.0.9.1, as fast as it
// can send: bad logins (datagrams full of login frames for unknown accounts, to the chat server
// and the dispatcher in turn), keep-alives (a logged-in session, 290 (9,0) frames a datagram) or
// offline messages (a logged-in session messaging an account that never logs in). The other
// clients' keep-alive round trip, the server's peak memory and its log's growth show what the
// flood cost them.

#include <arpa/inet.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <sys/stat.h>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "server/admin.h"
#include "server/credentials.h"
#include "server/endpoint.h"
#include "server/sqlite_store.h"
#include "support/loopback.h"
#include "wire/digest.h"
#include "wire/fields.h"
#include "wire/packet.h"

extern char** environ;

namespace {

using nq::Bytes;
using nq::server::Endpoint;

constexpr const char* kFloodAddress = "127.0.9.1";
constexpr uint16_t kChatPort = 8000;
constexpr uint16_t kDispatcherPort = 4000;
constexpr int kClientsPerAddress = 50;
// The flooder's account is short so that 290 keep-alives fit one 8 KB datagram.
constexpr const char* kFlooder = "fl";
constexpr const char* kFaraway = "faraway";  // never logs in: every message to it waits

enum class Flood { None, BadLogin, KeepAlive, Offline };

// 127.1.0.1 onwards, kClientsPerAddress clients to each.
uint32_t clientAddress(int i) {
    const int host = i / kClientsPerAddress;
    return 0x7F010000u + static_cast<uint32_t>(host / 250 * 256 + host % 250 + 1);
}

struct Options {
    int clients = 10000;
    double seconds = 20;
    int intervalMs = 500;
    double keepAliveSeconds = 10.5;  // the client's keep-alive: every 21 ticks
    std::string nqserver;
    Flood flood = Flood::None;
    int floodRate = 0;  // datagrams a second; 0: as fast as one thread sends
};

int64_t realtimeNs() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return int64_t(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec;
}

std::string clientName(int i) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "load%05d", i);
    return buf;
}

void pinTo(pid_t pid, int cpu) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(cpu, &set);
    sched_setaffinity(pid, sizeof set, &set);
}

// Resident and peak memory of a process, in MB, from /proc.
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

// CPU seconds (user + system) a process has used.
double cpuSecondsOf(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string stat((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const size_t close = stat.rfind(')');
    if (close == std::string::npos) return 0;
    std::vector<std::string> parts;
    size_t start = close + 2;
    for (size_t i = start; i <= stat.size(); ++i)
        if (i == stat.size() || stat[i] == ' ') {
            parts.push_back(stat.substr(start, i - start));
            start = i + 1;
        }
    // Fields 14 and 15 of stat; parts[0] is field 3.
    return (std::atof(parts.at(11).c_str()) + std::atof(parts.at(12).c_str())) / sysconf(_SC_CLK_TCK);
}

struct Client {
    int fd = -1;
    uint32_t session = 0;
    bool ready = false;
    std::string name;
    std::string partner;
    Bytes messageHead;  // own, partner, and the start of the text record
    uint16_t seq = 0;
    int64_t lastKeepAliveAnswer = 0;
    int64_t keepAliveSentAt = 0;  // of the keep-alive not yet answered
};

int64_t fileSize(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 ? static_cast<int64_t>(st.st_size) : 0;
}

class Generator {
  public:
    explicit Generator(const Options& o) : o_(o) {}

    int run() {
        prepareDatabase();
        startServer();
        openClients();
        loginAll();
        prepareFlood();
        measure();
        stopServer();
        return 0;
    }

  private:
    void prepareDatabase() {
        char pattern[] = "/tmp/nqserver-load-XXXXXX";
        folder_ = mkdtemp(pattern);
        db_ = folder_ + "/load.db";
        nq::server::SqliteStore store(db_);
        // Accounts are written straight into the store: ten thousand admin commands would take
        // longer than the measurement. All share one sealed digest, which changes nothing the
        // server does per login.
        const std::string sealed = nq::server::sealDigest(*nq::passwordDigest("123456"));
        const auto t0 = std::chrono::steady_clock::now();
        for (int i = 0; i < o_.clients; ++i) {
            nq::server::Account a;
            a.name = clientName(i);
            a.nick = "n" + a.name;
            a.head = i % 2 ? "m3" : "w4";
            a.digest = sealed;
            store.createAccount(a);
        }
        for (const char* extra : {kFlooder, kFaraway}) {
            nq::server::Account a;
            a.name = extra;
            a.nick = std::string("n") + extra;
            a.digest = sealed;
            store.createAccount(a);
        }
        for (int i = 0; i + 1 < o_.clients; i += 2) {
            store.addFriend(clientName(i), clientName(i + 1));
            store.addFriend(clientName(i + 1), clientName(i));
        }
        std::printf("prepared %d accounts in %.1f s\n", o_.clients,
                    std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
    }

    void startServer() {
        const std::vector<std::string> args{
            o_.nqserver,    "serve",       "--db", db_,           "--address",
            serverAddress_, "--log-level", "info", "--chat-port", std::to_string(kChatPort)};
        std::vector<char*> argv;
        for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        const std::string& log = logPath();
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0644);
        if (posix_spawn(&server_, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
            std::fprintf(stderr, "bench_load: cannot start %s\n", o_.nqserver.c_str());
            std::exit(1);
        }
        posix_spawn_file_actions_destroy(&actions);
        const int cpus = static_cast<int>(std::thread::hardware_concurrency());
        pinTo(server_, cpus > 1 ? 1 : 0);
        pinTo(0, 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        int status = 0;
        if (waitpid(server_, &status, WNOHANG) == server_) {
            std::fprintf(stderr, "bench_load: nqserver stopped at once; its log:\n");
            std::system(("cat '" + log + "'").c_str());
            std::exit(1);
        }
        serverCpuStart_ = cpuSecondsOf(server_);
    }

    const std::string& logPath() {
        if (log_.empty()) log_ = folder_ + "/server.log";
        return log_;
    }
    int64_t databaseBytes() { return fileSize(db_) + fileSize(db_ + "-wal"); }

    // The flooder's socket, and its session when its flood needs one.
    void prepareFlood() {
        if (o_.flood == Flood::None) return;
        floodFd_ = socket(AF_INET, SOCK_DGRAM, 0);
        const sockaddr_in local = Endpoint{*nq::server::parseIpv4(kFloodAddress), 0}.toSockaddr();
        if (floodFd_ < 0 || bind(floodFd_, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
            std::fprintf(stderr, "bench_load: cannot open the flooder's socket: %s\n", std::strerror(errno));
            std::exit(1);
        }
        if (o_.flood == Flood::BadLogin) return;
        const timeval wait{2, 0};
        setsockopt(floodFd_, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
        const Bytes login =
            nq::encodeFrame({1, 1, 1, 0, 0}, nq::joinFields({kFlooder, *nq::passwordDigest("123456")}));
        sendto(floodFd_, login.data(), login.size(), 0, reinterpret_cast<const sockaddr*>(&server_addr_),
               sizeof server_addr_);
        char buf[2048];
        for (ssize_t got; (got = recv(floodFd_, buf, sizeof buf, 0)) > 0;) {
            auto f = nq::decodeFrame(std::string_view(buf, static_cast<size_t>(got)));
            if (f && f->header.type == 1 && f->header.sub == 1 && f->header.code == 1) {
                floodSession_ = f->header.session;
                return;
            }
        }
        std::fprintf(stderr, "bench_load: the flooder could not log in\n");
        std::exit(1);
    }

    // Sends the flood as fast as one thread can, until told to stop; at most kMaxDatagrams.
    void flood(const std::atomic<bool>& stop) {
        constexpr int64_t kMaxDatagrams = 100'000'000;
        pinTo(0, 0);
        std::vector<std::pair<Bytes, sockaddr_in>> datagrams;
        sockaddr_in dispatcher = server_addr_;
        dispatcher.sin_port = htons(kDispatcherPort);
        uint16_t seq = 0;
        auto add = [&](Bytes& d, uint16_t type, uint16_t sub, uint32_t session, const Bytes& body) {
            seq = seq >= 5999 ? 1 : seq + 1;
            nq::encodeFrame({seq, type, sub, session, 0}, body, d);
        };
        if (o_.flood == Flood::BadLogin) {
            for (const sockaddr_in& to : {server_addr_, dispatcher}) {
                Bytes d;
                for (int i = 0; d.size() < 8000 - 80; ++i)
                    add(d, 1, 1, 0, nq::joinFields({"nobody" + std::to_string(i), std::string(32, 'f')}));
                datagrams.emplace_back(std::move(d), to);
            }
        } else if (o_.flood == Flood::KeepAlive) {
            Bytes d;
            for (int i = 0; i < 290; ++i) add(d, 9, 0, floodSession_, nq::joinFields({kFlooder}));
            datagrams.emplace_back(std::move(d), server_addr_);
        } else {
            Bytes d;
            Bytes body = nq::joinFields({kFlooder, kFaraway});
            body += "SimSun/10/0/12:00:00/" + std::string(200, 'x');
            body.push_back('\0');
            for (int i = 0; i < 2; ++i) add(d, 2, 1, floodSession_, body);
            datagrams.emplace_back(std::move(d), server_addr_);
        }
        const auto start = std::chrono::steady_clock::now();
        for (int64_t i = 0; i < kMaxDatagrams && !stop.load(std::memory_order_relaxed); ++i) {
            if (o_.floodRate > 0 && i % 100 == 0)
                std::this_thread::sleep_until(start +
                                              std::chrono::microseconds(i * 1'000'000 / o_.floodRate));
            const auto& [d, to] = datagrams[static_cast<size_t>(i) % datagrams.size()];
            if (sendto(floodFd_, d.data(), d.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to) >
                0)
                ++floodSent_;
        }
    }

    void stopServer() {
        kill(server_, SIGTERM);
        int status = 0;
        waitpid(server_, &status, 0);
        std::system(("rm -rf '" + folder_ + "'").c_str());
    }

    void openClients() {
        rlimit lim{};
        getrlimit(RLIMIT_NOFILE, &lim);
        lim.rlim_cur = std::max<rlim_t>(lim.rlim_cur, std::min<rlim_t>(lim.rlim_max, o_.clients + 256));
        setrlimit(RLIMIT_NOFILE, &lim);

        epoll_ = epoll_create1(0);
        server_addr_ = Endpoint{*nq::server::parseIpv4(serverAddress_), kChatPort}.toSockaddr();
        clients_.resize(o_.clients);
        const int on = 1;
        for (int i = 0; i < o_.clients; ++i) {
            Client& c = clients_[i];
            c.fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
            const sockaddr_in local = Endpoint{clientAddress(i), 0}.toSockaddr();
            if (c.fd < 0 || bind(c.fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
                std::fprintf(stderr, "bench_load: cannot open client socket %d: %s\n", i,
                             std::strerror(errno));
                std::exit(1);
            }
            setsockopt(c.fd, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
            c.name = clientName(i);
            c.partner = clientName((i ^ 1) < o_.clients ? (i ^ 1) : i);
            epoll_event ev{};
            ev.events = EPOLLIN;
            ev.data.u32 = static_cast<uint32_t>(i);
            epoll_ctl(epoll_, EPOLL_CTL_ADD, c.fd, &ev);
        }
    }

    void send(Client& c, uint16_t type, uint16_t sub, uint16_t code, const Bytes& body) {
        c.seq = c.seq >= 5999 ? 1 : c.seq + 1;
        frame_.clear();
        nq::encodeFrame({c.seq, type, sub, c.session, code}, body, frame_);
        if (sendto(c.fd, frame_.data(), frame_.size(), 0, reinterpret_cast<const sockaddr*>(&server_addr_),
                   sizeof server_addr_) < 0)
            ++sendFailures_;
    }

    // Reads whatever is ready; returns after one epoll round.
    void pump(int timeoutMs) {
        epoll_event events[256];
        const int n = epoll_wait(epoll_, events, 256, timeoutMs);
        for (int e = 0; e < n; ++e) {
            Client& c = clients_[events[e].data.u32];
            for (;;) {
                char buf[2048];
                char control[128];
                iovec iov{buf, sizeof buf};
                msghdr msg{};
                msg.msg_iov = &iov;
                msg.msg_iovlen = 1;
                msg.msg_control = control;
                msg.msg_controllen = sizeof control;
                const ssize_t got = recvmsg(c.fd, &msg, MSG_DONTWAIT);
                if (got <= 0) break;
                int64_t stamp = 0;
                for (cmsghdr* cm = CMSG_FIRSTHDR(&msg); cm; cm = CMSG_NXTHDR(&msg, cm))
                    if (cm->cmsg_level == SOL_SOCKET && cm->cmsg_type == SCM_TIMESTAMPNS) {
                        timespec ts;
                        std::memcpy(&ts, CMSG_DATA(cm), sizeof ts);
                        stamp = int64_t(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec;
                    }
                onDatagram(c, std::string_view(buf, static_cast<size_t>(got)), stamp ? stamp : realtimeNs());
            }
        }
    }

    void onDatagram(Client& c, std::string_view data, int64_t stamp) {
        while (auto f = nq::decodeFrame(data)) {
            data.remove_prefix(f->len);
            ++framesIn_;
            const auto& h = f->header;
            if (h.type == 1 && h.sub == 1 && h.code == 1) {
                c.session = h.session;
                ++loggedIn_;
                const Bytes own = nq::joinFields({c.name});
                send(c, 3, 4, 0, own);
                send(c, 2, 6, 0, own);  // the server takes it whether or not the rosters came first
                c.ready = true;
                c.messageHead = nq::joinFields({c.name, c.partner});
                c.messageHead += "SimSun/10/0/12:00:00/t=";
            } else if (h.type == 9) {
                c.lastKeepAliveAnswer = stamp;
                if (measuring_ && c.keepAliveSentAt) keepAliveRtts_.push_back(stamp - c.keepAliveSentAt);
                c.keepAliveSentAt = 0;
            } else if (h.type == 2 && h.sub == 1) {
                nq::FieldReader fields(f->body);
                const auto sender = fields.next();
                fields.next();
                const auto text = fields.next();
                if (!sender || !text || *sender != c.partner) {
                    ++badMessages_;
                    continue;
                }
                const size_t at = text->find("t=");
                if (at == std::string_view::npos) continue;
                const int64_t sent = std::atoll(std::string(text->substr(at + 2, 20)).c_str());
                ++received_;
                if (measuring_) latencies_.push_back(stamp - sent);
            }
        }
    }

    void loginAll() {
        const auto t0 = std::chrono::steady_clock::now();
        const Bytes digest = *nq::passwordDigest("123456");
        int next = 0;
        // A few hundred logins in flight at a time, as many clients starting at once would be.
        while (loggedIn_ < o_.clients) {
            while (next < o_.clients && next - loggedIn_ < 500) {
                Client& c = clients_[next++];
                send(c, 1, 1, 0, nq::joinFields({c.name, digest}));
            }
            pump(5);
            if (std::chrono::steady_clock::now() - t0 > std::chrono::seconds(60)) {
                std::printf("only %d of %d logged in after 60 s\n", loggedIn_, o_.clients);
                break;
            }
        }
        std::printf("logged in %d clients in %.2f s\n", loggedIn_,
                    std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
    }

    void measure() {
        using Clock = std::chrono::steady_clock;
        const auto interval = std::chrono::milliseconds(o_.intervalMs);
        const auto keepAlive =
            std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(o_.keepAliveSeconds));
        const auto warmup = std::chrono::seconds(3);
        const auto start = Clock::now();
        const auto measureFrom = start + warmup;
        const auto end = measureFrom + std::chrono::duration_cast<Clock::duration>(
                                           std::chrono::duration<double>(o_.seconds));
        int64_t sendCursor = 0;
        int64_t keepAliveCursor = 0;
        int64_t sentAtStart = 0, receivedAtStart = 0, framesInAtStart = 0;
        double serverCpuAtStart = 0;
        int64_t logAtStart = 0, databaseAtStart = 0;
        std::atomic<bool> stopFlood{false};
        std::thread flooder;
        const int n = o_.clients;
        Bytes body;
        for (;;) {
            const auto now = Clock::now();
            if (!measuring_ && now >= measureFrom) {
                measuring_ = true;
                sentAtStart = sent_;
                receivedAtStart = received_;
                framesInAtStart = framesIn_;
                serverCpuAtStart = cpuSecondsOf(server_);
                logAtStart = fileSize(logPath());
                databaseAtStart = databaseBytes();
                if (o_.flood != Flood::None) flooder = std::thread([&] { flood(stopFlood); });
            }
            if (now >= end) break;
            // Each client sends once per interval, the clients spread evenly over it.
            const int64_t sendDue = (now - start) * n / interval;
            for (; sendCursor < sendDue; ++sendCursor) {
                Client& c = clients_[sendCursor % n];
                if (!c.ready) continue;
                body = c.messageHead;
                body += std::to_string(realtimeNs());
                body += " 你好，这是一条测试消息";
                body.push_back('\0');
                send(c, 2, 1, 0, body);
                ++sent_;
            }
            const int64_t keepAliveDue = (now - start) * n / keepAlive;
            for (; keepAliveCursor < keepAliveDue; ++keepAliveCursor) {
                Client& c = clients_[keepAliveCursor % n];
                if (!c.ready) continue;
                c.keepAliveSentAt = realtimeNs();
                send(c, 9, 0, 0, nq::joinFields({c.name}));
            }
            pump(1);
        }
        const double window = std::chrono::duration<double>(Clock::now() - measureFrom).count();
        const double serverCpu = cpuSecondsOf(server_) - serverCpuAtStart;
        stopFlood = true;
        if (flooder.joinable()) flooder.join();
        const int64_t logGrowth = fileSize(logPath()) - logAtStart;
        const int64_t databaseGrowth = databaseBytes() - databaseAtStart;
        const auto [rss, peak] = memoryOf(server_);
        measuring_ = false;
        // Let the last messages land.
        const auto drainEnd = Clock::now() + std::chrono::seconds(1);
        while (Clock::now() < drainEnd) pump(10);

        // A last keep-alive from everybody: a session is held if it is answered.
        const int64_t probe = realtimeNs();
        for (Client& c : clients_)
            if (c.ready) send(c, 9, 0, 0, nq::joinFields({c.name}));
        const auto probeEnd = Clock::now() + std::chrono::seconds(2);
        while (Clock::now() < probeEnd) pump(10);
        int held = 0;
        for (const Client& c : clients_) held += c.lastKeepAliveAnswer > probe;
        int serverSessions = -1;
        try {
            nq::server::SqliteStore store(db_);
            for (const auto& l : store.loads()) serverSessions = l.sessions;
        } catch (...) {
        }
        std::sort(latencies_.begin(), latencies_.end());
        std::sort(keepAliveRtts_.begin(), keepAliveRtts_.end());
        auto pctOf = [](const std::vector<int64_t>& v, double p) {
            return v.empty() ? 0.0 : v[std::min(v.size() - 1, size_t(p * v.size()))] / 1e6;
        };
        auto pct = [&](double p) { return pctOf(latencies_, p); };
        std::printf("clients                 %d (sending every %d ms, keep-alive every %.1f s)\n", n,
                    o_.intervalMs, o_.keepAliveSeconds);
        std::printf("sessions held           %d answered keep-alives; server reports %d sessions\n", held,
                    serverSessions);
        std::printf("relayed messages/s      %.0f sent, %.0f received\n", (sent_ - sentAtStart) / window,
                    (received_ - receivedAtStart) / window);
        std::printf("frames/s at the server  %.0f in, %.0f out\n",
                    (sent_ - sentAtStart) / window + n / o_.keepAliveSeconds,
                    (framesIn_ - framesInAtStart) / window);
        std::printf(
            "relay latency           p50 %.3f ms, p99 %.3f ms, p99.9 %.3f ms, max %.3f ms (%zu samples)\n",
            pct(0.5), pct(0.99), pct(0.999), latencies_.empty() ? 0.0 : latencies_.back() / 1e6,
            latencies_.size());
        std::printf("lost                    %lld of %lld messages; %lld wrong; %lld sends refused\n",
                    static_cast<long long>(sent_ - received_), static_cast<long long>(sent_),
                    static_cast<long long>(badMessages_), static_cast<long long>(sendFailures_));
        std::printf("keep-alive round trip   p50 %.3f ms, p99 %.3f ms, max %.3f ms (%zu answered)\n",
                    pctOf(keepAliveRtts_, 0.5), pctOf(keepAliveRtts_, 0.99),
                    keepAliveRtts_.empty() ? 0.0 : keepAliveRtts_.back() / 1e6, keepAliveRtts_.size());
        std::printf("server                  %.0f%% of one core, %.1f MB resident (peak %.1f MB)\n",
                    100 * serverCpu / window, rss, peak);
        std::printf("server log              %.1f KB in the window (%.1f KB/s); database grew %.1f MB\n",
                    logGrowth / 1024.0, logGrowth / 1024.0 / window, databaseGrowth / 1048576.0);
        if (o_.flood != Flood::None)
            std::printf("flood                   %lld datagrams (%.0f a second)\n",
                        static_cast<long long>(floodSent_.load()), floodSent_.load() / window);
    }

    const Options o_;
    const std::string serverAddress_ = nq::test::claimLoopbackAddress();
    std::string folder_;
    std::string db_;
    pid_t server_ = -1;
    double serverCpuStart_ = 0;
    int epoll_ = -1;
    sockaddr_in server_addr_{};
    std::vector<Client> clients_;
    Bytes frame_;
    int loggedIn_ = 0;
    bool measuring_ = false;
    int64_t sent_ = 0, received_ = 0, framesIn_ = 0, badMessages_ = 0, sendFailures_ = 0;
    std::vector<int64_t> latencies_;
    std::vector<int64_t> keepAliveRtts_;
    std::string log_;
    int floodFd_ = -1;
    uint32_t floodSession_ = 0;
    std::atomic<int64_t> floodSent_{0};
};

std::string defaultNqserver(const char* argv0) {
    if (const char* dir = std::getenv("NQ_BIN_DIR")) return std::string(dir) + "/server/nqserver";
    std::string self = argv0;
    char buf[4096];
    const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n > 0) self.assign(buf, static_cast<size_t>(n));
    const std::string dir = self.substr(0, self.rfind('/'));
    return dir + "/../server/nqserver";
}

}  // namespace

int main(int argc, char** argv) {
    Options o;
    o.nqserver = defaultNqserver(argv[0]);
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "bench_load: %s needs a value\n", a.c_str());
                std::exit(2);
            }
            return argv[++i];
        };
        if (a == "--clients")
            o.clients = std::max(2, std::atoi(value().c_str()));
        else if (a == "--seconds")
            o.seconds = std::max(1.0, std::atof(value().c_str()));
        else if (a == "--interval-ms")
            o.intervalMs = std::max(1, std::atoi(value().c_str()));
        else if (a == "--nqserver")
            o.nqserver = value();
        else if (a == "--flood-rate")
            o.floodRate = std::max(0, std::atoi(value().c_str()));
        else if (a == "--flood") {
            const std::string f = value();
            if (f == "none")
                o.flood = Flood::None;
            else if (f == "badlogin")
                o.flood = Flood::BadLogin;
            else if (f == "keepalive")
                o.flood = Flood::KeepAlive;
            else if (f == "offline")
                o.flood = Flood::Offline;
            else {
                std::fprintf(stderr,
                             "bench_load: --flood is none, badlogin, keepalive or offline, not \"%s\"\n",
                             f.c_str());
                return 2;
            }
        } else if (a.rfind("--benchmark", 0) == 0)
            continue;  // ./nq bench passes Google Benchmark's options to every program
        else {
            std::fprintf(
                stderr,
                "usage: bench_load [--clients N] [--seconds S] [--interval-ms MS] [--nqserver PATH]\n"
                "                  [--flood none|badlogin|keepalive|offline] [--flood-rate "
                "DATAGRAMS_A_SECOND]\n");
            return 2;
        }
    }
    if (access(o.nqserver.c_str(), X_OK) != 0) {
        std::fprintf(stderr, "bench_load: no nqserver at %s (give --nqserver PATH)\n", o.nqserver.c_str());
        return 1;
    }
    return Generator(o).run();
}
