#pragma once
// The endpoints of many simulated clients on a few sockets. Clients sit kPerAddress to an
// address on 127.1.0.0/16, as clients behind many addresses do, so that what is measured is the
// servers and not their limits per address. Client i has address i / kPerAddress and the port of
// socket i % kPerAddress: each socket is bound to every address at its port and picks the source
// address of each datagram it sends (IP_PKTINFO), and tells by the destination address of each
// datagram it reads which client it is for. One socket a client would need more descriptors than
// an unprivileged process may have (30,000 clients against a hard limit of 20,000 here).

#include <netinet/in.h>

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "wire/packet.h"

namespace nq::bench {

class ClientSockets {
  public:
    static constexpr int kPerAddress = 50;

    // Throws std::runtime_error when a socket cannot be opened.
    explicit ClientSockets(int clients);
    ~ClientSockets();
    ClientSockets(const ClientSockets&) = delete;
    ClientSockets& operator=(const ClientSockets&) = delete;

    // False when the kernel refused the datagram.
    bool send(int client, const sockaddr_in& to, const Bytes& datagram);
    // The datagram, and the kernel's receive stamp in CLOCK_REALTIME nanoseconds.
    using Reader = std::function<void(int client, std::string_view datagram, int64_t stamp)>;
    // Hands over whatever is ready, after waiting up to timeoutMs for the first.
    void pump(int timeoutMs, const Reader& read);

    static uint32_t addressOf(int client);

  private:
    int clientAt(int socket, uint32_t address) const;

    int clients_;
    int epoll_ = -1;
    std::vector<int> fds_;
};

}  // namespace nq::bench
