#include "renderer/skinLayer.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace brairu {

namespace {

float taper(std::size_t i, std::size_t count) {
    const float t = static_cast<float>(i) / static_cast<float>(count);
    return std::min(1.0f, 6.0f * std::min(t, 1.0f - t) + 0.25f);
}

}  // namespace

Raster texture() {
    return {kTextureArea, kTextureScale};
}

void drawStroke(cv::Mat& layer, const Stroke& stroke, Random& random) {
    const Raster raster = texture();
    float waver = 1.0f;
    for (std::size_t i = 0; i + 1 < stroke.path.size(); ++i) {
        waver += random.normal(0.12f) - 0.2f * (waver - 1.0f);
        const float strength = taper(i, stroke.path.size()) * std::clamp(waver, 0.45f, 1.4f);
        const int thickness = std::max(1, cvRound(stroke.width * strength * kTextureScale));
        cv::line(layer, raster.subPixel(stroke.path[i]), raster.subPixel(stroke.path[i + 1]),
                 cv::Scalar::all(std::min(255.0f, 255.0f * stroke.depth * strength)), thickness,
                 cv::LINE_AA, Raster::kSubPixelBits);
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
