#include "handPose/palmRegion.h"

#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <utility>

#include "handPose/blackCanvas.h"
#include "handPose/geometry.h"
#include "utils/convert.h"

namespace brairu {
namespace {

constexpr int kLargestInput = 4096;
constexpr double kCropPerInput = 1.5;
constexpr double kRiseOfCentre = 0.1;
constexpr double kShiftOfCentre = 0.2;
constexpr float kCropPerBox = 1.2f;
constexpr float kBiasDegrees = 10.0f;
constexpr double kRegionA = 0.75;
constexpr double kRegionB = 0.6;

void requireUsable(FrameSize featureInput) {
    const auto usable = [](int side) { return side > 0 && side <= kLargestInput; };
    if (!usable(featureInput.width) || !usable(featureInput.height)) {
        throw std::invalid_argument("feature input_w and input_h must be 1 to 4096");
    }
}

cv::Size sizeOf(FrameSize size) {
    return {size.width, size.height};
}

int scaled(int length, double factor) {
    return truncatedInt(length * factor);
}

cv::Mat resized(const cv::Mat& image, cv::Size size, cv::Mat reused) {
    cv::resize(image, reused, size, 0, 0, cv::INTER_LINEAR);
    return reused;
}

cv::Rect centredRegion(cv::Size crop, double share) {
    const int width = scaled(crop.width, share);
    const int height = scaled(crop.height, share);
    return {crop.width / 2 - width / 2, crop.height / 2 - height / 2, width, height};
}

std::uint32_t codeOfRegion(cv::Rect region) {
    if (region.x < 1) {
        return PVA_PLACEMENT_LEFT;
    }
    return region.y < 1 ? PVA_PLACEMENT_TOP : PVA_PLACEMENT_GOOD;
}

}  // namespace

void moveCentreToPalm(PvaHandPose& pose, FrameSize featureInput) {
    const int rise = scaled(featureInput.height, kRiseOfCentre);
    const int shift = scaled(featureInput.width, kShiftOfCentre);
    const bool indexIsRight = pose.keyPoints[2].x > pose.keyPoints[5].x;
    pose.centerY = static_cast<std::uint16_t>(pose.centerY - rise);
    pose.centerX = static_cast<std::uint16_t>(pose.centerX + (indexIsRight ? shift : -shift));
}

cv::Rect cropRectangle(const PvaHandPose& pose) {
    const int width = truncatedInt(static_cast<float>(pose.width) * kCropPerBox);
    const int height = truncatedInt(static_cast<float>(pose.height) * kCropPerBox);
    return {pose.centerX - width / 2, pose.centerY - height / 2, width, height};
}

cv::Size cropSize(FrameSize featureInput) {
    return {scaled(featureInput.width, kCropPerInput), scaled(featureInput.height, kCropPerInput)};
}

KeyPoints keyPointsInCrop(const PvaHandPose& pose, cv::Rect rectangle, cv::Size crop) {
    const double perPixelX = static_cast<double>(crop.width) / rectangle.width;
    const double perPixelY = static_cast<double>(crop.height) / rectangle.height;
    KeyPoints points = keyPointsOf(pose);
    for (cv::Point& point : points) {
        point.x = storedCoordinate((point.x - rectangle.x) * perPixelX);
        point.y = storedCoordinate((point.y - rectangle.y) * perPixelY);
    }
    return points;
}

float uprightAngle(std::span<const cv::Point> keyPoints, int orientation) {
    const float bias = orientation == 0 ? -kBiasDegrees : kBiasDegrees;
    return fitDirectedLineFrom7Points(keyPoints, orientation) + bias;
}

cv::Mat scaledCut(const cv::Mat& frame, cv::Rect rectangle, cv::Size size, cv::Mat reused) {
    const cv::Rect inside = rectangle & cv::Rect(0, 0, frame.cols, frame.rows);
    if (inside == rectangle) {
        return resized(frame(rectangle), size, std::move(reused));
    }
    const BlackCanvas canvas(rectangle.size());
    if (!inside.empty()) {
        frame(inside).copyTo(canvas.image()(inside - rectangle.tl()));
    }
    return resized(canvas.image(), size, std::move(reused));
}

cv::Mat rotatedUpright(const cv::Mat& crop, float angle, cv::Mat reused) {
    if (angle > -kBiasDegrees && angle < kBiasDegrees) {
        return crop;
    }
    const cv::Point centre(crop.cols / 2, crop.rows / 2);
    cv::warpAffine(crop, reused, cv::getRotationMatrix2D_(centre, angle, 1.0), crop.size(),
                   cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar::all(0));
    return reused;
}

std::uint32_t cutRegions(const cv::Mat& upright, FrameSize featureInput, PalmImages& images) {
    const cv::Rect regionA = centredRegion(upright.size(), kRegionA);
    const cv::Rect regionB = centredRegion(upright.size(), kRegionB);
    for (const cv::Rect& region : {regionA, regionB}) {
        if (const std::uint32_t code = codeOfRegion(region); code != PVA_PLACEMENT_GOOD) {
            return code;
        }
    }
    const cv::Size input = sizeOf(featureInput);
    images.regionA = resized(upright(regionA), input, images.regionA);
    images.regionB = resized(upright(regionB), input, images.regionB);
    images.whole = resized(upright, input, images.whole);
    return PVA_PLACEMENT_GOOD;
}

std::uint32_t extractPalm(const cv::Mat& frame, FrameSize featureInput, PvaHandPose& pose,
                          PalmImages& images) {
    requireUsable(featureInput);
    moveCentreToPalm(pose, featureInput);
    const cv::Rect rectangle = cropRectangle(pose);
    if (rectangle.empty()) {
        return PVA_PLACEMENT_SMALL;
    }
    const cv::Size size = cropSize(featureInput);
    const float angle = uprightAngle(keyPointsInCrop(pose, rectangle, size), pose.orientation);
    images.crop = scaledCut(frame, rectangle, size, images.crop);
    // Made here: what a copy of the header is given would be lost.
    images.rotated.create(size, CV_8UC1);
    return cutRegions(rotatedUpright(images.crop, angle, images.rotated), featureInput, images);
}

}  // namespace brairu
