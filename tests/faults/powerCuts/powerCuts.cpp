#include "powerCuts.h"

#include <fstream>

#include "brairu.h"
#include "support/childProcess.h"
#include "support/sharedMemory.h"
#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

constexpr int kStepsOfALife = 7;
constexpr int kLivesOfAStore = 4;

void live(const HostFolder& folder, const std::vector<Step>& steps,
          const std::vector<Ledger>& ledgers) {
    init_pva(folder.configPath().c_str());
    for (std::size_t k = 0; k < steps.size(); ++k) {
        markStep(DiskAct::begin, static_cast<int>(k));
        perform(steps[k], ledgers[k]);
        markStep(DiskAct::report, static_cast<int>(k));
    }
}

}  // namespace

PowerCutRun::PowerCutRun(std::uint32_t seed, int cutsPerHundredMoments)
    : chance_(seed),
      cutsPerHundredMoments_(cutsPerHundredMoments),
      verdict_(sharedWithChildren<int>()) {}

PowerCutRun::~PowerCutRun() {
    ::munmap(&verdict_, sizeof(int));
}

const Tally& PowerCutRun::run(int cuts) {
    const int end = tally_.cuts + cuts;
    for (int lives = 0; tally_.cuts < end && tally_.faults.empty(); ++lives) {
        if (lives % kLivesOfAStore == 0) {
            renewStore();
        }
        writeFolder(folder_.path(), next_->content);
        const Plan planned = plan();
        cutEverywhere(planned, record(planned));
    }
    return tally_;
}

void PowerCutRun::renewStore() {
    const int centres = chance_.between(0, 1) == 0 ? 1 : 3;
    folder_.renew(centres, chance_.between(0, 1) == 0);
    next_ = Wreck{readFolder(folder_.path()), Ledger(centres)};
}

PowerCutRun::Plan PowerCutRun::plan() {
    Plan plan;
    plan.ledgers.push_back(next_->ledger);
    plan.ledgers.back().restart();
    for (int k = 0; k < kStepsOfALife; ++k) {
        plan.steps.push_back(chance_.choose(plan.ledgers.back()));
        plan.ledgers.push_back(plan.ledgers.back());
        plan.ledgers.back().apply(plan.steps.back());
    }
    return plan;
}

DiskTrace PowerCutRun::record(const Plan& plan) {
    const TemporaryFolder outside;
    const ChildResult child = inChild([&] {
        startTrace(folder_.path());
        live(folder_, plan.steps, plan.ledgers);
        outside.write("trace", packed(endTrace()));
    });
    if (child.exitStatus != 0) {
        fail("a host failed, " + complaintOf(child));
        return {};
    }
    return unpacked(readFile(outside.file("trace")));
}

void PowerCutRun::cutEverywhere(const Plan& plan, const DiskTrace& trace) {
    DiskModel disk(next_->content);
    int begun = 0;
    int reported = 0;
    const auto cutHere = [&] {
        for (int cuts = cutsHere(); cuts > 0 && tally_.faults.empty(); --cuts) {
            cut(disk, plan, begun, reported);
        }
    };
    for (const DiskEvent& event : trace) {
        cutHere();
        disk.apply(event);
        begun += event.act == DiskAct::begin;
        reported += event.act == DiskAct::report;
    }
    cutHere();
}

int PowerCutRun::cutsHere() {
    const int whole = cutsPerHundredMoments_ / 100;
    return whole + (chance_.between(1, 100) <= cutsPerHundredMoments_ % 100);
}

void PowerCutRun::cut(const DiskModel& disk, const Plan& plan, int begun, int reported) {
    const auto first = static_cast<std::size_t>(reported);
    const std::span<const Ledger> possible(&plan.ledgers[first], begun > reported ? 2 : 1);
    const FolderContent content = disk.afterCut(chance_);
    writeFolder(folder_.path(), content);
    const ChildResult child = inChild([&] { verdict_ = inspectRestart(folder_, possible); });
    const bool starting = begun == 0;
    const std::string at = starting            ? "start"
                           : begun == reported ? "between"
                                               : nameOf(plan.steps[first].act);
    ++tally_.cuts;
    ++tally_.at[at];
    if (child.exitStatus != 0) {
        fail("after a cut at " + at + ", " + complaintOf(child));
        return;
    }
    ++tally_.restarts;
    if (possible.size() > 1) {
        ++(verdict_ == 0 ? tally_.undone : tally_.done);
    }
    constexpr int kRarely = 40;
    if (chance_.between(1, kRarely) == 1) {
        next_ = Wreck{content, possible[static_cast<std::size_t>(verdict_)]};
    }
}

}  // namespace brairu::test
