#include <gtest/gtest.h>

#include "session/packet.h"

namespace nq {
namespace {
TEST(Packet, Placeholder) { EXPECT_EQ(kRingSize, 65408); }
}  // namespace
}  // namespace nq
