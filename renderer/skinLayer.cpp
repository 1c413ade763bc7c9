#include "renderer/skinLayer.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace brairu {

namespace {

constexpr int kSubPixelBits = 4;

cv::Point subPixel(const cv::Point2f& palm) {
    const float unit = kTextureScale * static_cast<float>(1 << kSubPixelBits);
    return {cvRound((palm.x - kTextureArea.x) * unit),
            cvRound((kTextureArea.y + kTextureArea.height - palm.y) * unit)};
}

float taper(std::size_t i, std::size_t count) {
    const float t = static_cast<float>(i) / static_cast<float>(count);
    return std::min(1.0f, 6.0f * std::min(t, 1.0f - t) + 0.25f);
}

}  // namespace

cv::Size textureSize() {
    return {cvRound(kTextureArea.width * kTextureScale),
            cvRound(kTextureArea.height * kTextureScale)};
}

void drawStroke(cv::Mat& layer, const Stroke& stroke, Random& random) {
    float waver = 1.0f;
    for (std::size_t i = 0; i + 1 < stroke.path.size(); ++i) {
        waver += random.normal(0.12f) - 0.2f * (waver - 1.0f);
        const float strength = taper(i, stroke.path.size()) * std::clamp(waver, 0.45f, 1.4f);
        const int thickness = std::max(1, cvRound(stroke.width * strength * kTextureScale));
        cv::line(layer, subPixel(stroke.path[i]), subPixel(stroke.path[i + 1]),
                 cv::Scalar::all(std::min(255.0f, 255.0f * stroke.depth * strength)), thickness,
                 cv::LINE_AA, kSubPixelBits);
    }
}

cv::Mat softened(const cv::Mat& layer, float deviation) {
    cv::Mat half;
    cv::resize(layer, half, {}, 0.5, 0.5, cv::INTER_AREA);
    cv::GaussianBlur(half, half, {}, static_cast<double>(0.5f * deviation));
    cv::Mat result;
    cv::resize(half, result, layer.size(), 0, 0, cv::INTER_LINEAR);
    return result;
}

}  // namespace brairu
