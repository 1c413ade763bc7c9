#include "renderer/camera.h"

#include "renderer/angles.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

namespace brairu {

namespace {

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

// In palm breadths and in pixels, farther than anything that is drawn.
constexpr float kFarOnPalm = 1e4f;
constexpr float kFarInFrame = 1e6f;
// Before the camera, in palm breadths: nearer than this nothing is seen, and farther than that the
// plane ends in its horizon.
constexpr float kNearest = 0.05f;
constexpr float kFarthest = 1e3f;

// Nothing where the third coordinate falls below `least`.
std::optional<cv::Point2f> project(const cv::Matx33f& matrix, const cv::Point2f& point,
                                   float least) {
    const cv::Vec3f p = matrix * cv::Vec3f(point.x, point.y, 1.0f);
    if (p[2] < least) {
        return std::nullopt;
    }
    return cv::Point2f(p[0] / p[2], p[1] / p[2]);
}

// Points along the border of a rectangle.
std::vector<cv::Point2f> borderOf(const cv::Rect2f& area) {
    constexpr int kSteps = 16;
    std::vector<cv::Point2f> border;
    for (int i = 0; i <= kSteps; ++i) {
        const float share = static_cast<float>(i) / kSteps;
        const float x = area.x + share * area.width;
        const float y = area.y + share * area.height;
        border.insert(
            border.end(),
            {{x, area.y}, {area.x, y}, {x, area.y + area.height}, {area.x + area.width, y}});
    }
    return border;
}

cv::Rect2f grown(const cv::Rect2f& area, float margin) {
    return area + cv::Size2f(2.0f * margin, 2.0f * margin) - cv::Point2f(margin, margin);
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
    // Palm coordinates run up, and those of a right hand to the left; the middle of the palm comes to
    // the origin, is turned there, and moved away from the camera.
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

std::optional<cv::Point2f> Camera::placeInFrame(const cv::Point2f& palm) const {
    cv::Point2f unstretched = palm;
    for (int i = 0; i < 3; ++i) {
        unstretched = palm - stretchAt(unstretched);
    }
    const auto straight = project(palmToFrame_, unstretched, kNearest);
    return straight ? std::optional(bent(*straight)) : std::nullopt;
}

std::optional<cv::Point2f> Camera::placeOnPalm(const cv::Point2f& frame) const {
    const auto unstretched = project(frameToPalm_, straightened(frame), 1.0f / kFarthest);
    return unstretched ? std::optional(*unstretched + stretchAt(*unstretched)) : std::nullopt;
}

cv::Point2f Camera::toFrame(const cv::Point2f& palm) const {
    return placeInFrame(palm).value_or(cv::Point2f(kFarInFrame, kFarInFrame));
}

cv::Point2f Camera::toPalm(const cv::Point2f& frame) const {
    return placeOnPalm(frame).value_or(cv::Point2f(kFarOnPalm, kFarOnPalm));
}

cv::Rect2f Camera::visibleArea() const {
    constexpr float kMargin = 0.1f;
    cv::Point2f low(kFarOnPalm, kFarOnPalm);
    cv::Point2f high = -low;
    for (const cv::Point2f& point : borderOf({{}, cv::Size2f(frame_)})) {
        const auto palm = placeOnPalm(point);
        if (!palm) {
            return {-kFarOnPalm, -kFarOnPalm, 2.0f * kFarOnPalm, 2.0f * kFarOnPalm};
        }
        low = {std::min(low.x, palm->x), std::min(low.y, palm->y)};
        high = {std::max(high.x, palm->x), std::max(high.y, palm->y)};
    }
    return grown({low, high}, kMargin);
}

cv::Rect Camera::windowOn(const cv::Rect2f& palmArea) const {
    constexpr float kMargin = 6.0f;
    const cv::Rect whole({}, frame_);
    std::vector<cv::Point2f> border;
    for (const cv::Point2f& point : borderOf(palmArea)) {
        const auto seen = placeInFrame(point);
        if (!seen) {
            return whole;
        }
        border.push_back(*seen);
    }
    return cv::Rect(grown(cv::boundingRect(border), kMargin)) & whole;
}

RasterMap Camera::rasterMap(const cv::Rect& window, const Raster& raster) const {
    const cv::Size cells(window.width / kGrid + 3, window.height / kGrid + 3);
    const cv::Point2f corner(window.tl());
    cv::Mat grid(cells, CV_32FC2);
    for (int y = 0; y < cells.height; ++y) {
        for (int x = 0; x < cells.width; ++x) {
            const cv::Point2f centre((static_cast<float>(x) - 0.5f) * kGrid - 0.5f,
                                     (static_cast<float>(y) - 0.5f) * kGrid - 0.5f);
            const cv::Point2f pixel = raster.pixel(toPalm(corner + centre));
            grid.at<cv::Vec2f>(y, x) = {pixel.x - 0.5f, pixel.y - 0.5f};
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
