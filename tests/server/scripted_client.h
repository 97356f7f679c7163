#pragma once
// A client that speaks the wire protocol over real UDP, one step at a time, for the end-to-end
// tests against the nqserver process. It reads each datagram as frames one behind the other, as
// the client does, and fails loudly (by exception) when the server says something unexpected.

#include <chrono>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "server/endpoint.h"
#include "wire/frame_kinds.h"
#include "wire/gbk.h"
#include "wire/packet.h"

namespace nq::test {

using namespace std::chrono_literals;
using Millis = std::chrono::milliseconds;

struct Received {
    FrameHeader header;
    std::vector<Bytes> fields;  // the NUL-closed fields of the body
    FrameKind kind() const { return {header.type, header.sub}; }
};

class ScriptedClient {
  public:
    // Binds an ephemeral port on address, the loopback address of the test.
    explicit ScriptedClient(const std::string& address);
    ~ScriptedClient();
    ScriptedClient(const ScriptedClient&) = delete;
    ScriptedClient& operator=(const ScriptedClient&) = delete;

    uint32_t session() const { return session_; }

    void sendRaw(const server::Endpoint& to, std::string_view bytes);
    // A frame to the chat server of the last login, with its session and the own name in front.
    void send(FrameKind kind, uint16_t code = 0, std::vector<Bytes> fieldsAfterOwn = {});
    void keepAlive() { send(kind::kKeepAlive); }

    std::optional<Received> next(Millis timeout = 2s);
    // Skips frames until one of this kind comes.
    Received waitFor(FrameKind kind, Millis timeout = 3s);
    // Fails if any frame (of this kind, when given) arrives within the window.
    void expectSilence(Millis window, std::optional<FrameKind> kind = std::nullopt);

    // Through the dispatcher: its (1,1) reply, whatever the code.
    Received askDispatcher(const server::Endpoint& dispatcher, const std::string& name,
                           const std::string& password = "123456");
    // Logs in at the chat server; on success remembers the session. Returns the reply.
    Received loginChat(const server::Endpoint& chat, const std::string& name,
                       const std::string& password = "123456");
    // Login, then the rosters and (2,6). Returns the frames up to the online roster.
    std::vector<Received> enter(const server::Endpoint& chat, const std::string& name);

  private:
    void sendFrame(const server::Endpoint& to, FrameKind kind, uint16_t code, uint32_t session,
                   const Bytes& body);

    int fd_ = -1;
    server::Endpoint chat_;
    uint32_t session_ = 0;
    std::string name_;
    uint16_t seq_ = 0;
    std::deque<Received> pending_;
};

std::string describe(FrameKind kind);
inline Bytes g(std::string_view utf8) {
    return gbk::fromUtf8(utf8);
}

}  // namespace nq::test
