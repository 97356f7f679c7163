#include "server/server_loop.h"

#include <signal.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <unordered_map>

#include "server/chat_service.h"
#include "server/dispatcher_service.h"
#include "server/handover.h"
#include "server/listen_sockets.h"
#include "server/open_store.h"
#include "server/sqlite_store.h"
#include "server/udp_socket.h"

namespace nq::server {
namespace {

// After this many batches from one socket the loop looks at its timers and the other socket.
constexpr int kBatchesPerTurn = 16;
// Reads do not wait for writers in WAL mode; this covers the rare read that must (a checkpoint
// another process runs), and the reseal of an old password seal at a login.
constexpr std::chrono::milliseconds kLoopPatience{10};
// Datagrams per socket waiting for room in its kernel send buffer (8 MB asked for, as for
// receiving): beside that buffer, another second and a half of the peak output measured (21,450
// datagrams a second at 10,000 clients), in 8 MB at most. No cap per
// destination: the services bound what one can be sent (pacing per client, answers per address
// a second), so a full buffer is a matter of the whole socket, and this cap is what bounds memory.
constexpr size_t kQueuedDatagrams = 32768;
constexpr size_t kQueuedBytes = 8 * 1024 * 1024;
// How long a chat server on PostgreSQL lets its writes gather before it commits them: a fifth
// of the 10 ms a crossing message may take at p99.
constexpr Duration kGatherWrites = std::chrono::milliseconds(2);

// The local address that packets to this client leave from: what the client must use to reach
// a chat server bound to every address. Found by connecting a throwaway socket, which only
// asks the routing table.
std::string routeLocalAddress(const Endpoint& client) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return "127.0.0.1";
    const sockaddr_in sa = client.toSockaddr();
    std::string host = "127.0.0.1";
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&sa), sizeof sa) == 0) {
        sockaddr_in local{};
        socklen_t len = sizeof local;
        if (getsockname(fd, reinterpret_cast<sockaddr*>(&local), &len) == 0)
            host = formatIpv4(Endpoint::fromSockaddr(local).address);
    }
    ::close(fd);
    return host;
}

class Loop {
  public:
    Loop(const ServeOptions& o, const std::string& dbPath, Logger& log)
        : options_(o),
          log_(log),
          dbPath_(dbPath),
          storeOwned_(openStore(dbPath)),
          store_(*storeOwned_),
          sqlite_(dynamic_cast<SqliteStore*>(storeOwned_.get())) {
        const uint32_t address = *parseIpv4(o.address);
        const bool anyAddress = address == 0;
        const std::string boundHost = anyAddress ? std::string() : o.address;
        ownHost_ = o.publicHost.empty() ? boundHost : o.publicHost;

        if (o.role != Role::Dispatcher) {
            chatConfig_.sessionTimeout =
                std::chrono::duration_cast<Duration>(std::chrono::duration<double>(o.sessionTimeoutSeconds));
            chatConfig_.pacing.tick =
                std::chrono::duration_cast<Duration>(std::chrono::duration<double, std::milli>(o.paceTickMs));
            chatConfig_.pacing.ringBudget = o.ringBudget;
            chatConfig_.pacing.heldFrames = o.heldFrames;
            chatConfig_.pacing.heldBytes = o.heldBytes;
            chatConfig_.login = o.login;
            chatConfig_.input = o.input;
            chatConfig_.waiting = o.waiting;
            chatConfig_.serverId =
                (ownHost_.empty() ? o.address : ownHost_) + ":" + std::to_string(o.chatPort);
            chat_ = std::make_unique<ChatService>(store_, chatConfig_, log_);
            // Chat servers on PostgreSQL share the lock that orders their events: each holds it
            // from its events to its commit, so fewer commits of more writes go further.
            chat_->batchCommits(sqlite_ ? Duration{} : kGatherWrites);
        }
        if (o.role != Role::Chat) {
            DispatcherConfig d;
            d.minimumVersion = o.minVersion;
            d.updateTarget = o.updateTarget;
            d.targets = o.chatServers;
            d.login = o.login;
            d.input = o.input;
            if (d.targets.empty()) d.targets.push_back({ownHost_, o.chatPort});
            auto localLoad = [this](const ChatTarget& t) -> std::optional<int> {
                if (!chat_ || t.port != options_.chatPort || (!t.host.empty() && t.host != ownHost_))
                    return std::nullopt;
                return static_cast<int>(chat_->sessionCount());
            };
            auto hostFor = [this](const Endpoint& client) {
                auto& cached = hostCache_[client.address];
                if (cached.empty()) cached = routeLocalAddress(client);
                return cached;
            };
            dispatcher_ = std::make_unique<DispatcherService>(store_, d, log_, localLoad, hostFor);
        }
        // Only now, with everything that can fail behind it: a server taken over from stops at once.
        ServerSockets sockets = acquireSockets(o, log_);
        dispatcherSocket_ = std::move(sockets.dispatcher);
        chatSocket_ = std::move(sockets.chat);
        inherited_ = sockets.inherited;
        if (chat_) chat_->restoreSessions(Clock::now());
        // From here on the loop serves everybody: a statement waits for another process's lock
        // no longer than this, and the chat server's writes do not wait at all (WriteQueue).
        store_.setPatience(kLoopPatience);
        if (!inherited_) {
            try {
                handover_ = std::make_unique<HandoverPoint>(handoverName(o));
            } catch (const std::runtime_error& e) {
                NQ_LOG(log_, Warn, "--take-over cannot replace this server: %s", e.what());
            }
        }
    }

