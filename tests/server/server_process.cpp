#include "server_process.h"

#include <fcntl.h>
#include <linux/errqueue.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <thread>

#include "wire/digest.h"
#include "wire/fields.h"

extern char** environ;

namespace nq::test {
namespace {

std::string built(const char* program) {
    return std::string(std::getenv("NQ_BIN_DIR")) + "/server/" + program;
}

// Starts args (a program, looked up in PATH unless a path, and its arguments), its stdout and
// stderr to files; returns the pid.
pid_t spawn(std::vector<std::string> args, const std::string& outPath, const std::string& errPath) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int rc = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) throw std::runtime_error("cannot start " + args[0]);
    return pid;
}

}  // namespace

RunResult runNqserver(std::vector<std::string> args) {
    static const TempDir folder("nqserver-admin");
    const std::string out = folder.file("admin.out"), err = folder.file("admin.err");
    unlink(err.c_str());
    int status = 0;
    args.insert(args.begin(), built("nqserver"));
    waitpid(spawn(args, out, err), &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), readFile(out), readFile(err)};
}

ServerProcess::ServerProcess(std::string address, std::vector<std::string> extraArgs, std::string sharedDb,
                             uint16_t chatPort, Launch launch)
    : db_(sharedDb.empty() ? folder_.file("nq.db") : sharedDb),
      logPath_(folder_.file("server.log")),
      ip_(*server::parseIpv4(address)),
      chatPort_(chatPort),
      launch_(launch) {
    const std::string d = address + ":4000", c = address + ":" + std::to_string(chatPort);
    if (launch == Launch::Held) args_ = {built("nqhold"), "--udp", d, "--udp", c, "--"};
    if (launch == Launch::Activated) args_ = {"systemd-socket-activate", "--datagram", "-l", c, "-l", d};
    args_.push_back(built("nqserver"));
    args_.insert(args_.end(),
                 {"serve", "--db", db_, "--address", address, "--session-timeout", "1", "--pace-tick", "20",
                  "--chat-port", std::to_string(chatPort), "--log-level", "debug", "--trace"});
    args_.insert(args_.end(), extraArgs.begin(), extraArgs.end());
    if (sharedDb.empty() && admin({"demo"}).status != 0) throw std::runtime_error("nqserver demo failed");
    start();
}

ServerProcess::~ServerProcess() {
    stop();
    if (::testing::Test::HasFailure())
        std::cerr << "---- nqserver log ----\n" << readFile(logPath_) << "----\n";
}

void ServerProcess::start() {
    const size_t logStart = readFile(logPath_).size();
    pid_ = spawn(args_, "/dev/null", logPath_);
    // systemd-socket-activate starts the server at the first datagram; it says when it listens.
    if (launch_ == Launch::Activated) {
        for (int i = 0; i < 2000 && readFile(logPath_).find("as 4.", logStart) == std::string::npos; ++i)
            std::this_thread::sleep_for(5ms);
        return;
    }
    awaitReady(logStart);
}

void ServerProcess::awaitReady(size_t logFrom) {
    for (const auto deadline = std::chrono::steady_clock::now() + 10s;
         std::chrono::steady_clock::now() < deadline; std::this_thread::sleep_for(5ms)) {
        if (readFile(logPath_).find("nqserver ready", logFrom) != std::string::npos) return;
        if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
            pid_ = -1;
            throw std::runtime_error("nqserver exited at start:\n" + readFile(logPath_));
        }
    }
    stop();
    throw std::runtime_error("nqserver did not become ready:\n" + readFile(logPath_));
}

void ServerProcess::restart(const std::function<void()>& meanwhile) {
    const size_t logStart = readFile(logPath_).size();
    std::vector<std::string> args = args_;
    args.push_back("--take-over");
    const pid_t old = pid_;
    pid_ = spawn(args, "/dev/null", logPath_);
    for (int i = 0; waitpid(old, nullptr, WNOHANG) != old; ++i) {
        if (i == 2000 || waitpid(pid_, nullptr, WNOHANG) == pid_)
            throw std::runtime_error("no take-over:\n" + readFile(logPath_));
        std::this_thread::sleep_for(5ms);
    }
    meanwhile();
    awaitReady(logStart);
}

void ServerProcess::crash(const std::function<void()>& meanwhile) {
    const std::string log = readFile(logPath_);
    const size_t at = log.rfind("nqserver ready (pid ");
    if (launch_ != Launch::Held || at == std::string::npos)
        throw std::runtime_error("no server under nqhold");
    const pid_t server = std::stoi(log.substr(at + 20));
    ::kill(server, SIGKILL);
    while (::kill(server, 0) == 0) std::this_thread::sleep_for(1ms);  // until nqhold has reaped it
    meanwhile();
    awaitReady(log.size());
}

