#include "renderer/openHand.h"

#include "renderer/angles.h"
#include "renderer/handParts.h"

#include <cmath>

namespace brairu {

namespace {

// What a hand that shows its palm lets one see of a nail: the edge that stands out over the tip.
Curve nailEdge(cv::Point2f root, const cv::Point2f& along, float halfWidth, float from, float to) {
    const cv::Point2f side = rightOf(along) * halfWidth;
    Curve edge;
    constexpr int kSteps = 8;
    const auto addArch = [&](float reach, float turn) {
        for (int i = 0; i <= kSteps; ++i) {
            const float angle = kPi * static_cast<float>(i) / kSteps;
            edge.push_back(root - side * (turn * std::cos(angle)) +
                           along * (reach * std::sin(angle)));
        }
    };
    addArch(to, 1.0f);
    addArch(from, -1.0f);
    return edge;
}

void addFingerNail(Silhouette& hand, const FingerShape& finger, const FingerPose& pose,
                   const Nails& nails) {
    const FingerLine line(finger, pose);
    const float half = finger.tipWidth * 0.5f;
    const cv::Point2f along = line.along(1.0f);
    const cv::Point2f root = line.at(1.0f - half / line.length());
    hand.patches.push_back(
        {nailEdge(root, along, half * 0.66f, half * 0.96f, half * 1.02f + nails.length),
         nails.tone});
}

// The thumb is turned against the fingers, so that its nail shows along its outer side.
void addThumbNail(Silhouette& hand, const ThumbTip& tip, float roll, float tone) {
    const cv::Point2f outward = rightOf(tip.along) * -1.0f;
    const float width = tip.halfWidth * (0.25f + 0.35f * roll);
    const cv::Point2f centre = tip.centre + outward * (tip.halfWidth - width);
    Curve nail = ellipse({}, {width, tip.halfWidth * 0.85f});
    for (cv::Point2f& point : nail) {
        point = centre + outward * -point.x + tip.along * point.y;
    }
    hand.patches.push_back({nail, tone});
}

void addNails(Silhouette& hand, const HandShape& shape, const CaptureConditions& conditions,
              const ThumbTip& thumb) {
    for (std::size_t i = 0; shape.nails.length > 0.0f && i < shape.fingers.size(); ++i) {
        addFingerNail(hand, shape.fingers[i], poseOf(conditions, i), shape.nails);
    }
    if (conditions.thumbRoll > 0.0f) {
        addThumbNail(hand, thumb, conditions.thumbRoll, shape.nails.tone);
    }
}

void addRing(Silhouette& hand, const FingerShape& finger, const FingerPose& pose, float tone) {
    const FingerLine line(finger, pose);
    const cv::Point2f half = rightOf(line.along(0.2f)) * (finger.baseWidth * 0.5f);
    const cv::Point2f from = line.at(0.17f);
    const cv::Point2f to = line.at(0.23f);
    hand.patches.push_back({{from - half, from + half, to + half, to - half}, tone});
}

}  // namespace

Silhouette openHand(const HandShape& shape, const CaptureConditions& conditions) {
    Silhouette hand;
    addPalm(hand, shape, conditions);
    for (std::size_t i = 0; i < 4; ++i) {
        addFinger(hand, shape.fingers[i], poseOf(conditions, i));
    }
    const ThumbTip thumb = addThumb(hand, shape, poseOf(conditions, 4));
    addNails(hand, shape, conditions, thumb);
    if (conditions.wear.ringTone > 0.0f) {
        const auto finger = static_cast<std::size_t>(conditions.wear.ringFinger);
        addRing(hand, shape.fingers[finger], poseOf(conditions, finger), conditions.wear.ringTone);
    }
    return hand;
}

std::array<cv::Point2f, 2> lengthwise(const HandShape& shape, const CaptureConditions& conditions) {
    constexpr std::size_t kMiddleFinger = 1;
    const FingerLine finger(shape.fingers[kMiddleFinger], poseOf(conditions, kMiddleFinger));
    return {cv::Point2f(0.0f, kWristY * shape.palmLength), finger.at(1.0f)};
}

}  // namespace brairu
