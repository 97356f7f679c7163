#pragma once
// A client that speaks the wire protocol over real UDP, one step at a time, for end-to-end
// tests against nqserver. It reads each datagram as frames one behind the other, as the client
// does, and fails loudly (by exception) when the server says something unexpected.

#include <chrono>
#include <deque>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "server/endpoint.h"
#include "wire/gbk.h"
#include "wire/packet.h"

namespace nq::test {

using namespace std::chrono_literals;
using Millis = std::chrono::milliseconds;

struct Received {
    FrameHeader header;
    Bytes body;
    std::vector<Bytes> fields;  // the NUL-closed fields of the body
    std::chrono::steady_clock::time_point at;

    std::string kind() const;  // "(3,4) code 1"
};

class ScriptedClient {
  public:
    // Binds an ephemeral port on address (127.0.0.N of the test).
    explicit ScriptedClient(const std::string& address);
    ~ScriptedClient();
    ScriptedClient(const ScriptedClient&) = delete;
    ScriptedClient& operator=(const ScriptedClient&) = delete;

    server::Endpoint local() const { return local_; }
    uint32_t session() const { return session_; }
    const std::string& name() const { return name_; }

    void sendRaw(const server::Endpoint& to, std::string_view bytes);
    void sendFrame(const server::Endpoint& to, uint16_t type, uint16_t sub, uint16_t code, uint32_t session,
                   const Bytes& body);
    // A frame to the chat server of the last login, with its session and the own name in front.
    void send(uint16_t type, uint16_t sub, uint16_t code,
              std::initializer_list<std::string_view> fieldsAfterOwn);
    void keepAlive() { send(9, 0, 0, {}); }

    std::optional<Received> next(Millis timeout = 2s);
    // The next frame, which must be of this kind.
    Received expect(uint16_t type, uint16_t sub, Millis timeout = 2s);
    // Skips frames until one of this kind comes.
    Received waitFor(uint16_t type, uint16_t sub, Millis timeout = 3s);
    // Fails if any frame (of this kind, when given) arrives within the window.
    void expectSilence(Millis window, std::optional<std::pair<uint16_t, uint16_t>> kind = std::nullopt);

    // Through the dispatcher: the (1,1) reply from port 4000, whatever its code.
    Received askDispatcher(const server::Endpoint& dispatcher, const std::string& name,
                           const std::string& password, uint16_t versionCode = 256);
    // Logs in at the chat server; on success remembers the session. Returns the reply.
    Received loginChat(const server::Endpoint& chat, const std::string& name,
                       const std::string& password = "123456");
    // Login, then the roster exchange up to and including (2,6). Returns the frames before (2,6).
    std::vector<Received> enter(const server::Endpoint& chat, const std::string& name,
                                const std::string& password = "123456");

  private:
    int fd_ = -1;
    server::Endpoint local_;
    server::Endpoint chat_;
    uint32_t session_ = 0;
    std::string name_;
    uint16_t seq_ = 0;
    std::deque<Received> pending_;
};

// hex(MD5(hex(MD5(password)))), as the client sends it.
std::string wireDigest(const std::string& password);
// Joins fields, each closed by a NUL; the texts are UTF-8 and go out in GBK.
Bytes gbkFields(std::initializer_list<std::string_view> utf8Fields);
inline Bytes g(std::string_view utf8) {
    return gbk::fromUtf8(utf8);
}

}  // namespace nq::test
