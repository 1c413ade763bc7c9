#include "crossArchitecture/handFigures.h"

#include <array>

#include "crossArchitecture/digest.h"
#include "crossArchitecture/fixedRandom.h"
#include "handPose/geometry.h"
#include "handPose/lumaFrame.h"
#include "handPose/palmRegion.h"
#include "handPose/placement.h"
#include "handPose/poseDecoder.h"
#include "handPose/qualityGate.h"
#include "support/poseOutput.h"

namespace brairu::test {
namespace {

constexpr std::array<FrameSize, 6> kFrames{
    {{640, 480}, {480, 640}, {641, 479}, {33, 700}, {1281, 801}, {1, 1}}};
constexpr std::array<FrameSize, 4> kInputs{{{128, 128}, {256, 160}, {192, 128}, {192, 192}}};
constexpr std::array<const char*, 3> kOutputNames{"output0", "/model.22/Split/1",
                                                  "/model.22/Concat_6"};
constexpr FrameSize kFeatureInput{128, 128};

void addTo(Digest& digest, const PvaHandPose& pose) {
    for (const int value : {int{pose.centerX}, int{pose.centerY}, int{pose.width}, int{pose.height},
                            int{pose.orientation}}) {
        digest.add(value);
    }
    for (const PvaPoint& point : pose.keyPoints) {
        digest.add(point.x);
        digest.add(point.y);
    }
}

// A row near that of a good hand, or far from it.
HandRow someRow(FixedRandom& random, int spread) {
    HandRow row{random.between(0, 255),
                random.between(0, 1) == 0 ? kUprightHand : mirrored(kUprightHand)};
    for (NetworkPoint& point : row.points) {
        point.x = std::clamp(point.x + random.between(-spread, spread), -128, 127);
        point.y = std::clamp(point.y + random.between(-spread, spread), -128, 127);
    }
    return row;
}

PvaHandPose someHand(FixedRandom& random, int spread, FrameSize frame) {
    PoseOutput output(1);
    output.put(0, someRow(random, spread));
    PvaHandPose pose{};
    decodeKeyPoints(output.bytes(), 0, {}, {128, 128}, frame, pose);
    encloseKeyPoints(pose);
    judgeHand(pose, frame);
    return pose;
}

// Smooth shapes with noise on them.
cv::Mat someScene(FixedRandom& random, FrameSize size) {
    cv::Mat scene(size.height, size.width, CV_8UC1);
    const int period = random.between(20, 60);
    for (int y = 0; y < scene.rows; ++y) {
        for (int x = 0; x < scene.cols; ++x) {
            const int wave = std::abs((x + 2 * y) % (2 * period) - period) * 120 / period;
            scene.at<std::uint8_t>(y, x) =
                static_cast<std::uint8_t>(60 + wave + random.between(-12, 12));
        }
    }
    return scene;
}

// The three regions of hands in scenes, one after the other.
std::vector<cv::Mat> someRegions(std::uint32_t seed, int hands) {
    FixedRandom random(seed);
    std::vector<cv::Mat> regions;
    while (static_cast<int>(regions.size()) < 3 * hands) {
        const cv::Mat scene = someScene(random, {640, 480});
        PvaHandPose pose = someHand(random, 6, {640, 480});
        PalmImages images;
        if (extractPalm(scene, kFeatureInput, pose, images) == PVA_PLACEMENT_GOOD) {
            regions.insert(regions.end(), {images.regionA, images.regionB, images.whole});
        }
    }
    return regions;
}

}  // namespace

std::string scaledLuma() {
    FixedRandom random(1);
    Digest digest;
    for (const FrameSize frame : kFrames) {
        const auto luma = random.bytes(static_cast<std::size_t>(frame.width * frame.height));
        for (const FrameSize input : kInputs) {
            digest.add(std::span<const std::uint8_t>(detectorFrame(luma.data(), frame, input)));
        }
    }
    return digest.hex();
}

std::string decodedRecords() {
    FixedRandom random(2);
    Digest digest;
    OutputLayout layout;
    for (int round = 0; round < 400; ++round) {
        layout.selectFor(kOutputNames[static_cast<std::size_t>(round % 3)]);
        const FrameSize input = kInputs[static_cast<std::size_t>(random.between(0, 3))];
        const FrameSize frame = kFrames[static_cast<std::size_t>(random.between(0, 5))];
        PoseOutput output(12);
        for (int row = 0; row < 12; ++row) {
            output.put(row, someRow(random, round % 40), layout.scoreOffset);
        }
        const std::optional<BestRow> best = bestRow(output.bytes(), layout);
        PvaHandPose pose{};
        decodeKeyPoints(output.bytes(), best->index, layout, input, frame, pose);
        encloseKeyPoints(pose);
        digest.add(best->index);
        digest.add(scorePercent(*best, layout, round % 2 == 0));
        digest.add(judgeHand(pose, frame));
        addTo(digest, pose);
    }
    return digest.hex();
}

std::string placementCodes() {
    FixedRandom random(3);
    Digest digest;
    for (int round = 0; round < 2000; ++round) {
        const FrameSize frame = kFrames[static_cast<std::size_t>(random.between(0, 4))];
        PlacementSettings settings;
        for (float* const setting :
             {&settings.horizontalTolerance, &settings.verticalTolerance, &settings.widthMin,
              &settings.widthMax, &settings.heightMin, &settings.heightMax}) {
            *setting = random.fraction(0.0f, 1.0f);
        }
        digest.add(placementCode(someHand(random, 30, frame), frame, settings));
    }
    return digest.hex();
}

std::string cropGeometry() {
    FixedRandom random(4);
    Digest digest;
    for (int round = 0; round < 1000; ++round) {
        PvaHandPose pose = someHand(random, 30, {640, 480});
        moveCentreToPalm(pose, kFeatureInput);
        const cv::Rect crop = cropRectangle(pose);
        for (const int value : {crop.x, crop.y, crop.width, crop.height}) {
            digest.add(value);
        }
        if (!crop.empty()) {
            for (const cv::Point point : keyPointsInCrop(pose, crop, cropSize(kFeatureInput))) {
                digest.add(point.x);
                digest.add(point.y);
            }
        }
        digest.add(turnOf(keyPointsOf(pose)));
        addTo(digest, pose);
    }
    return digest.hex();
}

std::string broadcastFrames() {
    FixedRandom random(5);
    Digest digest;
    for (const cv::Size size : {cv::Size(128, 128), cv::Size(130, 94), cv::Size(2, 2)}) {
        cv::Mat grey(size, CV_8UC1);
        for (int pixel = 0; pixel < size.area(); ++pixel) {
            grey.data[pixel] = random.byte();
        }
        digest.add(featureFrame(grey));
    }
    return digest.hex();
}

std::string brightnessFigures() {
    FixedRandom random(6);
    Digest digest;
    for (int round = 0; round < 20; ++round) {
        const Brightness brightness = measureBrightness(someScene(random, {128, 128}));
        digest.add(brightness.mean);
        digest.add(brightness.spread);
    }
    return digest.hex();
}

std::vector<double> uprightAngles() {
    FixedRandom random(7);
    std::vector<double> angles;
    for (int round = 0; round < 200; ++round) {
        const PvaHandPose pose = someHand(random, 30, {640, 480});
        angles.push_back(uprightAngle(keyPointsOf(pose), round % 2));
    }
    return angles;
}

std::vector<double> palmRegions() {
    constexpr int kStep = 9;
    std::vector<double> pixels;
    for (const cv::Mat& region : someRegions(8, 4)) {
        for (int y = 0; y < region.rows; y += kStep) {
            for (int x = 0; x < region.cols; x += kStep) {
                pixels.push_back(region.at<std::uint8_t>(y, x));
            }
        }
    }
    return pixels;
}

std::vector<double> sharpnessFigures() {
    FixedRandom random(9);
    std::vector<double> values;
    for (int round = 0; round < 20; ++round) {
        values.push_back(measureSharpness(someScene(random, {128, 128})));
    }
    return values;
}

}  // namespace brairu::test
