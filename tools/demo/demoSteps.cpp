#include "demoSteps.h"

#include <array>
#include <vector>

#include "captureStation.h"
#include "contactSheet.h"

namespace demo {
namespace {

constexpr std::uint64_t kPeopleSeed = 0x5eed0fde31;
constexpr int kPeople = 10;
constexpr int kStrangers = 10;  // with two hands each
constexpr std::int64_t kFirstUserId = 1000;
constexpr int kDeletedPerson = 3;
constexpr int kMostEnrolmentFrames = 40;

// Captures of a palm are told apart by their number; each step has its own range.
constexpr int kEnrolmentCaptures = 0;
constexpr int kIdentificationCaptures = 1000;
constexpr int kVerificationCaptures = 2000;
constexpr int kRestartCaptures = 3000;
constexpr int kDeletionCaptures = 4000;
constexpr int kStrangerCaptures = 5000;
constexpr int kCarelessCaptures = 6000;

struct Palm {
    PvaUserKey key{};
    std::string name;
    brairu::PalmIdentity identity;
};

Palm palmOf(int person, brairu::Hand hand) {
    const bool left = hand == brairu::Hand::left;
    Palm palm;
    palm.key.userid = kFirstUserId + person;
    palm.key.palmindex = left ? 0 : 1;
    palm.name = std::to_string(palm.key.userid) + (left ? " left" : " right");
    palm.identity = brairu::identityOf(kPeopleSeed, person, hand);
    return palm;
}

std::vector<Palm> palmsOf(int firstPerson, int people) {
    std::vector<Palm> palms;
    for (int person = firstPerson; person < firstPerson + people; ++person) {
        palms.push_back(palmOf(person, brairu::Hand::left));
        palms.push_back(palmOf(person, brairu::Hand::right));
    }
    return palms;
}

class DemoRun {
public:
    DemoRun(const std::string& phase, const DemoFiles& files, std::FILE* progress)
        : phase_(phase), files_(files), progress_(progress), station_(report_) {}

    bool start() {
        say("starting the engine");
        return station_.timed("init_pva", [&] { return init_pva(files_.config().c_str()) == 1; });
    }

    void finish() {
        deinit_pva();
        writeReport(report_, files_.report(phase_));
    }

    // Hands that are held anywhere, to meet the codes that guide people.
    void meetCarelessHands(const std::vector<Palm>& palms, int frames) {
        StepReport step{"meet hands held anywhere", false};
        for (const Palm& palm : palms) {
            for (int frame = 0; frame < frames; ++frame) {
                const Capture capture = station_.capture(palm.identity, kCarelessCaptures + frame,
                                                         brairu::Scenario::anywhere);
                ++step.captures;
                if (frame == 0) {
                    tile(capture, "held anywhere", true);
                }
            }
        }
        say(step.name);
        report_.steps.push_back(step);
    }

    void enrolEveryone(const std::vector<Palm>& palms) {
        StepReport step{"enrol " + std::to_string(palms.size()) + " palms"};
        for (const Palm& palm : palms) {
            count(step, enrol(palm, step));
            say(step, palm);
        }
        report_.steps.push_back(step);
    }

    void identifyEveryone(const std::string& name, const std::vector<Palm>& palms, int attempts,
                          int firstCapture) {
        StepReport step{name};
        for (const Palm& palm : palms) {
            int number = firstCapture;
            for (int attempt = 0; attempt < attempts; ++attempt) {
                identifyGenuine(palm, number, attempt == 0, step);
            }
            say(step, palm);
        }
        report_.steps.push_back(step);
    }

    void verifyEveryone(const std::vector<Palm>& palms) {
        StepReport same{"verify 1:1, own palm"};
        StepReport other{"verify 1:1, another's palm", false};
        for (std::size_t i = 0; i < palms.size(); ++i) {
            int number = kVerificationCaptures;
            const Capture probe = station_.usableCapture(palms[i].identity, number, same);
            count(same, probe.usable && verifies(probe, palms[i].key));
            if (probe.usable) {
                countImpostor(other, verifies(probe, palms[(i + 1) % palms.size()].key));
            }
        }
        say(same.name);
        report_.steps.push_back(same);
        report_.steps.push_back(other);
    }

    // People whom the engine must not recognise.
    void turnAway(const std::string& name, const std::vector<Palm>& palms, int attempts,
                  int firstCapture) {
        StepReport step{name, false};
        for (const Palm& palm : palms) {
            int number = firstCapture;
            for (int attempt = 0; attempt < attempts; ++attempt) {
                const Capture probe = station_.usableCapture(palm.identity, number, step);
                if (!probe.usable) {
                    continue;
                }
                PvaAuthResult result{};
                const bool accepted = identifies(probe, result);
                countImpostor(step, accepted);
                if (attempt == 0) {
                    tile(probe, accepted ? "ACCEPTED" : "turned away", !accepted);
                }
            }
            say(step, palm);
        }
        report_.steps.push_back(step);
    }

