#include "imageConverter.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <opencv2/imgproc.hpp>

namespace brairu::npu {

namespace {

constexpr int kNeutral = 128;

std::uint8_t clamped(int value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

/// BT.601 for luma 16 to 235 and chroma 16 to 240, in 8-bit fixed point, rounded.
cv::Vec3b toRgb(int y, int u, int v) {
    const int c = 298 * (y - 16) + 128;
    const int d = u - kNeutral;
    const int e = v - kNeutral;
    return {clamped((c + 409 * e) / 256), clamped((c - 100 * d - 208 * e) / 256),
            clamped((c + 516 * d) / 256)};
}

cv::Vec2b chromaAt(const cv::Mat& chroma, int row, int column) {
    if (chroma.empty())
        return {kNeutral, kNeutral};
    return chroma.at<cv::Vec2b>(std::min(row / 2, chroma.rows - 1),
                                std::min(column / 2, chroma.cols - 1));
}

cv::Mat toRgb(const TwoPlaneFrame& frame) {
    cv::Mat rgb(frame.luma.size(), CV_8UC3);
    for (int row = 0; row < rgb.rows; ++row) {
        for (int column = 0; column < rgb.cols; ++column) {
            const cv::Vec2b uv = chromaAt(frame.chroma, row, column);
            rgb.at<cv::Vec3b>(row, column) =
                toRgb(frame.luma.at<std::uint8_t>(row, column), uv[0], uv[1]);
        }
    }
    return rgb;
}

cv::Mat scaledTo(const cv::Mat& image, cv::Size size) {
    if (image.size() == size)
        return image;
    cv::Mat scaled;
    cv::resize(image, scaled, size, 0, 0, cv::INTER_LINEAR);
    return scaled;
}

}  // namespace

void convertFrame(const TwoPlaneFrame& frame, int planeCount, cv::Mat& planes) {
    const cv::Size size(planes.cols, planes.rows / planeCount);
    if (planeCount == 1) {
        scaledTo(frame.luma, size).copyTo(planes);
        return;
    }
    std::array<cv::Mat, 3> views;
    for (int i = 0; i < 3; ++i) {
        const cv::Range rows(i * size.height, (i + 1) * size.height);
        views[static_cast<std::size_t>(i)] = planes.rowRange(rows);
    }
    cv::split(scaledTo(toRgb(frame), size), views.data());
}

}  // namespace brairu::npu
