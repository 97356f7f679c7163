#pragma once
// A person's picture travels as a head code, "m" or "w" and digits (m3, w12). The client
// shows it by index in its head image list: 1..20 online, the same + 20 offline.

#include <string_view>

namespace nq {

// The number inside a head code: the last character of a two-byte code, else the last two.
[[nodiscard]] int headCodeNumber(std::string_view code);

// Index for a person shown online (profiles, search results, the own head at login).
[[nodiscard]] int headOnlineIndex(std::string_view code);

// Index for a person listed from a roster, where everybody starts offline.
[[nodiscard]] int headOfflineIndex(std::string_view code);

}  // namespace nq
