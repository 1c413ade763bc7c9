// The statistics of an evaluation, against examples worked by hand.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "evaluation/confidence.h"
#include "evaluation/errorCurve.h"
#include "evaluation/identificationTrials.h"
#include "evaluation/nearMisses.h"
#include "evaluation/palmPairs.h"
#include "evaluation/recommendation.h"
#include "evaluation/scoreSheet.h"
#include "evaluation/traitTable.h"
#include "report/numbers.h"

namespace brairu::tool {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

ScorePair scoresOf(const std::vector<float>& genuine, const std::vector<float>& impostor) {
    ScorePair scores;
    for (const float score : genuine) {
        scores.add(score, true);
    }
    for (const float score : impostor) {
        scores.add(score, false);
    }
    return scores;
}

// One of four own comparisons is below 0.5, one of five others reaches it.
ScorePair mixedScores() {
    return scoresOf({0.25f, 0.625f, 0.75f, 0.875f}, {-0.5f, 0.0f, 0.125f, 0.375f, 0.6875f});
}

TEST(ScoreDistribution, CountsWhatReachesAThreshold) {
    ScoreDistribution scores;
    for (const float score : {-1.0f, 0.0f, 0.5f, 0.5f, 1.0f}) {
        scores.add(score);
    }
    const std::vector<std::uint64_t> reaching = scores.reaching();
    const auto at = [&](double threshold) {
        return reaching[static_cast<std::size_t>(ScoreDistribution::stepAt(threshold))];
    };
    EXPECT_EQ(at(-1.0), 5U);
    EXPECT_EQ(at(0.0), 4U);
    EXPECT_EQ(at(0.5), 3U);
    EXPECT_EQ(at(0.5001), 1U);
    EXPECT_EQ(at(1.0), 1U);
}

TEST(ScoreDistribution, TakesWhatIsBeyondItsRangeForItsEnds) {
    ScoreDistribution scores;
    scores.add(1.5f);
    scores.add(-1.5f);
    scores.add(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(scores.counts().front(), 2U);
    EXPECT_EQ(scores.counts().back(), 1U);
}

TEST(ScoreDistribution, QuantilesLieAtTheScores) {
    const ScoreDistribution scores = mixedScores().genuine;
    EXPECT_DOUBLE_EQ(scores.quantile(0.25), 0.25);
    EXPECT_DOUBLE_EQ(scores.quantile(0.5), 0.625);
    EXPECT_DOUBLE_EQ(scores.largest(), 0.875);
    EXPECT_DOUBLE_EQ(ScoreDistribution().quantile(0.5), 0.0);
}

TEST(ErrorCurve, CountsFalseMatchesAndFalseNonMatches) {
    const OperatingPoint point = ErrorCurve(mixedScores()).atThreshold(0.5);
    EXPECT_EQ(point.falseMatches, 1U);
    EXPECT_EQ(point.falseNonMatches, 1U);
    EXPECT_DOUBLE_EQ(point.falseMatch, 0.2);
    EXPECT_DOUBLE_EQ(point.falseNonMatch, 0.25);
}

TEST(ErrorCurve, TheEqualErrorRateIsTheMeanWhereTheRatesAreNearest) {
    EXPECT_DOUBLE_EQ(equalErrorRate(ErrorCurve(mixedScores())), 0.225);
}

TEST(ErrorCurve, SeparateScoresHaveNoEqualError) {
    EXPECT_DOUBLE_EQ(equalErrorRate(ErrorCurve(scoresOf({0.75f, 0.9f}, {0.1f, 0.5f}))), 0.0);
}

TEST(ErrorCurve, EqualScoresAreHalfWrong) {
    EXPECT_DOUBLE_EQ(equalErrorRate(ErrorCurve(scoresOf({0.5f}, {0.5f}))), 0.5);
}

TEST(ErrorCurve, TakesTheLowestThresholdOfAFalseMatchRate) {
    const ErrorCurve curve(mixedScores());
    // Two of five may match: 0.375 and 0.6875 do, 0.125 must not.
    EXPECT_DOUBLE_EQ(curve.forFalseMatch(0.4).threshold, 0.1251);
    EXPECT_DOUBLE_EQ(curve.forFalseMatch(0.39).threshold, 0.3751);
    const OperatingPoint none = curve.forFalseMatch(0.0);
    EXPECT_DOUBLE_EQ(none.threshold, 0.6876);
    EXPECT_DOUBLE_EQ(none.falseNonMatch, 0.5);
}

TEST(Confidence, WithoutAnErrorFollowsTheRuleOfThree) {
    EXPECT_NEAR(upperBound(0, 1000), 2.9957e-3, 1e-7);
    EXPECT_DOUBLE_EQ(lowestTold(1000), 3e-3);
    EXPECT_EQ(trialsToTell(1e-3), 3000U);
    EXPECT_EQ(trialsToTell(1e-6), 3'000'000U);
}

TEST(Confidence, FollowsPoissonsLawForFewErrors) {
    // Half the chi-square quantiles of 4 and 22 degrees of freedom at 95 %.
    EXPECT_NEAR(upperBound(1, 1000), 4.7439e-3, 1e-7);
    EXPECT_NEAR(upperBound(10, 1000), 16.9622e-3, 1e-7);
}

TEST(Confidence, JoinsTheApproximationForManyErrors) {
    EXPECT_NEAR(upperBound(400, 1000) / upperBound(399, 1000), 401.0 / 400.0, 1e-3);
    EXPECT_NEAR(upperBound(10'000, 1'000'000), 0.01 + 1.6449 * 1e-4, 1e-5);
}

TEST(Confidence, IsNeverAboveOneAndKnowsNothingOfNothing) {
    EXPECT_EQ(upperBound(2, 3), 1.0);
    EXPECT_EQ(upperBound(0, 0), 1.0);
    EXPECT_EQ(lowestTold(0), 1.0);
    EXPECT_EQ(lowestTold(2), 1.0);
}

TEST(Confidence, ASearchIsWrongWhenOneOfItsComparisonsIs) {
    EXPECT_DOUBLE_EQ(rateOfAny(0.5, 2), 0.75);
    EXPECT_DOUBLE_EQ(rateOfEach(0.75, 2), 0.5);
    EXPECT_NEAR(rateOfEach(1e-3, 10'000), 1.0005e-7, 1e-11);
}

// Scores of own palms at 0.9, of strangers spread evenly from 0 to 0.75.
ScorePair evenScores(int impostors) {
    ScorePair scores;
    for (int i = 0; i < 100; ++i) {
        scores.add(0.9f, true);
    }
    for (int i = 0; i < impostors; ++i) {
        scores.add(0.75f * static_cast<float>(i) / static_cast<float>(impostors), false);
    }
    return scores;
}

TEST(Recommendation, HasTheFalseMatchRateThatAGalleryNeeds) {
    const ErrorCurve curve(evenScores(100'000));
    const Recommendation result = recommend(curve, {0.01, 10});
    EXPECT_TRUE(result.isTold);
    EXPECT_NEAR(result.neededFalseMatch, 1.0045e-3, 1e-7);
    ASSERT_TRUE(result.chosen);
    // 84 matches: half the chi-square quantile of 170 degrees of freedom at 95 % is 100.7.
    EXPECT_NEAR(result.chosen->point.threshold, 0.75 * (1 - 0.84e-3), 1e-4);
    EXPECT_GT(result.chosen->falseMatchBound, result.chosen->point.falseMatch);
    EXPECT_NEAR(result.chosen->falseAccept, 10 * result.chosen->falseMatchBound, 1e-4);
    EXPECT_EQ(result.chosen->point.falseNonMatches, 0U);
    EXPECT_NEAR(result.chosen->falseNonMatchBound, 0.029957, 1e-6);
}

TEST(Recommendation, IsTheLowestThresholdWhoseBoundKeepsWhatIsAskedFor) {
    const ErrorCurve curve(evenScores(100'000));
    for (const double falseAccept : {0.0004, 0.001, 0.01, 0.1}) {
        const Recommendation result = recommend(curve, {falseAccept, 10});
        ASSERT_TRUE(result.chosen) << falseAccept;
        EXPECT_LE(result.chosen->falseMatchBound, result.neededFalseMatch);
        EXPECT_LE(result.chosen->falseAccept, falseAccept);
        const int below = ScoreDistribution::stepAt(result.chosen->point.threshold) - 1;
        EXPECT_GT(upperBound(curve.at(below).falseMatches, curve.impostors()),
                  result.neededFalseMatch);
    }
}

TEST(Recommendation, IsNoneWhenStrangersReachEveryThreshold) {
    ScorePair scores = evenScores(100'000);
    for (int i = 0; i < 1000; ++i) {
        scores.add(1.0f, false);
    }
    const Recommendation result = recommend(ErrorCurve(scores), {0.001, 1});
    EXPECT_TRUE(result.isTold);
    EXPECT_FALSE(result.chosen);
    EXPECT_FALSE(result.unreached);
}

TEST(Recommendation, SaysWhenThereAreTooFewComparisons) {
    const Recommendation result = recommend(ErrorCurve(evenScores(1000)), {0.001, 100});
    EXPECT_FALSE(result.isTold);
    EXPECT_FALSE(result.chosen);
    ASSERT_TRUE(result.unreached);
    EXPECT_NEAR(*result.unreached, 0.7493, 1e-4);
    EXPECT_NEAR(static_cast<double>(result.comparisonsNeeded), 299'850, 10);
}

TEST(ScoreSheet, MakesOneScoreOfThree) {
    const ScoreSheet sheet({0.5f, 0.625f});
    const BlockSimilarities scores{0.75f, 0.5f, 0.25f};
    EXPECT_FLOAT_EQ(sheet.scoreOf(Way::block0, scores), 0.75f);
    EXPECT_FLOAT_EQ(sheet.scoreOf(Way::block1, scores), 0.5f);
    EXPECT_FLOAT_EQ(sheet.scoreOf(Way::block2, scores), 0.25f);
    EXPECT_FLOAT_EQ(sheet.scoreOf(Way::mean, scores), 0.5f);
    EXPECT_FLOAT_EQ(sheet.scoreOf(Way::firstTwo, scores), 0.5f);
    EXPECT_FLOAT_EQ(sheet.scoreOf(Way::allThree, scores), 0.25f);
    EXPECT_FLOAT_EQ(sheet.scoreOf(Way::identification, scores), 0.125f);
    EXPECT_FLOAT_EQ(sheet.scoreOf(Way::verification, scores), 0.35f);
}

TEST(ScoreSheet, AScoreThatIsNoNumberIsNeverAccepted) {
    const float none = std::numeric_limits<float>::quiet_NaN();
    ScoreSheet sheet({0.5f, 0.5f});
    for (std::size_t block = 0; block < kBlocks; ++block) {
        BlockSimilarities scores{0.9f, 0.9f, 0.9f};
        scores[block] = none;
        sheet.add(scores, true);
    }
    EXPECT_EQ(sheet.scores(Way::allThree).genuine.counts().front(), 3U);
    EXPECT_EQ(sheet.identification().genuineAccepted, 0U);
}

TEST(ScoreSheet, IdentificationExceedsItsThresholdsAndVerificationReachesIts) {
    const Thresholds thresholds{0.5f, 0.625f};
    EXPECT_FALSE(thresholds.identifies({0.5f, 0.75f, 0.75f}));
    EXPECT_FALSE(thresholds.identifies({0.75f, 0.75f, 0.625f}));
    EXPECT_TRUE(thresholds.identifies({0.75f, 0.75f, 0.75f}));
    EXPECT_TRUE(thresholds.verifies({0.5f, 0.5f, 0.41f}));
    EXPECT_FALSE(thresholds.verifies({0.5f, 0.49f, 0.5f}));
    EXPECT_FALSE(thresholds.verifies({0.5f, 0.5f, 0.39f}));
}

TEST(ScoreSheet, CountsWhatTheConfiguredRuleDecides) {
    ScoreSheet sheet({0.5f, 0.5f});
    sheet.add({0.75f, 0.75f, 0.75f}, true);
    sheet.add({0.75f, 0.75f, 0.45f}, true);  // for verification only
    sheet.add({0.75f, 0.25f, 0.75f}, false);
    sheet.add({0.75f, 0.75f, 0.75f}, false);
    EXPECT_DOUBLE_EQ(sheet.identification().falseNonMatch(), 0.5);
    EXPECT_DOUBLE_EQ(sheet.identification().falseMatch(), 0.5);
    EXPECT_DOUBLE_EQ(sheet.verification().falseNonMatch(), 0.0);
    EXPECT_DOUBLE_EQ(sheet.verification().falseMatch(), 0.5);
}

Comparison between(std::size_t probe, std::size_t probePalm, std::size_t referencePalm,
                   float firstBlock = 0.0f) {
    return {probe, probePalm, referencePalm, 0, {firstBlock, 0.0f, 0.0f}};
}

TEST(PalmPairs, KeepTheHighestScoreOfEachPair) {
    PalmPairs pairs;
    pairs.add(between(0, 0, 1), 0.25f);
    pairs.add(between(1, 0, 1), 0.75f);
    pairs.add(between(0, 0, 2), 0.5f);
    pairs.finish();
    pairs.finish();
    EXPECT_EQ(pairs.highest().count(), 2U);
    EXPECT_EQ(pairs.highest().counts()[static_cast<std::size_t>(ScoreDistribution::stepAt(0.75))],
              1U);
    EXPECT_EQ(pairs.highest().counts()[static_cast<std::size_t>(ScoreDistribution::stepAt(0.5))],
              1U);
}

TEST(PalmPairs, AreTheSameWhicheverPalmIsTheProbe) {
    PalmPairs pairs;
    pairs.add(between(0, 0, 1), 0.25f);
    pairs.add(between(0, 0, 2), 0.5f);
    pairs.add(between(1, 1, 0), 0.75f);
    pairs.finish();
    EXPECT_EQ(pairs.highest().count(), 2U);
    const std::vector<std::uint64_t> reaching = pairs.highest().reaching();
    EXPECT_EQ(reaching[static_cast<std::size_t>(ScoreDistribution::stepAt(0.5))], 2U);
    EXPECT_EQ(reaching[static_cast<std::size_t>(ScoreDistribution::stepAt(0.75))], 1U);
}

TEST(PalmPairs, CountAPairWhoseScoreIsNoNumber) {
    PalmPairs pairs;
    pairs.add(between(0, 0, 1), std::numeric_limits<float>::quiet_NaN());
    pairs.finish();
    EXPECT_EQ(pairs.highest().count(), 1U);
    EXPECT_EQ(pairs.highest().counts().front(), 1U);
}

// Two probes of palm 0 and one of palm 1 in a gallery of both.
IdentificationTrials threeSearches() {
    IdentificationTrials trials;
    trials.add(between(0, 0, 0, 0.9f), 0.75f);
    trials.add(between(1, 0, 0, 0.5f), 0.5f);
    trials.add(between(0, 0, 1, 0.2f), 0.125f);
    trials.add(between(1, 0, 1, 0.6f), 0.25f);  // nearer in block 0 than the own palm
    trials.add(between(2, 1, 1, 0.9f), 0.875f);
    trials.add(between(2, 1, 0, 0.7f), 0.625f);
    return trials;
}

TEST(IdentificationTrials, AMissIsAnOwnPalmBelowTheThreshold) {
    const IdentificationPoint point = threeSearches().forFalsePositive(0.0);
    EXPECT_DOUBLE_EQ(point.threshold, 0.6251);
    EXPECT_DOUBLE_EQ(point.falsePositive, 0.0);
    EXPECT_NEAR(point.falseNegative, 1.0 / 3.0, 1e-12);
}

TEST(IdentificationTrials, FalsePositivesAreSearchesThatAnyOtherPalmPasses) {
    const IdentificationPoint point = threeSearches().forFalsePositive(0.34);
    EXPECT_DOUBLE_EQ(point.threshold, 0.2501);
    EXPECT_NEAR(point.falsePositive, 1.0 / 3.0, 1e-12);
    EXPECT_DOUBLE_EQ(point.falseNegative, 0.0);
}

TEST(IdentificationTrials, AMissIsAlsoAnotherPalmThatTheSearchMeetsFirst) {
    const IdentificationPoint point = threeSearches().forFalsePositive(0.67);
    EXPECT_DOUBLE_EQ(point.threshold, 0.1251);
    EXPECT_NEAR(point.falseNegative, 1.0 / 3.0, 1e-12);
}

TEST(NearMisses, KeepTheMostStrikingInOrder) {
    NearMisses misses(2);
    for (const float score : {0.5f, 0.25f, 0.75f}) {
        misses.add(between(0, 0, 0), score);
        misses.add(between(0, 0, 1), score);
    }
    const auto scores = [](const std::vector<ScoredComparison>& list) {
        std::vector<float> values;
        for (const ScoredComparison& each : list) {
            values.push_back(each.score);
        }
        return values;
    };
    EXPECT_THAT(scores(misses.genuine()), ElementsAre(0.25f, 0.5f));
    EXPECT_THAT(scores(misses.impostors()), ElementsAre(0.75f, 0.5f));
}

EvaluatedCapture captureWith(float trait, bool acquired) {
    EvaluatedCapture capture;
    capture.traits = {trait};
    capture.refusalId = acquired ? "" : "too_dark";
    return capture;
}

CaptureSet fourCaptures() {
    CaptureSet set;
    set.palms = {"one"};
    set.traits = {{"light", ""}};
    set.captures = {captureWith(40, true), captureWith(10, false), captureWith(30, true),
                    captureWith(20, true),
                    captureWith(std::numeric_limits<float>::quiet_NaN(), false)};
    return set;
}

TEST(TraitTable, HasAsManyCapturesInEachRange) {
    const std::vector<GenuineScore> scores{{0, 0.9f}, {2, 0.4f}, {3, 0.4f}, {3, 0.6f}};
    const std::vector<TraitRow> rows = tabulateTraits(fourCaptures(), scores, 0.5, 2);
    ASSERT_EQ(rows.size(), 1U);
    ASSERT_EQ(rows[0].ranges.size(), 2U);
    const TraitRange& dark = rows[0].ranges[0];
    EXPECT_EQ(dark.from, 10);
    EXPECT_EQ(dark.to, 20);
    EXPECT_EQ(dark.captures, 2U);
    EXPECT_EQ(dark.refused, 1U);
    EXPECT_EQ(dark.comparisons, 2U);
    EXPECT_EQ(dark.missed, 1U);
    const TraitRange& light = rows[0].ranges[1];
    EXPECT_EQ(light.from, 30);
    EXPECT_EQ(light.to, 40);
    EXPECT_EQ(light.refused, 0U);
    EXPECT_EQ(light.missed, 1U);
}

TEST(TraitTable, LeavesOutWhatTooFewCapturesHave) {
    EXPECT_THAT(tabulateTraits(fourCaptures(), {}, 0.5, 5), IsEmpty());
}

TEST(CaptureSet, FailuresToAcquireAreOfPalmsThatSearch) {
    CaptureSet set = fourCaptures();
    EXPECT_DOUBLE_EQ(set.failureToAcquire(), 0.4);
    set.palms.push_back("bystander");
    set.firstBystander = 1;
    set.captures[1].palm = 1;
    EXPECT_EQ(set.probesTaken(), 4U);
    EXPECT_EQ(set.probesAcquired(), 3U);
    EXPECT_DOUBLE_EQ(set.failureToAcquire(), 0.25);
}

TEST(Numbers, PercentHasThreeDigitsThatCount) {
    EXPECT_EQ(percent(0.0), "0 %");
    EXPECT_EQ(percent(1.0), "100 %");
    EXPECT_EQ(percent(0.5), "50 %");
    EXPECT_EQ(percent(0.012345), "1.23 %");
    EXPECT_EQ(percent(0.00001), "0.001 %");
    EXPECT_EQ(percent(1.234e-7), "0.0000123 %");
    EXPECT_EQ(percent(0.985), "98.5 %");
    EXPECT_EQ(percent(0.995), "99.5 %");
    EXPECT_EQ(percent(0.99958), "99.958 %");
}

TEST(Numbers, InBriefHasThreeDigitsThatCountAndAllBeforeThePoint) {
    EXPECT_EQ(inBrief(1234.6), "1235");
    EXPECT_EQ(inBrief(-2.1789), "-2.18");
    EXPECT_EQ(inBrief(4.5), "4.5");
}

TEST(Numbers, GroupedHasACommaAtEveryThousand) {
    EXPECT_EQ(grouped(0), "0");
    EXPECT_EQ(grouped(999), "999");
    EXPECT_EQ(grouped(6960), "6,960");
    EXPECT_EQ(grouped(1234567), "1,234,567");
}

}  // namespace
}  // namespace brairu::tool
