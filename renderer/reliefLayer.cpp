#include "renderer/reliefLayer.h"

#include "renderer/angles.h"
#include "renderer/blend.h"
#include "renderer/skinLayer.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace brairu {

namespace {

cv::Mat whiteNoise(cv::Size size, Random& random) {
    cv::Mat noise(size, CV_8U);
    for (int y = 0; y < size.height; ++y) {
        std::uint64_t bits = 0;
        for (int x = 0; x < size.width; ++x) {
            bits = x % 8 == 0 ? random.next() : bits >> 8U;
            noise.at<std::uint8_t>(y, x) = static_cast<std::uint8_t>(bits & 0xFFU);
        }
    }
    return noise;
}

void addMoles(cv::Mat& relief, Random& random) {
    const int count = random.chance(0.4f) ? 1 + random.below(3) : 0;
    for (int i = 0; i < count; ++i) {
        const cv::Point at(random.below(relief.cols), random.below(relief.rows));
        cv::circle(relief, at, 1 + random.below(3), cv::Scalar::all(random.uniform(0.0f, 60.0f)),
                   cv::FILLED, cv::LINE_AA);
    }
}

// How far along its ridge a place lies, and how far across the ridges, in palm breadths.
struct RidgePlace {
    float along;
    float across;
};

// How the friction ridges of a palm run: side by side across it and aslant below the little finger,
// but around the root of the thumb (Cummins and Midlo, Finger Prints, Palms and Soles, 1943).
class RidgeFlow {
public:
    explicit RidgeFlow(Random& random)
        : slant_(random.normal(0.25f)),
          thumb_{-0.42f + random.normal(0.05f), -0.72f + random.normal(0.08f)},
          reach_(random.uniform(0.28f, 0.42f)),
          fall_(random.uniform(0.4f, 1.8f)),
          sway_(random.uniform(0.02f, 0.07f)),
          phase_(random.uniform(0.0f, 2.0f * kPi)) {}

    RidgePlace acrossThePalm(const cv::Point2f& palm) const {
        const float belowLittleFinger = std::max(0.0f, palm.x - 0.1f) * std::max(0.0f, -palm.y);
        const float sway = sway_ * std::sin(5.0f * palm.x + 3.0f * palm.y + phase_);
        return {palm.x * std::cos(slant_) - palm.y * std::sin(slant_),
                palm.y * std::cos(slant_) + palm.x * std::sin(slant_) - fall_ * belowLittleFinger +
                    sway};
    }

    RidgePlace aroundTheThumb(const cv::Point2f& palm) const {
        const cv::Point2f away = palm - thumb_;
        const float distance = std::hypot(away.x, away.y);
        return {distance * std::atan2(away.y, away.x), distance};
    }

    // How far ridges here run around the thumb, 0 to 255.
    float nearThumb(const cv::Point2f& palm) const {
        constexpr float kBorder = 0.17f;
        const cv::Point2f away = palm - thumb_;
        const float beyond = std::hypot(away.x, away.y) - reach_;
        return std::clamp(255.0f * (0.5f - beyond / kBorder), 0.0f, 255.0f);
    }

private:
    float slant_;
    cv::Point2f thumb_;
    float reach_;
    float fall_;
    float sway_;
    float phase_;
};

// What a function of the place on the palm gives for each pixel of the texture: worked out on a grid,
// and linear between.
template <typename Value, typename Function>
cv::Mat overTexture(Function&& valueAt) {
    constexpr int kGrid = 6;
    const Raster raster = texture();
    const cv::Size size = raster.size();
    const cv::Size cells(size.width / kGrid + 1, size.height / kGrid + 1);
    cv::Mat_<Value> grid(cells);
    for (int y = 0; y < cells.height; ++y) {
        for (int x = 0; x < cells.width; ++x) {
            const cv::Point2f middle((static_cast<float>(x) + 0.5f) * kGrid,
                                     (static_cast<float>(y) + 0.5f) * kGrid);
            grid(y, x) = valueAt(raster.place(middle));
        }
    }
    cv::Mat result;
    cv::resize(grid, result, cells * kGrid, 0, 0, cv::INTER_LINEAR);
    return result({{0, 0}, size});
}

// Noise drawn out along ridges by a factor: a tile, laid side by side as far as the ridges of a palm
// reach.
template <typename Function>
cv::Mat drawnOut(float factor, Function&& placeOf, Random& random) {
    constexpr float kTileSide = 2.0f;
    constexpr int kTilesAlong = 2;
    constexpr int kTilesAcross = 3;
    const float alongScale = kTextureScale / factor;
    const cv::Mat tile =
        whiteNoise({cvCeil(kTileSide * alongScale), cvCeil(kTileSide * kTextureScale)}, random);
    const cv::Mat noise = cv::repeat(tile, kTilesAcross, kTilesAlong);
    const cv::Point2f middle(static_cast<float>(tile.cols), static_cast<float>(2 * tile.rows));
    const cv::Mat map = overTexture<cv::Vec2f>([&](const cv::Point2f& palm) {
        const RidgePlace at = placeOf(palm);
        return cv::Vec2f(middle.x + at.along * alongScale, middle.y + at.across * kTextureScale);
    });
    cv::Mat result;
    cv::remap(noise, result, map, {}, cv::INTER_LINEAR, cv::BORDER_REPLICATE);
    return result;
}

// Grain in the direction of the ridges. They lie half a millimetre apart, closer than the pixels of
// most frames, so that their direction shows and not each of them.
cv::Mat ridgeGrain(Random& random) {
    const RidgeFlow flow(random);
    const float factor = random.uniform(3.0f, 8.0f);
    cv::Mat grain = drawnOut(
        factor, [&](const cv::Point2f& palm) { return flow.acrossThePalm(palm); }, random);
    const cv::Mat around = drawnOut(
        factor, [&](const cv::Point2f& palm) { return flow.aroundTheThumb(palm); }, random);
    cv::Mat nearThumb;
    overTexture<float>([&](const cv::Point2f& palm) {
        return flow.nearThumb(palm);
    }).convertTo(nearThumb, CV_8U);
    blend(grain, around, nearThumb);
    return grain;
}

// Lets the relief end softly at the borders of the texture.
void fadeOut(cv::Mat& relief) {
    constexpr int kBorder = 24;
    for (int y = 0; y < relief.rows; ++y) {
        auto* row = relief.ptr<std::uint8_t>(y);
        const int below = std::min(y, relief.rows - 1 - y);
        for (int x = 0; x < relief.cols; ++x) {
            const int inside = std::min({x, relief.cols - 1 - x, below, kBorder});
            row[x] = static_cast<std::uint8_t>(128 + (row[x] - 128) * inside / kBorder);
        }
    }
}

}  // namespace

cv::Mat drawRelief(Random& random) {
    const cv::Mat grain = ridgeGrain(random);
    cv::Mat narrow;
    cv::GaussianBlur(grain, narrow, {}, random.uniform(0.6f, 1.7f));
    const cv::Mat wide = softened(grain, 3.2f);
    cv::Mat mottling;
    const int cells = 7 + random.below(12);
    cv::resize(whiteNoise({cells, cells + 2}, random), mottling, texture().size(), 0, 0,
               cv::INTER_CUBIC);
    cv::Mat relief;
    const double soft = random.uniform(0.08f, 0.36f);
    cv::addWeighted(narrow, 1.1, wide, -1.1, 128.0, relief);
    cv::addWeighted(relief, 1.0, mottling, soft, -128.0 * soft, relief);
    addMoles(relief, random);
    fadeOut(relief);
    return relief;
}

}  // namespace brairu
