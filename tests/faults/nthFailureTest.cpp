// Every call below every exported call fails once, on its n-th use, for each n until a run has no
// more calls to fail: alone, and with all that come after it. Every attempt has a process of its
// own, and so has the restart that looks at what it left.
//
// By default a sample of the attempts is made; BRAIRU_FAULTS=all makes them all.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <new>
#include <sstream>
#include <thread>

#include "brairu.h"
#include "config/configStore.h"
#include "faultInjection.h"
#include "faultedOperations.h"
#include "gallery.h"
#include "jsonDestructor.h"
#include "support/childProcess.h"
#include "support/seededRandom.h"
#include "support/sharedMemory.h"

namespace brairu::test {
namespace {

constexpr int kSampledCalls = 3;
constexpr int kManyCalls = 200;
constexpr std::size_t kRepetitions = 12;
constexpr int kReportedFailures = 3;
constexpr int kFatalNpuFault = 255;
constexpr auto kPatience = std::chrono::seconds(5);

bool triesAll() {
    const char* const chosen = std::getenv("BRAIRU_FAULTS");
    return chosen != nullptr && std::string(chosen) == "all";
}

// What comes after the fault: a restart at once, or first the same call again.
enum class Aftermath { restart, carryOn };

struct Manner {
    FaultSpan span;
    Aftermath aftermath;
};

constexpr std::array<Manner, 4> kManners{{{FaultSpan::once, Aftermath::restart},
                                          {FaultSpan::lasting, Aftermath::carryOn},
                                          {FaultSpan::once, Aftermath::carryOn},
                                          {FaultSpan::lasting, Aftermath::restart}}};

// What an attempt tells the process that started it.
struct Report {
    int calls = 0;
    char place[32] = "";  // the call that was made to fail; empty: none was
    int descriptors = 0;
    int configsLeft = 0;  // half written, whose removal was made to fail
    int jsonDestructorHits = 0;
    std::array<int, kPalms.size()> rows = rowsUnknown();  // at the end

    static constexpr std::array<int, kPalms.size()> rowsUnknown() {
        std::array<int, kPalms.size()> rows;
        rows.fill(-1);
        return rows;
    }
};

Report& report() {
    static auto& shared = sharedWithChildren<Report>();
    return shared;
}

void reportStrike() {
    report().configsLeft = liveHandles().configs;
    if (report().place[0] == '\0') {
        std::snprintf(report().place, sizeof report().place, "%s", ArmedFault::struck());
    }
}

void reportRows() {
    std::ranges::transform(kPalms, report().rows.begin(), rowsOfUser);
}

int openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<int>(std::distance(begin(all), end(all)));
}

std::string nameOfException() {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return "bad_alloc";
    } catch (const nlohmann::json::type_error&) {
        return "type_error";
    } catch (const std::exception& other) {
        return other.what();
    }
}

Outcome runWith(const Fault& fault, const FaultedOperation& operation, const Gallery& gallery) {
    Outcome outcome;
    const ArmedFault armed(fault);
    try {
        outcome.result = operation.run(gallery);
    } catch (...) {
        outcome.thrown = nameOfException();
    }
    outcome.struck = ArmedFault::struck();
    return outcome;
}

Outcome runClean(const FaultedOperation& operation, const Gallery& gallery) {
    return runWith({FaultKind::heap, 0, FaultSpan::once}, operation, gallery);
}

// By a thread of its own, which waits for ever if a lock was left held.
bool anotherThreadGetsThrough() {
    auto done = std::make_shared<std::promise<void>>();
    std::future<void> future = done->get_future();
    std::thread([done] {
        try {
            pvaDataBaseGetAllPalmCount();
        } catch (const std::logic_error&) {  // after a start that failed
        }
        done->set_value();
    }).detach();
    return future.wait_for(kPatience) == std::future_status::ready;
}

void expectAllowed(const Outcome& outcome, FaultKind kind, const FaultedOperation& operation) {
    if (!outcome.thrown.empty()) {
        EXPECT_TRUE((outcome.thrown == "bad_alloc" && kind == FaultKind::heap) ||
                    std::ranges::count(operation.exceptions, outcome.thrown) > 0)
            << outcome.thrown;
    } else if (outcome.result != operation.success) {
        EXPECT_GT(std::ranges::count(operation.refusals, outcome.result), 0) << outcome.result;
    }
}

void expectNothingHeld() {
    EXPECT_EQ(liveHandles().statements, 0);
    EXPECT_EQ(liveHandles().blobs, 0);
    EXPECT_LE(liveHandles().connections, 1);
    EXPECT_LE(liveHandles().mappings, 1);
    EXPECT_TRUE(anotherThreadGetsThrough());
}

