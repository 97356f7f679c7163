#include "load_flood.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "load_servers.h"
#include "server/endpoint.h"
#include "wire/digest.h"
#include "wire/fields.h"
#include "wire/packet.h"

namespace nq::bench {
namespace {

constexpr const char* kFloodAddress = "127.0.9.1";

}  // namespace

LoadFlood::LoadFlood(const LoadOptions& options, const sockaddr_in& server, uint16_t dispatcherPort)
    : o_(options), server_(server), dispatcher_(server) {
    dispatcher_.sin_port = htons(dispatcherPort);
}

LoadFlood::~LoadFlood() {
    stop();
    if (fd_ >= 0) close(fd_);
}

void LoadFlood::prepare() {
    if (o_.flood == Flood::None) return;
    fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_in local = server::Endpoint{*server::parseIpv4(kFloodAddress), 0}.toSockaddr();
    if (fd_ < 0 || bind(fd_, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0)
        throw std::runtime_error(std::string("cannot open the flooder's socket: ") + std::strerror(errno));
    if (o_.flood == Flood::BadLogin) return;
    const timeval wait{2, 0};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
    const Bytes login = encodeFrame({1, 1, 1, 0, 0}, joinFields({kFlooder, *passwordDigest("123456")}));
    sendto(fd_, login.data(), login.size(), 0, reinterpret_cast<const sockaddr*>(&server_), sizeof server_);
    char buf[2048];
    for (ssize_t got; (got = recv(fd_, buf, sizeof buf, 0)) > 0;) {
        auto f = decodeFrame(std::string_view(buf, static_cast<size_t>(got)));
        if (f && f->header.type == 1 && f->header.sub == 1 && f->header.code == 1) {
            session_ = f->header.session;
            return;
        }
    }
    throw std::runtime_error("the flooder could not log in");
}

void LoadFlood::start() {
    if (o_.flood == Flood::None || thread_.joinable()) return;
    stop_ = false;
    thread_ = std::thread([this] { run(); });
}

void LoadFlood::stop() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
}

// Sends the flood as fast as one thread can, until told to stop; at most kMaxDatagrams.
void LoadFlood::run() {
    constexpr int64_t kMaxDatagrams = 100'000'000;
    pinTo(0, 0);
    std::vector<std::pair<Bytes, sockaddr_in>> datagrams;
    uint16_t seq = 0;
    auto add = [&](Bytes& d, uint16_t type, uint16_t sub, uint32_t session, const Bytes& body) {
        seq = seq >= 5999 ? 1 : seq + 1;
        encodeFrame({seq, type, sub, session, 0}, body, d);
    };
    if (o_.flood == Flood::BadLogin) {
        for (const sockaddr_in& to : {server_, dispatcher_}) {
            Bytes d;
            for (int i = 0; d.size() < 8000 - 80; ++i)
                add(d, 1, 1, 0, joinFields({"nobody" + std::to_string(i), std::string(32, 'f')}));
            datagrams.emplace_back(std::move(d), to);
        }
    } else if (o_.flood == Flood::KeepAlive) {
        Bytes d;
        for (int i = 0; i < 290; ++i) add(d, 9, 0, session_, joinFields({kFlooder}));
        datagrams.emplace_back(std::move(d), server_);
    } else {
        Bytes d;
        Bytes body = joinFields({kFlooder, kFaraway});
        body += "SimSun/10/0/12:00:00/" + std::string(200, 'x');
        body.push_back('\0');
        for (int i = 0; i < 2; ++i) add(d, 2, 1, session_, body);
        datagrams.emplace_back(std::move(d), server_);
    }
    const auto start = std::chrono::steady_clock::now();
    for (int64_t i = 0; i < kMaxDatagrams && !stop_.load(std::memory_order_relaxed); ++i) {
        if (o_.floodRate > 0 && i % 100 == 0)
            std::this_thread::sleep_until(start + std::chrono::microseconds(i * 1'000'000 / o_.floodRate));
        const auto& [d, to] = datagrams[static_cast<size_t>(i) % datagrams.size()];
        if (sendto(fd_, d.data(), d.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to) > 0)
            ++sent_;
    }
}

}  // namespace nq::bench
