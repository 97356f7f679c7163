#pragma once
// A restart that never closes a port: the new server (started with --take-over) asks the running
// one for its UDP sockets over a Unix socket, as SCM_RIGHTS. The running one stops reading,
// leaves its sessions in the store and passes the sockets on; datagrams that come meanwhile wait
// in the sockets' own queues, and no client ever meets a closed port. The two meet at an abstract
// Unix socket named after the address and ports they serve; each end checks that the other runs
// as the same user.

#include <optional>
#include <string>

#include "server/cli.h"
#include "server/log.h"

namespace nq::server {

struct HandedSockets {
    int dispatcher = -1;
    int chat = -1;
    int fromPid = 0;  // the server that handed them over
};

// What the running server listens at and the new one asks at: the same serving options give
// the same name.
std::string handoverName(const ServeOptions& o);

// The running server's end.
class HandoverPoint {
  public:
    // Throws std::runtime_error when it cannot listen (another process holds the name).
    explicit HandoverPoint(const std::string& name);
    ~HandoverPoint();
    HandoverPoint(const HandoverPoint&) = delete;
    HandoverPoint& operator=(const HandoverPoint&) = delete;

    int fd() const { return fd_; }
    // The connection of a new server of the same user that asks for the sockets, or -1.
    int accept(Logger& log);
    // Passes the sockets (-1 for a role not served) over conn, and closes conn.
    static void hand(int conn, int dispatcher, int chat, Logger& log);

  private:
    int fd_ = -1;
};

// Asks the server listening at name for its sockets and waits for them while it stops. Nothing
// when no server listens there; std::runtime_error when one does but hands nothing over.
std::optional<HandedSockets> askForSockets(const std::string& name, Logger& log);

}  // namespace nq::server
