#include "session/digest.h"

#include <openssl/evp.h>

namespace nq {

std::string Md5Hex(std::string_view bytes) {
    unsigned char md[EVP_MAX_MD_SIZE];
    unsigned int len = 0;
    EVP_Digest(bytes.data(), bytes.size(), md, &len, EVP_md5(), nullptr);
    static constexpr char kHex[] = "0123456789abcdef";
    std::string out(len * 2, '0');
    for (unsigned i = 0; i < len; ++i) {
        out[2 * i] = kHex[md[i] >> 4];
        out[2 * i + 1] = kHex[md[i] & 15];
    }
    return out;
}

std::optional<std::string> passwordDigest(std::string_view gbkPassword) {
    for (char c : gbkPassword)
        if (static_cast<unsigned char>(c) >= 0x80) return std::nullopt;
    return Md5Hex(Md5Hex(gbkPassword));
}

}  // namespace nq
