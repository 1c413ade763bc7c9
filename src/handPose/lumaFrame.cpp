#include "handPose/lumaFrame.h"

#include <algorithm>

namespace brairu {
namespace {

constexpr std::uint8_t kNeutralChroma = 128;

// The source column of every destination column.
std::vector<std::uint32_t> columnTable(int frameWidth, int inputWidth) {
    std::vector<std::uint32_t> columns(static_cast<std::size_t>(inputWidth));
    for (std::int64_t x = 0; x < inputWidth; ++x) {
        columns[static_cast<std::size_t>(x)] =
            static_cast<std::uint32_t>(x * frameWidth / inputWidth);
    }
    return columns;
}

// Eight pixels an iteration, then the rest.
void scaleRow(const std::uint8_t* source, const std::vector<std::uint32_t>& columns,
              std::uint8_t* destination) {
    const std::size_t width = columns.size();
    std::size_t x = 0;
    for (; x + 8 <= width; x += 8) {
        for (std::size_t pixel = 0; pixel < 8; ++pixel) {
            destination[x + pixel] = source[columns[x + pixel]];
        }
    }
    for (; x < width; ++x) {
        destination[x] = source[columns[x]];
    }
}

// BT.601's share of a grey of full range in a luma from 16 to 235, as colour conversion by way of
// three equal channels rounds it. 16 fractional bits are as good as more, and fit fast multiplies.
constexpr std::uint8_t broadcastLuma(std::uint8_t grey) {
    constexpr unsigned kShare = 56'295;
    constexpr unsigned kBlack = 16u << 16;
    constexpr unsigned kHalf = 1u << 15;
    return static_cast<std::uint8_t>((grey * kShare + kBlack + kHalf) >> 16);
}

}  // namespace

std::vector<std::uint8_t> detectorFrame(const std::uint8_t* luma, FrameSize frame,
                                        FrameSize input) {
    const auto width = static_cast<std::size_t>(input.width);
    const auto height = static_cast<std::size_t>(input.height);
    std::vector<std::uint8_t> scaled(width * height * 3 / 2, kNeutralChroma);
    const std::vector<std::uint32_t> columns = columnTable(frame.width, input.width);
    for (std::size_t y = 0; y < height; ++y) {
        const auto row = static_cast<std::size_t>(
            std::uint64_t{y} * static_cast<std::uint64_t>(frame.height) / height);
        scaleRow(luma + row * static_cast<std::size_t>(frame.width), columns,
                 scaled.data() + y * width);
    }
    return scaled;
}

cv::Mat featureFrame(const cv::Mat& grey, cv::Mat reused) {
    reused.create(grey.rows + grey.rows / 2, grey.cols, CV_8UC1);
    for (int y = 0; y < grey.rows; ++y) {
        const auto* const row = grey.ptr<std::uint8_t>(y);
        std::transform(row, row + grey.cols, reused.ptr<std::uint8_t>(y), broadcastLuma);
    }
    std::fill(reused.ptr<std::uint8_t>(grey.rows), reused.data + reused.total(), kNeutralChroma);
    return reused;
}

}  // namespace brairu
