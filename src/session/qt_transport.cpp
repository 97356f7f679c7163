#include "session/qt_transport.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/errqueue.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QThreadPool>
#include <cerrno>
#include <mutex>

namespace nq {

namespace {

constexpr size_t kMaxPending = 8;
constexpr size_t kMaxDatagram = 65536;

std::optional<in_addr> resolveIPv4(const std::string& host) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0 || !found) return std::nullopt;
    const in_addr address = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr;
    ::freeaddrinfo(found);
    return address;
}

// Lookups run here rather than on Qt's global pool, which the application object waits for
// when it is destroyed: a resolver that hangs for a minute would hold the exit up for as long.
// The pool is never destroyed, so nothing ever waits for it; a lookup still running when the
// process ends simply ends with it.
QThreadPool& lookupPool() {
    static QThreadPool* pool = [] {
        auto* p = new QThreadPool;
        // A dead resolver blocks a thread per lookup; a few are enough for three sockets.
        p->setMaxThreadCount(4);
        return p;
    }();
    return *pool;
}

}  // namespace

// The lookup may outlive the socket or a newer setRemote(); it posts its answer only
// while `owner` is still set, under the mutex that the socket takes to clear it.
struct QtUdpSocket::Lookup {
    std::mutex mutex;
    QtUdpSocket* owner = nullptr;
};

QtUdpSocket::QtUdpSocket(QObject* parent) : QObject(parent) {}

QtUdpSocket::~QtUdpSocket() {
    abandonLookup();
    close();
}

void QtUdpSocket::close() {
    notifier_.reset();
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
    pending_.clear();
}

SocketError QtUdpSocket::bind(uint16_t localPort) {
    close();
    fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd_ < 0) return SocketError::Other;
    // Winsock tells a datagram socket when its last send hit a closed port; on Linux only a
    // socket that asks for its error queue hears of that.
    const int on = 1;
    ::setsockopt(fd_, IPPROTO_IP, IP_RECVERR, &on, sizeof on);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_ANY);
    local.sin_port = htons(localPort);
    if (::bind(fd_, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        const int err = errno;
        close();
        return err == EADDRINUSE ? SocketError::AddressInUse : SocketError::Other;
    }
    notifier_ = std::make_unique<QSocketNotifier>(fd_, QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, &QtUdpSocket::readAll);
    return SocketError::None;
}

uint16_t QtUdpSocket::localPort() const {
    sockaddr_in local{};
    socklen_t size = sizeof local;
    if (fd_ < 0 || ::getsockname(fd_, reinterpret_cast<sockaddr*>(&local), &size) != 0) return 0;
    return ntohs(local.sin_port);
}

void QtUdpSocket::setRemote(const std::string& host, uint16_t port) {
    abandonLookup();
    remotePort_ = port;
    remote_.reset();
    pending_.clear();
    if (host.empty()) return;
    in_addr literal{};
    if (::inet_pton(AF_INET, host.c_str(), &literal) == 1) {
        remote_ = literal;
        return;
    }
    // Names resolve in the background: the pump must not stall on a slow or dead resolver.
    lookup_ = std::make_shared<Lookup>();
    lookup_->owner = this;
    lookupPool().start([lookup = lookup_, host, resolve = resolver_ ? resolver_ : Resolver(resolveIPv4)] {
        {
            // Abandoned while it waited for a free thread: nobody wants the answer.
            std::lock_guard<std::mutex> lock(lookup->mutex);
            if (!lookup->owner) return;
        }
        const std::optional<in_addr> address = resolve(host);
        std::lock_guard<std::mutex> lock(lookup->mutex);
        if (!lookup->owner) return;
        // Queued to the socket's thread; Qt drops the call if the socket is gone by then.
        QMetaObject::invokeMethod(
            lookup->owner,
            [owner = lookup->owner, which = lookup.get(), address] { owner->lookupDone(which, address); },
            Qt::QueuedConnection);
    });
}

void QtUdpSocket::abandonLookup() {
    if (!lookup_) return;
    std::lock_guard<std::mutex> lock(lookup_->mutex);
    lookup_->owner = nullptr;
    lookup_.reset();
}

void QtUdpSocket::lookupDone(const Lookup* lookup, std::optional<in_addr> address) {
    if (lookup != lookup_.get()) return;
    lookup_.reset();
    remote_ = address;
    std::deque<Bytes> waiting;
    waiting.swap(pending_);
    if (!remote_) return;
    for (const Bytes& d : waiting) sendNow(d);
}

void QtUdpSocket::send(const Bytes& datagram) {
    if (!remote_) {
        // An unresolvable or empty host swallows the datagram, as a send into nowhere would.
        if (lookup_ && pending_.size() < kMaxPending) pending_.push_back(datagram);
        return;
    }
    sendNow(datagram);
}

void QtUdpSocket::sendNow(const Bytes& datagram) {
    if (fd_ < 0) return;
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr = *remote_;
    to.sin_port = htons(remotePort_);
    // A full buffer or an earlier refusal loses this datagram, as UDP may; the refusal itself
    // arrives through the error queue and is reported from there.
    [[maybe_unused]] const ssize_t sent = ::sendto(fd_, datagram.data(), datagram.size(), MSG_NOSIGNAL,
                                                   reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

void QtUdpSocket::readAll() {
    static thread_local char buffer[kMaxDatagram];
    // A handler may close or rebind this socket; the descriptor is checked at every turn.
    while (fd_ >= 0) {
        const ssize_t n = ::recv(fd_, buffer, sizeof buffer, 0);
        if (n >= 0) {
            if (onData) onData(Bytes(buffer, static_cast<size_t>(n)));
            continue;
        }
        if (errno == EINTR || errno == ECONNREFUSED) continue;
        break;
    }
    reportQueuedErrors();
}

void QtUdpSocket::reportQueuedErrors() {
    // Until the error queue is drained the descriptor stays readable and the notifier would spin.
    while (fd_ >= 0) {
        char control[512];
        char data[64];
        iovec io{data, sizeof data};
        msghdr msg{};
        msg.msg_iov = &io;
        msg.msg_iovlen = 1;
        msg.msg_control = control;
        msg.msg_controllen = sizeof control;
        if (::recvmsg(fd_, &msg, MSG_ERRQUEUE) < 0) break;
        bool refused = false;
        for (cmsghdr* c = CMSG_FIRSTHDR(&msg); c; c = CMSG_NXTHDR(&msg, c)) {
            if (c->cmsg_level != IPPROTO_IP || c->cmsg_type != IP_RECVERR) continue;
            const auto* err = reinterpret_cast<const sock_extended_err*>(CMSG_DATA(c));
            refused = refused || err->ee_errno == ECONNREFUSED;
        }
        if (refused && onError) onError(SocketError::ConnectionReset);
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
