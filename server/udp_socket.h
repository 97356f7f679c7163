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

// Datagrams waiting for room in a socket's kernel send buffer, oldest first, within a cap on
// their number and bytes. Past it the oldest make room. In an overload what waited longest is
// likeliest to be worth least: an answer to a login or a dispatcher request that the client has
// sent again meanwhile, a keep-alive answer that a newer one replaces. And a queue that drops at
// its head keeps what does go out fresh: each newcomer pushes one out, so nothing waits longer
// than the queue takes to fill, while dropping newcomers would make everything wait its full
// length.
class SendQueue {
  public:
    SendQueue(size_t maxDatagrams, size_t maxBytes) : maxDatagrams_(maxDatagrams), maxBytes_(maxBytes) {}

    // Appends d behind the rest; returns how many of the oldest went to make room for it.
    size_t push(Datagram d);
    void popFront(size_t n);

    bool empty() const { return queue_.empty(); }
    size_t size() const { return queue_.size(); }
    size_t bytes() const { return bytes_; }
    uint64_t droppedCount() const { return dropped_; }
    Datagram& operator[](size_t i) { return queue_[i]; }

  private:
    std::deque<Datagram> queue_;
    size_t bytes_ = 0;
    uint64_t dropped_ = 0;
    size_t maxDatagrams_;
    size_t maxBytes_;
};

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
    bool send(SendQueue& queue);
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
