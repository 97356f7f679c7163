#pragma once
// Password digest as the servers store and compare it: hex(MD5(hex(MD5(password)))).

#include <optional>
#include <string>
#include <string_view>

namespace nq {

// MD5 of the bytes, 32 lower-case hex digits.
[[nodiscard]] std::string Md5Hex(std::string_view bytes);

// Md5Hex(Md5Hex(password)) over one byte per character. A GBK password with a two-byte
// character has no one-byte form: the result is empty and the caller decides what that means.
[[nodiscard]] std::optional<std::string> passwordDigest(std::string_view gbkPassword);

}  // namespace nq
