#include "renderer/veinLayer.h"

#include "renderer/angles.h"
#include "renderer/skinLayer.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace brairu {

namespace {

// A growing tip of the vein tree.
struct VeinTip {
    cv::Point2f at;
    float heading;
    float width;
    float strength;
    int generation;
};

bool inPalm(const cv::Point2f& point) {
    return std::abs(point.x) < 0.58f && point.y > -1.3f && point.y < 0.25f;
}

VeinTip childOf(const VeinTip& parent, Random& random) {
    const float side = random.chance(0.5f) ? 1.0f : -1.0f;
    return {parent.at, parent.heading + side * random.uniform(0.35f, 1.0f),
            parent.width * random.uniform(0.55f, 0.9f),
            parent.strength * random.uniform(0.6f, 1.05f), parent.generation + 1};
}

// Follows one vein to its end; the tips that split off it are appended.
Curve growVein(VeinTip tip, Random& random, std::vector<VeinTip>& tips) {
    constexpr float kStep = 0.035f;
    Curve path{tip.at};
    float bend = random.normal(0.06f);
    const int steps = 6 + random.below(tip.generation == 0 ? 34 : 22);
    for (int i = 0; i < steps && inPalm(tip.at); ++i) {
        bend = 0.8f * bend + random.normal(0.09f);
        tip.heading += bend;
        tip.at += cv::Point2f(std::cos(tip.heading), std::sin(tip.heading)) * kStep;
        path.push_back(tip.at);
        if (tip.generation < 3 && tips.size() < 40 && random.chance(0.13f)) {
            tips.push_back(childOf(tip, random));
        }
    }
    return path;
}

VeinTip rootOf(Random& random) {
    const float width = random.uniform(0.018f, 0.040f);
    const float strength = random.uniform(0.45f, 1.0f);
    switch (random.below(5)) {
        case 0:
            return {
                {-0.55f, random.uniform(-0.6f, -0.1f)}, random.normal(0.5f), width, strength, 0};
        case 1:
            return {{0.55f, random.uniform(-0.9f, -0.1f)},
                    kPi + random.normal(0.5f),
                    width,
                    strength,
                    0};
        case 2:
            return {{random.uniform(-0.4f, 0.4f), 0.2f},
                    -0.5f * kPi + random.normal(0.4f),
                    width,
                    strength,
                    0};
        default:
            return {{random.uniform(-0.35f, 0.35f), -1.2f},
                    0.5f * kPi + random.normal(0.35f),
                    width,
                    strength,
                    0};
    }
}

}  // namespace

cv::Mat drawVeins(Random& random) {
    cv::Mat deep = cv::Mat::zeros(texture().size(), CV_8U);
    cv::Mat shallow = deep.clone();
    std::vector<VeinTip> tips;
    const int roots = 4 + random.below(4);
    tips.reserve(static_cast<std::size_t>(roots));
    for (int i = 0; i < roots; ++i) {
        tips.push_back(rootOf(random));
    }
    for (std::size_t i = 0; i < tips.size(); ++i) {
        const VeinTip tip = tips[i];
        const Curve path = growVein(tip, random, tips);
        drawStroke(random.chance(0.4f) ? deep : shallow, {path, tip.strength, tip.width}, random);
    }
    cv::Mat veins;
    cv::max(softened(deep, 6.5f), softened(shallow, 3.2f), veins);
    return veins;
}

}  // namespace brairu
