#pragma once
// A non-blocking IPv4 UDP socket that moves datagrams in batches (recvmmsg/sendmmsg), one
// system call for up to kBatch datagrams each way.

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <deque>
#include <memory>
#include <string_view>
#include <vector>

#include "server/datagram.h"
#include "server/endpoint.h"

namespace nq::server {

class UdpSocket {
  public:
    static constexpr int kBatch = 64;
    // Client datagrams are small, but a long chat line may exceed one frame; 8 KB leaves room.
    static constexpr size_t kSlot = 8192;

    // Binds and sets the buffers; throws std::runtime_error that names the address on failure.
    UdpSocket(uint32_t address, uint16_t port);
    // Takes over a socket bound elsewhere (by a parent that holds it, or by the server this one
    // replaces) and sets the buffers. Owns fd from here on, and closes it when it throws
    // std::runtime_error because fd is no bound IPv4 UDP socket.
    explicit UdpSocket(int fd);
    ~UdpSocket();
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;

    int fd() const { return fd_; }
    Endpoint local() const { return local_; }

    // Reads one batch and hands each datagram to handle(from, bytes, truncated). Returns how many
    // came; 0 means nothing is waiting.
    template <typename Handler>
    int receive(Handler&& handle) {
        const int n = receiveBatch();
        for (int i = 0; i < n; ++i)
            handle(Endpoint::fromSockaddr(in_.from[i]),
                   std::string_view(in_.buffers[i].data(), std::min<size_t>(in_.headers[i].msg_len, kSlot)),
                   (in_.headers[i].msg_hdr.msg_flags & MSG_TRUNC) != 0);
        return n;
    }

    // Sends from the front of queue until it is empty or the kernel buffer is full. A datagram the
    // kernel refuses for another reason is dropped and counted. Returns true when all went.
    bool send(std::deque<Datagram>& queue);
    uint64_t refusedCount() const { return refused_; }

  private:
    void setUp();
    int receiveBatch();

    int fd_ = -1;
    Endpoint local_;
    uint64_t refused_ = 0;

    struct Inbox {
        std::array<std::array<char, kSlot>, kBatch> buffers;
        std::array<sockaddr_in, kBatch> from;
        std::array<iovec, kBatch> iov;
        std::array<mmsghdr, kBatch> headers;
    };
    std::unique_ptr<Inbox> inbox_;
    Inbox& in_;
};

}  // namespace nq::server
