// An evaluation of captures made by hand: which are compared, and what is reported of them.
#include "evaluation/evaluation.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "evaluation/enrolmentCaptures.h"
#include "evaluation/evaluationFolder.h"
#include "evaluation/evaluationJson.h"
#include "evaluation/evaluationSections.h"
#include "evaluation/palmPictures.h"
#include "fault.h"
#include "match/registration.h"
#include "report/printable.h"
#include "report/table.h"
#include "support/temporaryFolder.h"
#include "support/xmlShape.h"
#include "svg/svg.h"

namespace brairu::tool {
namespace {

using test::readFile;
using test::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// Two blocks of different numbers below 4 are unrelated; off, at most 256, of the 512 bytes of every
// block turn their sign, so that the similarity with the number's own is 1 - off / 256.
CaptureBlocks blocksOf(int number, int off) {
    CaptureBlocks blocks;
    for (FeatureBlock& block : blocks) {
        block.resize(PVA_FEATURE_BLOCK_BYTES);
        for (int i = 0; i < PVA_FEATURE_BLOCK_BYTES; ++i) {
            const bool isMinus = (number & 1 & i) != 0 || ((number >> 1) & 1 & (i >> 1)) != 0;
            const bool turns = i < off;
            block[i] = static_cast<std::int8_t>(isMinus != turns ? -40 : 40);
        }
    }
    return blocks;
}

void addCapture(CaptureSet& set, std::size_t palm, const std::string& name, int number, int off) {
    EvaluatedCapture capture;
    capture.name = name;
    capture.palm = palm;
    capture.blocks = blocksOf(number, off);
    set.captures.push_back(capture);
}

void addRefused(CaptureSet& set, std::size_t palm, const std::string& name) {
    EvaluatedCapture capture;
    capture.name = name;
    capture.palm = palm;
    capture.refusalId = "too_dark";
    capture.refusal = "the palm is too dark";
    set.captures.push_back(capture);
}

// Two palms with two captures each, a third with one capture that gave features and one that did
// not. All captures of one palm are alike in 3/4.
CaptureSet threePalms() {
    CaptureSet set;
    set.palms = {"anna", "bela", "cora"};
    addCapture(set, 0, "anna_1.png", 0, 0);
    addCapture(set, 0, "anna_2.png", 0, 64);
    addCapture(set, 1, "bela_1.png", 1, 0);
    addCapture(set, 1, "bela_2.png", 1, 64);
    addCapture(set, 2, "cora_1.png", 2, 0);
    addRefused(set, 2, "cora_2.png");
    return set;
}

EvaluationPlan usualPlan() {
    EvaluationPlan plan;
    plan.thresholds = {0.5f, 0.5f};
    return plan;
}

const Progress kQuiet = [](std::size_t, std::size_t) {};

Section named(const std::vector<Section>& sections, const std::string& title) {
    const auto found = std::ranges::find(sections, title, &Section::title);
    EXPECT_NE(found, sections.end()) << title;
    return found == sections.end() ? Section() : *found;
}

TEST(Comparisons, OfPairsTakeEveryTwoCapturesOnce) {
    const CaptureSet set = threePalms();
    std::vector<std::string> seen;
    visitCapturePairs(
        set,
        [&](const Comparison& comparison) {
            seen.push_back(std::to_string(comparison.probe) + std::to_string(comparison.reference) +
                           (comparison.isGenuine() ? "=" : ""));
        },
        kQuiet);
    EXPECT_THAT(seen, ElementsAre("01=", "02", "03", "12", "13", "04", "14", "23=", "24", "34"));
}

TEST(Comparisons, HaveTheSimilaritiesOfTheSearch) {
    const CaptureSet set = threePalms();
    visitCapturePairs(
        set,
        [](const Comparison& comparison) {
            for (const float score : comparison.scores) {
                if (comparison.isGenuine()) {
                    EXPECT_NEAR(score, 0.75f, 1e-6f);
                } else {
                    EXPECT_LE(std::abs(score), 0.3f);
                }
            }
        },
        kQuiet);
}

TEST(Comparisons, AnEnrolmentTakesTheFirstCapturesAndLeavesTheOthersToSearch) {
    CaptureSet set = threePalms();
    const Enrolment enrolment = enrol(set, 1, 1);
    ASSERT_EQ(enrolment.palms.size(), 3U);
    EXPECT_EQ(enrolment.palms[0].templates.size(), 1U);
    EXPECT_EQ(enrolment.palms[0].templates[0][2], set.captures[0].blocks[2]);
    EXPECT_THAT(enrolment.probes, ElementsAre(1, 3));
    EXPECT_THAT(enrolment.failed, IsEmpty());
}

TEST(Comparisons, APalmWithTooFewCapturesFailsToEnrol) {
    const Enrolment enrolment = enrol(threePalms(), 2, 1);
    EXPECT_EQ(enrolment.palms.size(), 2U);
    EXPECT_THAT(enrolment.failed, ElementsAre(2));
    EXPECT_THAT(enrolment.probes, IsEmpty());
}

TEST(Comparisons, ATemplateIsTheMeanOfItsCaptures) {
    const Enrolment enrolment = enrol(threePalms(), 2, 1);
    const FeatureBlock& block = enrolment.palms[0].templates[0][0];
    EXPECT_EQ(block[0], 0);  // 40 and -40
    EXPECT_EQ(block[PVA_FEATURE_BLOCK_BYTES - 1], 40);
}

TEST(Comparisons, BystandersAreEnrolledAndDoNotSearch) {
    CaptureSet set = threePalms();
    set.firstBystander = 1;
    const Enrolment enrolment = enrol(set, 1, 1);
    EXPECT_EQ(enrolment.palms.size(), 3U);
    EXPECT_THAT(enrolment.probes, ElementsAre(1));
}

TEST(Comparisons, ASearchMeetsTheOwnPalmFirstAndTheNearestOfItsTemplates) {
    CaptureSet set = threePalms();
    Enrolment enrolment = enrol(set, 1, 1);
    enrolment.palms[1].templates.push_back(blocksOf(1, 64));
    std::vector<std::size_t> met;
    visitSearches(
        set, enrolment,
        [&](const Comparison& comparison) {
            met.push_back(comparison.referencePalm);
            if (comparison.probePalm == 1 && comparison.isGenuine()) {
                EXPECT_NEAR(comparison.scores[0], 1.0f, 1e-6f);
            }
        },
        kQuiet);
    EXPECT_THAT(met, ElementsAre(0, 1, 2, 1, 0, 2));
}

TEST(Evaluation, NeedsTwoCapturesOfOnePalm) {
    CaptureSet set;
    set.palms = {"anna", "bela"};
    addCapture(set, 0, "anna_1.png", 0, 0);
    addCapture(set, 1, "bela_1.png", 1, 0);
    try {
        const Evaluation evaluation(set, usualPlan(), kQuiet);
        FAIL();
    } catch (const Fault& fault) {
        EXPECT_EQ(fault.ending(), Ending::no);
        EXPECT_STREQ(fault.what(), "no palm has two captures to compare");
        EXPECT_EQ(fault.advice(),
                  "Take more pictures of each palm; --ignore-guidance takes pictures that the "
                  "limits of the configuration refuse.");
    }
}

TEST(Evaluation, NeedsTwoPalms) {
    CaptureSet set;
    set.palms = {"anna"};
    addCapture(set, 0, "anna_1.png", 0, 0);
    addCapture(set, 0, "anna_2.png", 0, 64);
    try {
        const Evaluation evaluation(set, usualPlan(), kQuiet);
        FAIL();
    } catch (const Fault& fault) {
        EXPECT_EQ(fault.ending(), Ending::no);
        EXPECT_STREQ(fault.what(), "all captures are of one palm");
    }
}

// An enrolment of four captures: the first two, then each of the others as the third.
TEST(EnrolmentCaptures, AreHeldAgainstTheFirstHalf) {
    CaptureSet set = threePalms();
    set.firstBystander = 1;
    addCapture(set, 0, "anna_3.png", 0, 16);   // 0.9375 like the first
    addCapture(set, 0, "anna_4.png", 0, 200);  // 0.47 like the second
    addRefused(set, 0, "anna_5.png");
    const EnrolmentCaptures captures = examineEnrolment(set, 4);
    EXPECT_EQ(captures.similarity.count(), 6U);
    EXPECT_NEAR(captures.similarity.largest(), 0.9375, 1e-4);
    EXPECT_EQ(captures.later, 2U);
    std::vector<std::uint64_t> refused;
    for (const RepeatRow& row : captures.repeats) {
        EXPECT_EQ(row.cap, dynamicSimilarityCap(row.level));
        refused.push_back(row.refused);
    }
    EXPECT_THAT(refused, ElementsAre(1, 1, 1, 1));
    set.captures[5 + 1].blocks = blocksOf(0, 32);  // 0.875
    EXPECT_EQ(examineEnrolment(set, 4).repeats[0].refused, 0U);
    EXPECT_EQ(examineEnrolment(set, 4).repeats[1].refused, 1U);
}

class ReportOfThreePalms : public testing::Test {
protected:
    CaptureSet set = threePalms();
    Evaluation evaluation{set, usualPlan(), kQuiet};
    std::vector<Section> sections = sectionsOf(evaluation);
};

TEST_F(ReportOfThreePalms, SaysWhatWasRefusedAndWhatWasCompared) {
    const Section section = named(sections, "Captures");
    EXPECT_THAT(section.before, ElementsAre("6 frames of 3 palms, 5 gave features; failure to "
                                            "acquire 16.7 %."));
    EXPECT_THAT(section.table.head, ElementsAre("refused because", "frames", "share"));
    EXPECT_THAT(section.table.rows,
                ElementsAre(ElementsAre("the palm is too dark", "1", "16.7 %")));
    EXPECT_THAT(section.after, ElementsAre("Compared: 2 times a palm with itself, 8 times with "
                                           "another (3 pairs of palms)."));
}

TEST_F(ReportOfThreePalms, LeavesOutRatesThatSoFewComparisonsCannotTell) {
    const Section section = named(sections, "Error rates of comparisons");
    EXPECT_THAT(
        section.table.head,
        ElementsAre("score", "EER", "FNMR at FMR 1 %", "FNMR at FMR 0.1 %", "FNMR at FMR 0.01 %",
                    "FNMR at FMR 0.001 %", "own, median", "other, median", "other, highest"));
    ASSERT_EQ(section.table.rows.size(), 7U);
    EXPECT_THAT(section.table.rows[0], testing::Contains("-").Times(4));
    EXPECT_EQ(section.table.rows[0][1], "0 %");
    EXPECT_EQ(section.after[0],
              "8 comparisons with other palms tell a false-match rate of 37.5 % (3/n, the rule of "
              "three); \"-\" is below.");
}

TEST_F(ReportOfThreePalms, CountsRefusedFramesIntoTheRatesOfTheRule) {
    const Section section = named(sections, "The configured rule");
    EXPECT_THAT(section.table.rows[0], ElementsAre("identification, one template", "0 %", "0 of 8",
                                                   "37.4 %", "0 %", "0 %", "16.7 %"));
}

TEST_F(ReportOfThreePalms, SaysWhatOtherThresholdsWouldDo) {
    const Section section = named(sections, "Identification at other thresholds");
    EXPECT_THAT(section.before, ElementsAre("All three blocks above one threshold."));
    EXPECT_THAT(section.table.head,
                ElementsAre("threshold", "FMR", "accepted", "95 % sure: at most", "FNMR"));
    ASSERT_EQ(section.table.rows.size(), 7U);
    EXPECT_THAT(section.table.rows[4], ElementsAre("0.70", "0 %", "0 of 8", "37.4 %", "0 %"));
    EXPECT_THAT(section.table.rows[6], ElementsAre("0.80", "0 %", "0 of 8", "37.4 %", "100 %"));
}

TEST(Evaluation, SaysWhatAnEnrolmentRefuses) {
    EvaluationPlan plan = usualPlan();
    plan.maxCount = 2;
    const CaptureSet set = threePalms();
    const Evaluation evaluation(set, plan, kQuiet);
    const Section section = named(sectionsOf(evaluation), "Captures of an enrolment");
    EXPECT_THAT(section.before,
                ElementsAre("Block 0 of two captures of one palm: 1 % of the pairs are less alike "
                            "than 0.750, half than 0.750, 99 % than 0.750.",
                            "Of 2 captures the first 1 are taken as they come; the next is refused "
                            "while it is more alike to one of them than the cap. The level is 3."));
    EXPECT_THAT(section.table.head, ElementsAre("dynamic_detection_level", "cap", "refused"));
    EXPECT_THAT(section.table.rows,
                ElementsAre(ElementsAre("1", "0.90", "0 %"), ElementsAre("2", "0.85", "0 %"),
                            ElementsAre("3", "0.80", "0 %"), ElementsAre("4", "0.75", "0 %")));
    EXPECT_EQ(jsonOf(evaluation)["enrolment"]["later"], 2);
}

TEST_F(ReportOfThreePalms, SaysWhenThresholdsCannotBeTold) {
    const Section section = named(sections, "Recommended thresholds");
    EXPECT_THAT(section.before[0], "For a false-accept rate of 0.1 % and a gallery of 100 palms.");
    EXPECT_THAT(section.table.rows[0],
                ElementsAre("identification", "-", "0.001 %", "-", "-", "-", "-"));
    EXPECT_THAT(section.table.rows[1],
                ElementsAre("verification", "-", "0.1 %", "-", "-", "-", "-"));
    EXPECT_THAT(section.after[0],
                testing::AllOf(StartsWith("Too few palms to recommend a threshold for "
                                          "identification: an FMR of 0.001 % takes at least 299,"),
                               HasSubstr(" comparisons with other palms, there are 8. No stranger "
                                         "reached 0.")));
    EXPECT_THAT(section.after[0], testing::EndsWith(", which is no reason to go below the "
                                                    "configured 0.5."));
    EXPECT_THAT(section.after[1],
                StartsWith("Too few palms to recommend a threshold for "
                           "verification: an FMR of 0.1 % takes at least 3,000 "));
    EXPECT_THAT(section.after[2],
                testing::EndsWith(" are ever taken for each other by identification at 0.5000."));
}

TEST(Evaluation, SaysWhenStrangersReachedMoreThanIsConfigured) {
    CaptureSet set = threePalms();
    addCapture(set, 2, "cora_3.png", 0, 64);
    const Evaluation evaluation(set, usualPlan(), kQuiet);
    const Section section = named(sectionsOf(evaluation), "Recommended thresholds");
    EXPECT_EQ(section.table.rows[0][1], "-");
    EXPECT_THAT(section.after[0],
                testing::EndsWith("Some strangers reach every threshold: look for pictures under a "
                                  "wrong name."));
    set.captures.back().blocks = blocksOf(0, 32);
    const Evaluation other(set, usualPlan(), kQuiet);
    EXPECT_THAT(named(sectionsOf(other), "Recommended thresholds").after[0],
                testing::EndsWith("No stranger reached 0.8751: raise the configured thresholds to "
                                  "it where they are lower; more people may need more."));
}

TEST(Evaluation, RecommendsWhatEnoughComparisonsTell) {
    const CaptureSet set = threePalms();
    EvaluationPlan plan = usualPlan();
    plan.gallery = 1;
    plan.falseAccept = 0.4;  // 8 comparisons tell 37.5 %
    const Evaluation evaluation(set, plan, kQuiet);
    ASSERT_TRUE(evaluation.identification().chosen);
    EXPECT_EQ(evaluation.threshold(), evaluation.identification().chosen->point.threshold);
    const Section section = named(sectionsOf(evaluation), "Recommended thresholds");
    EXPECT_THAT(section.table.rows[0][1], StartsWith("auth_threshold = filter_threshold = 0."));
    EXPECT_THAT(section.table.rows[0],
                testing::Contains("37.4 %").Times(2));  // of a comparison, and of a search of one
    const Json told = jsonOf(evaluation)["recommended"]["identification"];
    EXPECT_EQ(told["threshold"], evaluation.threshold());
    EXPECT_EQ(told["isTold"], true);
    EXPECT_NEAR(told["fmrAtMost"].get<double>(), 0.3745, 1e-4);
}

TEST(Evaluation, ASearchOfEnrolledPalmsComparesWithEachOnce) {
    EvaluationPlan plan = usualPlan();
    plan.gallery = 50;
    plan.centres = 3;
    EXPECT_EQ(plan.searched(), 150.0);
    plan.enrolment = 4;
    EXPECT_EQ(plan.searched(), 50.0);
}

std::string faultOf(const CaptureSet& set, const EvaluationPlan& plan) {
    try {
        const Evaluation evaluation(set, plan, kQuiet);
    } catch (const Fault& fault) {
        EXPECT_EQ(fault.ending(), Ending::no);
        return fault.what() + ("\n" + fault.advice());
    }
    return "";
}

TEST(Evaluation, SaysWhenNoCaptureIsLeftBeyondTheEnrolment) {
    EvaluationPlan plan = usualPlan();
    plan.enrolment = 2;
    EXPECT_EQ(faultOf(threePalms(), plan),
              "no palm has a good capture left beyond the 2 of its enrolment\n"
              "Take more pictures of each palm, or give a smaller --enrol; --ignore-guidance takes "
              "pictures that the limits of the configuration refuse.");
}

TEST(Evaluation, SaysWhenOnlyOnePalmIsEnrolled) {
    CaptureSet set = threePalms();
    addCapture(set, 0, "anna_3.png", 0, 32);
    set.captures.erase(set.captures.begin() + 3);  // the second of bela
    EvaluationPlan plan = usualPlan();
    plan.enrolment = 2;
    EXPECT_EQ(faultOf(set, plan),
              "only one palm has the 2 good captures of an enrolment\n"
              "Take more pictures of the other palms, or give a smaller --enrol: without strangers "
              "nothing can be said about them.");
}

TEST(Evaluation, SaysWhenNoPictureCouldBeRead) {
    CaptureSet set;
    set.palms = {"anna", "bela"};
    set.unreadable = {"anna_1.png is no picture that can be read"};
    EXPECT_EQ(faultOf(set, usualPlan()),
              "no picture could be read\n"
              "Give pictures (png, jpeg, pgm, ...), or raw planes of grey with --size.");
}

TEST_F(ReportOfThreePalms, NamesTheComparisonsToLookAt) {
    const Section section = named(sections, "Comparisons to look at");
    ASSERT_EQ(section.table.rows.size(), 7U);
    EXPECT_THAT(section.table.rows[0], ElementsAre("own, least alike", "anna_1.png", "anna_2.png",
                                                   "0.750", "0.750", "0.750"));
    EXPECT_EQ(section.table.rows[2][0], "other, most alike");
}

TEST_F(ReportOfThreePalms, HasNoSearchesAndNoConditions) {
    for (const Section& section : sections) {
        EXPECT_NE(section.title, "Searches");
        EXPECT_NE(section.title, "Errors by condition");
    }
}

TEST_F(ReportOfThreePalms, IsJsonForPrograms) {
    const Json json = jsonOf(evaluation);
    EXPECT_EQ(json["captures"]["refusals"]["too_dark"], 1);
    EXPECT_EQ(json["captures"]["refused"][0]["frame"], "cora_2.png");
    EXPECT_EQ(json["comparisons"]["genuine"], 2);
    EXPECT_EQ(json["comparisons"]["impostors"], 8);
    EXPECT_EQ(json["comparisons"]["palmPairs"], 3);
    EXPECT_EQ(json["scores"]["mean"]["eer"], 0.0);
    EXPECT_TRUE(json["scores"]["mean"]["fnmrAtFmr"][0]["fnmr"].is_null());
    const Json recommended = json["recommended"]["identification"];
    EXPECT_EQ(recommended["isTold"], false);
    for (const char* key :
         {"threshold", "fmr", "fmrAtMost", "falseAcceptAtMost", "fnmr", "fnmrAtMost"}) {
        EXPECT_TRUE(recommended[key].is_null()) << key;
    }
    EXPECT_LE(recommended["noStrangerReached"].get<double>(), 0.3001);
    EXPECT_FALSE(json.contains("searches"));
}

TEST_F(ReportOfThreePalms, GoesIntoAFolder) {
    const TemporaryFolder place;
    const std::filesystem::path folder = place.path() / "a" / "report";
    makeReportFolder(folder);
    writeEvaluation(folder, evaluation, sections);
    EXPECT_THAT(readFile(folder / "report.md"),
                testing::AllOf(StartsWith("# Evaluation\n"), HasSubstr("## Recommended thresholds"),
                               HasSubstr("| own, least alike | anna_1.png |"),
                               Not(HasSubstr("conditions.svg"))));
    EXPECT_THAT(readFile(folder / "scores.csv"),
                StartsWith("probe,reference,same,block0,block1,block2\n"
                           "anna_1.png,anna_2.png,1,0.7500,0.7500,0.7500\n"
                           "anna_1.png,bela_1.png,0,"));
    EXPECT_EQ(test::xmlFault(readFile(folder / "histograms.svg")), "");
    EXPECT_EQ(test::xmlFault(readFile(folder / "tradeoff.svg")), "");
    EXPECT_FALSE(std::filesystem::exists(folder / "conditions.svg"));
}

TEST_F(ReportOfThreePalms, SaysWhichFileCannotBeWritten) {
    const TemporaryFolder place;
    std::filesystem::create_directory(place.file("report.md"));
    try {
        writeEvaluation(place.path(), evaluation, sections);
        FAIL();
    } catch (const InputFault& fault) {
        EXPECT_EQ(fault.what(), place.file("report.md") + " cannot be written");
    }
}

TEST(Evaluation, SaysWhenAFolderCannotBeWritten) {
    const TemporaryFolder place;
    const std::string file = place.write("file", "");
    try {
        makeReportFolder(file);
        FAIL();
    } catch (const InputFault& fault) {
        EXPECT_EQ(fault.what(), file + " cannot be written");
        EXPECT_EQ(fault.advice(), "Name a folder that you may write to, on a disk with room.");
    }
}

TEST(Evaluation, OfEnrolledPalmsSearchesThem) {
    const CaptureSet set = threePalms();
    EvaluationPlan plan = usualPlan();
    plan.enrolment = 1;
    const Evaluation evaluation(set, plan, kQuiet);
    EXPECT_EQ(evaluation.trials().searches(), 2U);
    const std::vector<Section> sections = sectionsOf(evaluation);
    EXPECT_THAT(named(sections, "Captures").after,
                ElementsAre("Enrolled from 1 capture: 3 of 3 palms; failure to enrol 0 %.",
                            "Compared: 2 times a palm with itself, 4 times with another (3 pairs "
                            "of palms)."));
    EXPECT_THAT(named(sections, "Searches").after,
                ElementsAre("Too few probes to tell an FPIR of 1 %: it takes 300."));
    EXPECT_EQ(jsonOf(evaluation)["searches"]["gallery"], 3);
}

TEST(Evaluation, ShowsErrorsByCondition) {
    CaptureSet set = threePalms();
    set.traits = {{"light", "lux"}};
    for (std::size_t i = 0; i < set.captures.size(); ++i) {
        set.captures[i].traits = {static_cast<float>(i)};
    }
    const Evaluation evaluation(set, usualPlan(), kQuiet);
    const Section section = named(sectionsOf(evaluation), "Errors by condition");
    ASSERT_EQ(section.table.rows.size(), 5U);
    EXPECT_THAT(section.table.rows[0], ElementsAre("light, lux", "0 to 1", "2", "0 %", "2", "0 %"));
    EXPECT_THAT(section.table.rows[4], ElementsAre("light, lux", "5 to 5", "1", "100 %", "0", "-"));
    const TemporaryFolder place;
    writeEvaluation(place.path(), evaluation, {section});
    EXPECT_EQ(test::xmlFault(readFile(place.file("conditions.svg"))), "");
    EXPECT_THAT(readFile(place.file("conditions.svg")), HasSubstr("light, lux"));
}

TEST(Tables, AlignTheFirstColumnLeftAndTheOthersRight) {
    const Table table{{"", "EER", "n"}, {{"block 0", "1.5 %"}, {"mean", "0 %", "12"}}};
    EXPECT_THAT(linesOf(table),
                ElementsAre("           EER   n", "block 0  1.5 %", "mean       0 %  12"));
    EXPECT_THAT(markdownOf(table), ElementsAre("|  | EER | n |", "|---|---:|---:|",
                                               "| block 0 | 1.5 % |  |", "| mean | 0 % | 12 |"));
}

TEST(Tables, HoldNamesOfAnyKind) {
    const Table table{{"name", "n"}, {{"a|b\\c", "1"}, {"d\ne\x1b[2J", "2"}}};
    EXPECT_THAT(linesOf(table),
                ElementsAre("name         n", "a|b\\c        1", "d\\ne\\x1b[2J  2"));
    EXPECT_THAT(markdownOf(table), ElementsAre("| name | n |", "|---|---:|", "| a\\|b\\\\c | 1 |",
                                               "| d\\\\ne\\\\x1b[2J | 2 |"));
}

TEST(Printable, WritesOutWhatWouldBreakALineOrCommandATerminal) {
    EXPECT_EQ(printable("Anna's \xc3\xa4lteste_1.png \xe2\x82\xac \xf0\x9f\x96\x90"),
              "Anna's \xc3\xa4lteste_1.png \xe2\x82\xac \xf0\x9f\x96\x90");
    EXPECT_EQ(printable("a\nb\rc\td\x1b[31m\x7f"), "a\\nb\\rc\\td\\x1b[31m\\x7f");
    EXPECT_EQ(printable("\xc2\x9b"), "\\xc2\\x9b");          // a command of terminals
    EXPECT_EQ(printable("\xe4.png"), "\\xe4.png");           // no UTF-8
    EXPECT_EQ(printable("cut \xe2\x82"), "cut \\xe2\\x82");  // nor this
    EXPECT_EQ(printable(std::string_view("\0", 1)), "\\x00");
    EXPECT_EQ(printable(""), "");
}

TEST(SvgPicture, EscapesWhatXmlReserves) {
    SvgPicture picture(10, 10);
    picture.text({1, 2}, "a < b & c > d", "");
    EXPECT_THAT(picture.document(), HasSubstr("x='1.0' y='2.0' >a &lt; b &amp; c &gt; d</text>"));
    EXPECT_EQ(test::xmlFault(picture.document()), "");
}

TEST(PalmNames, AreWhatStandsBeforeTheLastUnderscore) {
    EXPECT_EQ(palmNameOf("anna_1.png"), "anna");
    EXPECT_EQ(palmNameOf("anna-left_3.png"), "anna-left");
    EXPECT_EQ(palmNameOf("anna_left_3.png"), "anna_left");
}

TEST(PalmNames, HaveTheSubFolderInFront) {
    EXPECT_EQ(palmNameOf("team/anna_1.png"), "team/anna");
    EXPECT_EQ(palmNameOf("team/anna/1.png"), "team/anna");
}

TEST(PalmNames, MustTellAPalm) {
    for (const char* name : {"anna.png", "_1.png", "team/_1.png"}) {
        try {
            palmNameOf(name);
            ADD_FAILURE() << name;
        } catch (const InputFault& fault) {
            EXPECT_EQ(fault.what(), std::string(name) + " does not say whose palm it shows");
            EXPECT_EQ(fault.advice(),
                      "Name pictures after the palm and the capture, like anna-left_3.png: what "
                      "stands before the last underscore is the palm.");
        }
    }
}

TEST(PalmPictures, AreFoundInSubFoldersAndOtherFilesArePassedOver) {
    const TemporaryFolder place;
    std::filesystem::create_directories(place.path() / "b");
    for (const char* name : {"z_1.png", "b/a_2.JPG", "b/a_1.raw", "index.csv", "b/notes.txt"}) {
        place.write(name, "");
    }
    std::vector<std::string> found;
    for (const PalmPicture& picture : palmPicturesIn(place.path())) {
        found.push_back(picture.palm + " " + picture.path.filename().string());
    }
    EXPECT_THAT(found, ElementsAre("b/a a_1.raw", "b/a a_2.JPG", "z z_1.png"));
}

std::string faultOf(const std::string& folder) {
    try {
        palmPicturesIn(folder);
    } catch (const InputFault& fault) {
        return fault.what();
    }
    return "";
}

TEST(PalmPictures, NeedAFolderWithPictures) {
    const TemporaryFolder place;
    EXPECT_EQ(faultOf(place.file("none")), place.file("none") + " is not there");
    EXPECT_EQ(faultOf(place.write("file", "")), place.file("file") + " is no folder");
    EXPECT_EQ(faultOf(place.path().string()), place.path().string() + " holds no pictures");
}

}  // namespace
}  // namespace brairu::tool
