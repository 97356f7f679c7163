#include "scripted_client.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

#include "wire/digest.h"
#include "wire/fields.h"

namespace nq::test {

std::string describe(FrameKind kind) {
    return "(" + std::to_string(kind.type) + "," + std::to_string(kind.sub) + ")";
}

ScriptedClient::ScriptedClient(const std::string& address) {
    fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_in sa = server::Endpoint{*server::parseIpv4(address), 0}.toSockaddr();
    if (fd_ < 0 || ::bind(fd_, reinterpret_cast<const sockaddr*>(&sa), sizeof sa) != 0)
        throw std::runtime_error("cannot bind a client socket on " + address);
}

ScriptedClient::~ScriptedClient() {
    if (fd_ >= 0) ::close(fd_);
}

void ScriptedClient::sendRaw(const server::Endpoint& to, std::string_view bytes) {
    const sockaddr_in sa = to.toSockaddr();
    ::sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&sa), sizeof sa);
}

void ScriptedClient::sendFrame(const server::Endpoint& to, FrameKind kind, uint16_t code, uint32_t session,
                               const Bytes& body) {
    seq_ = seq_ >= kSeqWrap - 1 ? 1 : seq_ + 1;
    sendRaw(to, encodeFrame({seq_, kind.type, kind.sub, session, code}, body));
}

void ScriptedClient::send(FrameKind kind, uint16_t code, std::vector<Bytes> fieldsAfterOwn) {
    Bytes body;
    appendField(body, name_);
    for (const Bytes& f : fieldsAfterOwn) appendField(body, f);
    sendFrame(chat_, kind, code, session_, body);
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
        std::string_view data(buf, static_cast<size_t>(std::max<ssize_t>(n, 0)));
        while (!data.empty()) {
            auto f = decodeFrame(data);
            if (!f || f->len > kMaxFrame) throw std::runtime_error("the server sent bytes that are no frame");
            Received r{f->header, {}};
            FieldReader fields(f->body);
            while (auto field = fields.next()) r.fields.emplace_back(*field);
            pending_.push_back(std::move(r));
            data.remove_prefix(f->len);
        }
    }
    Received r = std::move(pending_.front());
    pending_.pop_front();
    return r;
}

Received ScriptedClient::waitFor(FrameKind kind, Millis timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        const auto left = std::chrono::duration_cast<Millis>(deadline - std::chrono::steady_clock::now());
        auto r = next(std::max(left, Millis(0)));
        if (!r) throw std::runtime_error("waited in vain for " + describe(kind));
        if (r->kind() == kind) return *r;
    }
}

void ScriptedClient::expectSilence(Millis window, std::optional<FrameKind> kind) {
    const auto deadline = std::chrono::steady_clock::now() + window;
    for (;;) {
        const auto left = std::chrono::duration_cast<Millis>(deadline - std::chrono::steady_clock::now());
        auto r = left.count() > 0 ? next(left) : std::nullopt;
        if (!r) return;
        if (!kind || r->kind() == *kind)
            throw std::runtime_error("expected silence but got " + describe(r->kind()));
    }
}

Received ScriptedClient::askDispatcher(const server::Endpoint& dispatcher, const std::string& name,
                                       const std::string& password) {
    sendFrame(dispatcher, kind::kLogin, 256, 0, joinFields({name, *passwordDigest(password)}));
    return waitFor(kind::kLogin);
}

Received ScriptedClient::loginChat(const server::Endpoint& chat, const std::string& name,
                                   const std::string& password) {
    chat_ = chat;
    sendFrame(chat, kind::kLogin, 0, 0, joinFields({name, *passwordDigest(password)}));
    Received r = waitFor(kind::kLogin);
    if (r.header.code == code::kLoginAccepted) {
        session_ = r.header.session;
        name_ = name;
    }
    return r;
}

std::vector<Received> ScriptedClient::enter(const server::Endpoint& chat, const std::string& name) {
    if (loginChat(chat, name).header.code != code::kLoginAccepted)
        throw std::runtime_error("login of " + name + " refused");
    send(kind::kFriendRoster);
    std::vector<Received> frames;
    bool friends = false;
    do {
        auto r = next();
        if (!r) throw std::runtime_error("the rosters of " + name + " did not end in the group roster");
        friends |= r->kind() == kind::kFriendRoster && r->header.code == code::kRosterList;
        frames.push_back(std::move(*r));
    } while (frames.back().kind() != kind::kGroupRoster);
    // The online roster follows the group roster whenever there are friends.
    if (friends) frames.push_back(waitFor(kind::kFriendRoster));
    send(kind::kAfterRosters);
    return frames;
}

}  // namespace nq::test
