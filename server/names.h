#pragma once
// What may stand in an account, a nick or a head code. The client turns accounts and nicks into
// INI section names and folder names, so characters that would break either are refused here,
// at the only place where names are made.

#include <optional>
#include <string>
#include <string_view>

#include "wire/gbk.h"

namespace nq::server {

inline constexpr size_t kMaxNameBytes = 24;  // GBK bytes, for accounts and nicks alike
// The client's group form takes 24 characters, Chinese ones two bytes each in GBK.
inline constexpr size_t kMaxGroupNameChars = 24;

// Each returns why the name is refused, or nothing when it may be used. Names are GBK.
std::optional<std::string> accountProblem(std::string_view account);
std::optional<std::string> nickProblem(std::string_view nick);
// A group name becomes an INI section name too, in the same files as people's names; that it
// is nobody's account or nick is for the caller to check.
std::optional<std::string> groupNameProblem(std::string_view name);

// m0..m9 and w1..w10: the client maps these onto its twenty head pictures.
bool isHeadCode(std::string_view code);

// The title shown beside a level in a profile, in GBK.
Bytes levelTitle(int level);

// UTF-8 to GBK, or nothing when some character has no GBK form.
std::optional<Bytes> gbkExactly(std::string_view utf8);

// The longest prefix of text within maxBytes that ends on a character border as the client
// reads it: a byte from 0x80 up takes the next byte with it. A lead byte with nothing behind it
// is dropped too, or the client would swallow the NUL that closes the field.
std::string_view cutGbk(std::string_view text, size_t maxBytes);

}  // namespace nq::server
