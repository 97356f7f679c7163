#include "server/credentials.h"

#include <crypt.h>

#include <stdexcept>

#include "wire/digest.h"

namespace nq::server {
namespace {

constexpr std::string_view kMd5Scheme = "s1$";
constexpr std::string_view kYescrypt = "$y$";
// yescrypt's cost 1: about 3 ms a seal on the build machine (docs/server.md), so a login, which
// the dispatcher and the chat server each check, stays at a few milliseconds, while a guess at
// a copied database costs a thousand times what the salted MD5 cost.
constexpr unsigned long kSealCost = 1;

bool sameBytes(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    unsigned char diff = 0;
    for (size_t i = 0; i < a.size(); ++i) diff |= static_cast<unsigned char>(a[i] ^ b[i]);
    return diff == 0;
}

std::string md5Seal(std::string_view salt, std::string_view wireDigest) {
    std::string input(salt);
    input.append(wireDigest);
    return std::string(kMd5Scheme) + std::string(salt) + "$" + Md5Hex(input);
}

bool md5Matches(std::string_view sealed, std::string_view wireDigest) {
    const size_t dollar = sealed.find('$', kMd5Scheme.size());
    if (dollar == std::string_view::npos) return false;
    return sameBytes(md5Seal(sealed.substr(kMd5Scheme.size(), dollar - kMd5Scheme.size()), wireDigest),
                     sealed);
}

// crypt_rn's work area is 32 KB: one per thread, not one on the stack per login.
std::string yescrypt(std::string_view wireDigest, const std::string& setting) {
    thread_local crypt_data data{};
    const std::string phrase(wireDigest);
    const char* out = crypt_rn(phrase.c_str(), setting.c_str(), &data, sizeof data);
    // A failed crypt gives null or a string beginning with '*', which no seal does.
    return out && *out != '*' ? std::string(out) : std::string();
}

std::string freshSetting() {
    char setting[CRYPT_GENSALT_OUTPUT_SIZE];
    if (!crypt_gensalt_rn(kYescrypt.data(), kSealCost, nullptr, 0, setting, sizeof setting))
        throw std::runtime_error("libcrypt cannot make a yescrypt salt");
    return setting;
}

// "$y$<parameters>$" of today's cost, which every current seal begins with.
const std::string& currentPrefix() {
    static const std::string prefix = [] {
        const std::string s = freshSetting();
        return s.substr(0, s.find('$', kYescrypt.size()) + 1);
    }();
    return prefix;
}

}  // namespace

bool wellFormedDigest(std::string_view wireDigest) {
    if (wireDigest.size() != 32) return false;
    for (char c : wireDigest)
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
    return true;
}

std::string sealDigest(std::string_view wireDigest) {
    std::string sealed = yescrypt(wireDigest, freshSetting());
    if (sealed.empty()) throw std::runtime_error("libcrypt cannot seal a digest with yescrypt");
    return sealed;
}

bool digestMatches(std::string_view sealed, std::string_view wireDigest) {
    if (sealed.substr(0, kYescrypt.size()) == kYescrypt) {
        const std::string expected = yescrypt(wireDigest, std::string(sealed));
        return !expected.empty() && sameBytes(expected, sealed);
    }
    if (sealed.substr(0, kMd5Scheme.size()) == kMd5Scheme) return md5Matches(sealed, wireDigest);
    return false;
}

bool sealIsCurrent(std::string_view sealed) {
    return sealed.substr(0, currentPrefix().size()) == currentPrefix();
}

}  // namespace nq::server
