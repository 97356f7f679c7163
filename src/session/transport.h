#pragma once
// The session's view of its sockets and its timer, injected so that tests drive the pump by
// calling tick() and script the peer, and the application plugs in Qt's.

#include <cstdint>
#include <functional>
#include <string>

#include "wire/gbk.h"

namespace nq {

// Socket errors keep the numbers the protocol's state machine was written against.
inline constexpr int kErrAddressInUse = 10048;
inline constexpr int kErrConnectionReset = 10054;
inline constexpr int kErrOther = 1;

// A datagram socket with a settable remote end, like the socket controls the login logic
// expects: bind to a local port, set where datagrams go, send, hear what arrives.
class DatagramSocket {
  public:
    virtual ~DatagramSocket() = default;
    virtual void close() = 0;
    // 0 on success, kErrAddressInUse when the port is taken, another number otherwise.
    virtual int bind(uint16_t localPort) = 0;
    virtual void setRemote(const std::string& host, uint16_t port) = 0;
    virtual void send(const Bytes& datagram) = 0;

    std::function<void(const Bytes&)> onData;
    std::function<void(int error)> onError;
};

class Timer {
  public:
    virtual ~Timer() = default;
    virtual void setEnabled(bool on) = 0;
    virtual bool enabled() const = 0;
};

}  // namespace nq
