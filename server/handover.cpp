#include "server/handover.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <stdexcept>

#include "server/endpoint.h"

namespace nq::server {
namespace {

// The old server writes nothing per session at its stop, so the wait is short; a database
// locked by someone else can stretch it to the store's 2 s busy time-out and then some.
constexpr int kWaitSeconds = 30;
constexpr char kDispatcherTag = 'd';
constexpr char kChatTag = 'c';

struct UnixAddress {
    sockaddr_un sa{};
    socklen_t len = 0;
};

// Abstract: no file to leave behind after a crash, and gone with the process that listens.
UnixAddress abstractAddress(const std::string& name) {
    UnixAddress a;
    a.sa.sun_family = AF_UNIX;
    const size_t n = std::min(name.size(), sizeof a.sa.sun_path - 1);
    std::memcpy(a.sa.sun_path + 1, name.data(), n);
    a.len = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + n);
    return a;
}

// The process at the other end of a Unix socket, when it runs as this process's user.
std::optional<ucred> sameUser(int fd) {
    ucred peer{};
    socklen_t len = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &len) != 0 || peer.uid != geteuid())
        return std::nullopt;
    return peer;
}

void setTimeout(int fd, int option, int seconds) {
    const timeval tv{seconds, 0};
    setsockopt(fd, SOL_SOCKET, option, &tv, sizeof tv);
}

}  // namespace

std::string handoverName(const ServeOptions& o) {
    const std::string address = formatIpv4(parseIpv4(o.address).value_or(0));
    const std::string dispatcher = o.role == Role::Chat ? "-" : std::to_string(o.dispatcherPort);
    const std::string chat = o.role == Role::Dispatcher ? "-" : std::to_string(o.chatPort);
    return "nqserver-handover " + address + " " + dispatcher + " " + chat;
}

HandoverPoint::HandoverPoint(const std::string& name) {
    fd_ = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const UnixAddress a = abstractAddress(name);
    if (fd_ < 0 || ::bind(fd_, reinterpret_cast<const sockaddr*>(&a.sa), a.len) != 0 ||
        ::listen(fd_, 4) != 0) {
        const int err = errno;
        if (fd_ >= 0) ::close(fd_);
        throw std::runtime_error("cannot listen for a new server at \"" + name + "\": " + std::strerror(err));
    }
}

HandoverPoint::~HandoverPoint() {
    if (fd_ >= 0) ::close(fd_);
}

int HandoverPoint::accept(Logger& log) {
    const int conn = ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (conn < 0) return -1;
    const auto peer = sameUser(conn);
    if (!peer) {
        NQ_LOG(log, Warn, "refused to hand the sockets to a process of another user");
        ::close(conn);
        return -1;
    }
    NQ_LOG(log, Info, "nqserver pid %d takes over: handing the sockets to it", static_cast<int>(peer->pid));
    return conn;
}

void HandoverPoint::hand(int conn, int dispatcher, int chat, Logger& log) {
    char tags[2];
    int fds[2];
    size_t n = 0;
    for (const auto& [tag, fd] : {std::pair{kDispatcherTag, dispatcher}, {kChatTag, chat}}) {
        if (fd < 0) continue;
        tags[n] = tag;
        fds[n++] = fd;
    }
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof fds)] = {};
    iovec iov{tags, n};
    msghdr msg{};
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    msg.msg_control = control;
    msg.msg_controllen = CMSG_SPACE(n * sizeof(int));
    cmsghdr* c = CMSG_FIRSTHDR(&msg);
    c->cmsg_level = SOL_SOCKET;
    c->cmsg_type = SCM_RIGHTS;
    c->cmsg_len = CMSG_LEN(n * sizeof(int));
    std::memcpy(CMSG_DATA(c), fds, n * sizeof(int));
    setTimeout(conn, SO_SNDTIMEO, kWaitSeconds);
    if (::sendmsg(conn, &msg, MSG_NOSIGNAL) < 0)
        NQ_LOG(log, Error, "could not hand the sockets over: %s", std::strerror(errno));
    ::close(conn);
}

std::optional<HandedSockets> askForSockets(const std::string& name, Logger& log) {
    const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0) throw std::runtime_error(std::string("cannot open a Unix socket: ") + std::strerror(errno));
    const UnixAddress a = abstractAddress(name);
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&a.sa), a.len) != 0) {
        ::close(fd);
        return std::nullopt;
    }
    const auto peer = sameUser(fd);
    if (!peer) {
        ::close(fd);
        throw std::runtime_error("the process at \"" + name +
                                 "\" runs as another user; not taking over from it");
    }
    NQ_LOG(log, Info, "taking over from nqserver pid %d; waiting for its sockets",
           static_cast<int>(peer->pid));
    setTimeout(fd, SO_RCVTIMEO, kWaitSeconds);
    char tags[4];
    alignas(cmsghdr) char control[CMSG_SPACE(4 * sizeof(int))] = {};
    iovec iov{tags, sizeof tags};
    msghdr msg{};
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    msg.msg_control = control;
    msg.msg_controllen = sizeof control;
    const ssize_t got = ::recvmsg(fd, &msg, MSG_CMSG_CLOEXEC);
    const int err = errno;
    ::close(fd);
    const cmsghdr* c = got > 0 ? CMSG_FIRSTHDR(&msg) : nullptr;
    if (!c || c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_RIGHTS)
        throw std::runtime_error("nqserver pid " + std::to_string(peer->pid) +
                                 " did not hand over its sockets" +
                                 (got < 0 ? std::string(": ") + std::strerror(err) : std::string()));
    const size_t count = (c->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    int fds[4];
    std::memcpy(fds, CMSG_DATA(c), std::min<size_t>(count, 4) * sizeof(int));
    HandedSockets h;
    h.fromPid = peer->pid;
    for (size_t i = 0; i < std::min<size_t>(count, 4); ++i) {
        const char tag = i < static_cast<size_t>(got) ? tags[i] : 0;
        int* slot = tag == kDispatcherTag ? &h.dispatcher : tag == kChatTag ? &h.chat : nullptr;
        if (slot && *slot < 0)
            *slot = fds[i];
        else
            ::close(fds[i]);
    }
    return h;
}

}  // namespace nq::server
