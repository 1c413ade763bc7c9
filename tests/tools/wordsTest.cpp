// Every code has words, and no two stages are mixed up.
#include <gmock/gmock.h>

#include <set>

#include "explanations/words.h"

namespace brairu::tool {
namespace {

struct Case {
    std::uint32_t code;
    Stage stage;
    const char* id;
};

TEST(Words, EveryCodeOfEveryStageHasItsOwn) {
    const Case cases[] = {
        {0, Stage::quality, "good"},          {1, Stage::placement, "left_edge"},
        {2, Stage::placement, "right_edge"},  {3, Stage::placement, "top_edge"},
        {4, Stage::placement, "bottom_edge"}, {5, Stage::quality, "too_bright"},
        {6, Stage::quality, "too_dark"},      {14, Stage::placement, "too_large"},
        {14, Stage::quality, "uneven_light"}, {15, Stage::placement, "too_small"},
        {15, Stage::quality, "blurred"},
    };
    std::set<std::string> advice;
    for (const Case& each : cases) {
        EXPECT_STREQ(wordsFor(each.code, each.stage).id, each.id);
        EXPECT_TRUE(advice.insert(wordsFor(each.code, each.stage).advice).second);
    }
}

TEST(Words, LeftAndRightAreSidesOfThePicture) {
    EXPECT_STREQ(wordsFor(PVA_PLACEMENT_LEFT, Stage::placement).advice,
                 "Move the hand to the right in the picture.");
    EXPECT_STREQ(wordsFor(PVA_PLACEMENT_RIGHT, Stage::placement).advice,
                 "Move the hand to the left in the picture.");
}

TEST(Words, ACodeOfTheFutureIsARefusal) {
    EXPECT_STREQ(wordsFor(99, Stage::quality).id, "refused");
}

}  // namespace
}  // namespace brairu::tool
