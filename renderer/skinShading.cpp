#include "renderer/skinShading.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>

namespace brairu {

namespace {

constexpr int kSubPixelBits = 4;

// Maps palm coordinates to the raster of a skin area.
class Raster {
public:
    Raster(cv::Rect2f area, float scale) : area_(area), scale_(scale) {}

    cv::Size size() const {
        return {std::max(4, cvRound(area_.width * scale_)),
                std::max(4, cvRound(area_.height * scale_))};
    }

    cv::Point subPixel(const cv::Point2f& palm) const {
        const float unit = scale_ * static_cast<float>(1 << kSubPixelBits);
        return {cvRound((palm.x - area_.x) * unit),
                cvRound((area_.y + area_.height - palm.y) * unit)};
    }

    float scale() const { return scale_; }

    const cv::Rect2f& area() const { return area_; }

private:
    cv::Rect2f area_;
    float scale_;
};

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
    cv::fillPoly(image, outline, cv::Scalar::all(grey), cv::LINE_AA, kSubPixelBits);
}

void trace(cv::Mat& image, const Curve& curve, const Raster& raster, int grey, int thickness) {
    cv::polylines(image, pixels(curve, raster), false, cv::Scalar::all(grey), thickness,
                  cv::LINE_AA, kSubPixelBits);
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
                      kSubPixelBits);
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

// Cosine of the angle between a surface of the given slopes and the light.
float facing(float slopeX, float slopeY, const cv::Point2f& light) {
    const float along = 1.0f + slopeX * light.x + slopeY * light.y;
    const float length = std::sqrt((1.0f + slopeX * slopeX + slopeY * slopeY) *
                                   (1.0f + light.x * light.x + light.y * light.y));
    return std::max(0.0f, along / length);
}

// Light that skin sends back, as a grey level: from all around, by its slope, and like a mirror.
class Reflection {
public:
    explicit Reflection(const CaptureConditions& conditions) {
        for (std::size_t i = 0; i < table_.size(); ++i) {
            const float cosine = static_cast<float>(i) / static_cast<float>(table_.size() - 1);
            const float share = conditions.ambient + (1.0f - conditions.ambient) * cosine +
                                conditions.sheen * (std::pow(cosine, 40.0f) - 0.5f);
            table_[i] = cv::saturate_cast<std::uint8_t>(kFullShade * share);
        }
    }

    std::uint8_t at(float cosine) const {
        return table_[static_cast<std::size_t>(cosine * static_cast<float>(table_.size() - 1))];
    }

private:
    std::array<std::uint8_t, 1024> table_;
};

cv::Mat litRelief(const cv::Mat& height, float scale, const CaptureConditions& conditions) {
    const Reflection reflection(conditions);
    const cv::Point2f light = conditions.lightSlope;
    cv::Mat shade(height.size(), CV_8U);
    const float perPixel = 0.5f * scale;
    for (int y = 0; y < height.rows; ++y) {
        const auto* above = height.ptr<float>(std::max(y - 1, 0));
        const auto* here = height.ptr<float>(y);
        const auto* below = height.ptr<float>(std::min(y + 1, height.rows - 1));
        auto* to = shade.ptr<std::uint8_t>(y);
        for (int x = 0; x < height.cols; ++x) {
            const int left = std::max(x - 1, 0);
            const int right = std::min(x + 1, height.cols - 1);
            const float slopeX = (here[left] - here[right]) * perPixel;
            const float slopeY = (above[x] - below[x]) * perPixel;
            to[x] = reflection.at(std::min(facing(slopeX, slopeY, light), 1.0f));
        }
    }
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

}  // namespace

ShadedSkin shadeSkin(const Silhouette& silhouette, const CaptureConditions& conditions,
                     cv::Rect2f area, float scale) {
    const Raster raster(area, scale);
    cv::Mat coverage = fillParts(silhouette, raster);
    const cv::Mat distance = distanceToEdge(coverage, silhouette, raster);
    SkinRelief relief = silhouette.relief;
    relief.mounds[kHollow] *= conditions.palmHollow;
    cv::Mat shade = litRelief(heights(distance, raster, relief), scale, conditions);
    layPatches(coverage, shade, silhouette, raster);
    drawFolds(shade, silhouette, raster);
    cv::GaussianBlur(coverage, coverage, {}, static_cast<double>(kOutlineBlur * scale));
    ShadedSkin skin{{}, area, scale};
    cv::merge(std::vector<cv::Mat>{coverage, shade}, skin.coverageAndShade);
    return skin;
}

}  // namespace brairu
