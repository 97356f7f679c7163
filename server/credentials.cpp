#include "server/credentials.h"

#include <random>

#include "wire/digest.h"

namespace nq::server {
namespace {

constexpr std::string_view kScheme = "s1$";

std::string seal(std::string_view salt, std::string_view wireDigest) {
    std::string input(salt);
    input.append(wireDigest);
    return std::string(kScheme) + std::string(salt) + "$" + Md5Hex(input);
}

}  // namespace

std::string sealDigest(std::string_view wireDigest) {
    static constexpr char kHex[] = "0123456789abcdef";
    std::random_device random;
    std::string salt(16, '0');
    for (char& c : salt) c = kHex[random() & 15];
    return seal(salt, wireDigest);
}

bool digestMatches(std::string_view sealed, std::string_view wireDigest) {
    if (sealed.substr(0, kScheme.size()) != kScheme) return false;
    const size_t dollar = sealed.find('$', kScheme.size());
    if (dollar == std::string_view::npos) return false;
    const std::string expected = seal(sealed.substr(kScheme.size(), dollar - kScheme.size()), wireDigest);
    if (expected.size() != sealed.size()) return false;
    unsigned char diff = 0;
    for (size_t i = 0; i < expected.size(); ++i) diff |= static_cast<unsigned char>(expected[i] ^ sealed[i]);
    return diff == 0;
}

}  // namespace nq::server
