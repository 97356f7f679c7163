// Load generator for nqserver: starts servers of its own, logs in N simulated clients, keeps them
// alive and has each send one-to-one messages to a partner. Prints sessions held, messages per
// second, relay latency and each server's memory and CPU. Not a test: it measures.
//
//   bench_load [--clients N] [--seconds S] [--interval-ms MS | --rate R[,R...]]
//              [--engine sqlite|postgresql] [--servers N] [--cross SHARE] [--p99-limit MS]
//              [--nqserver PATH] [--pg-cluster SCRIPT] [--server-arg ARG]...
//              [--flood none|badlogin|keepalive|offline] [--flood-rate N]
//
// By default one nqserver on a SQLite file, pinned to one core, the generator on the other.
// --engine postgresql starts a throwaway PostgreSQL cluster and --servers chat servers (three by
// default) on it, each a process of its own on a loopback address of its own, left to the
// scheduler on both cores. The bench places the clients itself, round robin (client i on server
// i mod N), rather than through the dispatcher: which partners sit on different servers is then
// fixed before the run, so exactly --cross of the messages cross (half by default); the
// dispatcher's spreading by load is not on the path of a message, and its own password check
// would double the cost of the logins. Partners are friends, so logins also send presence
// between servers.
//
// Without --rate each client sends once per interval (500 ms, the client's top rate). With it,
// each rate is a step of its own: 3 s of warm-up and S seconds measured at that many messages a
// second from all clients together. Each message carries its step, so that one arriving after the
// window still counts for it, up to 2 s later; what comes later or never is lost. The sweep ends
// at the first step that loses over 1 % or whose p99 passes ten times --p99-limit (10 ms), and the
// table at the end names the highest rate whose p99 stayed under the limit with under 0.1 % lost.
//
// Latency is taken from the sender's clock just before sendto to the kernel's receive stamp on
// the partner's socket, so that the generator's own delays in reading do not count against the
// servers. Clients sit 50 to an address on 127.1.0.0/16 (client_sockets.h).

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "client_sockets.h"
#include "load_flood.h"
#include "load_options.h"
#include "load_servers.h"
#include "server/credentials.h"
#include "server/endpoint.h"
#include "server/open_store.h"
#include "step_result.h"
#include "wire/digest.h"
#include "wire/fields.h"
#include "wire/frame_kinds.h"
#include "wire/packet.h"

namespace {

using nq::Bytes;
using namespace nq::bench;
using Clock = std::chrono::steady_clock;

constexpr auto kWarmUp = std::chrono::seconds(3);
// After each step, for its last messages to land before the next begins.
constexpr auto kDrain = std::chrono::seconds(2);
// A login not answered by then is sent again, as the client does.
constexpr auto kLoginRetry = std::chrono::seconds(15);
constexpr size_t kCreateBatch = 1000;  // accounts or friendships a transaction

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

struct Client {
    int server = 0;
    int partner = -1;  // a client index; -1: the odd one out, who sends nothing
    bool crossing = false;
    uint32_t session = 0;
    bool ready = false;
    std::string name;
    Bytes messageHead;  // own, partner, and the start of the text record
    uint16_t seq = 0;
    Clock::time_point loginSentAt{};
    int64_t lastKeepAliveAnswer = 0;
    int64_t keepAliveSentAt = 0;  // of the keep-alive not yet answered
};

// Runs write(0) .. write(count - 1) in transactions of kCreateBatch; throws when one is refused.
void writeAll(nq::server::Store& store, size_t count, const std::function<void(size_t)>& write) {
    for (size_t from = 0; from < count; from += kCreateBatch) {
        const size_t n = std::min(kCreateBatch, count - from);
        const std::vector<std::string> failures = store.writeBatch(
            n, [&](size_t k) { write(from + k); }, true);
        for (const std::string& why : failures)
            if (!why.empty()) throw std::runtime_error("cannot prepare the database: " + why);
    }
}

class Generator {
  public:
    explicit Generator(const LoadOptions& o) : o_(o), servers_(o) {}

