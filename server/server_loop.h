#pragma once
// The serving process: binds the sockets of the roles asked for, runs the services on one
// thread with epoll until SIGINT or SIGTERM, and then lets the chat service put what it still
// held back into the store.

#include <string>

#include "server/cli.h"
#include "server/log.h"

namespace nq::server {

// Returns the process's exit status. Throws std::runtime_error when a socket cannot be bound
// and StoreError when the database cannot be used.
int serve(const ServeOptions& options, const std::string& dbPath, Logger& log);

}  // namespace nq::server
