// Whole hosts on the shipped networks: what an integrator's process sees.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "brairu.h"
#include "endToEnd/workplace.h"

namespace brairu::test {
namespace {

using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Eq;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr int kRefusedExit = 1;       // a non-zero status of the NPU stack
constexpr int kUnpreparedExit = 255;  // no network to prepare

constexpr char kRebuilding[] = "######### pva search rebuild ############";

// Most captures are recognised as this palm, and none as another.
void expectRecognised(const HostRun& run, int person, Hand hand) {
    const std::string line = recognisedLine(person, hand);
    EXPECT_EQ(run.exitStatus, 0) << run.output;
    EXPECT_GE(std::ranges::count(run.results, line), 4) << testing::PrintToString(run.results);
    EXPECT_THAT(run.results, Each(AnyOf(Eq(line), Not(StartsWith("user")))));
}

void expectUnknown(const HostRun& run) {
    EXPECT_EQ(run.exitStatus, 0) << run.output;
    EXPECT_THAT(run.results, Contains("nobody"));
    EXPECT_THAT(run.results, Each(Not(StartsWith("user"))));
}

void expectEnrolled(const HostRun& run) {
    EXPECT_EQ(run.exitStatus, 0) << run.output;
    ASSERT_FALSE(run.results.empty());
    EXPECT_THAT(run.results.back(), StartsWith("status 11 "));
}

// The engine did not start, and said so before it ended the process.
void expectRefusedModel(const HostRun& run) {
    EXPECT_THAT(run.exitStatus, AnyOf(kRefusedExit, kUnpreparedExit)) << run.output;
    EXPECT_THAT(run.output, AnyOf(HasSubstr("ERROR: failed with status = ("),
                                  HasSubstr("this face mode must be one input!")));
    EXPECT_THAT(run.results, IsEmpty());
}

void damageByteAt(const std::string& path, double place) {
    std::string content = readFile(path);
    char& byte = content[static_cast<std::size_t>(place * static_cast<double>(content.size() - 1))];
    byte = static_cast<char>(byte ^ 0x41);
    std::ofstream(path, std::ios::binary) << content;
}

TEST(EndToEnd, RecognisesAPalmInANewProcess) {
    const Workplace place;
    expectEnrolled(place.enrol(0, Hand::left));
    expectRecognised(place.identify(0, Hand::left), 0, Hand::left);
}

TEST(EndToEnd, TellsTheTwoHandsOfAPersonApart) {
    const Workplace place;
    expectEnrolled(place.enrol(0, Hand::left));
    expectUnknown(place.identify(0, Hand::right));
    expectEnrolled(place.enrol(0, Hand::right));
    expectRecognised(place.identify(0, Hand::left), 0, Hand::left);
    expectRecognised(place.identify(0, Hand::right), 0, Hand::right);
}

TEST(EndToEnd, TurnsAStrangerAway) {
    const Workplace place;
    expectEnrolled(place.enrol(0, Hand::left));
    expectUnknown(place.identify(1, Hand::left));
}

TEST(EndToEnd, RefusesToEnrolAPalmTwice) {
    const Workplace place;
    expectEnrolled(place.enrol(0, Hand::left));
    const HostRun again = place.enrol(0, Hand::left);
    EXPECT_THAT(again.results.back(), StartsWith("status 13 "));
    EXPECT_THAT(place.host({"count"}).results, ElementsAre("palms 1"));
}

TEST(EndToEnd, ForgetsADeletedUser) {
    const Workplace place;
    expectEnrolled(place.enrol(0, Hand::left));
    EXPECT_THAT(place.host(keyOf("delete", 0, Hand::left)).results, ElementsAre("deleted 1"));
    EXPECT_THAT(place.host(keyOf("exists", 0, Hand::left)).results, ElementsAre("exists 0"));
    expectUnknown(place.identify(0, Hand::left));
}

TEST(EndToEnd, VerifiesOneToOne) {
    const Workplace place;
    const std::vector<std::string> own = place.frames(0, Hand::left, 500, 2);
    EXPECT_THAT(place.host({"verify", own[0], own[1]}).results, ElementsAre("same palm"));
    const std::string other = place.frames(1, Hand::left, 502, 1)[0];
    EXPECT_THAT(place.host({"verify", own[0], other}).results, ElementsAre("another palm"));
}

TEST(EndToEnd, KeepsPalmsWhenTheCentreCountChanges) {
    Workplace place;
    expectEnrolled(place.enrol(0, Hand::left));
    for (const int centres : {3, 1, 2}) {
        place.config["database"]["regis_center_count"] = centres;
        const HostRun run = place.identify(0, Hand::left);
        EXPECT_THAT(run.output, HasSubstr(kRebuilding)) << centres;
        expectRecognised(run, 0, Hand::left);
        EXPECT_THAT(place.host({"count"}).results, ElementsAre("palms 1")) << centres;
    }
}

TEST(EndToEnd, EnrolsSeveralCentres) {
    Workplace place;
    place.config["database"]["regis_center_count"] = 3;
    expectEnrolled(place.enrol(0, Hand::left));
    expectRecognised(place.identify(0, Hand::left), 0, Hand::left);
}

TEST(EndToEnd, RebuildsADeletedCacheFile) {
    const Workplace place;
    expectEnrolled(place.enrol(0, Hand::left));
    std::filesystem::remove(place.file("palms.bin"));
    const HostRun run = place.identify(0, Hand::left);
    EXPECT_THAT(run.output, HasSubstr(kRebuilding));
    expectRecognised(run, 0, Hand::left);
}

TEST(EndToEnd, RebuildsACacheFileOfAnotherSize) {
    const Workplace place;
    expectEnrolled(place.enrol(0, Hand::left));
    for (const std::uintmax_t size : {0, 1, 9999, 10000000}) {
        std::filesystem::resize_file(place.file("palms.bin"), 0);
        std::filesystem::resize_file(place.file("palms.bin"), size);
        expectRecognised(place.identify(0, Hand::left), 0, Hand::left);
    }
}

TEST(EndToEnd, DoesNotRebuildOnAPlainRestart) {
    const Workplace place;
    expectEnrolled(place.enrol(0, Hand::left));
    const HostRun run = place.host({"count"});
    EXPECT_THAT(run.output, Not(HasSubstr(kRebuilding)));
    EXPECT_THAT(run.output, HasSubstr("pva search init succ"));
}

TEST(EndToEnd, StartsWithAFolderInPlaceOfTheDatabase) {
    const Workplace place;
    std::filesystem::create_directory(place.file("palms.db"));
    const HostRun run = place.host({"count"});
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_THAT(run.results, ElementsAre("palms 0"));
    EXPECT_THAT(place.host({"wipe"}).results, ElementsAre("wiped 0"));
}

TEST(EndToEnd, LeavesAForeignFileInPlaceOfTheDatabaseAlone) {
    const Workplace place;
    const std::string foreign =
        "This is a shopping list and no database.\n" + std::string(4096, 'x');
    std::ofstream(place.file("palms.db")) << foreign;
    EXPECT_EQ(place.host({"count"}).exitStatus, 0);
    EXPECT_THAT(place.enrol(0, Hand::left).results.back(), StartsWith("status 12 "));
    EXPECT_EQ(readFile(place.file("palms.db")), foreign);
}

TEST(EndToEnd, StartsWithoutAFolderForTheStore) {
    Workplace place;
    place.config["database"]["database_path"] = place.file("missing/palms.db");
    place.config["database"]["search_index_path"] = place.file("missing/palms.bin");
    const HostRun run = place.host({"count"});
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_THAT(run.output, HasSubstr("open: No such file or directory"));
    EXPECT_THAT(run.results, ElementsAre("palms 0"));
}

class ModelFile : public testing::TestWithParam<std::pair<std::string, std::string>> {
protected:
    std::string ownCopy() { return place_.ownModel(GetParam().first, GetParam().second); }
    HostRun start() { return place_.host({"count"}); }

