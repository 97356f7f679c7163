#pragma once
// The session's sockets and timer on Qt's event loop. The sockets are plain POSIX datagram
// sockets watched by a QSocketNotifier: Qt Network would cost every start 1.5 MB and a
// Kerberos stack for three UDP sockets.

#include <netinet/in.h>

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include "session/transport.h"

namespace nq {

class QtUdpSocket : public QObject, public DatagramSocket {
    Q_OBJECT
  public:
    explicit QtUdpSocket(QObject* parent = nullptr);
    ~QtUdpSocket() override;
    void close() override;
    [[nodiscard]] SocketError bind(uint16_t localPort) override;
    void setRemote(const std::string& host, uint16_t port) override;
    void send(const Bytes& datagram) override;

    // 0 while unbound.
    [[nodiscard]] uint16_t localPort() const;

    // How a host name becomes an address; getaddrinfo unless a test hands in its own. Runs on
    // a pool thread.
    using Resolver = std::function<std::optional<in_addr>(const std::string& host)>;
    void setResolver(Resolver resolver) { resolver_ = std::move(resolver); }

  private:
    struct Lookup;

    void readAll();
    void reportQueuedErrors();
    void abandonLookup();
    void lookupDone(const Lookup* lookup, std::optional<in_addr> address);
    void sendNow(const Bytes& datagram);

    int fd_ = -1;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::optional<in_addr> remote_;
    uint16_t remotePort_ = 0;
    // The name lookup in flight, shared with the pool thread that runs it.
    std::shared_ptr<Lookup> lookup_;
    Resolver resolver_;
    // Datagrams sent while a host name is still being looked up; a handful at most, since
    // the pump sends one frame per tick.
    std::deque<Bytes> pending_;
};

class QtTimer : public Timer {
  public:
    QtTimer(int intervalMs, std::function<void()> onTick);
    void setEnabled(bool on) override;
    bool enabled() const override { return timer_.isActive(); }

  private:
    QTimer timer_;
};

}  // namespace nq
