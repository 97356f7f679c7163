#include "wire/digest.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace nq {

namespace {

// MD5 (RFC 1321) lives here rather than in a crypto library: it is the protocol's only use of
// one, the client would otherwise load libcrypto (1.5 MB resident) at every start, and digests
// run once per login.
class Md5 {
  public:
    void update(const unsigned char* data, size_t size) {
        const size_t used = static_cast<size_t>(length_ % 64);
        length_ += size;
        if (used) {
            const size_t take = std::min(size, 64 - used);
            std::memcpy(block_.data() + used, data, take);
            data += take;
            size -= take;
            if (used + take < 64) return;
            compress(block_.data());
        }
        for (; size >= 64; data += 64, size -= 64) compress(data);
        std::memcpy(block_.data(), data, size);
    }

    std::array<unsigned char, 16> finish() {
        const uint64_t bits = length_ * 8;
        static constexpr unsigned char kPad[64] = {0x80};
        const size_t used = static_cast<size_t>(length_ % 64);
        update(kPad, used < 56 ? 56 - used : 120 - used);
        unsigned char tail[8];
        for (int i = 0; i < 8; ++i) tail[i] = static_cast<unsigned char>(bits >> (8 * i));
        update(tail, 8);
        std::array<unsigned char, 16> out{};
        for (int i = 0; i < 16; ++i) out[i] = static_cast<unsigned char>(state_[i / 4] >> (8 * (i % 4)));
        return out;
    }

  private:
    static uint32_t rotl(uint32_t x, int n) { return (x << n) | (x >> (32 - n)); }

    void compress(const unsigned char* p) {
        // Per-round shift amounts and the integer parts of |sin(i + 1)| * 2^32.
        static constexpr int kShift[4][4] = {
            {7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
        static constexpr uint32_t kSine[64] = {
            0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
            0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
            0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
            0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
            0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
            0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
            0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
            0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};
        uint32_t m[16];
        for (int i = 0; i < 16; ++i)
            m[i] = uint32_t(p[4 * i]) | uint32_t(p[4 * i + 1]) << 8 | uint32_t(p[4 * i + 2]) << 16 |
                   uint32_t(p[4 * i + 3]) << 24;
        uint32_t a = state_[0], b = state_[1], c = state_[2], d = state_[3];
        for (int i = 0; i < 64; ++i) {
            uint32_t f;
            int g;
            switch (i / 16) {
                case 0:
                    f = (b & c) | (~b & d);
                    g = i;
                    break;
                case 1:
                    f = (d & b) | (~d & c);
                    g = (5 * i + 1) % 16;
                    break;
                case 2:
                    f = b ^ c ^ d;
                    g = (3 * i + 5) % 16;
                    break;
                default:
                    f = c ^ (b | ~d);
                    g = (7 * i) % 16;
                    break;
            }
            const uint32_t rotated = rotl(a + f + kSine[i] + m[g], kShift[i / 16][i % 4]);
            a = d;
            d = c;
            c = b;
            b += rotated;
        }
        state_[0] += a;
        state_[1] += b;
        state_[2] += c;
        state_[3] += d;
    }

    uint32_t state_[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    std::array<unsigned char, 64> block_{};
    uint64_t length_ = 0;
};

}  // namespace

std::string Md5Hex(std::string_view bytes) {
    Md5 md5;
    md5.update(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    static constexpr char kHex[] = "0123456789abcdef";
    std::string out;
    out.reserve(32);
    for (unsigned char byte : md5.finish()) {
        out += kHex[byte >> 4];
        out += kHex[byte & 15];
    }
    return out;
}

std::optional<std::string> passwordDigest(std::string_view gbkPassword) {
    for (char c : gbkPassword)
        if (static_cast<unsigned char>(c) >= 0x80) return std::nullopt;
    return Md5Hex(Md5Hex(gbkPassword));
}

}  // namespace nq
