#pragma once
// The session's sockets and timer in memory: what the session sends is kept for the test to
// read, what the test delivers reaches the session at once, and the timer only records whether
// it is on. Nothing waits, so a pump test is as fast and as repeatable as a unit test.

#include <deque>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "session/transport.h"

namespace nq::test {

struct SentDatagram {
    std::string host;  // the remote end set when it was sent
    uint16_t port = 0;
    uint16_t localPort = 0;  // the port the socket was bound to
    Bytes data;
};

class MemorySocket : public DatagramSocket {
  public:
    void close() override { localPort_ = 0; }
    SocketError bind(uint16_t localPort) override {
        binds.push_back(localPort);
        localPort_ = 0;
        if (takenPorts.count(localPort)) return SocketError::AddressInUse;
        if (refusedPorts.count(localPort)) return SocketError::Other;
        localPort_ = localPort;
        return SocketError::None;
    }
    void setRemote(const std::string& host, uint16_t port) override {
        host_ = host;
        port_ = port;
    }
    // A closed socket sends nothing, as a closed descriptor would.
    void send(const Bytes& datagram) override {
        if (localPort_ != 0) sent.push_back({host_, port_, localPort_, datagram});
    }

    // A datagram arrives from the remote end.
    void deliver(const Bytes& datagram) {
        if (onData) onData(datagram);
    }
    void fail(SocketError error) {
        if (onError) onError(error);
    }

    // The oldest datagram not yet taken; throws when there is none.
    SentDatagram take() {
        if (sent.empty()) throw std::runtime_error("the session sent nothing on this socket");
        SentDatagram d = sent.front();
        sent.pop_front();
        return d;
    }
    uint16_t localPort() const { return localPort_; }

    std::set<uint16_t> takenPorts;    // bind() answers AddressInUse for these
    std::set<uint16_t> refusedPorts;  // and Other for these
    std::vector<uint16_t> binds;    // every port asked for, in order
    std::deque<SentDatagram> sent;

  private:
    std::string host_;
    uint16_t port_ = 0;
    uint16_t localPort_ = 0;
};

class FakeTimer : public Timer {
  public:
    void setEnabled(bool on) override { on_ = on; }
    bool enabled() const override { return on_; }

  private:
    bool on_ = false;
};

}  // namespace nq::test
