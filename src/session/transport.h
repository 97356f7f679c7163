#pragma once
// The session's view of its sockets and its timer, injected so that tests drive the pump by
// calling tick() and script the peer, and the application plugs in Qt's.

#include <cstdint>
#include <functional>
#include <string>

#include "wire/gbk.h"

namespace nq {

// What the login logic tells apart: a taken port moves it on to the next one, a reset (a
// send that hit a closed port) ends keep-alive, anything else is given up on.
enum class SocketError { None, AddressInUse, ConnectionReset, Other };

// A datagram socket with a settable remote end, like the socket controls the login logic
// expects: bind to a local port, set where datagrams go, send, hear what arrives.
class DatagramSocket {
  public:
    virtual ~DatagramSocket() = default;
    virtual void close() = 0;
    // A failed bind leaves the socket closed.
    [[nodiscard]] virtual SocketError bind(uint16_t localPort) = 0;
    virtual void setRemote(const std::string& host, uint16_t port) = 0;
    virtual void send(const Bytes& datagram) = 0;

    std::function<void(const Bytes&)> onData;
    std::function<void(SocketError)> onError;
};

class Timer {
  public:
    virtual ~Timer() = default;
    virtual void setEnabled(bool on) = 0;
    [[nodiscard]] virtual bool enabled() const = 0;
};

}  // namespace nq
