#include "handPose/qualityGate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <opencv2/imgproc.hpp>

#include "brairu.h"
#include "handPose/laplacian.h"
#include "utils/convert.h"

namespace brairu {
namespace {

cv::Mat greyOf(const cv::Mat& region) {
    if (region.channels() == 1) {
        return region;
    }
    cv::Mat grey;
    cv::cvtColor(region, grey, cv::COLOR_BGR2GRAY);
    return grey;
}

std::array<double, 4> quarterMeans(const cv::Mat& grey) {
    const cv::Size quarter(grey.cols / 2, grey.rows / 2);
    const auto mean = [&](int column, int row) {
        return cv::mean(grey(cv::Rect({column * quarter.width, row * quarter.height}, quarter)))[0];
    };
    return {mean(0, 0), mean(1, 0), mean(0, 1), mean(1, 1)};
}

// A region's brightness as it is compared: whole grey levels.
struct WholeBrightness {
    int mean;
    int spread;
};

WholeBrightness wholeBrightness(const cv::Mat& region) {
    const Brightness measured = measureBrightness(region);
    return {truncatedInt(measured.mean), truncatedInt(measured.spread)};
}

}  // namespace

QualitySettings readQualitySettings(ConfigDocument& document) {
    QualitySettings settings;
    settings.brightnessMin = readInt(document, "handpose", "brightness_threshold_min");
    settings.brightnessMax = readInt(document, "handpose", "brightness_threshold_max");
    settings.brightnessRange = readInt(document, "handpose", "brightness_range_threshold");
    settings.blur = readFloat(document, "handpose", "blur_threshold");
    settings.debug = document["debug"].get<bool>();
    return settings;
}

Brightness measureBrightness(const cv::Mat& region) {
    const std::array<double, 4> means = quarterMeans(greyOf(region));
    const auto [darkest, brightest] = std::minmax_element(means.begin(), means.end());
    return {(means[0] + means[1] + means[2] + means[3]) / 4.0, *brightest - *darkest};
}

float measureSharpness(const cv::Mat& region) {
    const LaplacianSums sums = sumLaplacian(greyOf(region));
    const double perPixel = 1.0 / static_cast<double>(region.total());
    const double mean = static_cast<double>(sums.values) * perPixel;
    const double meanSquare = static_cast<double>(sums.squares) * perPixel;
    // By way of the deviation, as the limits in use were measured: it rounds once more.
    const double deviation = std::sqrt(std::max(meanSquare - mean * mean, 0.0));
    return static_cast<float>(deviation * deviation);
}

std::uint32_t qualityCode(const cv::Mat& regionA, const cv::Mat& regionB,
                          const QualitySettings& settings) {
    const WholeBrightness b = wholeBrightness(regionB);
    const WholeBrightness a = wholeBrightness(regionA);
    if (settings.debug) {
        std::printf("avr_bri is %d and %d\r\n", b.mean, a.mean);
    }
    if (std::min(a.mean, b.mean) < settings.brightnessMin) {
        return PVA_QUALITY_DARK;
    }
    if (std::max(a.mean, b.mean) > settings.brightnessMax) {
        return PVA_QUALITY_BRIGHT;
    }
    if (std::max(a.spread, b.spread) > settings.brightnessRange) {
        return PVA_QUALITY_UNEVEN;
    }
    if (settings.blur > measureSharpness(regionA)) {
        return PVA_QUALITY_BLURRED;
    }
    return PVA_PLACEMENT_GOOD;
}

}  // namespace brairu
