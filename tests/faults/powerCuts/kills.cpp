#include "kills.h"

#include <sys/prctl.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <ctime>
#include <stdexcept>

#include "brairu.h"
#include "support/childProcess.h"
#include "support/sharedMemory.h"

namespace brairu::test {

constexpr int kStepsOfALife = 12;

// In memory that outlives the process that writes it.
struct LifeJournal {
    std::atomic<bool> started;
    std::atomic<int> begun;
    std::atomic<int> reported;
    std::array<Step, kStepsOfALife> steps;
    std::int64_t startTime;
    std::array<std::int64_t, kStepsOfALife> stepTimes;
    std::atomic<int> verdict;
};

namespace {

constexpr int kKillsPerStore = 150;

std::int64_t now() {
    return std::chrono::steady_clock::now().time_since_epoch().count();
}

// The system ends this process without a word, wherever it is by then.
void dieIn(std::int64_t nanoseconds) {
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGKILL;
    timer_t timer{};
    itimerspec when{};
    when.it_value.tv_sec = nanoseconds / 1'000'000'000;
    when.it_value.tv_nsec = static_cast<long>(nanoseconds % 1'000'000'000 + 1);
    if (::timer_create(CLOCK_MONOTONIC, &event, &timer) != 0 ||
        ::timer_settime(timer, 0, &when, nullptr) != 0) {
        throw std::runtime_error("no timer");
    }
}

// A host killed in a wipe leaves the command that it runs behind. That command ends long before any
// host starts again, and so it must here: it passes to this process, which waits for it.
void adoptOrphans() {
    if (::prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) {
        throw std::runtime_error("no adoption");
    }
}

void awaitOrphans() {
    while (::waitpid(-1, nullptr, 0) > 0) {
    }
}

void startJournaled(const HostFolder& folder, LifeJournal& journal) {
    const std::int64_t before = now();
    init_pva(folder.configPath().c_str());
    journal.startTime = now() - before;
    journal.started = true;
}

void performJournaled(const Step& step, const Ledger& ledger, LifeJournal& journal) {
    const int number = journal.begun;
    journal.steps[static_cast<std::size_t>(number)] = step;
    journal.begun = number + 1;
    const std::int64_t before = now();
    perform(step, ledger);
    journal.stepTimes[static_cast<std::size_t>(number)] = now() - before;
    journal.reported = number + 1;
}

void clear(LifeJournal& journal) {
    journal.started = false;
    journal.begun = 0;
    journal.reported = 0;
}

// What may be there after a life that the journal tells of.
std::vector<Ledger> ledgersAfter(Ledger ledger, const LifeJournal& journal) {
    if (!journal.started) {
        return {ledger};
    }
    ledger.restart();
    for (int k = 0; k < journal.reported; ++k) {
        ledger.apply(journal.steps[static_cast<std::size_t>(k)]);
    }
    std::vector<Ledger> possible{ledger};
    if (journal.begun > journal.reported) {
        ledger.apply(journal.steps[static_cast<std::size_t>(journal.reported)]);
        possible.push_back(ledger);
    }
    return possible;
}

}  // namespace

KillRun::KillRun(std::uint32_t seed) : chooser_(seed), journal_(sharedWithChildren<LifeJournal>()) {
    stepTimes_.fill(2e6);
    adoptOrphans();
}

KillRun::~KillRun() {
    ::munmap(&journal_, sizeof(LifeJournal));
}

const Tally& KillRun::run(int kills) {
    const int end = tally_.cuts + kills;
    int renewal = tally_.cuts;
    while (tally_.cuts < end && tally_.faults.empty()) {
        if (tally_.cuts >= renewal) {
            renewStore();
            renewal += kKillsPerStore;
        }
        if (chooser_.between(0, 3) == 0) {
            killInStart();
        } else {
            killInSteps();
        }
        killStartsAgain();
        inspect();
    }
    return tally_;
}

void KillRun::renewStore() {
    const int centres = chooser_.between(0, 1) == 0 ? 1 : 3;
    folder_.renew(centres, chooser_.between(0, 1) == 0);
    possible_ = {Ledger(centres)};
}

// Beyond the end now and then: the process then dies between two steps, or early in the next.
std::int64_t KillRun::momentIn(double nanoseconds) {
    return static_cast<std::int64_t>(nanoseconds * chooser_.between(0, 1'300'000) / 1e6);
}

void KillRun::killInSteps() {
    clear(journal_);
    const int target = chooser_.between(0, kStepsOfALife - 2);
    const auto seed = static_cast<std::uint32_t>(chooser_.between(0, 1 << 30));
    const ChildResult child = inChild([&] {
        StepChooser steps(seed);
        Ledger ledger = possible_.front();
        startJournaled(folder_, journal_);
        ledger.restart();
        for (int k = 0; k < kStepsOfALife; ++k) {
            const Step step = steps.choose(ledger);
            if (k == target) {
                dieIn(momentIn(stepTimes_[static_cast<std::size_t>(step.act)]));
            }
            performJournaled(step, ledger, journal_);
            ledger.apply(step);
        }
    });
    awaitOrphans();
    possible_ = ledgersAfter(possible_.front(), journal_);
    learnDurations();
    if (child.signal == SIGKILL) {
        countKill();
    } else if (child.exitStatus != 0) {
        tally_.faults.push_back("a host failed, " + complaintOf(child));
    }
}

void KillRun::killInStart() {
    clear(journal_);
    const std::int64_t moment = momentIn(startTime_);
    const ChildResult child = inChild([&] {
        dieIn(moment);
        startJournaled(folder_, journal_);
    });
    if (child.signal == SIGKILL) {
        countKill();
    } else if (child.exitStatus != 0) {
        tally_.faults.push_back("a start failed, " + complaintOf(child));
    }
}

// What a start mends is not always mended in peace.
void KillRun::killStartsAgain() {
    while (chooser_.between(0, 3) == 0 && tally_.faults.empty()) {
        killInStart();
    }
}

void KillRun::inspect() {
    if (!tally_.faults.empty()) {
        return;
    }
    const ChildResult child =
        inChild([&] { journal_.verdict = inspectRestart(folder_, possible_); });
    if (child.exitStatus != 0) {
        tally_.faults.push_back("a restart found a fault, " + complaintOf(child));
        return;
    }
    ++tally_.restarts;
    if (possible_.size() > 1) {
        ++(journal_.verdict == 0 ? tally_.undone : tally_.done);
    }
    Ledger found = possible_[static_cast<std::size_t>(journal_.verdict)];
    found.restart();
    possible_ = {found};
}

void KillRun::countKill() {
    ++tally_.cuts;
    if (!journal_.started) {
        ++tally_.at["start"];
    } else if (journal_.begun == journal_.reported) {
        ++tally_.at["between"];
    } else {
        ++tally_.at[nameOf(journal_.steps[static_cast<std::size_t>(journal_.reported)].act)];
    }
}

void KillRun::learnDurations() {
    constexpr double kWeight = 0.2;
    const auto learn = [](double& usual, std::int64_t latest) {
        usual += kWeight * (static_cast<double>(latest) - usual);
    };
    if (journal_.started) {
        learn(startTime_, journal_.startTime);
    }
    for (std::size_t k = 0; k < static_cast<std::size_t>(journal_.reported); ++k) {
        learn(stepTimes_[static_cast<std::size_t>(journal_.steps[k].act)], journal_.stepTimes[k]);
    }
}

}  // namespace brairu::test
