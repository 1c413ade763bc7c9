#include "capture/captureSuite.h"

#include <algorithm>
#include <memory>
#include <string>

#include "capture/captureSteps.h"
#include "capture/imageCalls.h"

namespace brairu::bench {
namespace {

// At most 1.3 times the sum of the calls.
constexpr double kGoal = 1.0 / 1.3;

const cv::Size kSizes[] = {{640, 480}, {1280, 800}};

struct Step {
    const char* title;
    void (CaptureSteps::*run)();
};

constexpr Step kSteps[] = {
    {"scaling to the detector's input", &CaptureSteps::scaleToInput},
    {"best row, key points, box, tests", &CaptureSteps::decode},
    {"placement", &CaptureSteps::checkPlacement},
    {"crop", &CaptureSteps::cutCrop},
    {"turning the crop", &CaptureSteps::turnCrop},
    {"two regions and the whole", &CaptureSteps::cutRegions},
    {"quality gate", &CaptureSteps::judge},
    {"three network frames", &CaptureSteps::makeFrames},
    {"capture without networks", &CaptureSteps::captureWithoutNetworks},
    {"capture with its four network runs", &CaptureSteps::capture},
};

// A step, and calls of OpenCV that make the same images.
struct Comparison {
    const char* title;
    void (CaptureSteps::*ours)();
    void (ImageCalls::*calls)();
    double goal;
};

constexpr Comparison kComparisons[] = {
    {"resize nearest: detector's input", &CaptureSteps::scaleToInput, &ImageCalls::scaleToInput,
     0.0},
    {"resize: crop", &CaptureSteps::cutCrop, &ImageCalls::cutCrop, 0.0},
    {"warpAffine: turning the crop", &CaptureSteps::turnCrop, &ImageCalls::turnCrop, 0.0},
    {"resize: regions and whole", &CaptureSteps::cutRegions, &ImageCalls::cutRegions, 0.0},
    {"means, Laplacian, deviation: gate", &CaptureSteps::judge, &ImageCalls::judge, 0.0},
    {"cvtColor twice: network frames", &CaptureSteps::makeFrames, &ImageCalls::makeFrames, 0.0},
    {"all these: capture without networks", &CaptureSteps::captureWithoutNetworks, &ImageCalls::all,
     kGoal},
    {"without Laplacian, cvtColor: the same", &CaptureSteps::captureWithoutNetworks,
     &ImageCalls::shared, kGoal},
};

std::string textOf(cv::Size size) {
    return std::to_string(size.width) + " x " + std::to_string(size.height);
}

std::string measurementOf(const Step& step, cv::Size size) {
    return std::string(step.title) + "/" + textOf(size);
}

// The measurements in one frame size and the rows that they make.
class OneSize {
public:
    OneSize(Suite& suite, cv::Size size)
        : suite_(suite),
          size_(size),
          ours_(std::make_shared<CaptureSteps>(size)),
          calls_(std::make_shared<ImageCalls>(ours_->palm())) {}

    void add(const Step& step) {
        suite_.measurements.push_back(
            {measurementOf(step, size_), [ours = ours_, run = step.run] { (*ours.*run)(); }, ""});
    }

    void add(const Comparison& comparison) {
        const std::string title = std::string(comparison.title) + ", " + textOf(size_);
        const auto* const ours = std::ranges::find(kSteps, comparison.ours, &Step::run);
        suite_.measurements.push_back(
            {title, [calls = calls_, run = comparison.calls] { (*calls.*run)(); }, ""});
        suite_.rows.push_back({title, measurementOf(*ours, size_), title, comparison.goal});
    }

private:
    Suite& suite_;
    cv::Size size_;
    std::shared_ptr<CaptureSteps> ours_;
    std::shared_ptr<ImageCalls> calls_;
};

TimeTable stepTable() {
    TimeTable table{"step of a capture", {}, {}};
    for (const cv::Size size : kSizes) {
        table.columns.push_back(textOf(size));
    }
    for (const Step& step : kSteps) {
        TimeTable::Line line{step.title, {}};
        for (const cv::Size size : kSizes) {
            line.measurements.push_back(measurementOf(step, size));
        }
        table.lines.push_back(line);
    }
    return table;
}

}  // namespace

void addCapture(Suite& suite) {
    cv::setNumThreads(1);
    for (const cv::Size size : kSizes) {
        OneSize capture(suite, size);
        for (const Step& step : kSteps) {
            capture.add(step);
        }
        for (const Comparison& comparison : kComparisons) {
            capture.add(comparison);
        }
    }
    suite.tables.push_back(stepTable());
}

}  // namespace brairu::bench