    int run() {
        pairClients();
        prepareDatabase();
        servers_.start();
        openClients();
        loginAll();
        if (o_.flood != Flood::None) {
            flood_ = std::make_unique<LoadFlood>(o_, serverAddresses_[0], LoadServers::kDispatcherPort);
            flood_->prepare();
        }
        printHeader(o_);
        std::vector<double> rates = o_.rates;
        if (rates.empty()) rates.push_back(1000.0 * o_.clients / o_.intervalMs);
        for (size_t i = 0; i < rates.size(); ++i) {
            runStep(rates[i]);
            printStep(steps_.back(), o_, static_cast<int>(i + 1));
            std::fflush(stdout);
            if (stepOverloaded(steps_.back(), o_) && i + 1 < rates.size()) {
                std::printf("(the sweep stops here: the servers did not keep up)\n");
                break;
            }
        }
        printHeld(probe());
        if (!o_.rates.empty()) printSweep(steps_, o_);
        servers_.stop();
        return 0;
    }

  private:
    // Client i sits on server i mod N. In each block of 2N clients either every pair crosses
    // ((2j, 2j + 1): neighbours sit on different servers) or none does ((j, j + N)); the blocks
    // that cross are spread evenly so that their share is --cross.
    void pairClients() {
        const int n = o_.clients, servers = o_.servers, block = 2 * servers;
        clients_.resize(static_cast<size_t>(n));
        for (int i = 0; i < n; ++i) {
            clients_[i].server = i % servers;
            clients_[i].name = clientName(i);
        }
        auto pair = [&](int a, int b) {
            clients_[a].partner = b;
            clients_[b].partner = a;
            clients_[a].crossing = clients_[b].crossing = clients_[a].server != clients_[b].server;
        };
        const int blocks = n / block;
        for (int b = 0; b < blocks; ++b) {
            const int base = b * block;
            const bool crossing = std::floor((b + 1) * o_.cross + 1e-9) > std::floor(b * o_.cross + 1e-9);
            for (int j = 0; j < servers; ++j) {
                if (crossing)
                    pair(base + 2 * j, base + 2 * j + 1);
                else
                    pair(base + j, base + j + servers);
            }
        }
        for (int i = blocks * block; i + 1 < n; i += 2) pair(i, i + 1);
    }

    // Accounts are written straight into the store: thousands of admin commands would take longer
    // than the measurement. All share one sealed digest, which changes nothing the server does
    // per login.
    void prepareDatabase() {
        servers_.database();  // a cluster's start does not count as preparing
        const auto t0 = Clock::now();
        auto store = nq::server::openStore(servers_.database());
        const std::string sealed = nq::server::sealDigest(*nq::passwordDigest("123456"));
        std::vector<std::string> names;
        for (const Client& c : clients_) names.push_back(c.name);
        names.insert(names.end(), {LoadFlood::kFlooder, LoadFlood::kFaraway});
        std::vector<nq::server::Account> accounts(names.size());
        for (size_t i = 0; i < accounts.size(); ++i) {
            accounts[i].name = names[i];
            accounts[i].nick = "n" + names[i];
            accounts[i].head = i % 2 ? "m3" : "w4";
            accounts[i].digest = sealed;
        }
        writeAll(*store, accounts.size(), [&](size_t i) { store->createAccount(accounts[i]); });
        writeAll(*store, clients_.size(), [&](size_t i) {
            if (clients_[i].partner >= 0)
                store->addFriend(clients_[i].name, clients_[clients_[i].partner].name);
        });
        std::printf("prepared %d accounts in %.1f s\n", o_.clients,
                    std::chrono::duration<double>(Clock::now() - t0).count());
    }

    void openClients() {
        sockets_ = std::make_unique<ClientSockets>(o_.clients);
        for (const ServerProcess& s : servers_.servers())
            serverAddresses_.push_back(
                nq::server::Endpoint{*nq::server::parseIpv4(s.address), LoadServers::kChatPort}.toSockaddr());
        pinTo(0, 0);
    }

    void send(Client& c, uint16_t type, uint16_t sub, uint16_t code, const Bytes& body) {
        c.seq = c.seq >= 5999 ? 1 : c.seq + 1;
        frame_.clear();
        nq::encodeFrame({c.seq, type, sub, c.session, code}, body, frame_);
        const int index = static_cast<int>(&c - clients_.data());
        if (!sockets_->send(index, serverAddresses_[static_cast<size_t>(c.server)], frame_)) ++sendFailures_;
    }

