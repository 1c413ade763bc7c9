#include "evaluation/renderedCaptures.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "evaluation/share.h"

namespace brairu::tool {
namespace {

constexpr float kPercent = 100.0f;
constexpr int kPeoplePerCamera = 25;
const std::array kSizes{cv::Size(640, 480), cv::Size(480, 640), cv::Size(1280, 800)};

cv::Size sizeOf(int number) {
    return kSizes[static_cast<std::size_t>(number) % kSizes.size()];
}

std::vector<Trait> knownTraits() {
    return {{"tilt", "degrees"},
            {"turn", "degrees"},
            {"blur", "% of the palm's breadth"},
            {"light on the palm", "grey levels"},
            {"distance", "1 where the palm is as broad as the frame"}};
}

std::vector<float> traitsOf(const PalmIdentity& palm, const CaptureConditions& conditions) {
    return {std::hypot(conditions.tiltAcross, conditions.tiltAlong), std::abs(conditions.turn),
            kPercent * (conditions.focusBlur + conditions.motionBlur),
            conditions.exposure * palm.albedo, 1.0f / conditions.palmWidth};
}

double longSide(const std::array<cv::Point2f, PVA_KEY_POINTS>& points) {
    const auto [left, right] = std::ranges::minmax(points, {}, &cv::Point2f::x);
    const auto [top, bottom] = std::ranges::minmax(points, {}, &cv::Point2f::y);
    return static_cast<double>(std::max(right.x - left.x, bottom.y - top.y));
}

// Frame pixels.
double errorOf(const PvaHandPose& pose, const std::array<cv::Point2f, PVA_KEY_POINTS>& truth) {
    double sum = 0.0;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        sum +=
            std::hypot(static_cast<double>(pose.keyPoints[i].x) - static_cast<double>(truth[i].x),
                       static_cast<double>(pose.keyPoints[i].y) - static_cast<double>(truth[i].y));
    }
    return sum / static_cast<double>(truth.size());
}

class RenderedCollection {
public:
    RenderedCollection(const RenderedPeople& people, const ConfigDocument& config, Report& report)
        : people_(people), collection_(config, knownTraits()), report_(report) {}

    RenderedSet collect() {
        for (int person = 0; person < people_.people; ++person) {
            eachPalm(person, [&](const PalmIdentity& palm) { takeAll(palm); });
        }
        if (people_.bystanders > 0) {
            collection_.beginBystanders();
        }
        for (int person = 0; person < people_.bystanders; ++person) {
            eachPalm(people_.people + person, [&](const PalmIdentity& palm) { takeSome(palm); });
        }
        countFalseAlarms();
        return {collection_.take(), tally_};
    }

private:
    template <typename Take>
    void eachPalm(int person, Take take) {
        look_ = people_.isAnyCamera ? lookOf(people_.seed, person / kPeoplePerCamera) : usualLook();
        report_.progress("person " + std::to_string(person + 1) + " of " +
                         std::to_string(people_.people + people_.bystanders));
        for (const Hand hand : {Hand::left, Hand::right}) {
            collection_.beginPalm(std::to_string(person) + (hand == Hand::left ? "L" : "R"));
            take(identityOf(people_.seed, person, hand));
        }
    }

    void takeAll(const PalmIdentity& palm) {
        for (int capture = 0; capture < people_.captures; ++capture) {
            const RenderedFrame frame = take(palm, capture);
            count(frame, last_);
        }
    }

    // Until an enrolment is full; a cooperative user tries again when refused.
    void takeSome(const PalmIdentity& palm) {
        const int most = 2 * people_.enrolment + 2;
        int good = 0;
        for (int capture = 0; capture < most && good < people_.enrolment; ++capture) {
            take(palm, capture);
            good += last_.isGood() ? 1 : 0;
        }
    }

    RenderedFrame take(const PalmIdentity& palm, int capture) {
        const CaptureConditions conditions =
            captureOf(people_.seed, palm, capture, people_.scenario, look_);
        RenderedFrame frame = render(palm, conditions, sizeOf(capture));
        last_ = collection_.add(collection_.palm() + "_" + std::to_string(capture), frame.luma,
                                traitsOf(palm, conditions));
        return frame;
    }

    void count(const RenderedFrame& frame, const Capture& capture) {
        ++tally_.hands;
        tally_.found += capture.candidate ? 1 : 0;
        if (capture.hand) {
            ++tally_.usable;
            const double error = errorOf(capture.found, frame.keyPoints);
            tally_.ofLengthSum += error / static_cast<double>(frame.handLength);
            tally_.ofBoxSum += error / longSide(frame.keyPoints);
        }
    }

    void countFalseAlarms() {
        for (int number = 0; number < people_.handless; ++number) {
            report_.progress("frame without an open palm " + std::to_string(number + 1) + " of " +
                             std::to_string(people_.handless));
            const RenderedFrame frame = renderWithoutPalm(people_.seed, number, sizeOf(number));
            AlarmTally& tally =
                frame.content == Content::noHand ? tally_.withoutHand : tally_.otherHands;
            ++tally.frames;
            tally.alarms += captureFrom(frame.luma).hand ? 1 : 0;
        }
    }

    const RenderedPeople& people_;
    CaptureCollection collection_;
    Report& report_;
    DetectionTally tally_;
    CameraLook look_{};
    Capture last_;
};

}  // namespace

double DetectionTally::foundShare() const {
    return share(found, hands);
}

double DetectionTally::errorOfLength() const {
    return usable == 0 ? 0.0 : ofLengthSum / static_cast<double>(usable);
}

double DetectionTally::errorOfBox() const {
    return usable == 0 ? 0.0 : ofBoxSum / static_cast<double>(usable);
}

double AlarmTally::share() const {
    return tool::share(alarms, frames);
}

AlarmTally DetectionTally::allAlarms() const {
    return {withoutHand.frames + otherHands.frames, withoutHand.alarms + otherHands.alarms};
}

RenderedSet collectRendered(const RenderedPeople& people, const ConfigDocument& config,
                            Report& report) {
    return RenderedCollection(people, config, report).collect();
}

}  // namespace brairu::tool
