#pragma once
// Where the serving process's UDP sockets come from, in this order: inherited from a parent that
// keeps them open across restarts and crashes (a systemd socket unit, or nqhold), by systemd's
// LISTEN_FDS protocol and matched to the roles by their port; handed over by the server this one
// replaces (--take-over, see handover.h); or bound here.

#include <memory>

#include "server/cli.h"
#include "server/log.h"
#include "server/udp_socket.h"

namespace nq::server {

struct ServerSockets {
    std::unique_ptr<UdpSocket> dispatcher;  // null when the role is not served
    std::unique_ptr<UdpSocket> chat;
    // A parent holds them: it bridges restarts, so this process offers no hand-over.
    bool inherited = false;
};

// Throws UsageError naming an inherited socket that fits no role (the ports given do not match
// the parent's), and std::runtime_error when a socket can be neither had nor bound.
ServerSockets acquireSockets(const ServeOptions& o, Logger& log);

}  // namespace nq::server
