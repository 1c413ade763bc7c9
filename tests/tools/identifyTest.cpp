// identify and verify.
#include <gmock/gmock.h>

#include <filesystem>

#include "tools/workplace.h"

namespace brairu::test {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;

class Identify : public testing::Test {
protected:
    Identify() { place.haveEnrolled(); }

    ToolPlace place;
};

TEST_F(Identify, SaysWhoseThePalmIsAndChangesNothingInTheStore) {
    const std::vector<std::string> before = place.storeState();
    const ToolRun run = place.run({"identify", place.frames(1, 5, 1)[0]});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_THAT(run.out,
                ContainsRegex("^frame 1 \\(.*\\): user 1, palm 0, similarity 0\\.[0-9]+\n$"));
    EXPECT_THAT(run.err, IsEmpty());
    EXPECT_EQ(place.storeState(), before);
}

TEST_F(Identify, TurnsAStrangerAway) {
    const ToolRun run = place.run({"identify", place.frames(2, 5, 1)[0]});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.out, HasSubstr("not recognised: no enrolled palm is similar enough\n"));
}

TEST_F(Identify, ShowsTheThreeScoresBesideTheirThresholds) {
    place.config["feature"]["auth_threshold"] = 0.5;
    place.config["feature"]["filter_threshold"] = 0.4;
    const Json result =
        place.run({"identify", "--json", "--scores", place.frames(2, 5, 1)[0]}).json();
    const Json scores = result["frames"][0]["nearest"][0]["scores"];
    ASSERT_EQ(scores.size(), 3U);
    EXPECT_EQ(scores[0]["moreThan"], 0.5);
    EXPECT_EQ(scores[2]["moreThan"], 0.4);
    EXPECT_LT(scores[0]["value"], 0.5);
    EXPECT_EQ(result["frames"][0]["nearest"][0]["user"], 1);
}

TEST_F(Identify, ScoresAgreeWithTheSimilarityOfTheEngine) {
    const Json frame =
        place.run({"identify", "--json", "--scores", place.frames(1, 5, 1)[0]}).json()["frames"][0];
    EXPECT_NEAR(frame["similarity"].get<double>(),
                frame["nearest"][0]["scores"][0]["value"].get<double>(), 1e-5);
}

TEST_F(Identify, TellsAMatchThatIsNotConfirmedYet) {
    place.config["feature"]["security_level"] = 2;
    const std::vector<std::string> frames = place.frames(1, 5, 2);
    const ToolRun one = place.run({"identify", "--json", frames[0]});
    EXPECT_EQ(one.exitStatus, 1);
    EXPECT_EQ(one.json()["frames"][0]["result"], "unconfirmed");
    const ToolRun two = place.run({"identify", "--json", frames[0], frames[1]});
    EXPECT_EQ(two.exitStatus, 0);
    EXPECT_EQ(two.json()["frames"][1]["result"], "recognised");
}

TEST(IdentifyNobody, SaysThatNobodyIsEnrolledAndMakesNoStore) {
    const ToolPlace place;
    const ToolRun run = place.run({"identify", place.greyFrame("grey.pgm")});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.err, "brairu: nobody is enrolled in " + place.databasePath() +
                           "\nEnrol a palm first: brairu enrol --user 1 --palm 0 FRAME...\n");
    EXPECT_THAT(place.storeState(), IsEmpty());
}

TEST(IdentifyNobody, WorksOnTheStoreItselfWhenItMayLearn) {
    const ToolPlace place;
    EXPECT_EQ(place.run({"identify", "--learn", place.greyFrame("grey.pgm")}).exitStatus, 1);
    EXPECT_TRUE(std::filesystem::exists(place.databasePath()));
}

TEST(Verify, TellsTheSamePalmFromAnother) {
    ToolPlace place;
    place.config["feature"]["auth_threshold"] = 0.5;
    const std::vector<std::string> own = place.frames(1, 0, 2);
    const ToolRun same = place.run({"verify", own[0], own[1], "--scores"});
    EXPECT_EQ(same.exitStatus, 0);
    EXPECT_THAT(same.out, ContainsRegex("^the same palm, similarity 0\\.[0-9]+\n"));
    EXPECT_THAT(same.out, HasSubstr(", needs at least 0.4\n"));
    const ToolRun other = place.run({"verify", "--json", own[0], place.frames(2, 0, 1)[0]});
    EXPECT_EQ(other.exitStatus, 1);
    EXPECT_EQ(other.json()["result"], "different");
    EXPECT_THAT(place.storeState(), IsEmpty());
}

TEST(Verify, SaysWhichFrameIsRefused) {
    const ToolPlace place;
    const ToolRun run =
        place.run({"verify", place.frames(1, 0, 1)[0], place.greyFrame("grey.pgm")});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.out,
                HasSubstr("frame 2 (" + place.file("grey.pgm") + "): refused, no hand was found"));
}

}  // namespace
}  // namespace brairu::test
