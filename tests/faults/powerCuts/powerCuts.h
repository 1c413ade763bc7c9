// Cuts the power of recorded hosts at every moment and inspects what the next start finds.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "diskModel.h"
#include "diskTrace.h"
#include "engineHost.h"
#include "ledger.h"
#include "tally.h"

namespace brairu::test {

class PowerCutRun {
public:
    // A recorded host has some 200 moments; so many of a hundred are tried, more than once each
    // above a hundred.
    PowerCutRun(std::uint32_t seed, int cutsPerHundredMoments);
    ~PowerCutRun();
    PowerCutRun(const PowerCutRun&) = delete;
    PowerCutRun& operator=(const PowerCutRun&) = delete;

    // Goes on until that many more cuts were made, or a restart has found a fault.
    const Tally& run(int cuts);

private:
    // A host's life as planned: the steps, and what is enrolled before each and after the last.
    struct Plan {
        std::vector<Step> steps;
        std::vector<Ledger> ledgers;
    };
    // A cut disk that the next host starts on.
    struct Wreck {
        FolderContent content;
        Ledger ledger;
    };

    void renewStore();
    Plan plan();
    DiskTrace record(const Plan& plan);
    void cutEverywhere(const Plan& plan, const DiskTrace& trace);
    void cut(const DiskModel& disk, const Plan& plan, int begun, int reported);
    int cutsHere();
    void fail(const std::string& text) { tally_.faults.push_back(text); }

    StepChooser chance_;
    int cutsPerHundredMoments_;
    HostFolder folder_;
    std::optional<Wreck> next_;
    int& verdict_;  // in memory shared with the inspecting processes
    Tally tally_;
};

}  // namespace brairu::test
