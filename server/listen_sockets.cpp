#include "server/listen_sockets.h"

#include <systemd/sd-daemon.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "server/handover.h"

namespace nq::server {
namespace {

// The sockets a parent passed, each to the role whose port it is bound to: a systemd socket unit
// names all its sockets alike, and the order of its ListenDatagram= lines is easy to get wrong.
bool takeInherited(const ServeOptions& o, ServerSockets& s) {
    const int n = sd_listen_fds(1);  // 1: our own children inherit none of it
    if (n < 0)
        throw std::runtime_error(std::string("cannot read the inherited sockets: ") + std::strerror(-n));
    for (int fd = SD_LISTEN_FDS_START; fd < SD_LISTEN_FDS_START + n; ++fd) {
        auto socket = std::make_unique<UdpSocket>(fd);
        const uint16_t port = socket->local().port;
        std::unique_ptr<UdpSocket>* slot = nullptr;
        if (o.role != Role::Chat && port == o.dispatcherPort)
            slot = &s.dispatcher;
        else if (o.role != Role::Dispatcher && port == o.chatPort)
            slot = &s.chat;
        const std::string what = "inherited socket " + socket->local().toString();
        const std::string dispatcher = "the dispatcher port " + std::to_string(o.dispatcherPort);
        const std::string chat = "the chat port " + std::to_string(o.chatPort);
        // A socket unit made for both roles, handed to a server of one, is the likely mistake.
        if (!slot && o.role == Role::Both)
            throw UsageError(what + " is not for " + dispatcher + " or " + chat + " that this server serves");
        if (!slot)
            throw UsageError(what + " is not for " + (o.role == Role::Chat ? chat : dispatcher) +
                             ", the only port a server with --role " +
                             (o.role == Role::Chat ? "chat" : "dispatcher") +
                             " serves: leave the other out of the socket unit");
        if (*slot)
            throw UsageError(what + " is a second socket for " + (slot == &s.chat ? chat : dispatcher));
        *slot = std::move(socket);
    }
    return n > 0;
}

void takeHandedOver(const ServeOptions& o, const HandedSockets& h, ServerSockets& s) {
    for (auto [fd, port, slot] : {std::tuple{h.dispatcher, o.dispatcherPort, &s.dispatcher},
                                  std::tuple{h.chat, o.chatPort, &s.chat}}) {
        if (fd < 0) continue;
        *slot = std::make_unique<UdpSocket>(fd);
        if ((*slot)->local().port != port)
            throw std::runtime_error("nqserver pid " + std::to_string(h.fromPid) + " handed over " +
                                     (*slot)->local().toString() + " where port " + std::to_string(port) +
                                     " was due");
    }
}

}  // namespace

ServerSockets acquireSockets(const ServeOptions& o, Logger& log) {
    ServerSockets s;
    s.inherited = takeInherited(o, s);
    if (!s.inherited && o.takeOver) {
        if (auto handed = askForSockets(handoverName(o), log))
            takeHandedOver(o, *handed, s);
        else
            NQ_LOG(log, Info, "no nqserver serves these ports to take over from; binding them");
    }
    const uint32_t address = *parseIpv4(o.address);
    for (auto [wanted, port, slot, role] :
         {std::tuple{o.role != Role::Chat, o.dispatcherPort, &s.dispatcher, "dispatcher"},
          std::tuple{o.role != Role::Dispatcher, o.chatPort, &s.chat, "chat"}}) {
        if (!wanted || *slot) continue;
        if (s.inherited)
            NQ_LOG(log, Warn,
                   "the %s port %u is not among the inherited sockets; bound here, a restart closes it", role,
                   port);
        try {
            *slot = std::make_unique<UdpSocket>(address, port);
        } catch (const std::runtime_error& e) {
            if (errno != EADDRINUSE) throw;
            throw std::runtime_error(std::string(e.what()) +
                                     (o.takeOver
                                          ? " (the server there offers no hand-over: restart it through "
                                            "whatever holds its sockets)"
                                          : " (--take-over replaces a running nqserver)"));
        }
    }
    return s;
}

}  // namespace nq::server