void expectSuccess(const FaultedOperation& operation, const Gallery& gallery) {
    operation.prepare();
    Outcome outcome = runClean(operation, gallery);
    if (operation.mayClose && (outcome.result != operation.success || !outcome.thrown.empty())) {
        gallery.start();
        operation.prepare();
        outcome = runClean(operation, gallery);
    }
    EXPECT_EQ(outcome.thrown, "");
    EXPECT_EQ(outcome.result, operation.success) << "without a fault";
}

// A failed start may have left no engine to ask.
bool canBeAsked(const FaultedOperation& operation, const Outcome& outcome) {
    return !operation.mayClose || (outcome.result == operation.success && outcome.thrown.empty());
}

struct FaultCounts {
    int calls = 0;
    int tried = 0;
    int failed = 0;
    int inJson = 0;  // allocations of the JSON library's destructor, which were left out

    FaultCounts& operator+=(const FaultCounts& other) {
        calls += other.calls;
        tried += other.tried;
        failed += other.failed;
        inJson += other.inJson;
        return *this;
    }
};

void printColumns(const std::string& operation, const char* kind, const FaultCounts& counts) {
    std::printf("%-26s %-14s %8d %8d %8d %8d\n", operation.c_str(), kind, counts.calls,
                counts.tried, counts.failed, counts.inJson);
}

// The sums over all operations, after the last of them.
class Totals : public testing::Environment {
public:
    void TearDown() override { printColumns("in all", "", counts); }

    FaultCounts counts;
};
Totals& totals = *static_cast<Totals*>(testing::AddGlobalTestEnvironment(new Totals));

class NthFailure : public testing::TestWithParam<FaultedOperation> {
protected:
    NthFailure() {
        GetParam().arrange(gallery_);
        std::printf("%-26s %-14s %8s %8s %8s %8s\n", "operation", "kind of fault", "calls", "tried",
                    "failed", "in json");
    }

    // Everything of one kind.
    void tryKind(FaultKind kind);
    std::string failures() const { return failures_.str(); }

private:
    bool attempt(const Fault& fault, Aftermath aftermath);
    void inAttempt(const Fault& fault, Aftermath aftermath) const;
    bool strike(const Fault& fault) const;
    void carryOn(const Fault& fault) const;
    int countCalls(FaultKind kind);
    std::vector<Fault> chooseFaults(FaultKind kind, int calls);
    void expectWhole() const;
    bool passes(const ChildResult& child, const std::string& stage, const Fault& fault);
    void fail(const Fault& fault, const std::string& text);

    Gallery gallery_;
    SeededRandom random_;
    int healthyDescriptors_ = 0;
    // Not reported before the end: a child process takes a failure of its parent for its own.
    std::ostringstream failures_;
};

// Whether the engine can be asked afterwards.
bool NthFailure::strike(const Fault& fault) const {
    const FaultedOperation& operation = GetParam();
    operation.prepare();
    const Outcome outcome = runWith(fault, operation, gallery_);
    report().calls = ArmedFault::calls();
    reportStrike();
    expectAllowed(outcome, fault.kind, operation);
    if (outcome.struck.empty()) {
        EXPECT_EQ(outcome.result, operation.success) << outcome.thrown;
    }
    expectNothingHeld();
    const bool asked = canBeAsked(operation, outcome);
    if (asked) {
        operation.check(outcome);
    }
    return asked;
}

// The same fault again must not cost more and more heap, whatever room lists keep at first; after
// it, all is well.
void NthFailure::carryOn(const Fault& fault) const {
    const FaultedOperation& operation = GetParam();
    std::array<std::int64_t, kRepetitions> blocks{};
    for (std::int64_t& after : blocks) {
        operation.prepare();
        runWith(fault, operation, gallery_);
        after = liveHeapBlocks();
    }
    const auto half = blocks.begin() + kRepetitions / 2;
    EXPECT_LE(*std::max_element(half, blocks.end()), *std::max_element(blocks.begin(), half))
        << "heap blocks of the later repetitions, of the earlier ones";
    expectSuccess(operation, gallery_);
    expectNothingHeld();
    EXPECT_LE(openDescriptors(), healthyDescriptors_);
}

void NthFailure::inAttempt(const Fault& fault, Aftermath aftermath) const {
    takeJsonDestructorHits();
    // A start may end the process in the middle of the fault: then the library's objects go under
    // it, but not those of the libraries below.
    std::atexit([] {
        ArmedFault::disarm();
        reportStrike();
    });
    if (!GetParam().isFirstStart) {
        gallery_.start();
    }
    const bool asked = strike(fault);
    report().descriptors = openDescriptors();
    if (aftermath == Aftermath::carryOn) {
        carryOn(fault);
        reportStrike();
    }
    if (asked || aftermath == Aftermath::carryOn) {
        reportRows();
    }
    report().jsonDestructorHits = takeJsonDestructorHits();
}

