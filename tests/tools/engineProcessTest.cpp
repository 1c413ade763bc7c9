// The engine's process, however it ends.
#include <gmock/gmock.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "engine/engineProcess.h"

namespace brairu::tool {
namespace {

using testing::HasSubstr;
using testing::StrEq;

[[noreturn]] void endProcess(int status) {
    std::exit(status);  // NOLINT(concurrency-mt-unsafe): the child has one thread
}

class EngineProcess : public testing::Test {
protected:
    EngineEnd run(const EngineWork& work) { return runApart(work, report, false); }
    std::string explained(const EngineWork& work) { return explainedEnd(run(work)).what(); }

    Settings settings;
    Report report{settings};
};

TEST_F(EngineProcess, HandsBackTheVerdictAndTheLines) {
    const EngineEnd end = run([] {
        std::puts("on standard output");
        std::fputs("on standard error\n", stderr);
        return Ending::no;
    });
    EXPECT_EQ(end.verdict, Ending::no);
    EXPECT_THAT(end.lines, HasSubstr("on standard output\n"));
    EXPECT_THAT(end.lines, HasSubstr("on standard error\n"));
}

TEST_F(EngineProcess, AnExitStatusOfOneIsNoVerdict) {
    const EngineEnd end = run([]() -> Ending {
        std::puts("ERROR: failed with status = (-7) at src/handPose.cpp#1");
        endProcess(1);
    });
    EXPECT_FALSE(end.verdict.has_value());
    EXPECT_THAT(explainedEnd(end).what(),
                StrEq("the NPU stack failed and ended the engine: ERROR: failed with status = (-7) "
                      "at src/handPose.cpp#1"));
}

TEST_F(EngineProcess, ARefusedNetworkIsToldWithItsReason) {
    EXPECT_EQ(explained([]() -> Ending {
                  std::fputs("brairu_npu: model refused: the weights are damaged\n", stderr);
                  endProcess(255);
              }),
              "the NPU stack refused a network: the weights are damaged");
}

TEST_F(EngineProcess, ACrashIsToldByItsName) {
    EXPECT_THAT(explained([]() -> Ending {
                    std::signal(SIGFPE, SIG_DFL);
                    std::raise(SIGFPE);
                    return Ending::done;
                }),
                HasSubstr("the engine's process crashed: "));
}

TEST_F(EngineProcess, AnEndWithoutAnyReasonIsToldToo) {
    EXPECT_EQ(explained([]() -> Ending { endProcess(0); }),
              "the engine ended its process without a reason");
}

TEST_F(EngineProcess, AnExceptionIsAnEngineFault) {
    EXPECT_EQ(run([]() -> Ending { throw std::logic_error("not started"); }).verdict,
              Ending::engineFault);
    EXPECT_EQ(run([]() -> Ending { throw InputFault("a frame", "Another one."); }).verdict,
              Ending::inputFault);
    EXPECT_EQ(run([]() -> Ending {
                  return static_cast<Ending>(Json::parse("null").at("key").get<int>());
              }).verdict,
              Ending::engineFault);
}

TEST_F(EngineProcess, KeepsTheLastLinesOfMany) {
    const EngineEnd end = run([] {
        for (int line = 0; line < 20000; ++line) {
            std::printf("line %d\n", line);
        }
        return Ending::done;
    });
    EXPECT_EQ(end.verdict, Ending::done);
    EXPECT_THAT(end.lines, HasSubstr("line 19999\n"));
    EXPECT_LE(end.lines.size(), 64U * 1024U);
}

}  // namespace
}  // namespace brairu::tool
