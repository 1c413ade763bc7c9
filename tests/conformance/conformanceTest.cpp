#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>

#include "conformance/brokenStack.h"
#include "examination.h"

namespace brairu::test {
namespace {

using conformance::examineLife;
using conformance::Journal;
using conformance::Questions;
using conformance::Verdict;
using conformance::Verdicts;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kAnswers[] = "tools/conformance/answers";

Questions questions() {
    Questions asked{conformance::networksOf("config/brairu.json"), kAnswers, 0.99};
    readAnswers(kAnswers, asked.networks);
    return asked;
}

Verdicts verdictsOfLife(const Questions& asked) {
    Verdicts verdicts;
    verdicts.examine([&](Journal& journal) { examineLife(asked, journal); });
    return verdicts;
}

Verdicts verdictsOfRefusals(std::chrono::seconds patience = std::chrono::minutes(1)) {
    Verdicts verdicts(patience);
    for (const auto& refusal : conformance::refusals()) {
        verdicts.examine(refusal);
    }
    return verdicts;
}

// What is said against an operation, end to end.
std::string breachesOf(const Verdicts& verdicts, const std::string& operation) {
    std::string text;
    for (const Verdict& verdict : verdicts.all()) {
        if (verdict.operation == operation) {
            for (const std::string& breach : verdict.breaches) {
                text += breach + "\n";
            }
        }
    }
    return text;
}

// The operations against which something is said.
std::vector<std::string> breached(const Verdicts& verdicts) {
    std::vector<std::string> operations;
    for (const Verdict& verdict : verdicts.all()) {
        if (!verdict.breaches.empty()) {
            operations.push_back(verdict.operation);
        }
    }
    return operations;
}

TEST(Conformance, FindsNothingWrongWithTheStandIn) {
    breakStack({});
    const Verdicts life = verdictsOfLife(questions());
    EXPECT_TRUE(life.areAllKept());
    EXPECT_EQ(life.all().size(), 25U);
    EXPECT_THAT(breached(verdictsOfRefusals()), IsEmpty());
}

// One operation broken in one way: its own line says so, in these words.
struct Case {
    Breakage breakage;
    std::string told;
};

std::string nameOf(const testing::TestParamInfo<Case>& info) {
    std::string name = info.param.breakage.operation;
    std::erase(name, '_');
    return name;
}

std::vector<Case> cases(Fault fault, const std::vector<std::pair<std::string, std::string>>& told) {
    std::vector<Case> all;
    all.reserve(told.size());
    for (const auto& [operation, text] : told) {
        Case& added = all.emplace_back();
        added.breakage.operation = operation;
        added.breakage.fault = fault;
        added.told = text;
    }
    return all;
}

class BrokenInItsLife : public testing::TestWithParam<Case> {
protected:
    void TearDown() override { breakStack({}); }
};

TEST_P(BrokenInItsLife, IsTold) {
    breakStack(GetParam().breakage);
    const Verdicts verdicts = verdictsOfLife(questions());
    EXPECT_FALSE(verdicts.areAllKept());
    EXPECT_THAT(breachesOf(verdicts, GetParam().breakage.operation), HasSubstr(GetParam().told));
}

INSTANTIATE_TEST_SUITE_P(
    Refuses, BrokenInItsLife,
    testing::ValuesIn(cases(
        Fault::refuses,
        {{"__android_log_print", "expected no negative result, found -1"},
         {"LoadNetModelFromMem",
          "expected handpose: status 0 for the description, found status -1"},
         {"UnLoadNetModel", "expected handpose: status 0, found status -1"},
         {"GetNetInputBlobs", "expected handpose: status 0, found status -1"},
         {"vxCreateContext", "expected a context, found null"},
         {"vxGetStatus", "expected status 0 for a live context, found status -1"},
         {"vxLoadKernels", "expected status 0 for openvx-nn, found status -1"},
         {"vxFinish", "expected handpose: status 0, found status -1"},
         {"vxReleaseContext", "expected status 0 and a handle of null, found status -1, a handle"},
         {"vxAllocateDeviceMemory", "expected handpose: 24576 bytes, found null"},
         {"vxGetDeviceMemoryPhysicalAddress", "memory lies within 32 bits, found 0"},
         {"vxGetDeviceMemoryVirtualAddress", "expected handpose: an address, found null"},
         {"vxFlushDeviceMemoryCache", "expected handpose: status 0, found status -1"},
         {"vxFreeDeviceMemory", "expected handpose: status 0 for tensor memory"},
         {"AllocateTensorDeviceMemory", "expected handpose: memory for 128 x 128 x 1, found null"},
         {"CreateTensorFromHandle", "expected handpose: a tensor, found null"},
         {"vxQueryTensor", "the sides of the input, 128 x 128 x 1, found status -1, 0 x 0 x 0"},
         {"vxReleaseTensor", "expected handpose: status 0 and a handle of null for an output"},
         {"CreateNetGraph", "expected handpose: a graph, found null"},
         {"vxVerifyGraph", "expected handpose: status 0, found status -1"},
         {"vxReleaseGraph", "expected handpose: status 0 and a handle of null"},
         {"ImageConvertDeviceProcess", "expected handpose: status 0, found status -1"},
         {"SetNetInputBlobsTensor", "expected handpose: status 0, found status -1"},
         {"vxProcessGraph", "expected handpose: status 0, found status -1"},
         {"GetNetOutputBlobsTensor", "expected handpose: status 0, found status -1"}})),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Lies, BrokenInItsLife,
    testing::ValuesIn(cases(
        Fault::lies,
        {{"vxCreateContext", "expected a context beside another, found null"},
         {"GetNetInputBlobs", "1 or 3 channels: 128 x 128, found 129 x 128 x 1"},
         {"vxReleaseContext", "expected status 0 and a handle of null, found status 0, a handle"},
         {"vxGetDeviceMemoryPhysicalAddress", "lies within 32 bits, found 4294967040"},
         {"vxQueryTensor", "the size of the input, 16384, found status 0, 16383"},
         {"vxReleaseTensor", "a handle of null for an output"},
         {"vxVerifyGraph",
          "a fault for the description of one network with the weights of another"},
         {"vxReleaseGraph", "status 0 and a handle of null"},
         {"ImageConvertDeviceProcess", "the picture's pixels in the tensor, found others"},
         {"vxProcessGraph", "another output for another picture, found the same"},
         {"GetNetOutputBlobsTensor", "names that end in their fields"}})),
    nameOf);

INSTANTIATE_TEST_SUITE_P(Crashes, BrokenInItsLife,
                         testing::ValuesIn(cases(Fault::crashes,
                                                 {{"vxProcessGraph",
                                                   "ended the process with signal 6"}})),
                         nameOf);

INSTANTIATE_TEST_SUITE_P(
    Exits, BrokenInItsLife,
    testing::ValuesIn(cases(Fault::exits, {{"vxVerifyGraph", "ended the process with status 3"}})),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    ExitsInOrder, BrokenInItsLife,
    testing::ValuesIn(cases(Fault::exitsInOrder,
                            {{"vxReleaseContext", "ended the process with status 0"},
                             {"vxFinish", "ended the process with status 0"}})),
    nameOf);

TEST(Conformance, TellsAnExitOfStatusZeroFromARefusal) {
    breakStack({"vxReleaseTensor", Fault::exitsInOrder});
    const Verdicts verdicts = verdictsOfRefusals();
    breakStack({});
    EXPECT_EQ(breachesOf(verdicts, "vxReleaseTensor"), "ended the process with status 0\n");
    EXPECT_EQ(breached(verdicts), std::vector<std::string>{"vxReleaseTensor"});
}

TEST(Conformance, GivesUpAnOperationThatDoesNotReturn) {
    breakStack({"vxFinish", Fault::hangs});
    const Verdicts verdicts = verdictsOfRefusals(std::chrono::seconds(1));
    breakStack({});
    EXPECT_EQ(breachesOf(verdicts, "vxFinish"), "did not return within 1 s\n");
    EXPECT_EQ(breached(verdicts), std::vector<std::string>{"vxFinish"});
}

// Broken from the call on that stands in the examination of another operation's refusal.
class BrokenAmongStrangers : public testing::TestWithParam<Breakage> {
protected:
    void TearDown() override { breakStack({}); }
};

TEST_P(BrokenAmongStrangers, IsBlamedItself) {
    breakStack(GetParam());
    const Verdicts verdicts = verdictsOfLife(questions());
    EXPECT_EQ(breachesOf(verdicts, GetParam().operation), "ended the process with signal 6\n");
    EXPECT_EQ(breached(verdicts), std::vector{GetParam().operation});
}

// The examination of the three networks calls them so often before.
INSTANTIATE_TEST_SUITE_P(Operation, BrokenAmongStrangers,
                         testing::Values(Breakage{"LoadNetModelFromMem", Fault::crashes, 6},
                                         Breakage{"CreateNetGraph", Fault::crashes, 3},
                                         Breakage{"vxReleaseGraph", Fault::crashes, 0},
                                         Breakage{"UnLoadNetModel", Fault::crashes, 6}),
                         [](const auto& tried) { return tried.param.operation; });

class BrokenForAnUnreadableDescription : public testing::TestWithParam<std::string> {
protected:
    void TearDown() override { breakStack({}); }
};

TEST_P(BrokenForAnUnreadableDescription, IsBlamedItself) {
    breakStack({GetParam(), Fault::crashes});
    EXPECT_EQ(breached(verdictsOfRefusals()), std::vector{GetParam()});
}

INSTANTIATE_TEST_SUITE_P(Operation, BrokenForAnUnreadableDescription,
                         testing::Values("LoadNetModelFromMem", "UnLoadNetModel"));

TEST(Conformance, NamesWhatCouldNotBeTried) {
    breakStack({"vxCreateContext", Fault::refuses});
    const Verdicts verdicts = verdictsOfLife(questions());
    breakStack({});
    EXPECT_EQ(std::ranges::count_if(verdicts.all(),
                                    [](const Verdict& verdict) { return !verdict.isTried(); }),
              23);
}

TEST(Conformance, RefusesAStackThatKeepsOnlyPartOfAModel) {
    breakStack({"LoadNetModelFromMem", Fault::lies});
    const Verdicts verdicts = verdictsOfLife(questions());
    breakStack({});
    EXPECT_FALSE(verdicts.areAllKept());
}

TEST(Conformance, TellsAnAnswerThatIsNotTheKnownOne) {
    breakStack({});
    Questions asked = questions();
    std::ranges::reverse(asked.networks[1].answer);
    EXPECT_THAT(breachesOf(verdictsOfLife(asked), "vxProcessGraph"),
                HasSubstr("expected feature: the known answer to the picture, at a cosine of "
                          "0.99000, found "));
    asked = questions();
    asked.networks[0].answer.pop_back();
    EXPECT_THAT(breachesOf(verdictsOfLife(asked), "vxProcessGraph"),
                HasSubstr("found an output of another size"));
}

class BrokenForNull : public testing::TestWithParam<std::string> {
protected:
    void TearDown() override { breakStack({}); }
};

TEST_P(BrokenForNull, IsTold) {
    breakStack({GetParam(), Fault::takesNull});
    const Verdicts verdicts = verdictsOfRefusals();
    EXPECT_THAT(breachesOf(verdicts, GetParam()), HasSubstr("expected a fault for "));
    EXPECT_EQ(breached(verdicts), std::vector{GetParam()});
}

INSTANTIATE_TEST_SUITE_P(
    Operation, BrokenForNull,
    testing::Values("LoadNetModelFromMem", "UnLoadNetModel", "GetNetInputBlobs", "vxGetStatus",
                    "vxLoadKernels", "vxFinish", "vxReleaseContext", "vxAllocateDeviceMemory",
                    "vxGetDeviceMemoryPhysicalAddress", "vxGetDeviceMemoryVirtualAddress",
                    "vxFlushDeviceMemoryCache", "vxFreeDeviceMemory", "AllocateTensorDeviceMemory",
                    "CreateTensorFromHandle", "vxQueryTensor", "vxReleaseTensor", "CreateNetGraph",
                    "vxVerifyGraph", "vxReleaseGraph", "ImageConvertDeviceProcess",
                    "SetNetInputBlobsTensor", "vxProcessGraph", "GetNetOutputBlobsTensor"));

}  // namespace
}  // namespace brairu::test
