#pragma once
// One readable line per frame for --trace, shared by the client and the server.

#include <string>
#include <string_view>

#include "wire/packet.h"

namespace nq {

// direction is "in" or "out", channel names the socket or peer. Fields are shown decoded
// from GBK and separated by " | "; an unclosed tail is marked with "…".
[[nodiscard]] std::string describeFrame(std::string_view direction, std::string_view channel,
                                        const Frame& frame);

// Describes every frame of a datagram; bytes that do not form a frame are reported as junk.
[[nodiscard]] std::string describeDatagram(std::string_view direction, std::string_view channel,
                                           std::string_view data);

}  // namespace nq
