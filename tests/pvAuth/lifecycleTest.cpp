// Start and stop. What init_pva builds once per process is built in a child process of its own each
// time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "brairu.h"
#include "match/kernels/chosenKernel.h"
#include "publishedEngine.h"
#include "support/captureOutput.h"
#include "support/childProcess.h"
#include "support/engineFolder.h"
#include "support/scriptedLog.h"
#include "support/scriptedNpu.h"

namespace brairu {
namespace {

using test::ChildResult;
using test::EngineFolder;
using test::inChild;
using test::LogLine;
using test::readFile;
using test::ScriptedLog;
using test::ScriptedNpu;
using test::stdoutOf;
using test::thrownBy;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using TypeError = nlohmann::json::type_error;

constexpr char kEmptyTable[] = "Table userInfo is empty.\n";
constexpr char kRelease[] = "release handpose\r\nrelease handpose done\r\nrelease pvauth\r\n";

class Lifecycle : public testing::Test {
protected:
    Lifecycle() {
        ScriptedNpu::reset();
        ScriptedLog::clear();
    }

    auto& feature() { return folder_.document["feature"]; }

    std::uint32_t init(const std::string& path) { return init_pva(path.c_str()); }
    std::uint32_t init() { return init(folder_.writeConfig()); }

    // What the first start prints while it loads the networks.
    std::string loading() const {
        const auto network = [&](const std::string& name) {
            return "start load model " + folder_.file(name + ".net") + " \r\nstart load model " +
                   folder_.file(name + ".blobs") + " \r\nload model " +
                   folder_.file(name + ".blobs") + " complete\n";
        };
        return network("feature") + network("support") + "model_path_net " +
               folder_.file("hand.net") + "\r\nmodel_path_blobs " + folder_.file("hand.blobs") +
               "\r\n";
    }

    // Runs an action in a fresh process, where every expectation must hold; what it printed.
    std::string freshly(const std::function<void()>& action) {
        const ChildResult result = inChild(action);
        EXPECT_EQ(result.exitStatus, 0) << result.out << result.err;
        return result.out;
    }

