// Network output of any bytes, in frames and under settings of any size, through decoder and
// placement; compared with a plain restatement of both.
#include <algorithm>
#include <array>
#include <cmath>

#include "byteSource.h"
#include "claim.h"
#include "handPose/geometry.h"
#include "handPose/placement.h"
#include "handPose/poseDecoder.h"

namespace {

using namespace brairu;
using fuzz::ByteSource;
using fuzz::claim;

constexpr double kLargestUnsigned = 4294967295.0;

struct Sizes {
    FrameSize input;
    FrameSize frame;
};

int anySide(ByteSource& source) {
    const int small = source.between(1, 4096);
    return source.oneOf({small, small, small, 1, 480, 640, 65535, 65536, 1 << 24, 0x7fffffff});
}

Sizes anySizes(ByteSource& source) {
    const FrameSize listed =
        source.oneOf<FrameSize>({{128, 128}, {256, 160}, {192, 128}, {192, 192}});
    const FrameSize input = source.coin() ? listed : FrameSize{anySide(source), anySide(source)};
    return {input, {anySide(source), anySide(source)}};
}

OutputLayout anyLayout(ByteSource& source) {
    OutputLayout layout;
    for (int runs = source.between(0, 2); runs > 0; --runs) {
        layout.selectFor(source.oneOf<const char*>(
            {"output0", "/model.22/Split/1", "/model.22/Concat_6", "another", ""}));
    }
    return layout;
}

PlacementSettings anySettings(ByteSource& source) {
    PlacementSettings settings;
    for (float* setting :
         {&settings.horizontalTolerance, &settings.verticalTolerance, &settings.widthMin,
          &settings.widthMax, &settings.heightMin, &settings.heightMax}) {
        const auto percent = static_cast<float>(source.between(-20, 120)) / 100.0F;
        *setting = source.coin() ? percent : source.number<float>();
    }
    return settings;
}

// The row that has to be chosen: the first of the largest score.
int expectedRow(std::span<const std::uint8_t> output, int scoreOffset) {
    const auto rows = static_cast<int>(output.size() / 32);
    int best = 0;
    for (int row = 0; row < rows; ++row) {
        const auto scoreOf = [&](int r) {
            return output[static_cast<std::size_t>(r * 32 + scoreOffset)];
        };
        best = scoreOf(row) > scoreOf(best) ? row : best;
    }
    return best;
}

std::uint16_t expectedCoordinate(std::uint8_t byte, float scale, int extent, int input) {
    const float value = static_cast<float>(static_cast<std::int8_t>(byte)) * scale *
                        static_cast<float>(extent) / static_cast<float>(input);
    const double bounded = std::clamp(static_cast<double>(value), 0.0, kLargestUnsigned);
    return static_cast<std::uint16_t>(static_cast<std::uint32_t>(bounded) & 0xffff);
}

void checkPoints(std::span<const std::uint8_t> row, const OutputLayout& layout, const Sizes& sizes,
                 const PvaHandPose& pose) {
    const std::uint8_t* bytes = row.data() + layout.scoreOffset + 1;
    for (const PvaPoint& point : pose.keyPoints) {
        claim(point.x == expectedCoordinate(*bytes++, layout.coordScale, sizes.frame.width,
                                            sizes.input.width),
              "x of a key point");
        claim(point.y == expectedCoordinate(*bytes++, layout.coordScale, sizes.frame.height,
                                            sizes.input.height),
              "y of a key point");
    }
}

// Of one side of the box: centre and length.
std::array<std::uint16_t, 2> expectedSide(const std::array<int, 7>& values) {
    const int low = std::min(9999, *std::ranges::min_element(values));
    const int high = *std::ranges::max_element(values);
    const float margin = static_cast<float>(high - low) * 0.1F;
    const int begin = static_cast<int>(static_cast<float>(low) - margin) & 0xffff;
    const int end = static_cast<int>(static_cast<float>(high) + margin) & 0xffff;
    const int length = (end - begin) & 0xffff;
    return {static_cast<std::uint16_t>(begin + length / 2),
            static_cast<std::uint16_t>(static_cast<int>(length * 1.2))};
}

void checkBox(const PvaHandPose& pose) {
    std::array<int, 7> xs{};
    std::array<int, 7> ys{};
    std::ranges::transform(pose.keyPoints, xs.begin(), [](PvaPoint point) { return point.x; });
    std::ranges::transform(pose.keyPoints, ys.begin(), [](PvaPoint point) { return point.y; });
    const auto [centreX, width] = expectedSide(xs);
    const auto [centreY, height] = expectedSide(ys);
    claim(pose.centerX == centreX && pose.width == width, "the box across");
    claim(pose.centerY == centreY && pose.height == height, "the box down");
}

std::int64_t percent(double fraction) {
    const double whole = fraction != fraction ? 0.0 : fraction;
    return static_cast<std::int64_t>(std::clamp(whole, -2147483648.0, 2147483647.0));
}

std::uint32_t expectedPlacement(const PvaHandPose& pose, FrameSize frame,
                                const PlacementSettings& settings) {
    const std::int64_t width = frame.width;
    const std::int64_t height = frame.height;
    const std::int64_t halfWidth = pose.width / 2;
    const std::int64_t halfHeight = pose.height / 2;
    const auto whole = [](float fraction) { return percent(double{fraction * 100.0F}); };
    const std::int64_t lowered = width < height ? 10 : 0;
    const std::int64_t widthPercent = 100 * pose.width / width;
    const std::int64_t heightPercent = 100 * pose.height / height;
    if ((pose.centerX - halfWidth) * 100 / width <= whole(settings.horizontalTolerance)) {
        return 1;
    }
    if ((pose.centerY - halfHeight) * 100 / height <= whole(settings.verticalTolerance)) {
        return 3;
    }
    if (100 * (width - pose.centerX - halfWidth) / width <= whole(settings.horizontalTolerance)) {
        return 2;
    }
    if (100 * (height - pose.centerY - halfHeight) / height <= whole(settings.verticalTolerance)) {
        return 4;
    }
    if (widthPercent < whole(settings.widthMin) - lowered &&
        heightPercent < whole(settings.heightMin)) {
        return 15;
    }
    return widthPercent > whole(settings.widthMax) - lowered &&
                   heightPercent > whole(settings.heightMax)
               ? 14
               : 0;
}

void checkHand(PvaHandPose pose, FrameSize frame) {
    pose.orientation = 7;
    const bool usable = judgeHand(pose, frame);
    claim(usable ? pose.orientation <= 1 : pose.orientation == 7,
          "the orientation is written for a usable hand only");
    claim(!usable || (pose.width < static_cast<int>(frame.width * 0.8) &&
                      pose.height < static_cast<int>(frame.height * 0.8)),
          "a usable hand fills less than 80 percent of the frame");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ByteSource source(data, size);
    const Sizes sizes = anySizes(source);
    const OutputLayout layout = anyLayout(source);
    const PlacementSettings settings = anySettings(source);
    const bool boosted = source.coin();
    const std::vector<std::uint8_t> output = fuzz::copyOf(source.takeRest());

    const std::optional<BestRow> best = bestRow(output, layout);
    claim(best.has_value() == (output.size() >= 32), "there is a best row if there is a row");
    claim(outputBytesFor(sizes.input) % 32 == 0, "outputs are whole rows");
    if (!best) {
        return 0;
    }
    claim(best->index == expectedRow(output, layout.scoreOffset), "the best row");
    claim(scorePercent(*best, layout, boosted) ==
              static_cast<int>(best->score * layout.coordScale) + (boosted ? 10 : 0),
          "the score");
    PvaHandPose pose{};
    decodeKeyPoints(output, best->index, layout, sizes.input, sizes.frame, pose);
    checkPoints(std::span(output).subspan(static_cast<std::size_t>(best->index) * 32, 32), layout,
                sizes, pose);
    encloseKeyPoints(pose);
    checkBox(pose);
    checkHand(pose, sizes.frame);
    claim(placementCode(pose, sizes.frame, settings) ==
              expectedPlacement(pose, sizes.frame, settings),
          "the placement code");
    return 0;
}
