// The counter of the demonstration: people hold their palms up, frames are rendered, and the engine
// captures features from them.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <utility>

#include "brairu.h"
#include "demoReport.h"
#include "renderer/palmRenderer.h"

namespace demo {

struct Capture {
    cv::Mat frame;
    PvaHandPose found{};  // as detected
    std::string outcome;  // in words
    bool usable = false;  // features are there
    std::array<std::uint8_t, PVA_FEATURE_BYTES> features{};
};

class CaptureStation {
public:
    explicit CaptureStation(DemoReport& report) : report_(report) {}

    // One frame of a palm. number tells captures of the palm apart: the same number gives the same
    // frame.
    Capture capture(const brairu::PalmIdentity& palm, int number,
                    brairu::Scenario scenario = brairu::Scenario::enrolment);

    // As many frames as it takes to get a usable one, at most five; the last one. Counts them in
    // step.
    Capture usableCapture(const brairu::PalmIdentity& palm, int& number, StepReport& step);

    // Runs a call and adds its time to the report.
    template <class Call>
    auto timed(const std::string& name, Call&& call) {
        const auto start = std::chrono::steady_clock::now();
        const auto result = std::forward<Call>(call)();
        const std::chrono::duration<double, std::milli> spent =
            std::chrono::steady_clock::now() - start;
        Timing& timing = report_.timings[name];
        ++timing.calls;
        timing.milliseconds += spent.count();
        return result;
    }

private:
    void detectAndExtract(Capture& capture);

    DemoReport& report_;
};

}  // namespace demo