void ServerProcess::kill() {
    ::kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

void ServerProcess::stop() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

RunResult ServerProcess::admin(std::vector<std::string> args) const {
    args.insert(args.begin(), {"--db", db_});
    return runNqserver(args);
}

Client::Client(const std::string& address) : fd_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_in sa = server::Endpoint{*server::parseIpv4(address), 0}.toSockaddr();
    if (fd_ < 0 || ::bind(fd_, reinterpret_cast<const sockaddr*>(&sa), sizeof sa) != 0)
        throw std::runtime_error("cannot bind a client socket on " + address);
    // An unconnected socket hears of ICMP errors only with this; the client's transport does.
    const int on = 1;
    setsockopt(fd_, IPPROTO_IP, IP_RECVERR, &on, sizeof on);
}

Client::~Client() {
    ::close(fd_);
}

void Client::sendRaw(const server::Endpoint& to, std::string_view bytes) {
    const sockaddr_in sa = to.toSockaddr();
    ::sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&sa), sizeof sa);
}

void Client::sendFrame(const server::Endpoint& to, FrameKind kind, uint16_t code, uint32_t session,
                       const Bytes& body) {
    seq_ = seq_ >= kSeqWrap - 1 ? 1 : seq_ + 1;
    sendRaw(to, encodeFrame({seq_, kind.type, kind.sub, session, code}, body));
}

void Client::send(FrameKind kind, std::vector<Bytes> fieldsAfterOwn, uint16_t code) {
    Bytes body = joinFields({name_});
    for (const Bytes& f : fieldsAfterOwn) appendField(body, f);
    sendFrame(chat_, kind, code, session_, body);
}

std::optional<Received> Client::next(std::chrono::steady_clock::time_point deadline) {
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd p{fd_, POLLIN, 0};
        if (left.count() <= 0) return std::nullopt;
        if (::poll(&p, 1, static_cast<int>(left.count())) <= 0) continue;
        char buf[65536];
        if (p.revents & POLLERR) {
            alignas(cmsghdr) char control[512];
            iovec iov{buf, sizeof buf};
            msghdr m{};
            m.msg_iov = &iov;
            m.msg_iovlen = 1;
            m.msg_control = control;
            m.msg_controllen = sizeof control;
            if (::recvmsg(fd_, &m, MSG_ERRQUEUE) >= 0)
                for (cmsghdr* c = CMSG_FIRSTHDR(&m); c; c = CMSG_NXTHDR(&m, c))
                    if (c->cmsg_level == IPPROTO_IP && c->cmsg_type == IP_RECVERR)
                        refusals_ +=
                            reinterpret_cast<sock_extended_err*>(CMSG_DATA(c))->ee_errno == ECONNREFUSED;
            continue;
        }
        const ssize_t n = ::recv(fd_, buf, sizeof buf, 0);
        const auto f = decodeFrame(std::string_view(buf, static_cast<size_t>(std::max<ssize_t>(n, 0))));
        if (!f || static_cast<ssize_t>(f->len) != n || f->len > kMaxFrame)
            throw std::runtime_error("the server sent a datagram that is not one frame");
        Received r{f->header, {}};
        FieldReader fields(f->body);
        while (auto field = fields.next()) r.fields.emplace_back(*field);
        return r;
    }
}

Received Client::waitFor(FrameKind kind, std::chrono::milliseconds timeout) {
    for (const auto deadline = std::chrono::steady_clock::now() + timeout;;) {
        auto r = next(deadline);
        if (!r) throw std::runtime_error("waited in vain for a frame of type " + std::to_string(kind.type));
        if (r->header.type == kind.type && r->header.sub == kind.sub) return *r;
    }
}

void Client::expectSilence(std::chrono::milliseconds window, std::optional<FrameKind> kind) {
    for (const auto deadline = std::chrono::steady_clock::now() + window; auto r = next(deadline);)
        if (!kind || (r->header.type == kind->type && r->header.sub == kind->sub))
            throw std::runtime_error("expected silence but got type " + std::to_string(r->header.type));
}

std::string Client::askDispatcher(const server::Endpoint& dispatcher, const std::string& name) {
    sendFrame(dispatcher, kind::kLogin, 256, 0, joinFields({name, *passwordDigest("123456")}));
    const Received r = waitFor(kind::kLogin);
    if (r.header.code != code::kGoToChatServer || r.fields.size() != 2)
        throw std::runtime_error("the dispatcher named no chat server to " + name);
    return r.fields[0] + ":" + r.fields[1];
}

Received Client::login(const server::Endpoint& chat, const std::string& name, const std::string& password) {
    chat_ = chat;
    sendFrame(chat, kind::kLogin, 0, 0, joinFields({name, *passwordDigest(password)}));
    Received r = waitFor(kind::kLogin);
    if (r.header.code == code::kLoginAccepted) {
        session_ = r.header.session;
        name_ = name;
    }
    return r;
}

Received Client::enter(const server::Endpoint& chat, const std::string& name) {
    if (login(chat, name).header.code != code::kLoginAccepted) throw std::runtime_error(name + " refused");
    send(kind::kFriendRoster);
    // The online roster follows the group roster whenever there are friends.
    Received r = waitFor(kind::kFriendRoster);
    if (r.header.code == code::kRosterList)
        r = waitFor(kind::kFriendRoster);
    else
        waitFor(kind::kGroupRoster);
    send(kind::kAfterRosters);
    waitFor(kind::kRoomList);  // the demo's room, ahead of any waiting message
    return r;
}

}  // namespace nq::test
