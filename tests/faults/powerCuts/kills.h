// Kills hosts at random moments and inspects what the next start finds.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "engineHost.h"
#include "ledger.h"
#include "tally.h"

namespace brairu::test {

struct LifeJournal;

class KillRun {
public:
    explicit KillRun(std::uint32_t seed);
    ~KillRun();
    KillRun(const KillRun&) = delete;
    KillRun& operator=(const KillRun&) = delete;

    // Goes on until that many more processes were killed, or a restart has found a fault.
    const Tally& run(int kills);

private:
    void renewStore();
    void killInSteps();
    void killInStart();
    void killStartsAgain();
    void inspect();

    std::int64_t momentIn(double nanoseconds);
    void countKill();
    void learnDurations();

    StepChooser chooser_;
    HostFolder folder_;
    std::vector<Ledger> possible_;  // before and after the step that was under way
    LifeJournal& journal_;
    std::array<double, kActs> stepTimes_{};  // usual ones, in nanoseconds
    double startTime_ = 3e6;
    Tally tally_;
};

}  // namespace brairu::test