    Workplace place_;
};

TEST_P(ModelFile, OneDamagedByteIsRefused) {
    for (const double damaged : {0.0, 0.01, 0.37, 0.8, 1.0}) {
        const std::string path = ownCopy();
        damageByteAt(path, damaged);
        expectRefusedModel(start());
        place_.config = Workplace().config;
    }
}

TEST_P(ModelFile, ATruncatedOneIsRefused) {
    const std::string path = ownCopy();
    for (const std::uintmax_t size :
         {std::filesystem::file_size(path) - 1, std::uintmax_t{1032}, std::uintmax_t{9},
          std::uintmax_t{8}, std::uintmax_t{7}, std::uintmax_t{0}}) {
        std::filesystem::resize_file(path, size);
        expectRefusedModel(start());
    }
}

TEST_P(ModelFile, AMissingOneIsNamedAndRefused) {
    std::filesystem::remove(ownCopy());
    const HostRun run = start();
    EXPECT_THAT(run.output, HasSubstr("无法打开输入文件：\r\n"));
    expectRefusedModel(run);
}

TEST_P(ModelFile, AForeignOneIsRefused) {
    std::ofstream(ownCopy()) << std::string(100000, 'q');
    expectRefusedModel(start());
}

INSTANTIATE_TEST_SUITE_P(All, ModelFile,
                         testing::Values(std::pair("handpose", "model_path_net"),
                                         std::pair("handpose", "model_path_blobs"),
                                         std::pair("feature", "model_path_net"),
                                         std::pair("feature", "model_path_blobs"),
                                         std::pair("feature", "support_model_path_net"),
                                         std::pair("feature", "support_model_path_blobs")),
                         [](const auto& model) {
                             return model.param.first + "_" + model.param.second;
                         });

TEST(EndToEnd, RefusesTheWeightsOfAnotherNetwork) {
    Workplace place;
    place.config["feature"]["model_path_blobs"] =
        place.config["feature"]["support_model_path_blobs"];
    expectRefusedModel(place.host({"count"}));
}

TEST(EndToEnd, CopesWithFramesOfAnySize) {
    const Workplace place;
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(2, 3), cv::Size(127, 129),
                                cv::Size(33, 700), cv::Size(1281, 799)}) {
        const std::string frame = place.frame("grey", cv::Mat(size, CV_8UC1, cv::Scalar(90)));
        EXPECT_THAT(place.host({"detect", frame}, size).results, ElementsAre("found 0")) << size;
    }
}

