// What is said of the values of a configuration.
#include <gmock/gmock.h>

#include <fstream>

#include "examination/configExamination.h"
#include "fault.h"
#include "support/temporaryFolder.h"

namespace brairu::tool {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class ConfigExamination : public testing::Test {
protected:
    ConfigExamination() { std::ifstream(BRAIRU_SOURCE_DIR "/config/brairu.json") >> config; }

    // The only finding.
    Finding finding() const {
        const Findings found = examineValues(config);
        EXPECT_EQ(found.size(), 1U);
        return found.empty() ? Finding{} : found.front();
    }
    void expectFinding(Level level, const std::string& what, const std::string& advice) const {
        const Finding found = finding();
        EXPECT_EQ(found.level, level);
        EXPECT_THAT(found.what, HasSubstr(what));
        EXPECT_EQ(found.advice, advice);
    }

    ConfigDocument config;
};

TEST_F(ConfigExamination, TheShippedConfigurationIsInOrder) {
    EXPECT_THAT(examineValues(config), IsEmpty());
}

TEST_F(ConfigExamination, AMissingKeyIsAFault) {
    config["handpose"].erase("blur_threshold");
    expectFinding(Level::fault,
                  "handpose.blur_threshold (least sharpness of a palm that is not blurred) is "
                  "missing",
                  "Set handpose.blur_threshold to a number, 0 or more.");
}

TEST_F(ConfigExamination, KeysThatTheLibraryDoesNotNeedMayBeAbsentButNotNull) {
    config["handpose"].erase("dynamic_detection_level");
    config["handpose"].erase("enable_enhance");
    EXPECT_THAT(examineValues(config), IsEmpty());
    config["handpose"]["dynamic_detection_level"] = nullptr;
    EXPECT_EQ(finding().level, Level::fault);
}

TEST_F(ConfigExamination, AMissingSectionIsAFaultOfEachOfItsKeys) {
    config.erase("database");
    EXPECT_EQ(examineValues(config).size(), 4U);
}

TEST_F(ConfigExamination, AWrongTypeIsAFault) {
    config["debug"] = 1;
    expectFinding(Level::fault, "is number, not true or false", "Set debug to true or false.");
}

TEST_F(ConfigExamination, AValueThatTheEngineTakesAndThatIsOfNoUseIsAWarning) {
    config["handpose"]["dynamic_detection_level"] = 5;
    expectFinding(Level::warning, "is 5",
                  "Set handpose.dynamic_detection_level to a whole number from 0 to 4.");
}

TEST_F(ConfigExamination, OnlyOneFeatureLengthIsSupported) {
    config["feature"]["feature_len"] = 256;
    expectFinding(Level::fault, "is 256", "Set feature.feature_len to a whole number, 512.");
}

TEST_F(ConfigExamination, AFractionForAWholeNumberIsReadTruncated) {
    config["feature"]["security_level"] = 2.7;
    expectFinding(Level::warning, "is 2.7 and is read as 2",
                  "Set feature.security_level to a whole number from 1 to 100.");
}

TEST_F(ConfigExamination, ATruthValueCountsAsANumber) {
    config["feature"]["security_level"] = true;
    expectFinding(Level::warning, "is true, which counts as a number",
                  "Set feature.security_level to a whole number from 1 to 100.");
}

TEST_F(ConfigExamination, AnUnknownKeyMayBeATypingError) {
    config["feature"]["auth_treshold"] = 0.5;
    expectFinding(Level::warning, "feature.auth_treshold is no setting of the library",
                  "Look for a typing error; if it is your host's own, all is well.");
}

TEST_F(ConfigExamination, LimitsThatNoHandMeetsAreAWarning) {
    config["handpose"]["brightness_threshold_max"] = 35;
    expectFinding(Level::warning,
                  "handpose.brightness_threshold_min is 35, which is not below "
                  "handpose.brightness_threshold_max, 35",
                  "No hand can be right for both: set the first below the second.");
}

TEST_F(ConfigExamination, TooFewCapturesForTheTemplatesAreAFault) {
    config["database"]["regis_center_count"] = 8;
    expectFinding(Level::fault,
                  "database.regis_max_count is 6, too few captures for the templates of "
                  "database.regis_center_count, 8",
                  "Enrolling would fail: set regis_max_count to regis_center_count - 1 at least.");
}

TEST_F(ConfigExamination, AnEmptyPathIsAFault) {
    config["database"]["database_path"] = "";
    expectFinding(Level::fault, "database.database_path (the template database) is empty",
                  "Set database.database_path to a path.");
}

TEST_F(ConfigExamination, SoundnessIsAskedOfTheNamedSettingsAlone) {
    config["feature"]["security_level"] = "2";
    EXPECT_TRUE(areSound(config, {"feature.input_w", "debug"}));
    EXPECT_FALSE(areSound(config, {"feature.input_w", "feature.security_level"}));
}

TEST_F(ConfigExamination, OnlyFaultsKeepTheEngineFromStarting) {
    const test::TemporaryFolder folder;
    const std::string path = folder.file("brairu.json");
    const auto read = [&] {
        std::ofstream(path) << config;
        return readSoundConfiguration(path);
    };
    config["feature"]["security_level"] = 2.7;
    EXPECT_EQ(read(), config);
    config["feature"]["security_level"] = 0;
    EXPECT_EQ(read(), config);
    config["database"]["regis_center_count"] = 0;
    EXPECT_THROW(read(), EngineFault);
}

}  // namespace
}  // namespace brairu::tool
