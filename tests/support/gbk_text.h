#pragma once
// Tests write protocol text as UTF-8 literals; the wire and the stores carry it as GBK bytes.

#include <string_view>

#include "wire/gbk.h"

namespace nq::test {

inline Bytes g(std::string_view utf8) {
    return gbk::fromUtf8(utf8);
}

}  // namespace nq::test
