#include "wire/head_code.h"

#include "wire/fields.h"

namespace nq {

int headCodeNumber(std::string_view code) {
    const size_t take = code.size() == 2 ? 1 : 2;
    const std::string_view tail = code.size() > take ? code.substr(code.size() - take) : code;
    return static_cast<int>(toNumber(tail));
}

int headOnlineIndex(std::string_view code) {
    const bool male = !code.empty() && code.front() == 'm';
    return headCodeNumber(code) + (male ? 1 : 10);
}

int headOfflineIndex(std::string_view code) {
    const bool male = !code.empty() && code.front() == 'm';
    return headCodeNumber(code) + (male ? 21 : 30);
}

}  // namespace nq
