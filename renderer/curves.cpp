#include "renderer/curves.h"

#include <algorithm>
#include <cmath>

namespace brairu {

namespace {

constexpr int kLimbSteps = 5;
constexpr int kCapSteps = 9;

template <typename Value>
Value catmullRom(const Value& a, const Value& b, const Value& c, const Value& d, float t) {
    const float t2 = t * t;
    const float t3 = t2 * t;
    return (b * 2.0f + (c - a) * t + (a * 2.0f - b * 5.0f + c * 4.0f - d) * t2 +
            (b * 3.0f - a - c * 3.0f + d) * t3) *
           0.5f;
}

template <typename Value>
std::vector<Value> interpolate(const std::vector<Value>& points, int steps) {
    const std::size_t last = points.size() - 1;
    std::vector<Value> result;
    result.reserve(last * static_cast<std::size_t>(steps) + 1);
    for (std::size_t i = 0; i < last; ++i) {
        const Value& before = points[i == 0 ? 0 : i - 1];
        const Value& after = points[std::min(i + 2, last)];
        for (int k = 0; k < steps; ++k) {
            const float t = static_cast<float>(k) / static_cast<float>(steps);
            result.push_back(catmullRom(before, points[i], points[i + 1], after, t));
        }
    }
    result.push_back(points[last]);
    return result;
}

cv::Point2f unitVector(const cv::Point2f& v) {
    const float length = std::hypot(v.x, v.y);
    return length > 0.0f ? v * (1.0f / length) : cv::Point2f(0.0f, 1.0f);
}

cv::Point2f directionAt(const Curve& line, std::size_t i) {
    const std::size_t before = i == 0 ? 0 : i - 1;
    const std::size_t after = std::min(i + 1, line.size() - 1);
    return unitVector(line[after] - line[before]);
}

struct SmoothLimb {
    Curve centres;
    std::vector<float> halfWidths;
};

SmoothLimb smoothLimb(const std::vector<LimbPoint>& limb) {
    Curve centres;
    std::vector<float> widths;
    for (const LimbPoint& point : limb) {
        centres.push_back(point.centre);
        widths.push_back(point.halfWidth);
    }
    return {interpolate(centres, kLimbSteps), interpolate(widths, kLimbSteps)};
}

void appendCap(Curve& outline, const cv::Point2f& centre, const cv::Point2f& along, float radius) {
    const cv::Point2f left(-along.y, along.x);
    for (int k = 1; k < kCapSteps; ++k) {
        const float angle =
            static_cast<float>(CV_PI) * static_cast<float>(k) / static_cast<float>(kCapSteps);
        outline.push_back(centre + left * (radius * std::cos(angle)) +
                          along * (radius * std::sin(angle)));
    }
}

}  // namespace

Curve smoothCurve(const Curve& points, int steps) {
    return interpolate(points, steps);
}

std::pair<Curve, Curve> limbFlanks(const std::vector<LimbPoint>& limb) {
    const SmoothLimb smooth = smoothLimb(limb);
    std::pair<Curve, Curve> flanks;
    for (std::size_t i = 0; i < smooth.centres.size(); ++i) {
        const cv::Point2f along = directionAt(smooth.centres, i);
        const cv::Point2f left = cv::Point2f(-along.y, along.x) * smooth.halfWidths[i];
        flanks.first.push_back(smooth.centres[i] + left);
        flanks.second.push_back(smooth.centres[i] - left);
    }
    return flanks;
}

Curve limbOutline(const std::vector<LimbPoint>& limb) {
    auto [outline, right] = limbFlanks(limb);
    const cv::Point2f end = limb.back().centre;
    const cv::Point2f along = unitVector(end - limb[limb.size() - 2].centre);
    appendCap(outline, end, along, limb.back().halfWidth);
    outline.insert(outline.end(), right.rbegin(), right.rend());
    return outline;
}

}  // namespace brairu