    EngineFolder folder_;
};

int modelsLoaded() {
    return ScriptedNpu::get().callsOf("LoadNetModelFromMem");
}

LogLine startedLine(int securityLevel) {
    return {6, "pva", "init_pva success feat_cache_len " + std::to_string(securityLevel) + "\r\n"};
}

TEST_F(Lifecycle, StopBeforeAnyStartReturnsOne) {
    EXPECT_EQ(freshly([] {
                  EXPECT_EQ(deinit_pva(), 1u);
                  EXPECT_EQ(deinit_pva(), 1u);
              }),
              "");
}

TEST_F(Lifecycle, StartPublishesTheObjectsAndReturnsOne) {
    freshly([&] {
        EXPECT_EQ(init(), 1u);
        EXPECT_NE(engine().config, nullptr);
        EXPECT_NE(engine().detector, nullptr);
        EXPECT_NE(engine().store, nullptr);
        EXPECT_EQ(engine().securityLevel, 1);
        EXPECT_EQ(engine().detectionLevel, 2);
    });
}

TEST_F(Lifecycle, StartLoadsTheNetworksThenOpensTheStore) {
    EXPECT_EQ(freshly([&] { init(); }), loading() + kEmptyTable + kRelease);
}

TEST_F(Lifecycle, StartLogsTheSecurityLevelUnderItsOldLabel) {
    feature()["security_level"] = 4;
    freshly([&] {
        init();
        EXPECT_THAT(
            ScriptedLog::lines(),
            ElementsAre(LogLine{6, "database", "pva search init succ\r\n"}, startedLine(4)));
    });
}

TEST_F(Lifecycle, StartLogsASearchKernelThatCannotBeHad) {
    freshly([&] {
        ::setenv("BRAIRU_SEARCH_KERNEL", "abacus", 1);
        init();
        EXPECT_THAT(
            ScriptedLog::lines(),
            ElementsAre(LogLine{6, "pva",
                                std::string("no search kernel \"abacus\" here: ") +
                                    chosenKernel().name + " runs\n"},
                        LogLine{6, "database", "pva search init succ\r\n"}, startedLine(1)));
    });
}

TEST_F(Lifecycle, StopWithdrawsThePointersAndKeepsTheObjects) {
    freshly([&] {
        init();
        const int handles = ScriptedNpu::get().liveHandles();
        EXPECT_EQ(stdoutOf([] { EXPECT_EQ(deinit_pva(), 1u); }), "");
        EXPECT_EQ(engine().config, nullptr);
        EXPECT_EQ(engine().detector, nullptr);
        EXPECT_EQ(engine().store, nullptr);
        EXPECT_EQ(ScriptedNpu::get().liveHandles(), handles);
    });
}

TEST_F(Lifecycle, SecondStartPublishesTheSameObjectsAndLoadsNothing) {
    freshly([&] {
        init();
        const EngineContext first = engine();
        EXPECT_EQ(modelsLoaded(), 6);
        deinit_pva();
        EXPECT_EQ(stdoutOf([&] { EXPECT_EQ(init(), 1u); }), kEmptyTable);
        EXPECT_EQ(engine().config, first.config);
        EXPECT_EQ(engine().detector, first.detector);
        EXPECT_EQ(engine().store, first.store);
        EXPECT_EQ(modelsLoaded(), 6);
    });
}

TEST_F(Lifecycle, EveryStartRunsTheStartupPass) {
    freshly([&] {
        init();
        deinit_pva();
        init();
        init();
        EXPECT_THAT(ScriptedLog::texts("database"),
                    ElementsAre("pva search init succ\r\n", "pva search init succ\r\n",
                                "pva search init succ\r\n"));
    });
}

TEST_F(Lifecycle, SecondStartReadsTheEnginesOwnKeysAgainAndNoCopies) {
    freshly([&] {
        init();
        deinit_pva();
        feature()["security_level"] = 5;
        folder_.document["handpose"]["dynamic_detection_level"] = 0;
        folder_.document["database"]["regis_max_count"] = 9;
        EXPECT_EQ(init(), 1u);
        EXPECT_EQ(engine().securityLevel, 5);
        EXPECT_EQ(engine().detectionLevel, 0);
        EXPECT_EQ(engine().config->document()["database"]["regis_max_count"], 9);
        EXPECT_EQ(engine().store->config()["database"]["regis_max_count"], 6);
    });
}

// ---- Files that cannot be read

TEST_F(Lifecycle, FirstStartWithoutAFileRaisesAtTheFirstLookup) {
    const std::string missing = folder_.file("missing.json");
    EXPECT_EQ(freshly([&] {
                  EXPECT_EQ(thrownBy<TypeError>([&] { init(missing); }),
                            "[json.exception.type_error.302] type must be string, but is null");
                  EXPECT_THAT(ScriptedLog::lines(), IsEmpty());
                  EXPECT_EQ(modelsLoaded(), 0);
              }),
              "Failed to open config file: " + missing + "\n");
}

TEST_F(Lifecycle, AFailedStartLeavesPublishedWhatWasPublished) {
    freshly([&] {
        EXPECT_THROW(init(folder_.file("missing.json")), TypeError);
        EXPECT_NE(engine().config, nullptr);
        EXPECT_EQ(engine().detector, nullptr);
        EXPECT_EQ(engine().store, nullptr);
        EXPECT_THROW(pvaConfigSetEnhance(1), std::logic_error);
    });
}

TEST_F(Lifecycle, AStartAfterAFailedOneBuildsWhatIsMissing) {
    freshly([&] {
        EXPECT_THROW(init(folder_.file("missing.json")), TypeError);
        EXPECT_EQ(init(), 1u);
        EXPECT_NE(engine().detector, nullptr);
        EXPECT_EQ(modelsLoaded(), 6);
    });
}

TEST_F(Lifecycle, AStartThatFailsLateBuildsTheDetectorAnewWithoutLeftovers) {
    freshly([&] {
        folder_.document["handpose"].erase("input_h");
        EXPECT_THROW(init(), TypeError);
        EXPECT_EQ(ScriptedNpu::get().liveHandles(), 0);
        ScriptedNpu::reset();
        folder_.document["handpose"]["input_h"] = 128;
        EXPECT_EQ(init(), 1u);
        EXPECT_EQ(modelsLoaded(), 6);
    });
}

TEST_F(Lifecycle, LaterStartWithoutAFileGoesOnWithTheEarlierDocument) {
    const std::string missing = folder_.file("missing.json");
    freshly([&] {
        init();
        deinit_pva();
        EXPECT_EQ(stdoutOf([&] { EXPECT_EQ(init(missing), 1u); }),
                  "Failed to open config file: " + missing + "\n" + kEmptyTable);
        EXPECT_EQ(engine().config->document(), folder_.document);
        EXPECT_EQ(ScriptedLog::lines().back(), startedLine(1));
    });
}

TEST_F(Lifecycle, SettersSaveToTheFileOfTheLastStartEvenAFailedOne) {
    const std::string missing = folder_.file("missing.json");
    freshly([&] {
        init();
        stdoutOf([&] { init(missing); });
        pvaConfigSetEnhance(1);
        EXPECT_EQ(ConfigDocument::parse(readFile(missing))["handpose"]["enable_enhance"], 1);
        EXPECT_EQ(ConfigDocument::parse(readFile(folder_.configPath())), folder_.document);
    });
}

TEST_F(Lifecycle, StartWithABrokenFileGoesOnWithWhatWasRead) {
    freshly([&] {
        init();
        const std::string broken = folder_.file("broken.json");
        std::filesystem::copy_file(folder_.configPath(), broken);
        std::filesystem::resize_file(broken, 2);
        const std::string printed = stdoutOf([&] {
            EXPECT_EQ(thrownBy<TypeError>([&] { init(broken); }),
                      "[json.exception.type_error.302] type must be number, but is null");
        });
        EXPECT_THAT(printed, StartsWith("Error parsing config file: "));
        EXPECT_THAT(printed, HasSubstr(kEmptyTable)) << "the store is checked before the settings";
    });
}

TEST_F(Lifecycle, NullPathRaisesAndDoesNothingElse) {
    EXPECT_EQ(freshly([] {
                  EXPECT_THROW(init_pva(nullptr), std::logic_error);
                  EXPECT_NE(engine().config, nullptr);
                  EXPECT_TRUE(engine().config->document().is_null());
                  EXPECT_EQ(engine().detector, nullptr);
              }),
              "");
}

TEST_F(Lifecycle, NullPathAfterASuccessLeavesTheEngineAsItWas) {
    freshly([&] {
        init();
        const EngineContext before = engine();
        EXPECT_EQ(stdoutOf([] { EXPECT_THROW(init_pva(nullptr), std::logic_error); }), "");
        EXPECT_EQ(engine().store, before.store);
        EXPECT_EQ(engine().config->document(), folder_.document);
    });
}

// ---- The engine's own settings

struct Level {
    const char* text;
    int level;
};

class SecurityLevel : public Lifecycle, public testing::WithParamInterface<Level> {};

TEST_P(SecurityLevel, IsReadAsAWholeNumber) {
    feature()["security_level"] = ConfigDocument::parse(GetParam().text);
    freshly([&] {
        EXPECT_EQ(init(), 1u);
        EXPECT_EQ(engine().securityLevel, GetParam().level);
        EXPECT_EQ(ScriptedLog::lines().back(), startedLine(GetParam().level));
    });
}

INSTANTIATE_TEST_SUITE_P(Numbers, SecurityLevel,
                         testing::Values(Level{"2.9", 2}, Level{"-2.9", -2}, Level{"true", 1},
                                         Level{"false", 0}, Level{"7", 7},
                                         Level{"1e300", 2147483647}));

struct WrongLevel {
    const char* text;
    const char* type;
};

class WrongSecurityLevel : public Lifecycle, public testing::WithParamInterface<WrongLevel> {};

TEST_P(WrongSecurityLevel, Raises) {
    feature()["security_level"] = ConfigDocument::parse(GetParam().text);
    freshly([&] {
        EXPECT_EQ(thrownBy<TypeError>([&] { init(); }),
                  std::string("[json.exception.type_error.302] type must be number, but is ") +
                      GetParam().type);
    });
}

INSTANTIATE_TEST_SUITE_P(Types, WrongSecurityLevel,
                         testing::Values(WrongLevel{"\"2\"", "string"}, WrongLevel{"null", "null"},
                                         WrongLevel{"[]", "array"}, WrongLevel{"{}", "object"}));

TEST_F(Lifecycle, AMissingSecurityLevelIsInsertedAndRaises) {
    feature().erase("security_level");
    freshly([&] {
        EXPECT_EQ(thrownBy<TypeError>([&] { init(); }),
                  "[json.exception.type_error.302] type must be number, but is null");
        EXPECT_TRUE(engine().config->has("feature", "security_level"));
        EXPECT_NE(engine().store, nullptr);
    });
}

TEST_F(Lifecycle, AMissingDetectionLevelIsThree) {
    folder_.document["handpose"].erase("dynamic_detection_level");
    freshly([&] {
        EXPECT_EQ(init(), 1u);
        EXPECT_EQ(engine().detectionLevel, 3);
        EXPECT_FALSE(engine().config->has("handpose", "dynamic_detection_level"));
    });
}

TEST_F(Lifecycle, AFractionalDetectionLevelIsCut) {
    folder_.document["handpose"]["dynamic_detection_level"] = 3.9;
    freshly([&] {
        init();
        EXPECT_EQ(engine().detectionLevel, 3);
    });
}

TEST_F(Lifecycle, ANullDetectionLevelRaises) {
    folder_.document["handpose"]["dynamic_detection_level"] = nullptr;
    freshly([&] {
        EXPECT_EQ(thrownBy<TypeError>([&] { init(); }),
                  "[json.exception.type_error.302] type must be number, but is null");
    });
}

TEST_F(Lifecycle, AHandSectionThatIsNoObjectHasNoDetectionLevel) {
    freshly([&] {
        init();
        folder_.document["handpose"] = "none";
        EXPECT_EQ(init(), 1u);
        EXPECT_EQ(engine().detectionLevel, 3);
    });
}

// ---- Faults of the stack

TEST_F(Lifecycle, AMissingModelIsReportedAndEndsTheProcessAtTheStack) {
    std::filesystem::remove(folder_.file("feature.net"));
    const ChildResult result = inChild([&] { init(); });
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_EQ(result.out, "start load model " + folder_.file("feature.net") +
                              " \r\n无法打开输入文件：\r\nload handpose model net fail!\n"
                              "start load model " +
                              folder_.file("feature.blobs") + " \r\nload model " +
                              folder_.file("feature.blobs") +
                              " complete\nthis face mode must be one input!\n");
}

TEST_F(Lifecycle, AFaultOfTheStackEndsTheProcess) {
    ScriptedNpu::get().failCall("vxVerifyGraph", 3);
    const ChildResult result = inChild([&] { init(); });
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.out, StartsWith(loading()));
    EXPECT_THAT(result.out.substr(loading().size()),
                testing::MatchesRegex("ERROR: failed with status = \\(-7\\) at "
                                      "src/handPose\\.cpp#[1-9][0-9]*\n"));
}

// ---- The end of the process

TEST_F(Lifecycle, TheEndClosesTheStoreThenReleasesTheNetworks) {
    EXPECT_EQ(freshly([&] {
                  stdoutOf([&] { init(); });
                  ScriptedLog::echo(true);
              }),
              std::string("关闭数据库连接\r\n") + kRelease);
}

TEST_F(Lifecycle, TheEndIsTheSameAfterAStop) {
    EXPECT_EQ(freshly([&] {
                  stdoutOf([&] { init(); });
                  deinit_pva();
                  ScriptedLog::echo(true);
              }),
              std::string("关闭数据库连接\r\n") + kRelease);
}

TEST_F(Lifecycle, TheEndGivesEveryHandleBackOnce) {
    EXPECT_EQ(freshly([&] {
                  // Registered before the engine's objects are built, so it runs after they went.
                  std::atexit([] {
                      std::printf("%d live, %d twice\n", ScriptedNpu::get().liveHandles(),
                                  ScriptedNpu::get().doubleReleases);
                  });
                  stdoutOf([&] { init(); });
              }),
              std::string(kRelease) + "0 live, 0 twice\n");
}

}  // namespace
}  // namespace brairu
