// One header for C and C++, against the shared library.
#include <gmock/gmock.h>

#include <array>
#include <set>

#include "brairu.h"
#include "headerInC.h"

namespace brairu::test {
namespace {

TEST(Header, GivesCAndCppTheSameHandPose) {
    PvaHandPose pose{};
    fillHandPoseInC(&pose);
    EXPECT_EQ(pose.centerX, 1);
    EXPECT_EQ(pose.centerY, 2);
    EXPECT_EQ(pose.width, 3);
    EXPECT_EQ(pose.height, 4);
    for (int i = 0; i < PVA_KEY_POINTS; ++i) {
        EXPECT_EQ(pose.keyPoints[i].x, 10 + i);
        EXPECT_EQ(pose.keyPoints[i].y, 20 + i);
    }
    EXPECT_EQ(pose.placementCode, 0xfffffff0u);
    EXPECT_EQ(pose.orientation, 1);
}

TEST(Header, GivesCAndCppTheSameAuthResult) {
    PvaAuthResult result{};
    fillAuthResultInC(&result);
    EXPECT_EQ(result.userid, -5);
    EXPECT_EQ(result.palmindex, -6);
    EXPECT_EQ(result.rowId, 7);
    EXPECT_EQ(result.reserved, 8);
    EXPECT_EQ(result.similarity, 0.5f);
}

TEST(Header, DeclaresEveryCallForC) {
    std::array<void (*)(), 64> calls{};
    const std::size_t count = addressesOfCallsInC(calls.data(), calls.size());
    EXPECT_EQ(count, 40u);
    const std::set<void (*)()> different(calls.begin(), calls.begin() + count);
    EXPECT_EQ(different.size(), count);
    EXPECT_FALSE(different.contains(nullptr));
}

TEST(Header, LinksAHostWrittenInC) {
    EXPECT_EQ(stopInC(), 1u);
    EXPECT_EQ(clearRegisterBufferInC(), 1);
}

TEST(Header, HasTheSizesOfFeaturesAndTemplates) {
    EXPECT_EQ(PVA_FEATURE_BLOCK_BYTES, 512);
    EXPECT_EQ(PVA_FEATURE_BYTES, 1536);
    EXPECT_EQ(PVA_TEMPLATE_BYTES, 1546);
    EXPECT_EQ(PVA_KEY_POINTS, 7);
}

TEST(Header, HasTheCodesThatHostsCompareWith) {
    EXPECT_EQ(PVA_PLACEMENT_GOOD, 0);
    EXPECT_EQ(PVA_PLACEMENT_LEFT, 1);
    EXPECT_EQ(PVA_PLACEMENT_RIGHT, 2);
    EXPECT_EQ(PVA_PLACEMENT_TOP, 3);
    EXPECT_EQ(PVA_PLACEMENT_BOTTOM, 4);
    EXPECT_EQ(PVA_QUALITY_BRIGHT, 5);
    EXPECT_EQ(PVA_QUALITY_DARK, 6);
    EXPECT_EQ(PVA_PLACEMENT_LARGE, 14);
    EXPECT_EQ(PVA_QUALITY_UNEVEN, 14);
    EXPECT_EQ(PVA_PLACEMENT_SMALL, 15);
    EXPECT_EQ(PVA_QUALITY_BLURRED, 15);
    EXPECT_EQ(PVA_REGISTER_MORE, 10);
    EXPECT_EQ(PVA_REGISTER_COMMITTED, 11);
    EXPECT_EQ(PVA_REGISTER_FAILED, 12);
    EXPECT_EQ(PVA_REGISTER_DUPLICATE, 13);
}

}  // namespace
}  // namespace brairu::test
