#pragma once
// The running client's end of the hall socket: listens on the path of its program folder, takes
// request lines from connections of the same user, answers each with one line and hands the
// request on through `requested`, after the answer, from the event loop, the way a posted window
// message arrives: a box that the request opens never holds the hall waiting for its answer.
//
// A request that is malformed, names no known message, or comes from another user is refused
// with one line through the complaint sink (stderr in the program) and changes nothing.

#include <QObject>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "desktop/hall_socket.h"

namespace nq {

class HallListener : public QObject {
    Q_OBJECT
  public:
    using Complaint = std::function<void(const std::string& line)>;
    // At most this many connections at once; a further one is closed at once.
    static constexpr int kMaxConnections = 8;
    // A connection that sends no complete line for this long is closed.
    static constexpr int kIdleMs = 5000;

    // owner: the only user whose requests count (this process's user in the program).
    HallListener(std::string socketPath, unsigned owner, Complaint complain, QObject* parent = nullptr);
    ~HallListener() override;

    enum class Outcome { Listening, AlreadyRunning, Failed };
    // Binds the socket (mode 0600) in its folder, which must be private already. A socket file
    // that nobody answers on is a leftover of a crash and is replaced; one that answers belongs
    // to a client running for the same program folder.
    Outcome listen();
    [[nodiscard]] const std::string& path() const { return path_; }

  signals:
    void requested(const nq::HallRequest& request);

  private:
    struct Connection;
    void acceptOne();
    void readFrom(int fd);
    void drop(int fd);
    void answer(int fd, const std::string& line);

    std::string path_;
    unsigned owner_;
    Complaint complain_;
    int listenFd_ = -1;
    std::unique_ptr<QObject> listenNotifier_;
    std::map<int, std::unique_ptr<Connection>> connections_;
};

}  // namespace nq

Q_DECLARE_METATYPE(nq::HallRequest)