    void deleteUser(const std::vector<Palm>& palms) {
        StepReport step{"delete a user with two palms"};
        for (const Palm& palm : palms) {
            const bool deleted = station_.timed(
                "pvaDataBaseDeleteUser", [&] { return pvaDataBaseDeleteUser(&palm.key) == 1; });
            count(step, deleted && pvaDataBaseExistUser(&palm.key) == 0);
        }
        report_.steps.push_back(step);
    }

private:
    static void count(StepReport& step, bool hit) {
        ++step.attempts;
        ++(hit ? step.hits : step.misses);
    }

    static void countImpostor(StepReport& step, bool accepted) {
        ++step.attempts;
        step.falseAccepts += accepted ? 1 : 0;
    }

    bool enrol(const Palm& palm, StepReport& step) {
        PvaRegisterResult result{};
        result.status = PVA_REGISTER_MORE;
        for (int frame = 0; frame < kMostEnrolmentFrames && result.status == PVA_REGISTER_MORE;
             ++frame) {
            const Capture capture = station_.capture(palm.identity, kEnrolmentCaptures + frame);
            ++step.captures;
            if (capture.usable) {
                station_.timed("pvaRegister", [&] {
                    return pvaRegister(&palm.key, capture.features.data(), 1, &result);
                });
            }
            if (frame == 0) {
                tile(capture, "enrol " + palm.name, true);
            }
        }
        return result.status == PVA_REGISTER_COMMITTED;
    }

    bool identifies(const Capture& probe, PvaAuthResult& result) {
        return station_.timed("pvaGetAuthRes",
                              [&] { return pvaGetAuthRes(probe.features.data(), &result) == 1; });
    }

    void identifyGenuine(const Palm& palm, int& number, bool draw, StepReport& step) {
        const Capture probe = station_.usableCapture(palm.identity, number, step);
        PvaAuthResult result{};
        const bool accepted = probe.usable && identifies(probe, result);
        const bool right =
            accepted && result.userid == palm.key.userid && result.palmindex == palm.key.palmindex;
        count(step, right);
        step.falseAccepts += accepted && !right ? 1 : 0;
        if (draw) {
            tile(probe, palm.name + (right ? " recognised" : " MISSED"), right);
        }
    }

    bool verifies(const Capture& probe, const PvaUserKey& key) {
        std::array<std::uint8_t, PVA_TEMPLATE_BYTES> stored{};
        PvaAuthResult result{};
        if (pvaDataBaseGetFeat(&key, stored.data()) != 1) {
            return false;
        }
        return station_.timed("pvaGet1to1AuthRes", [&] {
            return pvaGet1to1AuthRes(probe.features.data(), stored.data(), &result) == 1;
        });
    }

    void tile(const Capture& capture, const std::string& caption, bool right) {
        report_.tiles.push_back(files_.tile(static_cast<int>(report_.tiles.size()), phase_));
        writeTile(capture, caption, right, report_.tiles.back());
    }

    void say(const std::string& text) {
        std::fprintf(progress_, "  %s\n", text.c_str());
        std::fflush(progress_);
    }

    void say(const StepReport& step, const Palm& palm) {
        std::fprintf(progress_, "  %-36s %-12s hits %3d  misses %2d  false accepts %d\n",
                     step.name.c_str(), palm.name.c_str(), step.hits, step.misses,
                     step.falseAccepts);
        std::fflush(progress_);
    }

    std::string phase_;
    DemoFiles files_;
    std::FILE* progress_;
    DemoReport report_;
    CaptureStation station_;
};

std::vector<Palm> without(const std::vector<Palm>& palms, int person) {
    std::vector<Palm> rest;
    for (const Palm& palm : palms) {
        if (palm.key.userid != kFirstUserId + person) {
            rest.push_back(palm);
        }
    }
    return rest;
}

void runFirst(DemoRun& run) {
    const std::vector<Palm> palms = palmsOf(0, kPeople);
    run.meetCarelessHands(palms, 6);
    run.enrolEveryone(palms);
    run.identifyEveryone("identify 1:N", palms, 5, kIdentificationCaptures);
    run.verifyEveryone(palms);
    run.turnAway("turn away 20 strangers", palmsOf(kPeople, kStrangers), 3, kStrangerCaptures);
}

void runSecond(DemoRun& run) {
    const std::vector<Palm> palms = palmsOf(0, kPeople);
    const std::vector<Palm> deleted = palmsOf(kDeletedPerson, 1);
    run.identifyEveryone("identify after a restart", palms, 3, kRestartCaptures);
    run.deleteUser(deleted);
    run.turnAway("turn the deleted user away", deleted, 3, kDeletionCaptures);
    run.identifyEveryone("identify the others", without(palms, kDeletedPerson), 1,
                         kDeletionCaptures);
}

}  // namespace

bool runSteps(const std::string& phase, const DemoFiles& files, std::FILE* progress) {
    DemoRun run(phase, files, progress);
    if (!run.start()) {
        return false;
    }
    if (phase == kFirstPhase) {
        runFirst(run);
    } else {
        runSecond(run);
    }
    run.finish();
    return true;
}

}  // namespace demo
