#pragma once
// The server end of a loopback test: a plain UDP socket that receives what the code under test
// sends and answers with frames the test composes, and the helpers to wait for real sockets.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <optional>
#include <stdexcept>
#include <string>

#include "wire/packet.h"

namespace nq::test {

// Runs the event loop until pred holds; false when timeoutMs passed first.
template <class Pred>
bool waitFor(Pred pred, int timeoutMs = 3000) {
    QElapsedTimer t;
    t.start();
    while (!pred()) {
        if (t.elapsed() > timeoutMs) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return true;
}

struct OwnedFrame {
    FrameHeader header;
    uint16_t len = 0;
    Bytes body;
    Bytes raw;
};

inline std::optional<OwnedFrame> firstFrame(const Bytes& datagram) {
    auto f = decodeFrame(datagram);
    if (!f) return std::nullopt;
    return OwnedFrame{f->header, f->len, Bytes(f->body), datagram};
}

struct Received {
    Bytes data;
    sockaddr_in from{};
};

class ScriptedPeer {
  public:
    ScriptedPeer(const std::string& ip, uint16_t port) {
        fd_ = ::socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_port = htons(port);
        ::inet_pton(AF_INET, ip.c_str(), &a.sin_addr);
        int one = 1;
        ::setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        if (::bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0)
            throw std::runtime_error("cannot bind test peer on " + ip + ":" + std::to_string(port));
    }
    ~ScriptedPeer() { ::close(fd_); }
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    std::optional<Received> receive(int timeoutMs) {
        pollfd p{fd_, POLLIN, 0};
        if (::poll(&p, 1, timeoutMs) <= 0) return std::nullopt;
        Received r;
        char buf[65536];
        socklen_t len = sizeof r.from;
        const ssize_t n = ::recvfrom(fd_, buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&r.from), &len);
        if (n < 0) return std::nullopt;
        r.data.assign(buf, static_cast<size_t>(n));
        last_ = r.from;
        return r;
    }

    // Answers the address the last datagram came from.
    void reply(const Bytes& datagram) { sendTo(last_, datagram); }
    void sendTo(const sockaddr_in& to, const Bytes& datagram) {
        ::sendto(fd_, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    }

  private:
    int fd_ = -1;
    sockaddr_in last_{};
};

// The first frame of the next datagram at the peer; a test that waits in vain fails loudly.
inline OwnedFrame expectFrame(ScriptedPeer& peer) {
    auto r = peer.receive(2000);
    if (!r) throw std::runtime_error("no datagram arrived at the peer");
    auto f = firstFrame(r->data);
    if (!f) throw std::runtime_error("the datagram holds no frame");
    return *f;
}

}  // namespace nq::test
