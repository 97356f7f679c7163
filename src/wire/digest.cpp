#include "wire/digest.h"

#include <md5.h>

#include <cstdint>

namespace nq {

std::string Md5Hex(std::string_view bytes) {
    // libmd writes the digest as lower-case hex, the form the servers store.
    char hex[MD5_DIGEST_STRING_LENGTH];
    MD5Data(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), hex);
    return std::string(hex, MD5_DIGEST_STRING_LENGTH - 1);
}

std::optional<std::string> passwordDigest(std::string_view gbkPassword) {
    for (char c : gbkPassword)
        if (static_cast<unsigned char>(c) >= 0x80) return std::nullopt;
    return Md5Hex(Md5Hex(gbkPassword));
}

}  // namespace nq
