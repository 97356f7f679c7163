#pragma once
// Qt's sockets and timer behind the session's transport interfaces.

#include <QHostAddress>
#include <QObject>
#include <QTimer>
#include <QUdpSocket>
#include <deque>

#include "session/transport.h"

namespace nq {

class QtUdpSocket : public QObject, public DatagramSocket {
    Q_OBJECT
  public:
    explicit QtUdpSocket(QObject* parent = nullptr);
    void close() override;
    int bind(uint16_t localPort) override;
    void setRemote(const std::string& host, uint16_t port) override;
    void send(const Bytes& datagram) override;

    uint16_t localPort() const { return socket_.localPort(); }

  private:
    void readAll();
    void flushPending();

    QUdpSocket socket_;
    QHostAddress remote_;
    uint16_t remotePort_ = 0;
    int lookupId_ = -1;
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
