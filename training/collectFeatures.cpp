// Runs rendered palms that no training saw through the library's exported calls, and writes down
// what came of them.

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "brairu.h"
#include "renderer/palmRenderer.h"
#include "training/npyFile.h"

namespace {

using namespace brairu;

constexpr const char* kUsage =
    "usage: brairu-collect-features CONFIG FOLDER PEOPLE CAPTURES SEED enrolment|hard\n"
    "Writes FOLDER/features.npy, signed bytes (palms, CAPTURES, 3, 512), zeros where a capture\n"
    "was refused, and prints how many hands were found and why captures were refused.\n";

cv::Size sizeOf(int number) {
    const cv::Size choices[] = {{640, 480}, {480, 640}, {1280, 800}};
    return choices[number % 3];
}

// What happened to the captures of one run.
struct Tally {
    int hands = 0;
    int found = 0;
    int usable = 0;
    int featured = 0;
    int empty = 0;
    int falseAlarms = 0;
    double errorSum = 0.0;
    double errorShareSum = 0.0;
    double seconds = 0.0;
    std::map<std::uint32_t, int> codes;
};

double longSide(const std::array<cv::Point2f, 7>& points) {
    cv::Point2f low = points[0];
    cv::Point2f high = points[0];
    for (const cv::Point2f& point : points) {
        low = {std::min(low.x, point.x), std::min(low.y, point.y)};
        high = {std::max(high.x, point.x), std::max(high.y, point.y)};
    }
    return static_cast<double>(std::max(high.x - low.x, high.y - low.y));
}

double meanError(const PvaHandPose& pose, const std::array<cv::Point2f, 7>& truth) {
    float sum = 0.0f;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        sum += std::hypot(static_cast<float>(pose.keyPoints[i].x) - truth[i].x,
                          static_cast<float>(pose.keyPoints[i].y) - truth[i].y);
    }
    return static_cast<double>(sum) / static_cast<double>(truth.size());
}

using Features = std::array<std::uint8_t, PVA_FEATURE_BYTES>;

Features capture(RenderedFrame& frame, Tally& tally) {
    const auto width = static_cast<std::uint32_t>(frame.luma.cols);
    const auto height = static_cast<std::uint32_t>(frame.luma.rows);
    Features features{};
    PvaHandPose pose{};
    ++tally.hands;
    const auto begin = std::chrono::steady_clock::now();
    const bool usable = pvaGetHandPose(frame.luma.data, width, height, &pose) == 1;
    tally.found += pose.width > 0 ? 1 : 0;
    if (usable) {
        const double error = meanError(pose, frame.keyPoints);
        ++tally.usable;
        tally.errorSum += error * 128.0 / std::max(frame.luma.cols, frame.luma.rows);
        tally.errorShareSum += error / longSide(frame.keyPoints);
        const std::uint32_t code =
            pvaGetFeat(frame.luma.data, width, height, &pose, features.data());
        ++tally.codes[code];
        tally.featured += code == 0 ? 1 : 0;
    }
    tally.seconds +=
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return features;
}

void addPalm(const PalmIdentity& palm, int captures, std::uint64_t seed, Scenario scenario,
             NpyFile& file, Tally& tally) {
    for (int i = 0; i < captures; ++i) {
        RenderedFrame frame = render(palm, captureOf(seed, palm, i, scenario), sizeOf(i));
        const Features features = capture(frame, tally);
        file.append(features.data(), features.size());
    }
}

void countFalseAlarms(int frames, std::uint64_t seed, Tally& tally) {
    for (int i = 0; i < frames; ++i) {
        RenderedFrame frame = renderWithoutHand(seed, i, sizeOf(i));
        PvaHandPose pose{};
        ++tally.empty;
        tally.falseAlarms += static_cast<int>(
            pvaGetHandPose(frame.luma.data, static_cast<std::uint32_t>(frame.luma.cols),
                           static_cast<std::uint32_t>(frame.luma.rows), &pose));
    }
}

void print(const Tally& tally) {
    const auto percent = [](int part, int whole) {
        return whole == 0 ? 0.0 : 100.0 * part / whole;
    };
    std::printf("captures %d, hands found %.2f %%, usable %.2f %%, features %.2f %%\n", tally.hands,
                percent(tally.found, tally.hands), percent(tally.usable, tally.hands),
                percent(tally.featured, tally.hands));
    std::printf("key points off by %.2f px of 128, %.2f %% of the palm's long side\n",
                tally.errorSum / tally.usable, 100.0 * tally.errorShareSum / tally.usable);
    for (const auto& [code, count] : tally.codes) {
        std::printf("code %u: %.2f %%\n", code, percent(count, tally.usable));
    }
    std::printf("frames without a hand %d, false alarms %.2f %%\n", tally.empty,
                percent(tally.falseAlarms, tally.empty));
    std::printf("%.2f ms a capture\n", 1000.0 * tally.seconds / tally.hands);
}

void run(char** arguments) {
    const std::filesystem::path folder = arguments[2];
    const int people = std::stoi(arguments[3]);
    const int captures = std::stoi(arguments[4]);
    const std::uint64_t seed = std::stoull(arguments[5]);
    const Scenario scenario =
        std::string(arguments[6]) == "hard" ? Scenario::hard : Scenario::enrolment;
    std::filesystem::create_directories(folder);
    if (init_pva(arguments[1]) != 1) {
        throw std::runtime_error("the engine does not start");
    }
    NpyFile file((folder / "features.npy").string(), "|i1", {2 * people, captures, 3, 512});
    Tally tally;
    for (int person = 0; person < people; ++person) {
        addPalm(identityOf(seed, person, Hand::left), captures, seed, scenario, file, tally);
        addPalm(identityOf(seed, person, Hand::right), captures, seed, scenario, file, tally);
    }
    file.close();
    countFalseAlarms(people * captures, seed, tally);
    print(tally);
    deinit_pva();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 7) {
        (void)std::fputs(kUsage, stderr);
        return EXIT_FAILURE;
    }
    try {
        run(argv);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        (void)std::fprintf(stderr, "brairu-collect-features: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
