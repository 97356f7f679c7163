#include "wire/gbk.h"

#include <iconv.h>
#include <cerrno>

namespace nq {
namespace {

// iconv handles carry shift state and are not thread-safe; one pair per thread is cheap
// and keeps the server's worker threads (if any) and the fuzzers independent.
class Converter {
  public:
    Converter(const char* to, const char* from) : cd_(iconv_open(to, from)) {}
    ~Converter() {
        if (cd_ != reinterpret_cast<iconv_t>(-1)) iconv_close(cd_);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    // Converts one whole character; returns false when the target set has no such character.
    bool one(const char* in, size_t inLen, std::string& out) {
        char buf[8];
        char* ip = const_cast<char*>(in);
        char* op = buf;
        size_t il = inLen;
        size_t ol = sizeof buf;
        iconv(cd_, nullptr, nullptr, nullptr, nullptr);
        if (iconv(cd_, &ip, &il, &op, &ol) == static_cast<size_t>(-1) || il != 0) return false;
        out.append(buf, sizeof buf - ol);
        return true;
    }

  private:
    iconv_t cd_;
};

Converter& encoder() {
    thread_local Converter c("GBK", "UTF-8");
    return c;
}
Converter& decoder() {
    thread_local Converter c("UTF-8", "GBK");
    return c;
}

// Length of the UTF-8 sequence that starts with byte b, or 1 for a stray continuation byte.
size_t utf8SeqLen(unsigned char b) {
    if (b < 0xC0) return 1;
    if (b < 0xE0) return 2;
    if (b < 0xF0) return 3;
    return 4;
}

}  // namespace

namespace gbk {

Bytes fromUtf8(std::string_view utf8) {
    Bytes out;
    out.reserve(utf8.size());
    size_t i = 0;
    while (i < utf8.size()) {
        const auto b = static_cast<unsigned char>(utf8[i]);
        if (b < 0x80) {
            out.push_back(static_cast<char>(b));
            ++i;
            continue;
        }
        size_t n = utf8SeqLen(b);
        if (i + n > utf8.size()) n = utf8.size() - i;
        const bool isEuro = utf8.substr(i, n) == "\xE2\x82\xAC";
        if (isEuro || !encoder().one(utf8.data() + i, n, out)) out.push_back('?');
        i += n;
    }
    return out;
}

std::string toUtf8(std::string_view gbkText) {
    std::string out;
    out.reserve(gbkText.size() * 3 / 2);
    size_t i = 0;
    while (i < gbkText.size()) {
        const auto b = static_cast<unsigned char>(gbkText[i]);
        if (b < 0x80) {
            out.push_back(static_cast<char>(b));
            ++i;
            continue;
        }
        if (i + 1 < gbkText.size() && decoder().one(gbkText.data() + i, 2, out)) {
            i += 2;
        } else {
            out.push_back('?');
            i += (i + 1 < gbkText.size()) ? 2 : 1;
        }
    }
    return out;
}

}  // namespace gbk

int gbkLength(std::string_view text) {
    int n = 0;
    size_t i = 0;
    while (i < text.size()) {
        if (static_cast<unsigned char>(text[i]) < 0x80) {
            n += 1;
            i += 1;
        } else {
            n += 2;
            i += 2;
        }
    }
    return n;
}

}  // namespace nq