    // Reads whatever is ready, after waiting up to timeoutMs for the first datagram.
    void pump(int timeoutMs) {
        if (stopAsked()) throw std::runtime_error("stopped by a signal");
        sockets_->pump(timeoutMs, [this](int client, std::string_view datagram, int64_t stamp) {
            onDatagram(clients_[static_cast<size_t>(client)], datagram, stamp);
        });
    }

    StepResult* measuredStep() { return measuring_ ? &steps_.back() : nullptr; }

    void onDatagram(Client& c, std::string_view data, int64_t stamp) {
        while (auto f = nq::decodeFrame(data)) {
            data.remove_prefix(f->len);
            ++framesIn_;
            const auto& h = f->header;
            const nq::FrameKind kind{h.type, h.sub};
            if (kind == nq::kind::kLogin) {
                if (h.code != 1 || c.ready) {
                    loginRefused_ += h.code != 1;
                    continue;
                }
                c.session = h.session;
                ++loggedIn_;
                const Bytes own = nq::joinFields({c.name});
                send(c, 3, 4, 0, own);
                send(c, 2, 6, 0, own);  // the server takes it whether or not the rosters came first
                c.ready = true;
                if (c.partner >= 0) {
                    c.messageHead = nq::joinFields({c.name, clients_[c.partner].name});
                    c.messageHead += "SimSun/10/0/12:00:00/t=";
                }
            } else if (h.type == nq::kind::kKeepAlive.type) {
                c.lastKeepAliveAnswer = stamp;
                if (StepResult* step = measuredStep(); step && c.keepAliveSentAt)
                    step->keepAlive.add(stamp - c.keepAliveSentAt);
                c.keepAliveSentAt = 0;
            } else if (kind == nq::kind::kNoticeToast) {
                if (!steps_.empty()) ++steps_.back().refused;
            } else if (kind == nq::kind::kChat) {
                onMessage(c, f->body, stamp);
            }
        }
    }

    void onMessage(const Client& c, std::string_view body, int64_t stamp) {
        nq::FieldReader fields(body);
        const auto sender = fields.next();
        fields.next();
        const auto text = fields.next();
        if (!sender || !text || c.partner < 0 || *sender != clients_[c.partner].name) {
            if (!steps_.empty()) ++steps_.back().wrong;
            return;
        }
        const size_t at = text->find("t=");
        const size_t tagAt = text->find(" k=");
        if (at == std::string_view::npos || tagAt == std::string_view::npos) return;
        const int64_t sent = std::atoll(std::string(text->substr(at + 2, 20)).c_str());
        const int tag = std::atoi(std::string(text->substr(tagAt + 3, 6)).c_str());
        // Warm-up, or a step closed: what has not come by the end of its drain counts as lost.
        if (tag == 0 || tag != openStep_) return;
        StepResult& step = steps_.back();
        ServerStep& server = step.servers[static_cast<size_t>(c.server)];
        ++step.received;
        ++server.received;
        step.all.add(stamp - sent);
        server.latency.add(stamp - sent);
        if (c.crossing) {
            step.cross.add(stamp - sent);
            server.crossLatency.add(stamp - sent);
        } else {
            step.same.add(stamp - sent);
        }
    }

    // Every ready client sends a keep-alive once per period, the clients spread evenly over it.
    void keepAlivesDue(Clock::time_point now) {
        const auto period =
            std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(o_.keepAliveSeconds));
        const int64_t due = (now - keepAliveStart_) * o_.clients / period;
        for (; keepAliveCursor_ < due; ++keepAliveCursor_) {
            Client& c = clients_[static_cast<size_t>(keepAliveCursor_ % o_.clients)];
            if (!c.ready) continue;
            c.keepAliveSentAt = realtimeNs();
            send(c, 9, 0, 0, nq::joinFields({c.name}));
            ++keepAlivesSent_;
        }
    }

