#pragma once
// The one conversion module between protocol text (GBK bytes) and Unicode.
// Everything in the core carries GBK bytes; only the widget boundary converts.

#include <string>
#include <string_view>

namespace nq {

// A string of GBK bytes. Kept as a distinct name so signatures say which encoding they carry.
using Bytes = std::string;

namespace gbk {

// UTF-8 to GBK. A character that GBK cannot hold becomes "?", as the Windows
// code-page conversion did. The euro sign is refused too: the wire parser reads every
// byte from 0x80 up as a lead byte, so CP936's single-byte 0x80 could not survive a trip.
[[nodiscard]] Bytes fromUtf8(std::string_view utf8);

// GBK to UTF-8. A byte sequence that is not GBK becomes "?" per offending character.
[[nodiscard]] std::string toUtf8(std::string_view gbk);

}  // namespace gbk

// Byte length of a GBK text, counted as the protocol counts it: a byte below 0x80 is one
// character of length 1; a byte of 0x80 or above opens a two-byte character of length 2,
// even when it is the last byte. Every protocol length is computed with this.
[[nodiscard]] int gbkLength(std::string_view gbkBytes);

}  // namespace nq
