#include "server/pacer.h"

#include <gtest/gtest.h>

namespace nq::server {
namespace {

using std::chrono::milliseconds;

// Frames carry their order number in the first bytes, so that order can be checked.
OutFrame frame(size_t size, int number, uint8_t flags = 0) {
    OutFrame f;
    f.bytes = std::to_string(number) + ":";
    f.bytes.resize(size, '.');
    f.flags = flags;
    return f;
}
int numberOf(const OutFrame& f) {
    return std::stoi(f.bytes.substr(0, f.bytes.find(':')));
}

class PacerTest : public ::testing::Test {
  protected:
    std::vector<int> releaseAt(int ms) {
        std::vector<OutFrame> out;
        pacer.release(t0 + milliseconds(ms), out);
        std::vector<int> numbers;
        for (const OutFrame& f : out) numbers.push_back(numberOf(f));
        return numbers;
    }
    // Each step: release at ms, and what leaves.
    void expectSteps(std::initializer_list<std::pair<int, std::vector<int>>> steps) {
        for (const auto& [ms, released] : steps) EXPECT_EQ(releaseAt(ms), released) << "at " << ms << " ms";
    }

    PacingConfig config;  // a 500 ms tick read as 550 ms, 48 KB allowed unread
    ClientPacer pacer{config};
    Time t0 = Time() + std::chrono::hours(1);
};

TEST_F(PacerTest, HeldFramesLeaveAsFastAsTheClientIsBelievedToRead) {
    for (int i = 0; i < 60; ++i) pacer.push(frame(1021, i));
    EXPECT_EQ(releaseAt(0).size(), 48u);  // 48 * 1021 <= 49152 < 49 * 1021
    expectSteps({
        {549, {}},                 // nothing read yet
        {550, {48, 49}},           // a tick reads one frame, and one more after our datagrams arrived
        {1099, {}},                //
        {1100, {50}},              // 48 and 49 came only one tick after the last: no second read sure
        {2750, {51, 52, 53, 54}},  // a late wake makes up for the frames read meanwhile
    });
    EXPECT_EQ(pacer.nextChance(t0 + milliseconds(2750)), t0 + milliseconds(3300));
}

TEST_F(PacerTest, AChatAtTheClientsTopRateNeverBacksUp) {
    // One partner sending every 500 ms and a keep-alive answer every 10.5 s, for an hour: the
    // client reads two frames in each tick after a datagram, so nothing may pile up.
    int number = 0;
    for (int ms = 0; ms < 3'600'000; ms += 500) {
        pacer.push(frame(200, number++));
        if (ms % 10'500 == 0) pacer.push(frame(22, number++));
        ASSERT_EQ(releaseAt(ms).size(), ms % 10'500 == 0 ? 2u : 1u) << "held back at " << ms << " ms";
    }
    EXPECT_LT(pacer.unreadEstimate(t0 + milliseconds(3'600'000)), 2000u);
}

// A trigger waits until the one before is read and two ticks have passed, or the client's
// answer to it proves everything before it read.
TEST_F(PacerTest, ATriggerWaitsForTheLastOneToBeReadOrAnswered) {
    pacer.push(frame(100, 0, kTrigger));
    pacer.push(frame(100, 1, kTrigger));
    pacer.push(frame(100, 2));
    pacer.push(frame(100, 3, kTrigger));
    expectSteps({{0, {0}}, {549, {}}, {550, {}}});  // read at 550, but the gap has just begun
    EXPECT_EQ(pacer.nextChance(t0 + milliseconds(550)), t0 + milliseconds(1550));
    expectSteps({{1549, {}}, {1550, {1, 2}}});
    pacer.triggerAnswered(t0 + milliseconds(1600));
    EXPECT_EQ(pacer.unreadEstimate(t0 + milliseconds(1600)), 100u);  // only what came after it
    expectSteps({{2599, {}}, {2600, {3}}});
}

TEST_F(PacerTest, ABoxStopsReadingUntilTheClientIsHeardAgain) {
    config.ringBudget = 4096;
    pacer.push(frame(100, 0, kStallsReader));
    for (int i = 1; i <= 10; ++i) pacer.push(frame(1100, i));
    expectSteps({{0, {0, 1, 2, 3}}, {550, {}}, {60'000, {}}});  // the box is read and stands
    EXPECT_FALSE(pacer.nextChance(t0 + milliseconds(60'000)));
    pacer.clientHeard(t0 + milliseconds(60'000));
    expectSteps({{60'549, {}}, {60'550, {4}}});
    std::vector<int> back;  // taken back in order for a session that ends
    for (const OutFrame& f : pacer.takeHeld()) back.push_back(numberOf(f));
    EXPECT_EQ(back, (std::vector<int>{5, 6, 7, 8, 9, 10}));
    EXPECT_FALSE(pacer.idle(t0 + milliseconds(60'550)));  // still unread in the client's ring
    EXPECT_TRUE(pacer.idle(t0 + milliseconds(70'000)));
}

}  // namespace
}  // namespace nq::server
