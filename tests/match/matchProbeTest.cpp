#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

#include "engineTest.h"
#include "match/search.h"

namespace brairu::test {
namespace {

constexpr int kUntouched = 77;

class MatchProbe : public EngineTest {
protected:
    bool match(const CaptureBlocks& probe) {
        return matchProbe(store(), {probe[0], probe[1], probe[2]}, result_, templateIndex_);
    }

    void expectMatchOf(int rowId, float similarity, int templateIndex) {
        EXPECT_EQ(result_.rowId, rowId);
        EXPECT_EQ(result_.similarity, similarity);
        EXPECT_EQ(templateIndex_, templateIndex);
    }

    void expectResultUntouched() {
        EXPECT_EQ(result_.rowId, kUntouched);
        EXPECT_EQ(result_.similarity, 7.0f);
    }

    PvaAuthResult result_{5, 6, kUntouched, 8, 7.0f};
    int templateIndex_ = kUntouched;
};

TEST_F(MatchProbe, LeavesEverythingUntouchedWhenNothingIsEnrolled) {
    startEngine();
    configure("feature", "auth_threshold", "unread");
    EXPECT_FALSE(match(captureOf(axis(1))));
    expectResultUntouched();
    EXPECT_EQ(templateIndex_, kUntouched);
}

TEST_F(MatchProbe, ReportsRowIdAndSimilarityOnly) {
    startEngine();
    enrol(1, captureOf(axis(4, 0)));
    enrol(2, {axis(4, 50), axis(4), axis(4)});
    EXPECT_TRUE(match({atCosine(3, 4, 50), axis(4), axis(4)}));
    expectMatchOf(2, 0.75f, 0);
    EXPECT_EQ(result_.userid, 5);
    EXPECT_EQ(result_.palmindex, 6);
    EXPECT_EQ(result_.reserved, 8);
}

TEST_F(MatchProbe, TellsTemplateAndRowFromTheSlot) {
    startEngine(3);
    enrol(1, {templateWith(captureOf(axis(1, 0))), templateWith(captureOf(axis(1, 10))),
              templateWith(captureOf(axis(1, 20)))});
    enrol(2, {templateWith(captureOf(axis(1, 30))), templateWith(captureOf(axis(1, 40))),
              templateWith(captureOf(axis(1, 50)))});
    EXPECT_TRUE(match(captureOf(axis(9, 50))));
    expectMatchOf(2, 1.0f, 2);
    EXPECT_TRUE(match(captureOf(axis(9, 30))));
    expectMatchOf(2, 1.0f, 0);
    EXPECT_TRUE(match(captureOf(axis(9, 10))));
    expectMatchOf(1, 1.0f, 1);
}

TEST_F(MatchProbe, RefusesSearchSimilarityEqualToTheAuthThreshold) {
    config_["feature"]["auth_threshold"] = 0.75;
    startEngine();
    enrol(1, captureOf(axis(4)));
    EXPECT_FALSE(match({atCosine(3, 4), axis(4), axis(4)}));
    expectResultUntouched();
    EXPECT_EQ(templateIndex_, 0);
    EXPECT_TRUE(match({atCosine(49, 64), axis(4), axis(4)}));
}

TEST_F(MatchProbe, RefusesSecondBlockEqualToTheAuthThreshold) {
    config_["feature"]["auth_threshold"] = 0.75;
    config_["feature"]["filter_threshold"] = 0.25;
    startEngine();
    enrol(1, captureOf(axis(4)));
    EXPECT_FALSE(match({axis(4), atCosine(3, 4), axis(4)}));
    expectResultUntouched();
    EXPECT_TRUE(match({axis(4), atCosine(49, 64), axis(4)}));
}

TEST_F(MatchProbe, RefusesThirdBlockEqualToTheFilterThreshold) {
    config_["feature"]["auth_threshold"] = 0.25;
    config_["feature"]["filter_threshold"] = 0.5;
    startEngine();
    enrol(1, captureOf(axis(4)));
    EXPECT_FALSE(match({axis(4), axis(4), atCosine(1, 2)}));
    expectResultUntouched();
    EXPECT_TRUE(match({axis(4), axis(4), atCosine(33, 64)}));
}

TEST_F(MatchProbe, HoldsTheThirdBlockToTheFilterThresholdOnly) {
    config_["feature"]["auth_threshold"] = 0.75;
    config_["feature"]["filter_threshold"] = 0.25;
    startEngine();
    enrol(1, captureOf(axis(4)));
    EXPECT_TRUE(match({axis(4), axis(4), atCosine(1, 2)}));
}

TEST_F(MatchProbe, TriesTheNextTemplateOfThePalmWhenTheBestFails) {
    startEngine(2);
    enrol(1, {templateWith({axis(4), axis(4), axis(4, 99)}),
              templateWith({atCosine(3, 4), axis(4), axis(4)})});
    EXPECT_TRUE(match(captureOf(axis(4))));
    expectMatchOf(1, 0.75f, 1);
}

TEST_F(MatchProbe, TriesTheNextPalmWhenTheBestFails) {
    startEngine();
    enrol(1, {atCosine(3, 4), axis(4), axis(4)});
    enrol(2, {axis(4), axis(4, 99), axis(4)});
    EXPECT_TRUE(match(captureOf(axis(4))));
    expectMatchOf(1, 0.75f, 0);
}

TEST_F(MatchProbe, NumbersTheTemplateOfTheLastHitLookedAtEvenBelowTheThreshold) {
    startEngine(3);
    enrol(1, {templateWith(captureOf(atCosine(1, 4))), templateWith(captureOf(atCosine(3, 4))),
              templateWith(captureOf(axis(4, 99)))});
    EXPECT_FALSE(match({axis(4), axis(4, 50), axis(4)}));
    expectResultUntouched();
    EXPECT_EQ(templateIndex_, 2);
}

TEST_F(MatchProbe, ReportsTheCandidateWhoseTemplateCannotBeReadAndStops) {
    startEngine();
    enrol(1, {atCosine(3, 4), axis(4), axis(4)});
    enrol(2, captureOf(axis(4)));
    database().run("DELETE FROM userInfo WHERE id = 2");
    EXPECT_FALSE(match(captureOf(axis(4))));
    expectMatchOf(2, 1.0f, 0);
}

TEST_F(MatchProbe, DoesNotReadTemplatesBelowTheThreshold) {
    startEngine();
    enrol(1, captureOf(atCosine(1, 4)));
    database().run("DELETE FROM userInfo");
    EXPECT_FALSE(match(captureOf(axis(4))));
    expectResultUntouched();
}

TEST_F(MatchProbe, VerifiesAtMostTwentyFiveCandidates) {
    startEngine();
    for (int palm = 1; palm <= 25; ++palm) {
        enrol(palm, {axis(4), axis(4, 99), axis(4)});
    }
    enrol(26, {atCosine(3, 4), axis(4), axis(4)});
    EXPECT_FALSE(match(captureOf(axis(4))));
    ASSERT_TRUE(store().removePalm(25, 1));
    EXPECT_TRUE(match(captureOf(axis(4))));
    EXPECT_EQ(result_.rowId, 26);
}

TEST_F(MatchProbe, LooksAtAsManyHitsAsSlotsAreCounted) {
    startEngine(5);
    const Bytes wrong = templateWith({axis(4), axis(4, 99), axis(4)});
    const Bytes right = templateWith({atCosine(3, 4), axis(4), axis(4)});
    enrol(1, {wrong, wrong, wrong, wrong, right});
    ASSERT_EQ(store().featureCount(), 5);
    EXPECT_TRUE(match(captureOf(axis(4))));
    expectMatchOf(1, 0.75f, 4);
}

TEST_F(MatchProbe, ReadsThresholdsFromTheStoresCopyAtEveryCall) {
    startEngine();
    enrol(1, captureOf(axis(4)));
    const CaptureBlocks probe{axis(4), axis(4), atCosine(3, 4)};
    EXPECT_TRUE(match(probe));
    store().config()["feature"]["filter_threshold"] = 0.75;
    EXPECT_FALSE(match(probe));
    document()["feature"]["filter_threshold"] = 0.1;
    EXPECT_FALSE(match(probe));
}

TEST_F(MatchProbe, ReadsThresholdsInSinglePrecision) {
    // The float nearest to 0.8 is larger than the double: only a threshold in single precision is
    // its equal.
    config_["feature"]["auth_threshold"] = 0.8;
    config_["feature"]["filter_threshold"] = 0.8;
    startEngine();
    enrol(1, {axis(64), axis(5), axis(5)});
    EXPECT_FALSE(match({axis(64), atCosine(4, 5), axis(5)}));
    EXPECT_FALSE(match({axis(64), axis(5), atCosine(4, 5)}));
    EXPECT_TRUE(match({axis(64), atCosine(81, 100), atCosine(81, 100)}));
}

TEST_F(MatchProbe, RefusesBlocksWithoutDirection) {
    startEngine();
    enrol(1, captureOf(filledBlock(0)));
    EXPECT_FALSE(match({filledBlock(0), axis(1), axis(1)}));
    EXPECT_EQ(templateIndex_, 0);
    expectResultUntouched();
}

TEST_F(MatchProbe, RaisesTypeErrorsOfTheThresholds) {
    startEngine();
    enrol(1, captureOf(axis(4)));
    configure("feature", "filter_threshold", nullptr);
    EXPECT_EQ(thrownBy<nlohmann::json::type_error>([&] { match(captureOf(axis(4))); }),
              "[json.exception.type_error.302] type must be number, but is null");
    configure("feature", "auth_threshold", "0.5");
    EXPECT_EQ(thrownBy<nlohmann::json::type_error>([&] { match(captureOf(axis(4))); }),
              "[json.exception.type_error.302] type must be number, but is string");
    configure("feature", "feature_len", ConfigDocument::array());
    EXPECT_EQ(thrownBy<nlohmann::json::type_error>([&] { match(captureOf(axis(4))); }),
              "[json.exception.type_error.302] type must be number, but is array");
}

TEST_F(MatchProbe, FindsNothingWithANegativeFeatureLength) {
    startEngine();
    enrol(1, captureOf(axis(4)));
    configure("feature", "feature_len", -5);
    EXPECT_FALSE(match(captureOf(axis(4))));
    expectResultUntouched();
}

// All slots in full order, the first 25 verified in double precision.
struct PlainMatch {
    int rowId = kUntouched;
    int templateIndex = kUntouched;
};

double preciseCosine(const FeatureBlock& a, const FeatureBlock& b) {
    const Eigen::VectorXd x = a.cast<double>();
    const Eigen::VectorXd y = b.cast<double>();
    return x.dot(y) / std::sqrt(x.dot(x) * y.dot(y));
}

PlainMatch plainMatch(const std::vector<CaptureBlocks>& templates, int centres,
                      const CaptureBlocks& probe, double threshold) {
    std::vector<std::pair<float, int>> ranking;
    for (std::size_t slot = 0; slot < templates.size(); ++slot) {
        const float similarity = indexSimilarity(probe[0].data(), templates[slot][0].data(), 512);
        ranking.emplace_back(-similarity, static_cast<int>(slot));
    }
    std::ranges::sort(ranking);
    ranking.resize(std::min<std::size_t>(ranking.size(), 25));
    PlainMatch match;
    for (const auto& [negated, slot] : ranking) {
        const CaptureBlocks& stored = templates[static_cast<std::size_t>(slot)];
        match.templateIndex = slot % centres;
        if (-negated > threshold && preciseCosine(probe[1], stored[1]) > threshold &&
            preciseCosine(probe[2], stored[2]) > threshold) {
            match.rowId = slot / centres + 1;
            break;
        }
    }
    return match;
}

TEST_F(MatchProbe, AgreesWithAPlainSearchOnRandomPalms) {
    SeededRandom random;
    constexpr int kCentres = 2;
    startEngine(kCentres);
    std::vector<CaptureBlocks> templates;
    const CaptureBlocks common{randomBlock(random, -20, 20), randomBlock(random, -20, 20),
                               randomBlock(random, -20, 20)};
    const auto near = [&](const CaptureBlocks& capture, int noise) {
        CaptureBlocks result;
        for (std::size_t block = 0; block < kBlocks; ++block) {
            result[block] = (capture[block] + randomBlock(random, -noise, noise)).eval();
        }
        return result;
    };
    for (int palm = 1; palm <= 30; ++palm) {
        templates.push_back(near(common, 20));
        templates.push_back(near(templates.back(), 10));
        enrol(palm,
              {templateWith(templates[templates.size() - 2]), templateWith(templates.back())});
    }
    int matches = 0;
    for (int round = 0; round < 150; ++round) {
        const CaptureBlocks probe =
            near(templates[static_cast<std::size_t>(random.between(0, 59))], 10 + round % 50);
        result_ = {0, 0, kUntouched, 0, 7.0f};
        templateIndex_ = kUntouched;
        const bool matched = match(probe);
        const PlainMatch expected = plainMatch(templates, kCentres, probe, 0.5);
        ASSERT_EQ(result_.rowId, expected.rowId) << "round " << round;
        ASSERT_EQ(templateIndex_, expected.templateIndex) << "round " << round;
        ASSERT_EQ(matched, expected.rowId != kUntouched) << "round " << round;
        matches += matched;
    }
    EXPECT_GT(matches, 20);
    EXPECT_LT(matches, 130);
}

}  // namespace
}  // namespace brairu::test
