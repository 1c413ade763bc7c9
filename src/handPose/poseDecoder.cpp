#include "handPose/poseDecoder.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "handPose/geometry.h"
#include "utils/convert.h"

namespace brairu {
namespace {

constexpr int kScoreBoost = 10;
constexpr int kLargestMinimum = 9999;
constexpr float kMargin = 0.1f;
constexpr double kEnlargement = 1.2;
constexpr double kLargestShareOfFrame = 0.8;
constexpr float kSmallestSpan = 0.5f;

struct OutputSize {
    int inputWidth;
    int inputHeight;
    int rows;
};

constexpr std::array<OutputSize, 4> kOutputSizes{
    {{128, 128, 336}, {256, 160, 840}, {192, 128, 504}, {192, 192, 756}}};
constexpr int kFallbackRows = 840;

// Single precision, in this order: the stored coordinates depend on it.
std::uint16_t frameCoordinate(std::int8_t networkCoordinate, float scale, int frameExtent,
                              int inputExtent) {
    const float scaled = static_cast<float>(networkCoordinate) * scale;
    const float inFrame = scaled * static_cast<float>(frameExtent);
    return storedCoordinate(inFrame / static_cast<float>(inputExtent));
}

struct Extent {
    int smallest = kLargestMinimum;
    int largest = 0;

    void include(int value) {
        smallest = std::min(smallest, value);
        largest = std::max(largest, value);
    }
};

struct Side {
    std::uint16_t centre;
    std::uint16_t length;
};

// One side of the box, from the extent of the points along it.
Side enclosingSide(Extent extent) {
    const float margin = static_cast<float>(extent.largest - extent.smallest) * kMargin;
    const auto low =
        static_cast<std::uint16_t>(truncatedInt(static_cast<float>(extent.smallest) - margin));
    const auto high =
        static_cast<std::uint16_t>(truncatedInt(static_cast<float>(extent.largest) + margin));
    const auto length = static_cast<std::uint16_t>(high - low);
    return {static_cast<std::uint16_t>(low + length / 2),
            static_cast<std::uint16_t>(static_cast<int>(length * kEnlargement))};
}

// Signed height of a point over the line through the bases of index and little finger. The slope is
// plain IEEE division: a vertical line gives infinities and NaN, which count as not negative.
bool liesBelowFingerBases(const PvaHandPose& pose, int point) {
    const PvaPoint index = pose.keyPoints[2];
    const PvaPoint little = pose.keyPoints[5];
    const PvaPoint p = pose.keyPoints[point];
    const double slope =
        static_cast<double>(index.y - little.y) / static_cast<double>(index.x - little.x);
    const double distance = index.y + (p.x - index.x) * slope - p.y;
    return static_cast<float>(distance) < 0.0f;
}

// The middle of the palm lies on the other side of the finger bases than middle and ring finger.
bool passesSideTest(const PvaHandPose& pose) {
    const bool palm = liesBelowFingerBases(pose, 0);
    const bool middle = liesBelowFingerBases(pose, 3);
    const bool ring = liesBelowFingerBases(pose, 4);
    return palm ? !middle && !ring : middle && ring;
}

bool passesSizeTest(const PvaHandPose& pose, FrameSize frame) {
    return pose.width < truncatedInt(frame.width * kLargestShareOfFrame) &&
           pose.height < truncatedInt(frame.height * kLargestShareOfFrame);
}

// The index-finger side of the palm spans at least half the height of the box.
bool passesSpanTest(const PvaHandPose& pose) {
    const double dx = pose.keyPoints[1].x - pose.keyPoints[2].x;
    const double dy = pose.keyPoints[1].y - pose.keyPoints[2].y;
    const int distance = truncatedInt(std::sqrt(dx * dx + dy * dy));
    return static_cast<float>(distance) / static_cast<float>(pose.height) >= kSmallestSpan;
}

}  // namespace

void OutputLayout::selectFor(std::string_view outputName) {
    if (outputName == "output0") {
        *this = {0, 1.0f, false};
    } else if (outputName == "/model.22/Split/1") {
        *this = {0, 1.0f, true};
    } else if (outputName == "/model.22/Concat_6") {
        *this = {4, 4.0f, false};
    }
}

int outputBytesFor(FrameSize input) {
    for (const OutputSize& size : kOutputSizes) {
        if (size.inputWidth == input.width && size.inputHeight == input.height) {
            return size.rows * kRowBytes;
        }
    }
    return kFallbackRows * kRowBytes;
}

std::optional<BestRow> bestRow(std::span<const std::uint8_t> output, const OutputLayout& layout) {
    const std::size_t rows = output.size() / kRowBytes;
    if (rows == 0) {
        return std::nullopt;
    }
    BestRow best;
    for (std::size_t row = 0; row < rows; ++row) {
        const std::uint8_t score =
            output[row * kRowBytes + static_cast<std::size_t>(layout.scoreOffset)];
        if (score > best.score) {
            best = {static_cast<int>(row), score};
        }
    }
    return best;
}

int scorePercent(BestRow best, const OutputLayout& layout, bool boosted) {
    const int percent = truncatedInt(static_cast<float>(best.score) * layout.coordScale);
    return boosted ? percent + kScoreBoost : percent;
}

void decodeKeyPoints(std::span<const std::uint8_t> output, int row, const OutputLayout& layout,
                     FrameSize input, FrameSize frame, PvaHandPose& pose) {
    const std::size_t base = static_cast<std::size_t>(row) * kRowBytes +
                             static_cast<std::size_t>(layout.scoreOffset) + 1;
    for (std::size_t point = 0; point < PVA_KEY_POINTS; ++point) {
        const auto x = static_cast<std::int8_t>(output[base + 2 * point]);
        const auto y = static_cast<std::int8_t>(output[base + 2 * point + 1]);
        pose.keyPoints[point].x = frameCoordinate(x, layout.coordScale, frame.width, input.width);
        pose.keyPoints[point].y = frameCoordinate(y, layout.coordScale, frame.height, input.height);
    }
}

void encloseKeyPoints(PvaHandPose& pose) {
    Extent across;
    Extent down;
    for (const PvaPoint& point : pose.keyPoints) {
        across.include(point.x);
        down.include(point.y);
    }
    const Side horizontal = enclosingSide(across);
    const Side vertical = enclosingSide(down);
    pose.centerX = horizontal.centre;
    pose.centerY = vertical.centre;
    pose.width = horizontal.length;
    pose.height = vertical.length;
}

bool judgeHand(PvaHandPose& pose, FrameSize frame) {
    if (!passesSideTest(pose) || !passesSizeTest(pose, frame) || !passesSpanTest(pose)) {
        return false;
    }
    pose.orientation = turnOf(keyPointsOf(pose)) > 0.0f ? 0 : 1;
    return true;
}

}  // namespace brairu
