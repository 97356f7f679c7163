#pragma once
// Runs the real nqserver for a test: its own database in a fresh folder, the loopback address
// the test claimed, short time-outs, and its log in a file that a failing test prints.

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "server/endpoint.h"
#include "support/temp_dir.h"

namespace nq::test {

std::string nqserverPath();

struct AdminResult {
    int status = -1;
    std::string out;
    std::string err;
};

class ServerProcess {
  public:
    // address: claimed by the test (see support/loopback.h). extraArgs go after the defaults
    // and so win.
    // sharedDb: another process's database, for servers that work together; a fresh one if empty.
    explicit ServerProcess(std::string address, std::vector<std::string> extraArgs = {},
                           std::string sharedDb = {});
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    void start();
    void stop();  // SIGTERM, as an operator would, and wait for the exit
    void restart() {
        stop();
        start();
    }
    bool running() const { return pid_ > 0; }

    // nqserver --db <this db> args...
    AdminResult admin(const std::vector<std::string>& args) const;
    void demo() const;

    server::Endpoint dispatcher() const;
    server::Endpoint chat() const;
    const std::string& address() const { return address_; }
    const std::string& db() const { return db_; }
    std::string log() const;

    // Defaults that keep tests short: a session ends after 1 s of silence; the client's tick is
    // taken as 20 ms.
    static constexpr double kSessionTimeout = 1.0;
    static constexpr double kPaceTickMs = 20;

  private:
    std::string address_;
    std::vector<std::string> extraArgs_;
    TempDir folder_{"nqserver-e2e"};
    std::string db_;
    std::string logPath_;
    pid_t pid_ = -1;
    uint16_t chatPort_ = 8000;
};

// Runs nqserver with args and collects its exit status and output.
AdminResult runNqserver(const std::vector<std::string>& args);

}  // namespace nq::test