    int run() {
        sigset_t stopSignals;
        sigemptyset(&stopSignals);
        sigaddset(&stopSignals, SIGINT);
        sigaddset(&stopSignals, SIGTERM);
        sigprocmask(SIG_BLOCK, &stopSignals, nullptr);
        const int signalFd = signalfd(-1, &stopSignals, SFD_NONBLOCK | SFD_CLOEXEC);
        epoll_ = epoll_create1(EPOLL_CLOEXEC);
        if (signalFd < 0 || epoll_ < 0)
            throw std::runtime_error(std::string("cannot set up epoll: ") + std::strerror(errno));
        watch(signalFd, EPOLLIN);
        if (chatSocket_) watch(chatSocket_->fd(), EPOLLIN);
        if (dispatcherSocket_) watch(dispatcherSocket_->fd(), EPOLLIN);
        if (handover_) watch(handover_->fd(), EPOLLIN);

        std::string roles;
        if (dispatcherSocket_) roles += "dispatcher " + dispatcherSocket_->local().toString();
        if (chatSocket_)
            roles += (roles.empty() ? "" : ", ") + std::string("chat ") + chatSocket_->local().toString();
        NQ_LOG(log_, Info, "nqserver ready (pid %d): %s%s", static_cast<int>(getpid()), roles.c_str(),
               inherited_ ? " on inherited sockets" : "");

        bool stopping = false;
        int successor = -1;  // the connection of the server that takes over
        epoll_event events[8];
        while (!stopping) {
            if (sqlite_ && sqlite_->reopenIfSharedMemoryDamaged())
                NQ_LOG(log_, Warn,
                       "another process cut short or replaced %s-shm, the database's shared index; "
                       "opened the database again",
                       dbPath_.c_str());
            if (chat_) watchBus(chat_->busWakeFd());
            const Time now = Clock::now();
            int timeoutMs = 1000;
            if (chat_) {
                const auto wait = std::chrono::ceil<Millis>(chat_->nextWake(now) - now).count();
                timeoutMs = static_cast<int>(std::clamp<int64_t>(wait, 0, 1000));
            }
            const int n = epoll_wait(epoll_, events, 8, timeoutMs);
            if (n < 0 && errno != EINTR)
                throw std::runtime_error(std::string("epoll: ") + std::strerror(errno));
            for (int i = 0; i < n; ++i) {
                const int fd = events[i].data.fd;
                if (fd == signalFd) {
                    stopping = true;
                } else if (handover_ && fd == handover_->fd() && successor < 0) {
                    successor = handover_->accept(log_);
                    stopping = stopping || successor >= 0;
                } else if (chatSocket_ && fd == chatSocket_->fd()) {
                    if (events[i].events & EPOLLIN) drainChat();
                } else if (dispatcherSocket_ && fd == dispatcherSocket_->fd()) {
                    if (events[i].events & EPOLLIN) drainDispatcher();
                } else if (chat_ && fd == busFd_) {
                    chat_->onBusWake(Clock::now());
                }
            }
            if (chat_) {
                chat_->onTimer(Clock::now());
                take(chat_->output(), chatQueue_);
            }
            if (dispatcher_) dispatcher_->onTimer(Clock::now());
            flush();
        }
        NQ_LOG(log_, Info, "stopping");
        if (chat_) {
            chat_->shutdown(Clock::now());
            take(chat_->output(), chatQueue_);
            flush();
        }
        if (successor >= 0)
            HandoverPoint::hand(successor, dispatcherSocket_ ? dispatcherSocket_->fd() : -1,
                                chatSocket_ ? chatSocket_->fd() : -1, log_);
        else if (!inherited_)
            NQ_LOG(
                log_, Info,
                "the ports close now: a client that sends before the next start is told so and goes offline "
                "for good");
        ::close(signalFd);
        ::close(epoll_);
        return 0;
    }

