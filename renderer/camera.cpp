#include "renderer/camera.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

namespace brairu {

namespace {

constexpr float kDegree = static_cast<float>(CV_PI / 180.0);
// The map is exact on a grid of this many pixels and linear between.
constexpr int kGrid = 16;

cv::Matx33f rotation(float turn, float across, float along) {
    const cv::Matx33f aboutSight(std::cos(turn), -std::sin(turn), 0.0f, std::sin(turn),
                                 std::cos(turn), 0.0f, 0.0f, 0.0f, 1.0f);
    const cv::Matx33f aboutUpright(std::cos(across), 0.0f, std::sin(across), 0.0f, 1.0f, 0.0f,
                                   -std::sin(across), 0.0f, std::cos(across));
    const cv::Matx33f aboutLevel(1.0f, 0.0f, 0.0f, 0.0f, std::cos(along), -std::sin(along), 0.0f,
                                 std::sin(along), std::cos(along));
    return aboutSight * aboutUpright * aboutLevel;
}

cv::Point2f project(const cv::Matx33f& matrix, const cv::Point2f& point) {
    const cv::Vec3f p = matrix * cv::Vec3f(point.x, point.y, 1.0f);
    return {p[0] / p[2], p[1] / p[2]};
}

cv::Point2f middleOf(cv::Size frame) {
    return {0.5f * static_cast<float>(frame.width), 0.5f * static_cast<float>(frame.height)};
}

}  // namespace

Camera::Camera(const CaptureConditions& conditions, Hand hand, cv::Size frame)
    : frame_(frame),
      scale_(conditions.palmWidth * static_cast<float>(std::min(frame.width, frame.height))),
      lensBend_(conditions.lensBend),
      stretch_(conditions.stretch),
      phase_(conditions.stretchPhase) {
    const float mirror = hand == Hand::left ? 1.0f : -1.0f;
    const cv::Matx33f turned = rotation(conditions.turn * kDegree, conditions.tiltAcross * kDegree,
                                        conditions.tiltAlong * kDegree);
    const cv::Matx33f placed =
        turned * cv::Matx33f(mirror, 0.0f, -mirror * conditions.middle.x, 0.0f, -1.0f,
                             conditions.middle.y, 0.0f, 0.0f, 0.0f) +
        cv::Matx33f(0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, conditions.distance);
    const float focal = scale_ * conditions.distance;
    const cv::Matx33f lens(focal, 0.0f, conditions.place.x * static_cast<float>(frame.width), 0.0f,
                           focal, conditions.place.y * static_cast<float>(frame.height), 0.0f, 0.0f,
                           1.0f);
    palmToFrame_ = lens * placed;
    frameToPalm_ = palmToFrame_.inv();
}

cv::Point2f Camera::stretchAt(const cv::Point2f& palm) const {
    return cv::Point2f(std::sin(3.1f * palm.x + 2.3f * palm.y + phase_[0]) +
                           0.6f * std::sin(5.2f * palm.y - 2.1f * palm.x + phase_[1]),
                       std::sin(2.7f * palm.y - 2.9f * palm.x + phase_[2]) +
                           0.6f * std::sin(4.9f * palm.x + 1.7f * palm.y + phase_[3])) *
           stretch_;
}

// Where a lens without distortion would show what the frame shows here.
cv::Point2f Camera::straightened(const cv::Point2f& frame) const {
    const cv::Point2f middle = middleOf(frame_);
    const cv::Point2f away = frame - middle;
    return middle + away * (1.0f + lensBend_ * away.dot(away) / middle.dot(middle));
}

cv::Point2f Camera::bent(const cv::Point2f& straight) const {
    const cv::Point2f middle = middleOf(frame_);
    cv::Point2f away = straight - middle;
    for (int i = 0; i < 4; ++i) {
        const float scale = 1.0f + lensBend_ * away.dot(away) / middle.dot(middle);
        away = (straight - middle) / std::max(scale, 0.5f);
    }
    return middle + away;
}

cv::Point2f Camera::toFrame(const cv::Point2f& palm) const {
    cv::Point2f unstretched = palm;
    for (int i = 0; i < 3; ++i) {
        unstretched = palm - stretchAt(unstretched);
    }
    return bent(project(palmToFrame_, unstretched));
}

cv::Point2f Camera::toPalm(const cv::Point2f& frame) const {
    const cv::Point2f unstretched = project(frameToPalm_, straightened(frame));
    return unstretched + stretchAt(unstretched);
}

cv::Rect2f Camera::visibleArea() const {
    const auto right = static_cast<float>(frame_.width);
    const auto bottom = static_cast<float>(frame_.height);
    cv::Point2f low(1e9f, 1e9f);
    cv::Point2f high(-1e9f, -1e9f);
    for (const cv::Point2f corner :
         {cv::Point2f(0.0f, 0.0f), {right, 0.0f}, {0.0f, bottom}, {right, bottom}}) {
        const cv::Point2f palm = toPalm(corner);
        low = {std::min(low.x, palm.x), std::min(low.y, palm.y)};
        high = {std::max(high.x, palm.x), std::max(high.y, palm.y)};
    }
    return {low - cv::Point2f(0.1f, 0.1f), high + cv::Point2f(0.1f, 0.1f)};
}

cv::Rect Camera::windowOn(const cv::Rect2f& palmArea) const {
    constexpr int kSteps = 16;
    constexpr float kMargin = 6.0f;
    std::vector<cv::Point2f> border;
    for (int i = 0; i <= kSteps; ++i) {
        const float share = static_cast<float>(i) / kSteps;
        const float x = palmArea.x + share * palmArea.width;
        const float y = palmArea.y + share * palmArea.height;
        border.insert(border.end(), {toFrame({x, palmArea.y}), toFrame({palmArea.x, y}),
                                     toFrame({x, palmArea.y + palmArea.height}),
                                     toFrame({palmArea.x + palmArea.width, y})});
    }
    const cv::Rect2f seen = cv::boundingRect(border);
    const cv::Rect2f whole({}, cv::Size2f(frame_));
    return (seen + cv::Size2f(2.0f * kMargin, 2.0f * kMargin) - cv::Point2f(kMargin, kMargin)) &
           whole;
}

RasterMap Camera::rasterMap(const cv::Rect& window, const cv::Rect2f& area,
                            float rasterScale) const {
    const cv::Size cells(window.width / kGrid + 3, window.height / kGrid + 3);
    const cv::Point2f corner(window.tl());
    cv::Mat grid(cells, CV_32FC2);
    const float top = area.y + area.height;
    for (int y = 0; y < cells.height; ++y) {
        for (int x = 0; x < cells.width; ++x) {
            const cv::Point2f centre((static_cast<float>(x) - 0.5f) * kGrid - 0.5f,
                                     (static_cast<float>(y) - 0.5f) * kGrid - 0.5f);
            const cv::Point2f palm = toPalm(corner + centre);
            grid.at<cv::Vec2f>(y, x) = {(palm.x - area.x) * rasterScale - 0.5f,
                                        (top - palm.y) * rasterScale - 0.5f};
        }
    }
    cv::Mat map;
    cv::resize(grid, map, cells * kGrid, 0, 0, cv::INTER_LINEAR);
    RasterMap result;
    cv::convertMaps(map({{kGrid, kGrid}, window.size()}), {}, result.whole, result.fraction,
                    CV_16SC2);
    return result;
}

}  // namespace brairu
