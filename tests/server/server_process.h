#pragma once
// The real nqserver for the end-to-end tests, and a client that speaks the wire protocol to it
// over UDP one step at a time. Each test claims a loopback address of its own (support/loopback.h).

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "server/endpoint.h"
#include "support/gbk_text.h"
#include "support/loopback.h"
#include "support/temp_dir.h"
#include "wire/frame_kinds.h"
#include "wire/gbk.h"
#include "wire/packet.h"

namespace nq::test {

using namespace std::chrono_literals;

struct RunResult {
    int status = -1;
    std::string out, err;
};
RunResult runNqserver(std::vector<std::string> args);

// How the server gets its sockets: binds them itself; from nqhold, which keeps them across
// crashes; or from systemd-socket-activate, which binds the chat port first and starts the
// server at the first datagram.
enum class Launch { Direct, Held, Activated };

// `nqserver serve` on the test's address with the demo accounts in a database of its own (or
// another process's), a 1 s session time-out and the client's tick taken as 20 ms; extraArgs
// come last and so win. Started at once; its log is printed if the test has failed.
class ServerProcess {
  public:
    ServerProcess(std::string address, std::vector<std::string> extraArgs = {}, std::string sharedDb = {},
                  uint16_t chatPort = 8000, Launch launch = Launch::Direct);
    ~ServerProcess();

    void start();
    void stop();  // SIGTERM, as an operator would, and wait for the exit
    // A new server takes over (--take-over); meanwhile runs once the old one has gone.
    void restart(const std::function<void()>& meanwhile);
    // Held: SIGKILL to the server; meanwhile runs once it has gone, before nqhold starts it again.
    void crash(const std::function<void()>& meanwhile);
    // SIGKILL and no restart, as when its machine goes down: nothing is written back.
    void kill();
    RunResult admin(std::vector<std::string> args) const;  // nqserver --db <its db> args...
    std::string log() const { return readFile(logPath_); }
    server::Endpoint dispatcher() const { return {ip_, 4000}; }
    server::Endpoint chat() const { return {ip_, chatPort_}; }
    const std::string& db() const { return db_; }

  private:
    void awaitReady(size_t logFrom);

    std::vector<std::string> args_;
    TempDir folder_{"nqserver-e2e"};
    std::string db_, logPath_;
    uint32_t ip_;
    uint16_t chatPort_;
    Launch launch_;
    int pid_ = -1;
};

struct Received {
    FrameHeader header;
    std::vector<Bytes> fields;
};

// Throws when the server sends a datagram that is not exactly one frame, as every one of its
// datagrams is, or keeps silent where it should answer.
class Client {
  public:
    explicit Client(const std::string& address);  // an ephemeral port on the test's address
    ~Client();

    uint32_t session() const { return session_; }
    // Port-unreachable errors this client was told of: each one would cost the real client its
    // session for good.
    int refusals() const { return refusals_; }
    void sendRaw(const server::Endpoint& to, std::string_view bytes);
    // To the chat server of the last login, with its session and the own name in front.
    void send(FrameKind kind, std::vector<Bytes> fieldsAfterOwn = {}, uint16_t code = 0);
    Received waitFor(FrameKind kind, std::chrono::milliseconds timeout = 3s);  // skips other frames
    void expectSilence(std::chrono::milliseconds window, std::optional<FrameKind> kind = std::nullopt);
    // The chat server the dispatcher names, as "host:port".
    std::string askDispatcher(const server::Endpoint& dispatcher, const std::string& name);
    Received login(const server::Endpoint& chat, const std::string& name,
                   const std::string& password = "123456");
    // Login, the rosters and (2,6); returns the last friend roster.
    Received enter(const server::Endpoint& chat, const std::string& name);

  private:
    std::optional<Received> next(std::chrono::steady_clock::time_point deadline);
    void sendFrame(const server::Endpoint& to, FrameKind kind, uint16_t code, uint32_t session,
                   const Bytes& body);

    int fd_ = -1;
    server::Endpoint chat_;
    uint32_t session_ = 0;
    std::string name_;
    uint16_t seq_ = 0;
    int refusals_ = 0;
};

}  // namespace nq::test
