#include "desktop/hall_listener.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <QMetaObject>
#include <QSocketNotifier>
#include <QTimer>
#include <cerrno>
#include <cstring>

namespace nq {

// The notifier and the timer are children of the listener, so that its end takes them along
// even while their deleteLater is pending.
struct HallListener::Connection {
    QSocketNotifier* notifier = nullptr;
    QTimer* idle = nullptr;
    std::string buffer;
};

HallListener::HallListener(std::string socketPath, unsigned owner, Complaint complain, QObject* parent)
    : QObject(parent), path_(std::move(socketPath)), owner_(owner), complain_(std::move(complain)) {}

HallListener::~HallListener() {
    while (!connections_.empty()) drop(connections_.begin()->first);
    if (listenFd_ >= 0) {
        listenNotifier_.reset();
        ::close(listenFd_);
        ::unlink(path_.c_str());
    }
}

HallListener::Outcome HallListener::listen() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path_.size() >= sizeof address.sun_path) {
        complain_("nqchat: hall socket path too long: " + path_);
        return Outcome::Failed;
    }
    std::memcpy(address.sun_path, path_.c_str(), path_.size() + 1);
    // Someone accepts on it: a client of the same program folder is running.
    const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool taken =
        probe >= 0 && ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    if (probe >= 0) ::close(probe);
    if (taken) return Outcome::AlreadyRunning;
    ::unlink(path_.c_str());
    listenFd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    // The folder is ours alone, so the moment between bind and chmod exposes nothing.
    if (listenFd_ < 0 ||
        ::bind(listenFd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::chmod(path_.c_str(), S_IRUSR | S_IWUSR) != 0 || ::listen(listenFd_, kMaxConnections) != 0) {
        complain_("nqchat: cannot listen for the hall on " + path_ + ": " + std::strerror(errno));
        if (listenFd_ >= 0) ::close(listenFd_);
        listenFd_ = -1;
        return Outcome::Failed;
    }
    auto* n = new QSocketNotifier(listenFd_, QSocketNotifier::Read);
    connect(n, &QSocketNotifier::activated, this, [this] { acceptOne(); });
    listenNotifier_.reset(n);
    return Outcome::Listening;
}

void HallListener::acceptOne() {
    const int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) return;
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || peer.uid != owner_) {
        complain_("nqchat: hall request refused: it comes from user " + std::to_string(peer.uid) +
                  ", not from this client's user");
        ::close(fd);
        return;
    }
    if (static_cast<int>(connections_.size()) >= kMaxConnections) {
        complain_("nqchat: hall request refused: too many hall connections at once");
        ::close(fd);
        return;
    }
    auto c = std::make_unique<Connection>();
    c->notifier = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    connect(c->notifier, &QSocketNotifier::activated, this, [this, fd] { readFrom(fd); });
    c->idle = new QTimer(this);
    c->idle->setSingleShot(true);
    connect(c->idle, &QTimer::timeout, this, [this, fd] { drop(fd); });
    c->idle->start(kIdleMs);
    connections_[fd] = std::move(c);
}

void HallListener::readFrom(int fd) {
    auto it = connections_.find(fd);
    if (it == connections_.end()) return;
    char buf[512];
    const ssize_t n = ::recv(fd, buf, sizeof buf, 0);
    if (n <= 0) {
        if (n == 0 || (errno != EAGAIN && errno != EINTR)) drop(fd);
        return;
    }
    it->second->idle->start(kIdleMs);
    std::string& pending = it->second->buffer;
    pending.append(buf, static_cast<size_t>(n));
    for (size_t lf; (lf = pending.find('\n')) != std::string::npos;) {
        const std::string line = pending.substr(0, lf);
        pending.erase(0, lf + 1);
        const HallParse parsed = parseHallRequest(line);
        if (!parsed.request) {
            complain_("nqchat: hall request refused: " + parsed.error);
            answer(fd, "refused " + parsed.error);
            continue;
        }
        answer(fd, "ok");
        // Posted, not sent: the answer is on its way before the request runs.
        QMetaObject::invokeMethod(
            this, [this, r = *parsed.request] { emit requested(r); }, Qt::QueuedConnection);
    }
    if (pending.size() > kHallMaxLine) {
        complain_("nqchat: hall request refused: line too long");
        answer(fd, "refused line too long");
        drop(fd);
    }
}

void HallListener::answer(int fd, const std::string& line) {
    const std::string text = line + "\n";
    (void)::send(fd, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void HallListener::drop(int fd) {
    auto it = connections_.find(fd);
    if (it == connections_.end()) return;
    it->second->notifier->setEnabled(false);
    it->second->idle->stop();
    // The notifier or the timer may be the caller: they go once the event loop is back.
    it->second->notifier->disconnect(this);
    it->second->idle->disconnect(this);
    it->second->notifier->deleteLater();
    it->second->idle->deleteLater();
    connections_.erase(it);
    ::close(fd);
}

}  // namespace nq
