// Refuses palms that are too dark, too bright, unevenly lit or blurred.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>

#include "config/configStore.h"

namespace brairu {

struct QualitySettings {
    int brightnessMin = 0;    // lowest mean grey level
    int brightnessMax = 0;    // highest mean grey level
    int brightnessRange = 0;  // largest spread between the blocks of a region
    float blur = 0.0f;        // smallest variance of the Laplacian
    bool debug = false;       // print the two means
};

QualitySettings readQualitySettings(ConfigDocument& document);

// Of the four quarters of a region: the mean of their mean grey levels, and brightest less darkest.
struct Brightness {
    double mean = 0.0;
    double spread = 0.0;
};

Brightness measureBrightness(const cv::Mat& region);

// Variance of the Laplacian (3 x 3, reflected border) of a region. After J. L. Pech-Pacheco et al.,
// "Diatom autofocusing in brightfield microscopy", ICPR 2000.
float measureSharpness(const cv::Mat& region);

// The quality code of the two palm regions: 0, or the first limit that fails.
std::uint32_t qualityCode(const cv::Mat& regionA, const cv::Mat& regionB,
                          const QualitySettings& settings);

}  // namespace brairu
