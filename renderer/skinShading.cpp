#include "renderer/skinShading.h"

#include "renderer/blend.h"
#include "renderer/random.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>

namespace brairu {

namespace {

constexpr std::uint64_t kWetStream = 15;

std::vector<cv::Point> pixels(const Curve& curve, const Raster& raster) {
    std::vector<cv::Point> result;
    result.reserve(curve.size());
    for (const cv::Point2f& point : curve) {
        result.push_back(raster.subPixel(point));
    }
    return result;
}

void fill(cv::Mat& image, const Curve& part, const Raster& raster, float grey = 255.0f) {
    const std::vector<std::vector<cv::Point>> outline{pixels(part, raster)};
    cv::fillPoly(image, outline, cv::Scalar::all(grey), cv::LINE_AA, Raster::kSubPixelBits);
}

void trace(cv::Mat& image, const Curve& curve, const Raster& raster, int grey, int thickness) {
    cv::polylines(image, pixels(curve, raster), false, cv::Scalar::all(grey), thickness,
                  cv::LINE_AA, Raster::kSubPixelBits);
}

cv::Mat fillParts(const Silhouette& silhouette, const Raster& raster) {
    cv::Mat image = cv::Mat::zeros(raster.size(), CV_8U);
    for (const Curve& part : silhouette.parts) {
        fill(image, part, raster);
    }
    return image;
}

cv::Mat distanceToEdge(const cv::Mat& solid, const Silhouette& silhouette, const Raster& raster) {
    cv::Mat parted = solid > 127;
    for (const Curve& cleft : silhouette.clefts) {
        cv::polylines(parted, pixels(cleft, raster), false, cv::Scalar::all(0), 1, cv::LINE_8,
                      Raster::kSubPixelBits);
    }
    cv::Mat distance;
    cv::distanceTransform(parted, distance, cv::DIST_L2, cv::DIST_MASK_3);
    return distance;
}

struct Mound {
    cv::Point2f centre;
    cv::Point2f radii;
    float height;
};

const std::array<Mound, 6> kMounds{Mound{{-0.36f, -0.70f}, {0.20f, 0.30f}, 0.060f},
                                   Mound{{0.36f, -0.72f}, {0.17f, 0.34f}, 0.045f},
                                   Mound{{0.0f, -0.48f}, {0.22f, 0.30f}, -0.035f},
                                   Mound{{-0.25f, -0.06f}, {0.12f, 0.10f}, 0.022f},
                                   Mound{{0.0f, -0.03f}, {0.10f, 0.10f}, 0.022f},
                                   Mound{{0.25f, -0.08f}, {0.12f, 0.10f}, 0.022f}};
constexpr std::size_t kHollow = 2;

float moundsAt(const cv::Point2f& palm, const SkinRelief& relief) {
    float height = 0.0f;
    for (std::size_t i = 0; i < kMounds.size(); ++i) {
        const Mound& mound = kMounds[i];
        const float x = (palm.x - mound.centre.x) / mound.radii.x;
        const float y = (palm.y - mound.centre.y) / mound.radii.y;
        height += relief.mounds[i] * mound.height * std::exp(-0.5f * (x * x + y * y));
    }
    return height;
}

// The mounds are soft, so a coarse raster of them is enlarged.
cv::Mat moundHeights(const Raster& raster, const SkinRelief& relief) {
    constexpr float kCoarse = 16.0f;
    const cv::Rect2f& area = raster.area();
    cv::Mat coarse(std::max(2, cvCeil(area.height * kCoarse)),
                   std::max(2, cvCeil(area.width * kCoarse)), CV_32F);
    const float stepX = area.width / static_cast<float>(coarse.cols);
    const float stepY = area.height / static_cast<float>(coarse.rows);
    for (int y = 0; y < coarse.rows; ++y) {
        for (int x = 0; x < coarse.cols; ++x) {
            const cv::Point2f palm(area.x + (static_cast<float>(x) + 0.5f) * stepX,
                                   area.y + area.height - (static_cast<float>(y) + 0.5f) * stepY);
            coarse.at<float>(y, x) = moundsAt(palm, relief);
        }
    }
    cv::Mat result;
    cv::resize(coarse, result, raster.size(), 0, 0, cv::INTER_LINEAR);
    return result;
}

// Relief in palm breadths: round flanks plus the mounds of the palm.
cv::Mat heights(const cv::Mat& distance, const Raster& raster, const SkinRelief& relief) {
    cv::Mat height = moundHeights(raster, relief);
    const float perPixel = 1.0f / (raster.scale() * relief.flankRadius);
    for (int y = 0; y < height.rows; ++y) {
        const auto* from = distance.ptr<float>(y);
        auto* to = height.ptr<float>(y);
        for (int x = 0; x < height.cols; ++x) {
            const float depth = std::min(from[x] * perPixel, 1.0f);
            to[x] += relief.flankRadius * std::sqrt(depth * (2.0f - depth));
        }
    }
    cv::GaussianBlur(height, height, {}, 0.018 * static_cast<double>(raster.scale()));
    return height;
}

// Soft random values around 0 with features of a given size, at most about 1 in size.
cv::Mat softNoise(const Raster& raster, float feature, Random& random) {
    const cv::Rect2f& area = raster.area();
    cv::Mat coarse(2 + cvCeil(area.height / feature), 2 + cvCeil(area.width / feature), CV_32F);
    for (float& value : cv::Mat_<float>(coarse)) {
        value = random.normal(0.4f);
    }
    cv::Mat result;
    cv::resize(coarse, result, raster.size(), 0, 0, cv::INTER_CUBIC);
    return result;
}

void drawDrop(cv::Mat& wet, const cv::Point2f& middle, const Raster& raster, Random& random) {
    const float length = random.uniform(0.02f, 0.22f) * raster.scale();
    const float breadth = length * random.uniform(0.4f, 1.0f);
    const cv::Point at = raster.subPixel(middle) / (1 << Raster::kSubPixelBits);
    cv::ellipse(wet, at, {cvRound(length), cvRound(breadth)}, random.uniform(0.0f, 180.0f), 0.0,
                360.0, cv::Scalar::all(255.0), cv::FILLED, cv::LINE_AA);
}

// How wet the skin is, 0 to 255: drops and smears that run into each other.
cv::Mat drawWetPlaces(const Raster& raster, int places, Random& random) {
    cv::Mat wet = cv::Mat::zeros(raster.size(), CV_8U);
    for (int i = 0; i < places; ++i) {
        const cv::Point2f middle(random.uniform(-0.6f, 0.6f), random.uniform(-1.2f, 1.0f));
        const int drops = 1 + random.below(4);
        for (int k = 0; k < drops; ++k) {
            drawDrop(wet, middle + cv::Point2f(random.normal(0.15f), random.normal(0.15f)), raster,
                     random);
        }
    }
    cv::GaussianBlur(wet, wet, {}, 0.02 * static_cast<double>(raster.scale()));
    return wet;
}

// Water stands on the skin in small waves.
void addWaves(cv::Mat& height, const cv::Mat& wet, const Raster& raster, Random& random) {
    constexpr double kHeight = 0.008;
    cv::Mat depth;
    wet.convertTo(depth, CV_32F, kHeight / 255.0);
    cv::Mat waves = softNoise(raster, 0.05f, random);
    cv::multiply(waves, depth, waves);
    height += waves;
}

// Cosine of the angle between a surface that falls towards +x and +y by so much and the light.
float facing(float slopeX, float slopeY, const cv::Point2f& light) {
    const float along = 1.0f + slopeX * light.x + slopeY * light.y;
    const float length = std::sqrt((1.0f + slopeX * slopeX + slopeY * slopeY) *
                                   (1.0f + light.x * light.x + light.y * light.y));
    return std::min(std::max(0.0f, along / length), 1.0f);
}

// Cosines are kept in so many steps.
constexpr int kCosineSteps = 1024;

// For each place the cosine between the skin and the light, 0 to kCosineSteps - 1.
cv::Mat facingLight(const cv::Mat& height, float scale, const cv::Point2f& light) {
    cv::Mat padded;
    cv::copyMakeBorder(height, padded, 1, 1, 1, 1, cv::BORDER_REPLICATE);
    cv::Mat cosines(height.size(), CV_16U);
    const float perPixel = 0.5f * scale;
    for (int y = 0; y < height.rows; ++y) {
        const auto* above = padded.ptr<float>(y) + 1;
        const auto* here = padded.ptr<float>(y + 1) + 1;
        const auto* below = padded.ptr<float>(y + 2) + 1;
        auto* to = cosines.ptr<std::uint16_t>(y);
        for (int x = 0; x < height.cols; ++x) {
            const float slopeX = (here[x - 1] - here[x + 1]) * perPixel;
            const float slopeY = (below[x] - above[x]) * perPixel;
            to[x] = static_cast<std::uint16_t>(static_cast<int>(
                facing(slopeX, slopeY, light) * static_cast<float>(kCosineSteps - 1)));
        }
    }
    return cosines;
}

// Grey levels of light that a surface sends back, by cosine.
using Reflection = std::array<std::uint8_t, kCosineSteps>;

// From all around, by its slope, and like a mirror.
Reflection reflectionOf(float ambient, float diffuse, float shine, float polish) {
    Reflection table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        const float cosine = static_cast<float>(i) / static_cast<float>(kCosineSteps - 1);
        const float share = ambient + diffuse * cosine + shine * std::pow(cosine, polish);
        table[i] = cv::saturate_cast<std::uint8_t>(kFullShade * share);
    }
    return table;
}

cv::Mat lit(const cv::Mat& cosines, const Reflection& reflection) {
    cv::Mat shade(cosines.size(), CV_8U);
    const auto* from = cosines.ptr<std::uint16_t>();
    std::transform(from, from + cosines.total(), shade.ptr<std::uint8_t>(),
                   [&](std::uint16_t cosine) { return reflection[cosine]; });
    return shade;
}

Reflection drySkin(const CaptureConditions& conditions) {
    return reflectionOf(conditions.ambient - 0.5f * conditions.sheen, 1.0f - conditions.ambient,
                        conditions.sheen, 40.0f);
}

// Water lets light into the skin, which is darker for it, and throws some back like a mirror.
Reflection wetSkin(const CaptureConditions& conditions) {
    constexpr float kTone = 0.85f;
    constexpr float kShine = 0.55f;
    return reflectionOf(kTone * conditions.ambient, kTone * (1.0f - conditions.ambient), kShine,
                        120.0f);
}

// The relief under the capture's light, with wet places if there are any.
cv::Mat lightRelief(cv::Mat height, const Raster& raster, const CaptureConditions& conditions) {
    if (conditions.wetPlaces == 0) {
        return lit(facingLight(height, raster.scale(), conditions.lightSlope), drySkin(conditions));
    }
    Random random{conditions.noiseKey, kWetStream};
    const cv::Mat wet = drawWetPlaces(raster, conditions.wetPlaces, random);
    addWaves(height, wet, raster, random);
    const cv::Mat cosines = facingLight(height, raster.scale(), conditions.lightSlope);
    cv::Mat shade = lit(cosines, drySkin(conditions));
    blend(shade, lit(cosines, wetSkin(conditions)), wet);
    return shade;
}

void drawFolds(cv::Mat& shade, const Silhouette& silhouette, const Raster& raster) {
    cv::Mat folds = cv::Mat::zeros(shade.size(), CV_8U);
    for (const Curve& fold : silhouette.folds) {
        trace(folds, fold, raster, 200, std::max(1, cvRound(0.010f * raster.scale())));
    }
    cv::GaussianBlur(folds, folds, {}, 0.6);
    cv::addWeighted(shade, 1.0, folds, -0.22, 0.0, shade);
}

void layPatches(cv::Mat& coverage, cv::Mat& shade, const Silhouette& silhouette,
                const Raster& raster) {
    for (const Patch& patch : silhouette.patches) {
        fill(coverage, patch.outline, raster);
        fill(shade, patch.outline, raster, patch.tone * kFullShade);
    }
}

// What a silhouette covers of a raster, with a margin for soft edges; found in a coarser one.
Raster coveredPart(const Silhouette& silhouette, const Raster& whole) {
    constexpr int kCoarser = 8;
    const Raster coarse(whole.area(), whole.scale() / kCoarser);
    cv::Mat coverage = fillParts(silhouette, coarse);
    for (const Patch& patch : silhouette.patches) {
        fill(coverage, patch.outline, coarse);
    }
    const cv::Rect covered = cv::boundingRect(coverage);
    if (covered.empty()) {
        return {};
    }
    const int margin = 2 * kCoarser + cvCeil(4.0f * kOutlineBlur * whole.scale());
    const cv::Rect fine(covered.tl() * kCoarser, covered.size() * kCoarser);
    const cv::Rect grown = fine - cv::Point(margin, margin) + cv::Size(2 * margin, 2 * margin);
    return whole.part(grown & cv::Rect({}, whole.size()));
}

}  // namespace

ShadedSkin shadeSkin(const Silhouette& silhouette, const CaptureConditions& conditions,
                     const Raster& whole) {
    const Raster raster = coveredPart(silhouette, whole);
    if (raster.size().empty()) {
        return {};
    }
    cv::Mat coverage = fillParts(silhouette, raster);
    const cv::Mat distance = distanceToEdge(coverage, silhouette, raster);
    SkinRelief relief = silhouette.relief;
    relief.mounds[kHollow] *= conditions.palmHollow;
    cv::Mat shade = lightRelief(heights(distance, raster, relief), raster, conditions);
    layPatches(coverage, shade, silhouette, raster);
    drawFolds(shade, silhouette, raster);
    cv::GaussianBlur(coverage, coverage, {}, static_cast<double>(kOutlineBlur * raster.scale()));
    return {coverage, shade, raster};
}

}  // namespace brairu
