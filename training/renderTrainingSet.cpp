#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "training/captureSource.h"
#include "training/npyFile.h"

namespace {

using namespace brairu;

constexpr const char* kUsage =
    "usage: brairu-training-set poses FOLDER COUNT SEED\n"
    "       brairu-training-set palms FOLDER PEOPLE CAPTURES SEED enrolment|hard|mixed\n"
    "poses: frames for the hand-pose network; images.npy (COUNT,128,128) and labels.npy\n"
    "  (COUNT,15): 1 or 0 for an open palm, then x and y of the key points in network pixels.\n"
    "palms: both palms of PEOPLE for the feature networks; images.npy\n"
    "  (palms,CAPTURES,3,128,128): regions A and B and the whole crop. Every 50 palms in a row\n"
    "  were taken with one camera.\n";

enum Stream : std::uint64_t { kPoseStream = 21, kPalmStream = 22 };

// People in a row whom one camera photographs, so that its look tells nothing about who they are.
constexpr int kPeoplePerCamera = 25;
// One camera in so many is the usual one.
constexpr int kUsualCamera = 4;

CameraLook cameraLook(std::uint64_t seed, int camera) {
    return camera % kUsualCamera == 0 ? usualLook() : lookOf(seed, camera);
}

constexpr int kLabels = 15;
constexpr int kMostTries = 400;

bool allInside(const std::array<cv::Point2f, 7>& points, cv::Size size) {
    const cv::Rect2f frame(0.0f, 0.0f, static_cast<float>(size.width - 1),
                           static_cast<float>(size.height - 1));
    return std::ranges::all_of(points,
                               [&](const cv::Point2f& point) { return frame.contains(point); });
}

class PoseSet {
public:
    PoseSet(const std::filesystem::path& folder, int count, std::uint64_t seed)
        : count_(count),
          seed_(seed),
          random_{seed, kPoseStream},
          images_(folder / "images.npy", "|u1", {count, kNetworkSide, kNetworkSide}),
          labels_(folder / "labels.npy", "<f4", {count, kLabels}) {}

    void write() {
        for (int i = 0; i < count_; ++i) {
            if (i % kCapturesPerPalm == 0) {
                palm_ = identityOf(seed_, i, random_.chance(0.5f) ? Hand::left : Hand::right);
            }
            const bool hand = i % 2 == 0;
            hand ? addHand(i) : addEmpty(i);
            reportProgress(i);
        }
        images_.close();
        labels_.close();
    }

private:
    static constexpr int kCapturesPerPalm = 12;

    static Scenario scenarioOf(Random& random) {
        const float draw = random.unit();
        return draw < 0.55f ? Scenario::anywhere
                            : (draw < 0.8f ? Scenario::hard : Scenario::enrolment);
    }

    void addHand(int number) {
        const cv::Size size = anySize(random_);
        const Scenario scenario = scenarioOf(random_);
        const CameraLook look = cameraLook(seed_, number / 2);
        for (int attempt = 0; attempt < kMostTries; ++attempt) {
            const CaptureConditions conditions =
                captureOf(seed_, palm_, number * kMostTries + attempt, scenario, look);
            if (allInside(keyPointsIn(palm_, conditions, size), size)) {
                append(render(palm_, conditions, size));
                return;
            }
        }
        throw std::runtime_error("no capture shows the whole palm");
    }

    void addEmpty(int number) { append(renderWithoutPalm(seed_, number, anySize(random_))); }

    void append(const RenderedFrame& frame) {
        const cv::Mat luma = detectorLuma(frame.luma);
        images_.append(luma.data, luma.total());
        const bool open = frame.content == Content::openPalm;
        std::array<float, kLabels> label{};
        label[0] = open ? 1.0f : 0.0f;
        for (std::size_t i = 0; open && i < frame.keyPoints.size(); ++i) {
            const cv::Point2f& point = frame.keyPoints[i];
            label[1 + 2 * i] = point.x * kNetworkSide / static_cast<float>(frame.luma.cols);
            label[2 + 2 * i] = point.y * kNetworkSide / static_cast<float>(frame.luma.rows);
        }
        labels_.append(label.data(), sizeof label);
    }

