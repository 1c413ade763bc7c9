#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace brairu {

using Curve = std::vector<cv::Point2f>;

// One point of a limb's centre line with the limb's half width there.
struct LimbPoint {
    cv::Point2f centre;
    float halfWidth;
};

// A smooth curve through all given points (at least two), `steps` samples a span.
Curve smoothCurve(const Curve& points, int steps);

// The outline of a limb: both flanks along the smoothed centre line and a round cap at the end.
Curve limbOutline(const std::vector<LimbPoint>& limb);

// The two flanks of a limb without start and cap, each from its start to its end.
std::pair<Curve, Curve> limbFlanks(const std::vector<LimbPoint>& limb);

}  // namespace brairu
