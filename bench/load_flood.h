#pragma once
// A flood through the measured window, from a thread of its own at 127.0.9.1, as fast as it can
// send (or at a given rate): bad logins (datagrams full of login frames for unknown accounts, to
// the chat server and the dispatcher in turn), keep-alives (a logged-in session, 290 (9,0) frames
// a datagram) or offline messages (a logged-in session messaging an account that never logs in).
// The other clients' keep-alive round trip, the server's peak memory and its log's growth show
// what the flood cost them.

#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <thread>

#include "load_options.h"

namespace nq::bench {

class LoadFlood {
  public:
    // The flooder's account is short so that 290 keep-alives fit one 8 KB datagram.
    static constexpr const char* kFlooder = "fl";
    static constexpr const char* kFaraway = "faraway";  // never logs in: every message to it waits

    // server: the chat server; its dispatcher listens on the same address at dispatcherPort.
    LoadFlood(const LoadOptions& options, const sockaddr_in& server, uint16_t dispatcherPort);
    ~LoadFlood();
    LoadFlood(const LoadFlood&) = delete;
    LoadFlood& operator=(const LoadFlood&) = delete;

    // Opens the flooder's socket and logs its session in when the flood needs one; throws
    // std::runtime_error when it cannot.
    void prepare();
    void start();
    void stop();
    int64_t sent() const { return sent_.load(); }

  private:
    void run();

    const LoadOptions& o_;
    sockaddr_in server_{};
    sockaddr_in dispatcher_{};
    int fd_ = -1;
    uint32_t session_ = 0;
    std::atomic<bool> stop_{false};
    std::atomic<int64_t> sent_{0};
    std::thread thread_;
};

}  // namespace nq::bench
