// Geometry of the seven key points.
#pragma once

#include <array>
#include <opencv2/core.hpp>
#include <span>

#include "brairu.h"

namespace brairu {

// The key points of a record as integer points, in its order.
using KeyPoints = std::array<cv::Point, PVA_KEY_POINTS>;
KeyPoints keyPointsOf(const PvaHandPose& pose);

// (p2 - p0) x (p4 - p0): positive for a left palm seen by an unmirrored camera. Throws
// std::invalid_argument for fewer than five points.
float turnOf(std::span<const cv::Point> points);

// y = slope * x + intercept
struct Line {
    float slope = 0.0f;
    float intercept = 0.0f;
};

// Least squares by singular value decomposition; points at one x get the solution of least norm.
Line fitLine(std::span<const cv::Point> points);

// Direction of the line through the finger bases (points 2 to 5), from the index finger to the
// little finger for orientation 0 and back for 1: degrees in (-180, 180], y growing downwards. 0
// when points 2 and 5 coincide. Aborts unless there are exactly 7 points.
float fitDirectedLineFrom7Points(std::span<const cv::Point> keyPoints, int orientation);

}  // namespace brairu