    void reportProgress(int done) const {
        if ((done + 1) % 2000 == 0) {
            std::printf("%d of %d frames\n", done + 1, count_);
            (void)std::fflush(stdout);
        }
    }

    int count_;
    std::uint64_t seed_;
    Random random_;
    NpyFile images_;
    NpyFile labels_;
    PalmIdentity palm_{};
};

class PalmSet {
public:
    PalmSet(const std::filesystem::path& folder, int people, int captures, std::uint64_t seed,
            const std::string& mix)
        : people_(people),
          captures_(captures),
          seed_(seed),
          mix_(mix),
          random_{seed, kPalmStream},
          images_(folder / "images.npy", "|u1",
                  {2 * people, captures, 3, kNetworkSide, kNetworkSide}) {}

    void write() {
        for (int person = 0; person < people_; ++person) {
            const CameraLook look = cameraLook(seed_, person / kPeoplePerCamera);
            addPalm(palmOf(person, Hand::left), look);
            addPalm(palmOf(person, Hand::right), look);
            if ((person + 1) % 100 == 0) {
                std::printf("%d of %d people\n", person + 1, people_);
                (void)std::fflush(stdout);
            }
        }
        images_.close();
    }

private:
    Scenario scenario() {
        const bool hard = mix_ == "hard" || (mix_ == "mixed" && random_.chance(0.45f));
        return hard ? Scenario::hard : Scenario::enrolment;
    }

    // Before every second camera there is one family alone: palms that differ in detail only.
    PalmIdentity palmOf(int person, Hand hand) const {
        const int camera = person / kPeoplePerCamera;
        return camera % 2 == 0 ? identityOf(seed_, person, hand, people_ + camera)
                               : identityOf(seed_, person, hand);
    }

    void addPalm(const PalmIdentity& palm, const CameraLook& look) {
        int number = 0;
        for (int capture = 0; capture < captures_; ++capture) {
            addCapture(palm, look, number);
        }
    }

    // Numbers go on until a capture is well placed, as a user would be asked to try again.
    void addCapture(const PalmIdentity& palm, const CameraLook& look, int& number) {
        const cv::Size size = cameraSize(random_);
        const Scenario kind = scenario();
        for (int attempt = 0; attempt < kMostTries; ++attempt) {
            const CaptureConditions conditions = captureOf(seed_, palm, number++, kind, look);
            const auto pose = detectedPose(keyPointsIn(palm, conditions, size), size,
                                           random_.uniform(0.006f, 0.040f), random_);
            if (pose) {
                append(palmLuma(render(palm, conditions, size).luma, *pose));
                return;
            }
        }
        throw std::runtime_error("no capture is well placed");
    }

    void append(const PalmImages& luma) {
        for (const cv::Mat& image : {luma.regionA, luma.regionB, luma.whole}) {
            images_.append(image.data, image.total());
        }
    }

    int people_;
    int captures_;
    std::uint64_t seed_;
    std::string mix_;
    Random random_;
    NpyFile images_;
};

// The frames that were drawn.
int run(int count, char** arguments) {
    const std::string kind = count > 1 ? arguments[1] : "";
    if (kind == "poses" && count == 5) {
        const int frames = std::stoi(arguments[3]);
        std::filesystem::create_directories(arguments[2]);
        PoseSet(arguments[2], frames, std::stoull(arguments[4])).write();
        return frames;
    }
    if (kind == "palms" && count == 7) {
        const int people = std::stoi(arguments[3]);
        const int captures = std::stoi(arguments[4]);
        std::filesystem::create_directories(arguments[2]);
        PalmSet(arguments[2], people, captures, std::stoull(arguments[5]), arguments[6]).write();
        return 2 * people * captures;
    }
    throw std::invalid_argument("what to render?");
}

// Of the processor, which other work does not lengthen.
double secondsSoFar() {
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        cv::setNumThreads(1);
        const int frames = run(argc, argv);
        std::printf("%d frames, %.0f a second of the processor\n", frames, frames / secondsSoFar());
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        (void)std::fprintf(stderr, "brairu-training-set: %s\n%s", error.what(), kUsage);
        return EXIT_FAILURE;
    }
}
