#include "server/udp_socket.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace nq::server {
namespace {

// Bursts of thousands of clients arrive at once; the default 208 KB would drop them.
constexpr int kBufferBytes = 8 * 1024 * 1024;

void setBuffer(int fd, int option, int forceOption) {
    // The FORCE variants pass rmem_max/wmem_max when the process may; otherwise take what we get.
    if (setsockopt(fd, SOL_SOCKET, forceOption, &kBufferBytes, sizeof kBufferBytes) != 0)
        setsockopt(fd, SOL_SOCKET, option, &kBufferBytes, sizeof kBufferBytes);
}

}  // namespace

UdpSocket::UdpSocket(uint32_t address, uint16_t port) : inbox_(std::make_unique<Inbox>()), in_(*inbox_) {
    const Endpoint want{address, port};
    fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd_ < 0) throw std::runtime_error(std::string("cannot open a UDP socket: ") + std::strerror(errno));
    const sockaddr_in sa = want.toSockaddr();
    if (::bind(fd_, reinterpret_cast<const sockaddr*>(&sa), sizeof sa) != 0) {
        const int err = errno;
        ::close(fd_);
        const std::string why = "cannot bind " + want.toString() + ": " + std::strerror(err);
        errno = err;  // for the caller's advice on a port in use
        throw std::runtime_error(why);
    }
    setUp();
}

UdpSocket::UdpSocket(int fd) : fd_(fd), inbox_(std::make_unique<Inbox>()), in_(*inbox_) {
    int type = 0, domain = 0;
    socklen_t len = sizeof type;
    const bool udp = getsockopt(fd_, SOL_SOCKET, SO_TYPE, &type, &len) == 0 && type == SOCK_DGRAM &&
                     getsockopt(fd_, SOL_SOCKET, SO_DOMAIN, &domain, &len) == 0 && domain == AF_INET;
    sockaddr_in bound{};
    socklen_t boundLen = sizeof bound;
    if (!udp || getsockname(fd_, reinterpret_cast<sockaddr*>(&bound), &boundLen) != 0 ||
        bound.sin_port == 0) {
        ::close(fd_);
        throw std::runtime_error("descriptor " + std::to_string(fd) + " is no bound IPv4 UDP socket");
    }
    fcntl(fd_, F_SETFL, fcntl(fd_, F_GETFL) | O_NONBLOCK);
    fcntl(fd_, F_SETFD, FD_CLOEXEC);
    setUp();
}

void UdpSocket::setUp() {
    setBuffer(fd_, SO_RCVBUF, SO_RCVBUFFORCE);
    setBuffer(fd_, SO_SNDBUF, SO_SNDBUFFORCE);
    sockaddr_in bound{};
    socklen_t len = sizeof bound;
    getsockname(fd_, reinterpret_cast<sockaddr*>(&bound), &len);
    local_ = Endpoint::fromSockaddr(bound);
    for (int i = 0; i < kBatch; ++i) {
        in_.iov[i] = {in_.buffers[i].data(), kSlot};
        std::memset(&in_.headers[i], 0, sizeof(mmsghdr));
    }
}

UdpSocket::~UdpSocket() {
    if (fd_ >= 0) ::close(fd_);
}

int UdpSocket::receiveBatch() {
    for (int i = 0; i < kBatch; ++i) {
        msghdr& h = in_.headers[i].msg_hdr;
        h.msg_name = &in_.from[i];
        h.msg_namelen = sizeof(sockaddr_in);
        h.msg_iov = &in_.iov[i];
        h.msg_iovlen = 1;
        h.msg_control = nullptr;
        h.msg_controllen = 0;
        h.msg_flags = 0;
    }
    const int n = ::recvmmsg(fd_, in_.headers.data(), kBatch, MSG_DONTWAIT, nullptr);
    return n < 0 ? 0 : n;
}

size_t SendQueue::push(Datagram d) {
    size_t dropped = 0;
    for (; !queue_.empty() && (queue_.size() >= maxDatagrams_ || bytes_ + d.data.size() > maxBytes_);
         ++dropped)
        popFront(1);
    dropped_ += dropped;
    bytes_ += d.data.size();
    queue_.push_back(std::move(d));
    return dropped;
}

void SendQueue::popFront(size_t n) {
    for (; n > 0; --n) {
        bytes_ -= queue_.front().data.size();
        queue_.pop_front();
    }
}

bool UdpSocket::send(SendQueue& queue) {
    std::array<mmsghdr, kBatch> headers;
    std::array<iovec, kBatch> iov;
    std::array<sockaddr_in, kBatch> to;
    while (!queue.empty()) {
        const int n = static_cast<int>(std::min<size_t>(queue.size(), kBatch));
        for (int i = 0; i < n; ++i) {
            Datagram& d = queue[i];
            to[i] = d.to.toSockaddr();
            iov[i] = {d.data.data(), d.data.size()};
            std::memset(&headers[i], 0, sizeof(mmsghdr));
            headers[i].msg_hdr.msg_name = &to[i];
            headers[i].msg_hdr.msg_namelen = sizeof(sockaddr_in);
            headers[i].msg_hdr.msg_iov = &iov[i];
            headers[i].msg_hdr.msg_iovlen = 1;
        }
        const int sent = ::sendmmsg(fd_, headers.data(), n, MSG_DONTWAIT);
        if (sent < 0) {
            if (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS) return false;
            if (errno == EINTR) continue;
            // This one datagram cannot go (an unreachable address, say); the rest still may.
            ++refused_;
            queue.popFront(1);
            continue;
        }
        queue.popFront(sent);
    }
    return true;
}

}  // namespace nq::server
