#include "wire/fields.h"

#include <cstring>

namespace nq {

std::optional<Bytes> cutField(Bytes& body) {
    const size_t nul = body.find('\0');
    if (nul == Bytes::npos) return std::nullopt;
    Bytes field = body.substr(0, nul);
    body.erase(0, nul + 1);
    return field;
}

std::optional<std::string_view> FieldReader::next() {
    const void* p = std::memchr(rest_.data(), 0, rest_.size());
    if (!p) return std::nullopt;
    const size_t nul = static_cast<const char*>(p) - rest_.data();
    std::string_view field = rest_.substr(0, nul);
    rest_.remove_prefix(nul + 1);
    return field;
}

std::vector<std::string_view> splitAll(std::string_view body) {
    std::vector<std::string_view> out;
    size_t start = 0;
    for (;;) {
        const size_t nul = body.find('\0', start);
        if (nul == std::string_view::npos) {
            out.push_back(body.substr(start));
            return out;
        }
        out.push_back(body.substr(start, nul - start));
        start = nul + 1;
    }
}

int countNul(std::string_view body) {
    int n = 0;
    for (char c : body) n += (c == '\0');
    return n;
}

void appendField(Bytes& body, std::string_view field) {
    body.append(field);
    body.push_back('\0');
}

Bytes joinFields(std::initializer_list<std::string_view> fields) {
    Bytes body;
    for (auto f : fields) appendField(body, f);
    return body;
}

double toNumber(std::string_view s) {
    size_t i = 0;
    while (i < s.size() && (s[i] == ' ' || s[i] == '\t')) ++i;
    bool negative = false;
    if (i < s.size() && (s[i] == '-' || s[i] == '+')) negative = s[i++] == '-';
    double value = 0;
    while (i < s.size() && s[i] >= '0' && s[i] <= '9') value = value * 10 + (s[i++] - '0');
    if (i < s.size() && s[i] == '.') {
        double scale = 0.1;
        for (++i; i < s.size() && s[i] >= '0' && s[i] <= '9'; ++i, scale /= 10) value += (s[i] - '0') * scale;
    }
    return negative ? -value : value;
}

}  // namespace nq