TEST(EndToEnd, RecognisesFramesOfOddAndPortraitSizes) {
    Workplace place;
    // Two captures are less alike than a capture and the template of an enrolment.
    place.config["feature"]["auth_threshold"] = 0.5;
    for (const cv::Size size : {cv::Size(641, 479), cv::Size(481, 641), cv::Size(1281, 801)}) {
        const std::vector<std::string> frames = place.frames(2, Hand::right, 700, 2, size);
        EXPECT_THAT(place.host({"verify", frames[0], frames[1]}, size).results,
                    ElementsAre("same palm"))
            << size;
    }
}

// Each test is a process of its own, so the engine is fresh in it.

TEST(EndToEndStart, ABrokenConfigurationThrowsTheJsonError) {
    const TemporaryFolder folder;
    const std::string path = folder.write("brairu.json", R"({"feature": {"security_level": 1,)");
    EXPECT_THROW(init_pva(path.c_str()), nlohmann::ordered_json::type_error);
}

TEST(EndToEndStart, AWrongTypedKeyThrowsAndTheMendedFileStarts) {
    Workplace place;
    place.config["feature"]["security_level"] = "1";
    place.writeConfig();
    try {
        init_pva(place.configPath().c_str());
        FAIL() << "no exception";
    } catch (const std::exception& fault) {
        EXPECT_THAT(fault.what(), HasSubstr("type must be number, but is string"));
    }
    place.config["feature"]["security_level"] = 1;
    place.writeConfig();
    EXPECT_EQ(init_pva(place.configPath().c_str()), 1u);
    EXPECT_EQ(pvaDataBaseGetAllPalmCount(), 0);
}

TEST(EndToEndStart, TheShippedConfigurationStartsInTheRepositoryRoot) {
    Workplace place;  // the shipped document, but for the place of its store
    place.writeConfig();
    EXPECT_EQ(init_pva(place.configPath().c_str()), 1u);
    EXPECT_EQ(deinit_pva(), 1u);
}

}  // namespace
}  // namespace brairu::test
