#include "examination/captureExamination.h"

#include <chrono>
#include <optional>

#include "engine/capture.h"
#include "engine/engine.h"
#include "engine/engineSetup.h"
#include "examination/examineApart.h"
#include "explanations/explanation.h"
#include "renderer/palmRenderer.h"
#include "report/frameReport.h"
#include "report/numbers.h"

namespace brairu::tool {
namespace {

constexpr char kArea[] = "capture";
constexpr std::uint64_t kSeed = 0xd0c70f;
constexpr int kMostAttempts = 8;
const cv::Size kFrameSize(640, 480);

constexpr char kOtherCamera[] =
    "The limits of the configuration or the networks may be made for another camera: look at "
    "frames "
    "of your own with \"brairu detect\".";

// Captures of one rendered palm, one after the other.
class RenderedPalm {
public:
    RenderedPalm(int person, ConfigDocument& config)
        : palm_(identityOf(kSeed, person, Hand::left)), config_(config) {}

    // The next good capture; nothing when all attempts are refused.
    std::optional<Features> next() {
        for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
            const cv::Mat luma = frame();
            const auto start = std::chrono::steady_clock::now();
            const Capture capture = captureFrom(luma);
            spent_ = std::chrono::steady_clock::now() - start;
            if (capture.isGood()) {
                return capture.features;
            }
            refusal_ = refusalOf(explain(luma, capture, config_));
        }
        return std::nullopt;
    }

    const std::string& refusal() const { return refusal_; }
    double milliseconds() const { return spent_.count(); }

private:
    cv::Mat frame() {
        const CaptureConditions conditions =
            captureOf(kSeed, palm_, number_++, Scenario::enrolment);
        return render(palm_, conditions, kFrameSize).luma;
    }

    PalmIdentity palm_;
    ConfigDocument& config_;
    int number_ = 0;
    std::string refusal_;
    std::chrono::duration<double, std::milli> spent_{};
};

bool areSame(const Features& probe, const Features& reference) {
    PvaAuthResult result{};
    return pvaGet1to1AuthRes(probe.data(), reference.data(), &result) == 1;
}

Findings refused(const RenderedPalm& palm) {
    return {{Level::warning, kArea, "every frame of a rendered palm is " + palm.refusal(),
             kOtherCamera}};
}

Findings compared(const Features& one, const Features& again, const Features& other) {
    if (!areSame(one, again)) {
        return {{Level::warning, kArea,
                 "two captures of one rendered palm are not taken for the same", kOtherCamera}};
    }
    if (areSame(one, other)) {
        return {{Level::fault, kArea, "two different rendered palms are taken for the same",
                 "feature.auth_threshold is too low, or the networks do not tell palms apart: do "
                 "not open doors with them."}};
    }
    return {{Level::fine, kArea, "a rendered palm is known again, and told from another", ""}};
}

Findings tryCaptures(const EngineSetup& setup) {
    const Engine engine(setup.configPath());
    ConfigDocument config = setup.document();
    RenderedPalm first(1, config);
    RenderedPalm second(2, config);
    const auto one = first.next();
    const auto again = one ? first.next() : std::nullopt;
    if (!again) {
        return refused(first);
    }
    const auto other = second.next();
    if (!other) {
        return refused(second);
    }
    Findings found = compared(*one, *again, *other);
    found.push_back({Level::fine, kArea,
                     "one capture takes " + rounded(first.milliseconds(), 0) + " ms here", ""});
    return found;
}

}  // namespace

Findings examineCapture(const std::string& configPath, Report& report, bool showLines) try {
    const EngineSetup setup(configPath, StoreChoice::empty);
    return examineApart([&] { return tryCaptures(setup); }, kArea,
                        "the engine on rendered frames: ", report, showLines)
        .findings;
} catch (const Fault& fault) {
    return {{Level::fault, kArea, fault.what(), fault.advice()}};
}

}  // namespace brairu::tool