    // A few hundred logins in flight at a time, as many clients starting at once would be;
    // those that clients logged in already keep their sessions alive meanwhile.
    void loginAll() {
        const auto t0 = Clock::now();
        keepAliveStart_ = t0;
        // A password check costs a seal's 1.5 ms of CPU, so thousands of logins take a while.
        const auto limit = std::chrono::seconds(60) + std::chrono::milliseconds(5) * o_.clients;
        const Bytes digest = *nq::passwordDigest("123456");
        size_t next = 0;
        auto lastRetry = t0;
        while (loggedIn_ < o_.clients) {
            const auto now = Clock::now();
            for (; next < clients_.size() && static_cast<int>(next) - loggedIn_ < 500; ++next) {
                clients_[next].loginSentAt = now;
                send(clients_[next], 1, 1, 0, nq::joinFields({clients_[next].name, digest}));
            }
            if (now - lastRetry > std::chrono::seconds(1)) {
                lastRetry = now;
                for (size_t i = 0; i < next; ++i)
                    if (!clients_[i].ready && now - clients_[i].loginSentAt > kLoginRetry) {
                        clients_[i].loginSentAt = now;
                        send(clients_[i], 1, 1, 0, nq::joinFields({clients_[i].name, digest}));
                    }
            }
            keepAlivesDue(now);
            pump(5);
            if (now - t0 > limit) {
                std::printf(
                    "only %d of %d logged in after %lld s\n", loggedIn_, o_.clients,
                    static_cast<long long>(std::chrono::duration_cast<std::chrono::seconds>(limit).count()));
                break;
            }
        }
        std::printf("logged in %d clients in %.2f s%s\n", loggedIn_,
                    std::chrono::duration<double>(Clock::now() - t0).count(),
                    loginRefused_ ? (" (" + std::to_string(loginRefused_) + " logins refused)").c_str() : "");
        for (size_t i = 0; i < clients_.size(); ++i)
            if (clients_[i].ready && clients_[i].partner >= 0) senders_.push_back(i);
    }

    // Sends and reads until `until`, messages at `rate` a second counted from `from`.
    void drive(Clock::time_point until, double rate, Clock::time_point from, int64_t& cursor, int tag) {
        Bytes body;
        for (auto now = Clock::now(); now < until; now = Clock::now()) {
            const int64_t due =
                rate > 0 && !senders_.empty()
                    ? static_cast<int64_t>(std::chrono::duration<double>(now - from).count() * rate)
                    : cursor;
            for (; cursor < due; ++cursor) {
                Client& c = clients_[senders_[static_cast<size_t>(cursor) % senders_.size()]];
                body = c.messageHead;
                body += std::to_string(realtimeNs());
                body += " k=" + std::to_string(tag);
                body += " 你好，这是一条测试消息";
                body.push_back('\0');
                send(c, 2, 1, 0, body);
                if (StepResult* step = measuredStep()) {
                    ++step->sent;
                    ++step->servers[static_cast<size_t>(c.server)].sent;
                    step->crossSent += c.crossing;
                }
            }
            keepAlivesDue(now);
            pump(1);
        }
    }

    void runStep(double rate) {
        StepResult& step = steps_.emplace_back();
        step.asked = rate;
        for (const ServerProcess& s : servers_.servers()) step.servers.emplace_back().id = s.id;
        const auto start = Clock::now();
        const auto measureFrom = start + kWarmUp;
        const auto end = measureFrom + std::chrono::duration_cast<Clock::duration>(
                                           std::chrono::duration<double>(o_.seconds));
        int64_t cursor = 0;
        drive(measureFrom, rate, start, cursor, 0);

        const std::vector<ServerProcess>& procs = servers_.servers();
        std::vector<double> cpuAtStart;
        for (const ServerProcess& s : procs) cpuAtStart.push_back(cpuSecondsOf(s.pid));
        const double databaseCpu = servers_.databaseCpuSeconds();
        const double ownCpu = cpuSecondsOf(getpid());
        const int64_t logBytes = servers_.logBytes(), databaseBytes = servers_.databaseBytes();
        const int64_t framesIn = framesIn_, keepAlives = keepAlivesSent_, sendFailures = sendFailures_;
        if (flood_) flood_->start();
        const int64_t floodAtStart = flood_ ? flood_->sent() : 0;
        measuring_ = true;
        openStep_ = static_cast<int>(steps_.size());
        drive(end, rate, start, cursor, openStep_);
        measuring_ = false;

        step.window = std::chrono::duration<double>(Clock::now() - measureFrom).count();
        for (size_t i = 0; i < procs.size(); ++i) {
            step.servers[i].cpuSeconds = cpuSecondsOf(procs[i].pid) - cpuAtStart[i];
            std::tie(step.servers[i].rssMb, step.servers[i].peakMb) = memoryOf(procs[i].pid);
        }
        step.databaseCpu = servers_.databaseCpuSeconds() - databaseCpu;
        step.generatorCpu = cpuSecondsOf(getpid()) - ownCpu;
        step.logGrowth = servers_.logBytes() - logBytes;
        step.databaseGrowth = servers_.databaseBytes() - databaseBytes;
        step.framesIn = framesIn_ - framesIn;
        step.keepAlivesSent = keepAlivesSent_ - keepAlives;
        if (flood_) {
            flood_->stop();
            step.floodSent = flood_->sent() - floodAtStart;
        }
        step.sendFailures = sendFailures_ - sendFailures;
        drive(Clock::now() + kDrain, 0, start, cursor, 0);
        openStep_ = 0;
    }