bool NthFailure::passes(const ChildResult& child, const std::string& stage, const Fault& fault) {
    if (child.exitStatus == 0) {
        return true;
    }
    fail(fault, stage + ": exit status " + std::to_string(child.exitStatus) + "\n" + child.out +
                    child.err);
    return false;
}

void NthFailure::fail(const Fault& fault, const std::string& text) {
    failures_ << GetParam().name << ", " << nameOf(fault.kind) << " #" << fault.number
              << (fault.span == FaultSpan::lasting ? " and all after it (" : " (") << report().place
              << "), " << text << "\n";
}

// Models that cannot be read leave the NPU nothing to run: the process ends with these words.
bool endedByMissingModel(const FaultedOperation& operation, const ChildResult& child) {
    return operation.isFirstStart &&
           ((child.exitStatus == kFatalNpuFault &&
             child.out.find("this face mode must be one input!\n") != std::string::npos) ||
            (child.exitStatus == 1 &&
             child.out.find("ERROR: failed with status = ") != std::string::npos));
}

// After a restart: of those that need not survive, the enrolled are recognised and no others.
void NthFailure::expectWhole() const {
    std::vector<std::int64_t> present = GetParam().survivors;
    std::vector<std::int64_t> absent;
    for (std::size_t i = 0; i < kPalms.size(); ++i) {
        const bool isOpen = report().rows[i] >= 0 && kPalms[i] != GetParam().unrecognised &&
                            std::ranges::count(GetParam().survivors, kPalms[i]) == 0;
        if (isOpen) {
            (report().rows[i] > 0 ? present : absent).push_back(kPalms[i]);
        }
    }
    gallery_.expectWhole(present, absent);
    EXPECT_LE(gallery_.unfinishedConfigs(), report().configsLeft);
}

bool NthFailure::attempt(const Fault& fault, Aftermath aftermath) {
    gallery_.restore();
    GetParam().spoil(gallery_);
    report() = {};
    const ChildResult faulted = inChild([&] { inAttempt(fault, aftermath); });
    if (!endedByMissingModel(GetParam(), faulted) && !passes(faulted, "at the fault", fault)) {
        return false;
    }
    if (fault.number > 0 && report().place[0] == '\0') {
        fail(fault, "nothing was struck");
        return false;
    }
    if (fault.number > 0 && report().descriptors > healthyDescriptors_) {
        fail(fault, "descriptors are left open");
        return false;
    }
    const ChildResult restarted = inChild([&] { expectWhole(); });
    return passes(restarted, "after the restart", fault);
}

int NthFailure::countCalls(FaultKind kind) {
    attempt({kind, 0, FaultSpan::once}, Aftermath::restart);
    healthyDescriptors_ = report().descriptors;
    return report().calls;
}

// Of a few calls every one is tried in every manner, of many every one in one manner after another.
std::vector<Fault> NthFailure::chooseFaults(FaultKind kind, int calls) {
    const int stride = triesAll() ? 1 : std::max(1, calls / kSampledCalls);
    std::vector<Fault> faults;
    for (int number = random_.between(1, stride); number <= calls; number += stride) {
        faults.push_back({kind, number, FaultSpan::once});
    }
    return faults;
}

void NthFailure::tryKind(FaultKind kind) {
    const int calls = countCalls(kind);
    if (calls == 0 && GetParam().meetsEveryKind) {
        fail({kind, 0, FaultSpan::once}, "no call of this kind was seen");
    }
    const std::size_t mannersEach = triesAll() && calls <= kManyCalls ? kManners.size() : 1;
    FaultCounts counts{.calls = calls};
    std::size_t turn = 0;
    for (Fault fault : chooseFaults(kind, calls)) {
        for (std::size_t i = 0; i < mannersEach && counts.failed < kReportedFailures; ++i) {
            const Manner manner = kManners[turn++ % kManners.size()];
            fault.span = manner.span;
            counts.failed += !attempt(fault, manner.aftermath);
            ++counts.tried;
            counts.inJson += report().jsonDestructorHits > 0;
        }
    }
    printColumns(GetParam().name, nameOf(kind), counts);
    totals.counts += counts;
}

TEST_P(NthFailure, IsSurvived) {
    for (const FaultKind kind : kFaultKinds) {
        tryKind(kind);
    }
    EXPECT_EQ(failures(), "");
}

std::string testName(const testing::TestParamInfo<FaultedOperation>& info) {
    std::string name;
    bool starts = true;
    for (const char character : info.param.name) {
        if (std::isalnum(static_cast<unsigned char>(character)) == 0) {
            starts = true;
            continue;
        }
        name += starts ? static_cast<char>(std::toupper(character)) : character;
        starts = false;
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Of, NthFailure, testing::ValuesIn(faultedOperations()), testName);

}  // namespace
}  // namespace brairu::test
