#pragma once
// The chat service and the dispatcher in-process on a hand-driven clock: datagrams in, frames
// out, no sockets and no sleeps, so that a minute's time-out runs in milliseconds. One database
// in a fresh folder with the demo accounts and their group. Client n sits at 127.0.0.1:7000+n;
// the demo accounts' own clients are 1 to 5.

#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "server/chat_service.h"
#include "server/dispatcher_service.h"
#include "server/sqlite_store.h"
#include "support/temp_dir.h"
#include "wire/fields.h"
#include "wire/frame_kinds.h"

namespace nq::server {

using namespace std::chrono_literals;

inline Bytes g(std::string_view utf8) {
    return gbk::fromUtf8(utf8);
}
std::vector<Bytes> gs(std::initializer_list<std::string_view> utf8);

struct Got {
    FrameHeader header;
    Bytes body;
    Time at;
    FrameKind kind() const { return {header.type, header.sub}; }
    std::vector<Bytes> fields() const;
};
std::vector<uint16_t> codesOf(const std::vector<Got>& frames);

class ChatTest : public ::testing::Test {
  protected:
    ChatTest();
    ~ChatTest() override;
    void TearDown() override;

    ChatService& chat();              // made on first use with config_
    void stop();                      // a graceful stop
    void start();                     // a fresh service that takes up what the stop kept
    void crash() { chat_.reset(); }
    DispatcherService& dispatcher();  // made on first use, naming targets_
    SqliteStore& store() { return store_; }
    std::string dbPath() const { return dir_.file("chat.db"); }
    int64_t wall() const;  // the services' wall clock, in seconds, running with now_

    static Endpoint client(int n) { return {0x7F000001, static_cast<uint16_t>(7000 + n)}; }
    const Endpoint alice = client(1), bob = client(2), carol = client(3), dave = client(4), erin = client(5);
    void raw(const Endpoint& from, std::string_view bytes);
    void rawToDispatcher(const Endpoint& from, std::string_view bytes);
    void frame(const Endpoint& from, FrameKind kind, uint16_t code, uint32_t session, const Bytes& body);
    // A frame of the client's session, its account in front.
    void say(const Endpoint& from, FrameKind kind, uint16_t code = 0, std::vector<Bytes> fields = {});
    // The (1,1) that answered a login at the chat server, or at the dispatcher; nothing when
    // the server kept silent.
    std::optional<Got> tryLogin(const Endpoint& from, const char* name, const char* password = "123456");
    std::optional<Got> tryDispatcher(const Endpoint& from, const char* name, const char* password = "123456",
                                     uint16_t version = 256 + 2);
    Got login(const Endpoint& from, const char* name, const char* password = "123456");
    Got askDispatcher(const Endpoint& from, const char* name, const char* password = "123456",
                      uint16_t version = 256 + 2);
    uint32_t enter(const Endpoint& from, const char* name);  // login, the rosters and (2,6)

    void advance(Duration d, Duration step = 10ms);
    std::vector<Got>& inbox(const Endpoint& e) { return inbox_[e.port]; }
    std::vector<Got> framesOf(const Endpoint& e, FrameKind kind, size_t from = 0);
    uint32_t session(const Endpoint& e) { return sessions_[e.port]; }
    const std::string& logText() const { return logText_; }

    ChatConfig config_;  // the real defaults: 60 s time-out, 500 ms tick
    std::vector<ChatTarget> targets_ = {{"", 8000}};
    Time now_ = Time() + 1h;

  private:
    void collect(std::vector<Datagram>& out);

    nq::test::TempDir dir_{"nqserver-chat"};
    SqliteStore store_{dir_.file("chat.db")};
    Logger log_;
    std::string logText_;
    const int64_t wallStart_;
    std::unique_ptr<ChatService> chat_;
    std::unique_ptr<DispatcherService> dispatcher_;
    std::map<uint16_t, std::vector<Got>> inbox_;
    std::map<uint16_t, uint32_t> sessions_;
    std::map<uint16_t, Bytes> accountOf_;
};

}  // namespace nq::server