    // A last keep-alive from everybody, spread over a second: a session is held if it is
    // answered. Beside it, the number of sessions each server reports to the others.
    std::vector<HeldSessions> probe() {
        const int64_t probeStart = realtimeNs();
        const auto t0 = Clock::now();
        size_t sent = 0;
        for (auto now = t0; now < t0 + std::chrono::seconds(3); now = Clock::now()) {
            const double elapsed = std::chrono::duration<double>(now - t0).count();
            const size_t due = std::min(clients_.size(), static_cast<size_t>(elapsed * clients_.size()));
            for (; sent < due; ++sent)
                if (clients_[sent].ready)
                    send(clients_[sent], 9, 0, 0, nq::joinFields({clients_[sent].name}));
            pump(10);
        }
        std::vector<HeldSessions> held;
        for (const ServerProcess& s : servers_.servers()) held.emplace_back().id = s.id;
        for (const Client& c : clients_) {
            ++held[static_cast<size_t>(c.server)].clients;
            held[static_cast<size_t>(c.server)].answered += c.lastKeepAliveAnswer > probeStart;
        }
        try {
            auto store = nq::server::openStore(servers_.database());
            for (const auto& l : store->loads())
                for (HeldSessions& h : held)
                    if (h.id == l.server) h.reported = l.sessions;
        } catch (const std::exception& e) {
            std::fprintf(stderr, "bench_load: cannot read the servers' reports: %s\n", e.what());
        }
        return held;
    }

    const LoadOptions& o_;
    LoadServers servers_;
    std::unique_ptr<LoadFlood> flood_;
    std::vector<sockaddr_in> serverAddresses_;
    std::unique_ptr<ClientSockets> sockets_;
    std::vector<Client> clients_;
    std::vector<size_t> senders_;  // clients with a partner that logged in
    Bytes frame_;
    int loggedIn_ = 0;
    int64_t loginRefused_ = 0;
    Clock::time_point keepAliveStart_{};
    int64_t keepAliveCursor_ = 0;
    bool measuring_ = false;
    int openStep_ = 0;  // the step whose messages are counted: from its window to its drain's end
    int64_t framesIn_ = 0, keepAlivesSent_ = 0, sendFailures_ = 0;
    std::vector<StepResult> steps_;
};

std::string defaultNqserver() {
    if (const char* dir = std::getenv("NQ_BIN_DIR")) return std::string(dir) + "/server/nqserver";
    char buf[4096];
    const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    const std::string self = n > 0 ? std::string(buf, static_cast<size_t>(n)) : std::string(".");
    return self.substr(0, self.rfind('/')) + "/../server/nqserver";
}

}  // namespace

int main(int argc, char** argv) {
    LoadOptions defaults;
    defaults.nqserver = defaultNqserver();
    defaults.pgCluster = NQ_PG_CLUSTER_SCRIPT;
    LoadOptions o;
    try {
        o = parseLoadOptions(argc, argv, defaults);
    } catch (const LoadUsageError& e) {
        std::fprintf(stderr, "bench_load: %s\n%s", e.what(), loadUsage());
        return 2;
    }
    if (access(o.nqserver.c_str(), X_OK) != 0) {
        std::fprintf(stderr, "bench_load: no nqserver at %s (give --nqserver PATH)\n", o.nqserver.c_str());
        return 1;
    }
    stopOnSignals();
    try {
        return Generator(o).run();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "bench_load: %s\n", e.what());
        return 1;
    }
}