  private:
    void watch(int fd, uint32_t events) {
        epoll_event ev{};
        ev.events = events;
        ev.data.fd = fd;
        epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &ev);
    }
    // The bus feed's descriptor changes when its connection is made again; a closed one has
    // left the epoll set by itself, so the removal may find nothing.
    void watchBus(int fd) {
        if (fd == busFd_) return;
        if (busFd_ >= 0) epoll_ctl(epoll_, EPOLL_CTL_DEL, busFd_, nullptr);
        if (fd >= 0) watch(fd, EPOLLIN);
        busFd_ = fd;
    }
    void rewatch(int fd, uint32_t events) {
        epoll_event ev{};
        ev.events = events;
        ev.data.fd = fd;
        epoll_ctl(epoll_, EPOLL_CTL_MOD, fd, &ev);
    }

    // What a service sent goes behind what waits for room in the kernel's send buffer.
    void take(std::vector<Datagram>& from, SendQueue& to) {
        size_t dropped = 0;
        for (Datagram& d : from) dropped += to.push(std::move(d));
        from.clear();
        if (dropped)
            NQ_LOG_CAPPED(
                log_, Dropped, Clock::now(), Warn,
                "dropped the %zu oldest datagrams waiting for the %s socket: its kernel send "
                "buffer stays full and %zu datagrams of %zu bytes wait (%llu dropped since the start)",
                dropped, &to == &chatQueue_ ? "chat" : "dispatcher", to.size(), to.bytes(),
                static_cast<unsigned long long>(to.droppedCount()));
    }

    void drainChat() {
        for (int turn = 0; turn < kBatchesPerTurn; ++turn) {
            const Time now = Clock::now();
            const int n =
                chatSocket_->receive([&](const Endpoint& from, std::string_view data, bool truncated) {
                    if (truncated) {
                        NQ_LOG_CAPPED(log_, Dropped, now, Warn,
                                      "dropped a datagram from %s longer than %zu bytes",
                                      from.toString().c_str(), UdpSocket::kSlot);
                        return;
                    }
                    chat_->onDatagram(from, data, now);
                });
            // One commit for what one system call brought, up to kBatch datagrams: at thousands of
            // messages a second, a commit each would cost more than the messages.
            chat_->commit(Clock::now());
            take(chat_->output(), chatQueue_);
            flush();
            if (n < UdpSocket::kBatch) break;
        }
    }

    void drainDispatcher() {
        for (int turn = 0; turn < kBatchesPerTurn; ++turn) {
            const Time now = Clock::now();
            const int n =
                dispatcherSocket_->receive([&](const Endpoint& from, std::string_view data, bool truncated) {
                    if (!truncated) dispatcher_->onDatagram(from, data, now);
                });
            take(dispatcher_->output(), dispatcherQueue_);
            flush();
            if (n < UdpSocket::kBatch) break;
        }
    }

    // Sends what is queued; a socket whose kernel buffer is full is watched for room.
    void flush() {
        flushOne(chatSocket_.get(), chatQueue_, chatWaitsForRoom_);
        flushOne(dispatcherSocket_.get(), dispatcherQueue_, dispatcherWaitsForRoom_);
    }
    void flushOne(UdpSocket* socket, SendQueue& queue, bool& waitsForRoom) {
        if (!socket) return;
        const bool allSent = queue.empty() || socket->send(queue);
        if (allSent == !waitsForRoom) return;
        waitsForRoom = !allSent;
        rewatch(socket->fd(), waitsForRoom ? EPOLLIN | EPOLLOUT : EPOLLIN);
    }

    const ServeOptions options_;
    Logger& log_;
    std::string dbPath_;
    std::unique_ptr<Store> storeOwned_;
    Store& store_;
    SqliteStore* sqlite_;  // null on PostgreSQL, which has no shared-memory file of ours to watch
    ChatConfig chatConfig_;
    std::string ownHost_;
    std::unique_ptr<UdpSocket> chatSocket_;
    std::unique_ptr<UdpSocket> dispatcherSocket_;
    std::unique_ptr<ChatService> chat_;
    std::unique_ptr<DispatcherService> dispatcher_;
    std::unique_ptr<HandoverPoint> handover_;
    bool inherited_ = false;
    std::unordered_map<uint32_t, std::string> hostCache_;
    SendQueue chatQueue_{kQueuedDatagrams, kQueuedBytes};
    SendQueue dispatcherQueue_{kQueuedDatagrams, kQueuedBytes};
    bool chatWaitsForRoom_ = false;
    bool dispatcherWaitsForRoom_ = false;
    int epoll_ = -1;
    int busFd_ = -1;
};

}  // namespace

int serve(const ServeOptions& options, const std::string& dbPath, Logger& log) {
    log.setLevel(options.logLevel);
    log.setTrace(options.trace);
    log.setLinesPerMinute(options.logLinesPerMinute);
    Loop loop(options, dbPath, log);
    return loop.run();
}

}  // namespace nq::server
