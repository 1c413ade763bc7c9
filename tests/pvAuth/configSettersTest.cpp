#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>

#include "brairu.h"
#include "publishedEngine.h"
#include "support/captureOutput.h"
#include "support/scriptedLog.h"

namespace brairu {
namespace {

using test::LogLine;
using test::PublishedEngine;
using test::readFile;
using test::ScriptedLog;
using test::stdoutOf;
using test::thrownBy;
using testing::ElementsAre;
using testing::IsEmpty;

struct Setter {
    const char* name;
    std::function<std::uint32_t()> call;
    const char* section;
    const char* key;
    ConfigDocument value;  // that the call is to store
};

std::ostream& operator<<(std::ostream& stream, const Setter& setter) {
    return stream << setter.name;
}

template <class Number>
Setter setterOf(const char* name, std::uint32_t (*call)(Number), Number value, const char* section,
                const char* key) {
    return {name, [=] { return call(value); }, section, key, value};
}

#define SETTER(call, value, section, key) setterOf(#call, call, value, section, key)

std::vector<Setter> everySetter() {
    return {
        SETTER(pvaConfigSetAuthThreshold, 0.7f, "feature", "auth_threshold"),
        SETTER(pvaConfigSetHandThreshold, 0.3f, "handpose", "model_probability_threshold"),
        SETTER(pvaConfigSetBrightnessThresholdMin, 31u, "handpose", "brightness_threshold_min"),
        SETTER(pvaConfigSetBrightnessThresholdMax, 4294967295u, "handpose",
               "brightness_threshold_max"),
        SETTER(pvaConfigSetBlurThresholdMin, 33u, "handpose", "blur_threshold_min"),
        SETTER(pvaConfigSetBlurThresholdMax, 34u, "handpose", "blur_threshold_max"),
        SETTER(pvaConfigSetHorizontalOffsetTolerance, 0.11f, "handpose",
               "horizontal_offset_tolerance"),
        SETTER(pvaConfigSetVerticalOffsetTolerance, -0.12f, "handpose",
               "vertical_offset_tolerance"),
        SETTER(pvaConfigSetHandSizeWidthMin, 0.13f, "handpose", "hand_size_width_min"),
        SETTER(pvaConfigSetHandSizeWidthMax, 0.14f, "handpose", "hand_size_width_max"),
        SETTER(pvaConfigSetHandSizeHeightMin, 0.15f, "handpose", "hand_size_height_min"),
        SETTER(pvaConfigSetHandSizeHeightMax, 1e30f, "handpose", "hand_size_height_max"),
        SETTER(pvaConfigSetEnhance, 1u, "handpose", "enable_enhance"),
        SETTER(pvaConfigSetRegisCenterCount, 3u, "database", "regis_center_count"),
        SETTER(pvaConfigSetRegisMaxCount, 8u, "database", "regis_max_count"),
        SETTER(pvaConfigSetDynamicDetectionLevel, 4u, "handpose", "dynamic_detection_level"),
    };
}

#undef SETTER

class EverySetter : public PublishedEngine, public testing::WithParamInterface<Setter> {};

TEST_P(EverySetter, StoresTheValueInDocumentCopyAndFile) {
    publish();
    const Setter& setter = GetParam();
    EXPECT_EQ(stdoutOf([&] { EXPECT_EQ(setter.call(), 1u); }), "");
    ConfigDocument expected = folder_.document;
    expected[setter.section][setter.key] = setter.value;
    EXPECT_EQ(document(), expected);
    EXPECT_EQ(store().config(), expected);
    EXPECT_EQ(readFile(folder_.configPath()), expected.dump(4));
    EXPECT_THAT(ScriptedLog::lines(), IsEmpty());
}

TEST_P(EverySetter, StoresTheTypeOfItsArgument) {
    publish();
    const Setter& setter = GetParam();
    setter.call();
    EXPECT_EQ(document()[setter.section][setter.key].type(), setter.value.type());
    const ConfigDocument file = ConfigDocument::parse(readFile(folder_.configPath()));
    EXPECT_EQ(file[setter.section][setter.key].type(), setter.value.type());
    EXPECT_EQ(file[setter.section][setter.key], setter.value);
}

TEST_P(EverySetter, MakesAMissingSectionWithItsOneKey) {
    publish();
    const Setter& setter = GetParam();
    document().erase(setter.section);
    EXPECT_EQ(setter.call(), 1u);
    const ConfigDocument file = ConfigDocument::parse(readFile(folder_.configPath()));
    EXPECT_EQ(file[setter.section], (ConfigDocument{{setter.key, setter.value}}));
}

TEST_P(EverySetter, RaisesForASectionOfTheWrongTypeAndChangesNothing) {
    publish();
    const Setter& setter = GetParam();
    document()[setter.section] = "text";
    const std::string before = readFile(folder_.configPath());
    EXPECT_EQ(thrownBy<nlohmann::json::type_error>(setter.call),
              "[json.exception.type_error.305] cannot use operator[] with a string argument with "
              "string");
    EXPECT_EQ(readFile(folder_.configPath()), before);
    EXPECT_EQ(store().config(), folder_.document);
    EXPECT_EQ(engine().detectionLevel, 2);
}

TEST_P(EverySetter, ThrowsWhileTheEngineIsNotStarted) {
    EXPECT_EQ(thrownBy<std::logic_error>(GetParam().call),
              std::string(GetParam().name) + ": the engine is not started; call init_pva first");
}

TEST_P(EverySetter, KeepsTheValueInMemoryWhenTheFileCannotBeWritten) {
    publish();
    const Setter& setter = GetParam();
    std::filesystem::remove(folder_.configPath());
    std::filesystem::create_directory(folder_.configPath());
    EXPECT_EQ(stdoutOf([&] { EXPECT_EQ(setter.call(), 1u); }), "");
    EXPECT_EQ(store().config()[setter.section][setter.key], setter.value);
    EXPECT_THAT(ScriptedLog::lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, EverySetter, testing::ValuesIn(everySetter()),
                         [](const auto& suite) { return std::string(suite.param.name); });

class ConfigSetters : public PublishedEngine {
protected:
    ConfigSetters() { publish(); }

    static std::uint32_t detect(PvaHandPose& pose) {
        const std::vector<std::uint8_t> plane(640 * 480, 100);
        return pvaGetHandPose(plane.data(), 640, 480, &pose);
    }
};

TEST_F(ConfigSetters, RefuseADetectionLevelAboveFour) {
    const std::string before = readFile(folder_.configPath());
    for (const std::uint32_t level : {5u, 6u, 4294967295u}) {
        ScriptedLog::clear();
        EXPECT_EQ(pvaConfigSetDynamicDetectionLevel(level), 0u);
        EXPECT_THAT(ScriptedLog::lines(),
                    ElementsAre(LogLine{6, "pva", "动态检测等级必须在0-4之间\r\n"}));
    }
    EXPECT_EQ(readFile(folder_.configPath()), before);
    EXPECT_EQ(document(), folder_.document);
    EXPECT_EQ(engine().detectionLevel, 2);
}

TEST_F(ConfigSetters, AcceptEveryDetectionLevelUpToFour) {
    for (const std::uint32_t level : {0u, 1u, 2u, 3u, 4u}) {
        EXPECT_EQ(pvaConfigSetDynamicDetectionLevel(level), 1u);
        EXPECT_EQ(engine().detectionLevel, static_cast<int>(level));
        EXPECT_EQ(document()["handpose"]["dynamic_detection_level"], level);
    }
}

TEST_F(ConfigSetters, ChangeWhatTheNextDetectionAsksFor) {
    PvaHandPose pose{};
    EXPECT_EQ(detect(pose), 1u);
    pvaConfigSetHandThreshold(0.95f);
    EXPECT_EQ(detect(pose), 0u);
}

TEST_F(ConfigSetters, ChangeThePlacementOfTheNextCapture) {
    PvaHandPose pose{};
    ASSERT_EQ(detect(pose), 1u);
    std::vector<std::uint8_t> plane(640 * 480, 100);
    std::vector<std::uint8_t> features(PVA_FEATURE_BYTES);
    pvaConfigSetHorizontalOffsetTolerance(0.99f);
    EXPECT_EQ(pvaGetFeat(plane.data(), 640, 480, &pose, features.data()), 1u);
}

TEST_F(ConfigSetters, WriteAFloatThatAFreshProcessReadsAgain) {
    pvaConfigSetAuthThreshold(0.5f);
    ConfigDocument file = ConfigDocument::parse(readFile(folder_.configPath()));
    EXPECT_EQ(file["feature"]["auth_threshold"].dump(), "0.5");
    pvaConfigSetAuthThreshold(0.7f);
    file = ConfigDocument::parse(readFile(folder_.configPath()));
    EXPECT_EQ(readFloat(file, "feature", "auth_threshold"), 0.7f);
}

TEST_F(ConfigSetters, StoreFloatsUnchecked) {
    EXPECT_EQ(pvaConfigSetHandSizeWidthMin(std::numeric_limits<float>::quiet_NaN()), 1u);
    EXPECT_TRUE(std::isnan(document()["handpose"]["hand_size_width_min"].get<float>()));
    EXPECT_EQ(pvaConfigSetHandSizeWidthMax(std::numeric_limits<float>::infinity()), 1u);
    EXPECT_TRUE(std::isinf(document()["handpose"]["hand_size_width_max"].get<float>()));
}

TEST_F(ConfigSetters, LeaveTheLayoutOfTheStoreToTheNextProcess) {
    const auto cacheBytes = std::filesystem::file_size(folder_.file("palms.bin"));
    EXPECT_EQ(pvaConfigSetRegisCenterCount(3), 1u);
    EXPECT_EQ(store().config()["database"]["regis_center_count"], 3);
    EXPECT_EQ(store().centreCount(), 1);
    EXPECT_EQ(std::filesystem::file_size(folder_.file("palms.bin")), cacheBytes);
}

TEST_F(ConfigSetters, SaveToThePathOfAFailedLoad) {
    const std::string before = readFile(folder_.configPath());
    const std::string other = folder_.file("other.json");
    stdoutOf([&] { engine().config->load(other); });
    EXPECT_EQ(pvaConfigSetEnhance(1), 1u);
    EXPECT_EQ(readFile(folder_.configPath()), before);
    EXPECT_EQ(ConfigDocument::parse(readFile(other))["handpose"]["enable_enhance"], 1);
}

TEST_F(ConfigSetters, RunNoNetwork) {
    pvaConfigSetEnhance(1);
    EXPECT_THAT(npu().calls, IsEmpty());
}

TEST(DetectionLevelSetter, RefusesBeforeItNeedsTheEngine) {
    ScriptedLog::clear();
    EXPECT_EQ(pvaConfigSetDynamicDetectionLevel(5), 0u);
    EXPECT_EQ(ScriptedLog::lines().size(), 1u);
}

}  // namespace
}  // namespace brairu
