#pragma once
// A UDP peer: IPv4 address and port. A client is known by its endpoint: its receive ring, its
// sessions and its pacing all hang off it.

#include <netinet/in.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace nq::server {

struct Endpoint {
    uint32_t address = 0;  // host byte order
    uint16_t port = 0;

    bool operator==(const Endpoint&) const = default;

    sockaddr_in toSockaddr() const;
    static Endpoint fromSockaddr(const sockaddr_in& sa);
    std::string toString() const;  // "127.0.0.1:4000"
};

// Parses a dotted IPv4 address; "localhost" is taken as 127.0.0.1. No name lookups: a server
// that names hosts would hang start-up on a slow resolver.
std::optional<uint32_t> parseIpv4(std::string_view text);
std::string formatIpv4(uint32_t address);

struct EndpointHash {
    size_t operator()(const Endpoint& e) const noexcept {
        return std::hash<uint64_t>()(static_cast<uint64_t>(e.address) << 16 | e.port);
    }
};

}  // namespace nq::server
