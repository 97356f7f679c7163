#include "session/qt_transport.h"

#include <QHostInfo>
#include <QNetworkDatagram>

namespace nq {

namespace {
constexpr size_t kMaxPending = 8;
}

QtUdpSocket::QtUdpSocket(QObject* parent) : QObject(parent) {
    connect(&socket_, &QUdpSocket::readyRead, this, &QtUdpSocket::readAll);
    connect(&socket_, &QUdpSocket::errorOccurred, this, [this](QAbstractSocket::SocketError e) {
        if (e == QAbstractSocket::ConnectionRefusedError && onError) onError(kErrConnectionReset);
    });
}

void QtUdpSocket::close() {
    socket_.close();
    pending_.clear();
}

int QtUdpSocket::bind(uint16_t localPort) {
    socket_.close();
    if (socket_.bind(QHostAddress::AnyIPv4, localPort)) return 0;
    return socket_.error() == QAbstractSocket::AddressInUseError ? kErrAddressInUse : kErrOther;
}

void QtUdpSocket::setRemote(const std::string& host, uint16_t port) {
    if (lookupId_ != -1) QHostInfo::abortHostLookup(lookupId_);
    lookupId_ = -1;
    remotePort_ = port;
    remote_ = QHostAddress();
    pending_.clear();
    const QString name = QString::fromStdString(host);
    if (name.isEmpty() || remote_.setAddress(name)) return;
    // Names resolve in the background: the pump must not stall on a slow or dead resolver.
    lookupId_ = QHostInfo::lookupHost(name, this, [this](const QHostInfo& info) {
        lookupId_ = -1;
        for (const QHostAddress& a : info.addresses()) {
            if (a.protocol() == QAbstractSocket::IPv4Protocol) {
                remote_ = a;
                break;
            }
        }
        if (remote_.isNull()) {
            pending_.clear();
            return;
        }
        flushPending();
    });
}

void QtUdpSocket::send(const Bytes& datagram) {
    if (remote_.isNull()) {
        // An unresolvable or empty host swallows the datagram, as a send into nowhere would.
        if (lookupId_ != -1 && pending_.size() < kMaxPending) pending_.push_back(datagram);
        return;
    }
    socket_.writeDatagram(datagram.data(), static_cast<qint64>(datagram.size()), remote_, remotePort_);
}

void QtUdpSocket::flushPending() {
    while (!pending_.empty()) {
        const Bytes d = std::move(pending_.front());
        pending_.pop_front();
        send(d);
    }
}

void QtUdpSocket::readAll() {
    while (socket_.hasPendingDatagrams()) {
        const QNetworkDatagram d = socket_.receiveDatagram();
        if (!d.isValid()) break;
        const QByteArray data = d.data();
        if (onData) onData(Bytes(data.constData(), static_cast<size_t>(data.size())));
    }
}

QtTimer::QtTimer(int intervalMs, std::function<void()> onTick) {
    timer_.setInterval(intervalMs);
    QObject::connect(&timer_, &QTimer::timeout, std::move(onTick));
}

void QtTimer::setEnabled(bool on) {
    if (on && !timer_.isActive()) timer_.start();
    if (!on) timer_.stop();
}

}  // namespace nq
