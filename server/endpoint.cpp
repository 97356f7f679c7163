#include "server/endpoint.h"

#include <arpa/inet.h>

#include <cstring>

namespace nq::server {

sockaddr_in Endpoint::toSockaddr() const {
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    sa.sin_addr.s_addr = htonl(address);
    sa.sin_port = htons(port);
    return sa;
}

Endpoint Endpoint::fromSockaddr(const sockaddr_in& sa) {
    return Endpoint{ntohl(sa.sin_addr.s_addr), ntohs(sa.sin_port)};
}

std::string Endpoint::toString() const {
    return formatIpv4(address) + ":" + std::to_string(port);
}

std::optional<uint32_t> parseIpv4(std::string_view text) {
    if (text == "localhost") return 0x7F000001u;
    if (text.empty() || text.size() > 15) return std::nullopt;
    char buf[16];
    std::memcpy(buf, text.data(), text.size());
    buf[text.size()] = '\0';
    in_addr a{};
    if (inet_pton(AF_INET, buf, &a) != 1) return std::nullopt;
    return ntohl(a.s_addr);
}

std::string formatIpv4(uint32_t address) {
    in_addr a{};
    a.s_addr = htonl(address);
    char buf[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, &a, buf, sizeof buf);
    return buf;
}

}  // namespace nq::server
