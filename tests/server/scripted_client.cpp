#include "scripted_client.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "wire/digest.h"
#include "wire/fields.h"

namespace nq::test {

std::string Received::kind() const {
    return "(" + std::to_string(header.type) + "," + std::to_string(header.sub) + ") code " +
           std::to_string(header.code);
}

std::string wireDigest(const std::string& password) {
    return *passwordDigest(password);
}

Bytes gbkFields(std::initializer_list<std::string_view> utf8Fields) {
    Bytes body;
    for (auto f : utf8Fields) appendField(body, gbk::fromUtf8(f));
    return body;
}

ScriptedClient::ScriptedClient(const std::string& address) {
    fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_in sa = server::Endpoint{*server::parseIpv4(address), 0}.toSockaddr();
    if (fd_ < 0 || ::bind(fd_, reinterpret_cast<const sockaddr*>(&sa), sizeof sa) != 0)
        throw std::runtime_error("cannot bind a client socket on " + address);
    sockaddr_in bound{};
    socklen_t len = sizeof bound;
    getsockname(fd_, reinterpret_cast<sockaddr*>(&bound), &len);
    local_ = server::Endpoint::fromSockaddr(bound);
}

ScriptedClient::~ScriptedClient() {
    if (fd_ >= 0) ::close(fd_);
}

void ScriptedClient::sendRaw(const server::Endpoint& to, std::string_view bytes) {
    const sockaddr_in sa = to.toSockaddr();
    ::sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&sa), sizeof sa);
}

void ScriptedClient::sendFrame(const server::Endpoint& to, uint16_t type, uint16_t sub, uint16_t code,
                               uint32_t session, const Bytes& body) {
    seq_ = seq_ >= 5999 ? 1 : seq_ + 1;
    sendRaw(to, encodeFrame({seq_, type, sub, session, code}, body));
}

void ScriptedClient::send(uint16_t type, uint16_t sub, uint16_t code,
                          std::initializer_list<std::string_view> fieldsAfterOwn) {
    Bytes body;
    appendField(body, name_);
    for (auto f : fieldsAfterOwn) appendField(body, f);
    sendFrame(chat_, type, sub, code, session_, body);
}

std::optional<Received> ScriptedClient::next(Millis timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (pending_.empty()) {
        const auto left =
            std::chrono::duration_cast<Millis>(deadline - std::chrono::steady_clock::now()).count();
        if (left <= 0) return std::nullopt;
        pollfd p{fd_, POLLIN, 0};
        if (::poll(&p, 1, static_cast<int>(left)) <= 0) continue;
        char buf[65536];
        const ssize_t n = ::recv(fd_, buf, sizeof buf, 0);
        if (n <= 0) continue;
        const auto now = std::chrono::steady_clock::now();
        std::string_view data(buf, static_cast<size_t>(n));
        while (!data.empty()) {
            auto f = decodeFrame(data);
            if (!f) throw std::runtime_error("the server sent bytes that are no frame");
            if (f->len > kMaxFrame)
                throw std::runtime_error("the server sent a frame of " + std::to_string(f->len) + " bytes");
            Received r{f->header, Bytes(f->body), {}, now};
            FieldReader fields(r.body);
            while (auto field = fields.next()) r.fields.emplace_back(*field);
            pending_.push_back(std::move(r));
            data.remove_prefix(f->len);
        }
    }
    Received r = std::move(pending_.front());
    pending_.pop_front();
    return r;
}

Received ScriptedClient::expect(uint16_t type, uint16_t sub, Millis timeout) {
    auto r = next(timeout);
    if (!r)
        throw std::runtime_error("expected (" + std::to_string(type) + "," + std::to_string(sub) +
                                 ") but nothing came");
    if (r->header.type != type || r->header.sub != sub)
        throw std::runtime_error("expected (" + std::to_string(type) + "," + std::to_string(sub) +
                                 ") but got " + r->kind());
    return *r;
}

Received ScriptedClient::waitFor(uint16_t type, uint16_t sub, Millis timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        const auto left = std::chrono::duration_cast<Millis>(deadline - std::chrono::steady_clock::now());
        auto r = next(std::max(left, Millis(0)));
        if (!r)
            throw std::runtime_error("waited in vain for (" + std::to_string(type) + "," +
                                     std::to_string(sub) + ")");
        if (r->header.type == type && r->header.sub == sub) return *r;
    }
}

void ScriptedClient::expectSilence(Millis window, std::optional<std::pair<uint16_t, uint16_t>> kind) {
    const auto deadline = std::chrono::steady_clock::now() + window;
    for (;;) {
        const auto left = std::chrono::duration_cast<Millis>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return;
        auto r = next(left);
        if (!r) return;
        if (!kind || (r->header.type == kind->first && r->header.sub == kind->second))
            throw std::runtime_error("expected silence but got " + r->kind());
    }
}

Received ScriptedClient::askDispatcher(const server::Endpoint& dispatcher, const std::string& name,
                                       const std::string& password, uint16_t versionCode) {
    sendFrame(dispatcher, 1, 1, versionCode, 0, joinFields({name, wireDigest(password)}));
    return expect(1, 1);
}

Received ScriptedClient::loginChat(const server::Endpoint& chat, const std::string& name,
                                   const std::string& password) {
    chat_ = chat;
    sendFrame(chat, 1, 1, 0, 0, joinFields({name, wireDigest(password)}));
    Received r = waitFor(1, 1);
    if (r.header.code == 1) {
        session_ = r.header.session;
        name_ = name;
    }
    return r;
}

std::vector<Received> ScriptedClient::enter(const server::Endpoint& chat, const std::string& name,
                                            const std::string& password) {
    const Received login = loginChat(chat, name, password);
    if (login.header.code != 1) throw std::runtime_error("login of " + name + " refused: " + login.kind());
    send(3, 4, 0, {});
    std::vector<Received> frames;
    bool friends = false;
    for (;;) {
        auto r = next();
        if (!r) throw std::runtime_error("the rosters of " + name + " did not end in (3,5)");
        friends |= r->header.type == 3 && r->header.sub == 4 && r->header.code == 1;
        const bool groupRoster = r->header.type == 3 && r->header.sub == 5;
        frames.push_back(std::move(*r));
        if (groupRoster) break;
    }
    // The online roster follows the group roster whenever there are friends.
    if (friends) frames.push_back(waitFor(3, 4));
    send(2, 6, 0, {});
    return frames;
}

}  // namespace nq::test
