#include <gtest/gtest.h>

#include "kills.h"
#include "support/seededRandom.h"

namespace brairu::test {
namespace {

TEST(KillsTest, AKillAtAnyMomentLosesNothingThatWasReported) {
    preferMemory();
    SeededRandom random;
    KillRun run(static_cast<std::uint32_t>(random.between(0, 1 << 30)));
    const Tally& tally = run.run(100);
    EXPECT_EQ(tally.faults, std::vector<std::string>{});
    EXPECT_GT(tally.restarts, 50);
    EXPECT_TRUE(tally.at.contains("start"));
    EXPECT_GT(tally.undone, 0);
    EXPECT_GT(tally.done, 0);
}

}  // namespace
}  // namespace brairu::test
