#include "client_sockets.h"

#include <arpa/inet.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace nq::bench {
namespace {

constexpr uint32_t kFirstAddress = 0x7F010000u;  // 127.1.0.0
// Hosts per /24 used, so that no address ends in .0 or .255.
constexpr int kHostsPerBlock = 250;
// Each socket takes the traffic of hundreds of clients; a burst must not overflow it while the
// generator is busy sending (the kernel caps this at net.core.rmem_max).
constexpr int kReceiveBuffer = 4 << 20;

int64_t realtimeNs() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return int64_t(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec;
}

}  // namespace

uint32_t ClientSockets::addressOf(int client) {
    const int host = client / kPerAddress;
    return kFirstAddress + static_cast<uint32_t>(host / kHostsPerBlock * 256 + host % kHostsPerBlock + 1);
}

int ClientSockets::clientAt(int socket, uint32_t address) const {
    const uint32_t offset = address - kFirstAddress;
    const int host = static_cast<int>(offset >> 8) * kHostsPerBlock + static_cast<int>(offset & 0xFF) - 1;
    const int client = host * kPerAddress + socket;
    const uint32_t last = offset & 0xFF;
    return offset >> 16 == 0 && last >= 1 && last <= kHostsPerBlock && client < clients_ ? client : -1;
}

ClientSockets::ClientSockets(int clients) : clients_(clients) {
    epoll_ = epoll_create1(EPOLL_CLOEXEC);
    const int on = 1;
    for (int i = 0; i < std::min(clients, kPerAddress); ++i) {
        const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        sockaddr_in any{};
        any.sin_family = AF_INET;
        if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0)
            throw std::runtime_error(std::string("cannot open a client socket: ") + std::strerror(errno));
        fds_.push_back(fd);
        setsockopt(fd, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
        setsockopt(fd, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
        epoll_event ev{};
        ev.events = EPOLLIN;
        ev.data.u32 = static_cast<uint32_t>(i);
        epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &ev);
    }
}

ClientSockets::~ClientSockets() {
    for (int fd : fds_) close(fd);
    if (epoll_ >= 0) close(epoll_);
}

bool ClientSockets::send(int client, const sockaddr_in& to, const Bytes& datagram) {
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(in_pktinfo))] = {};
    iovec iov{const_cast<char*>(datagram.data()), datagram.size()};
    msghdr msg{};
    msg.msg_name = const_cast<sockaddr_in*>(&to);
    msg.msg_namelen = sizeof to;
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    msg.msg_control = control;
    msg.msg_controllen = sizeof control;
    cmsghdr* cm = CMSG_FIRSTHDR(&msg);
    cm->cmsg_level = IPPROTO_IP;
    cm->cmsg_type = IP_PKTINFO;
    cm->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
    in_pktinfo info{};
    info.ipi_spec_dst.s_addr = htonl(addressOf(client));
    std::memcpy(CMSG_DATA(cm), &info, sizeof info);
    return sendmsg(fds_[static_cast<size_t>(client % kPerAddress)], &msg, 0) >= 0;
}

void ClientSockets::pump(int timeoutMs, const Reader& read) {
    epoll_event events[kPerAddress];
    const int n = epoll_wait(epoll_, events, kPerAddress, timeoutMs);
    for (int e = 0; e < n; ++e) {
        const int socket = static_cast<int>(events[e].data.u32);
        // A bounded number a socket and round, so that one busy socket does not starve the rest.
        for (int k = 0; k < 256; ++k) {
            char buf[2048];
            alignas(cmsghdr) char control[256];
            iovec iov{buf, sizeof buf};
            msghdr msg{};
            msg.msg_iov = &iov;
            msg.msg_iovlen = 1;
            msg.msg_control = control;
            msg.msg_controllen = sizeof control;
            const ssize_t got = recvmsg(fds_[static_cast<size_t>(socket)], &msg, MSG_DONTWAIT);
            if (got <= 0) break;
            int64_t stamp = 0;
            uint32_t address = 0;
            for (cmsghdr* cm = CMSG_FIRSTHDR(&msg); cm; cm = CMSG_NXTHDR(&msg, cm)) {
                if (cm->cmsg_level == SOL_SOCKET && cm->cmsg_type == SCM_TIMESTAMPNS) {
                    timespec ts;
                    std::memcpy(&ts, CMSG_DATA(cm), sizeof ts);
                    stamp = int64_t(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec;
                } else if (cm->cmsg_level == IPPROTO_IP && cm->cmsg_type == IP_PKTINFO) {
                    in_pktinfo info;
                    std::memcpy(&info, CMSG_DATA(cm), sizeof info);
                    address = ntohl(info.ipi_addr.s_addr);
                }
            }
            const int client = clientAt(socket, address);
            if (client >= 0)
                read(client, std::string_view(buf, static_cast<size_t>(got)), stamp ? stamp : realtimeNs());
        }
    }
}

}  // namespace nq::bench
