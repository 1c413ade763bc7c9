#include "handPose/geometry.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace brairu {
namespace {

constexpr std::size_t kPointsForTurn = 5;

void requireSevenPoints(std::size_t count) {
    if (count != PVA_KEY_POINTS) {
        (void)std::fputs("Assertion failed: keyPoints must have exactly 7 points.\n", stderr);
        std::abort();
    }
}

cv::Point referenceVector(std::span<const cv::Point> keyPoints, int orientation) {
    return orientation == 0 ? keyPoints[5] - keyPoints[2] : keyPoints[2] - keyPoints[5];
}

float lengthOf(cv::Point vector) {
    const double dx = vector.x;
    const double dy = vector.y;
    return static_cast<float>(std::sqrt(dx * dx + dy * dy));
}

}  // namespace

KeyPoints keyPointsOf(const PvaHandPose& pose) {
    KeyPoints points;
    std::ranges::transform(pose.keyPoints, points.begin(),
                           [](const PvaPoint& point) { return cv::Point(point.x, point.y); });
    return points;
}

float turnOf(std::span<const cv::Point> points) {
    if (points.size() < kPointsForTurn) {
        throw std::invalid_argument("关键点数量不足，至少需要5个点。");
    }
    const cv::Point2f a = points[2] - points[0];
    const cv::Point2f b = points[4] - points[0];
    return a.x * b.y - a.y * b.x;
}

Line fitLine(std::span<const cv::Point> points) {
    const auto rows = static_cast<Eigen::Index>(points.size());
    Eigen::MatrixXf system(rows, 2);
    Eigen::VectorXf values(rows);
    for (Eigen::Index row = 0; row < rows; ++row) {
        const cv::Point2f point = points[static_cast<std::size_t>(row)];
        system.row(row) << point.x, 1.0f;
        values(row) = point.y;
    }
    const Eigen::Vector2f solution =
        system.bdcSvd(Eigen::ComputeThinU | Eigen::ComputeThinV).solve(values);
    return {solution(0), solution(1)};
}

float fitDirectedLineFrom7Points(std::span<const cv::Point> keyPoints, int orientation) {
    requireSevenPoints(keyPoints.size());
    // A part of the sequence, though the direction does not depend on it.
    [[maybe_unused]] const Line fingerBases = fitLine(keyPoints.subspan(2, 4));
    const cv::Point reference = referenceVector(keyPoints, orientation);
    const float length = lengthOf(reference);
    if (length == 0.0f) {
        return 0.0f;
    }
    const float ux = static_cast<float>(reference.x) / length;
    const float uy = static_cast<float>(reference.y) / length;
    // A turn by a fixed angle of zero: the direction is that of the reference vector, not of the
    // fit.
    constexpr float kSine = 0.0f;
    const float turnedX = ux + uy * kSine;
    const float turnedY = uy - ux * kSine;
    const double radians = std::atan2(turnedY, turnedX);
    return static_cast<float>(radians * 180.0 / CV_PI);
}

}  // namespace brairu
