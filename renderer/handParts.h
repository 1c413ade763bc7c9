// The parts of which hands are put together, open ones and others.
#pragma once

#include "renderer/silhouette.h"

#include <cmath>
#include <cstddef>
#include <vector>

namespace brairu {

// Where the wrist's crease lies, in palm coordinates of a palm of usual length.
inline constexpr float kWristY = -1.18f;

// How a finger is held: its turn from the resting direction in radians, and the share of its length
// that shows.
struct FingerPose {
    float turn;
    float reach;
};

FingerPose poseOf(const CaptureConditions& conditions, std::size_t finger);

// The centre line of a finger as it is held, from 0 at its base to 1 at its tip.
class FingerLine {
public:
    FingerLine(const FingerShape& finger, const FingerPose& pose)
        : base_(finger.base),
          angle_(finger.splay + pose.turn),
          bow_(finger.bow),
          length_(finger.length * pose.reach) {}

    cv::Point2f at(float t) const;
    cv::Point2f along(float t) const;

    float length() const { return length_; }

private:
    cv::Point2f base_;
    float angle_;
    float bow_;
    float length_;
};

// Where the nail of a thumb sits.
struct ThumbTip {
    cv::Point2f centre;
    cv::Point2f along;
    float halfWidth;
};

// Points of an arm that leaves the wrist downwards, turned by an angle.
class ArmLine {
public:
    ArmLine(float wristY, float turn)
        : wrist_(0.0f, wristY), down_(-std::sin(turn), -std::cos(turn)) {}

    cv::Point2f at(float below) const { return wrist_ + down_ * below; }

    // A band around the arm between two distances below the wrist.
    Curve band(float from, float to, float halfWidth) const;

private:
    cv::Point2f wrist_;
    cv::Point2f down_;
};

// The direction to the right of another.
cv::Point2f rightOf(const cv::Point2f& along);

Curve ellipse(cv::Point2f centre, cv::Point2f radii);

// A fold across a finger at a fraction of its length, moved on by `lift`.
Curve foldAcross(const FingerShape& finger, const FingerPose& pose, float t, float lift);

Curve forearm(const ArmLine& arm, float wristHalf, float widening);

// Dark lines along both flanks of a limb, which keep it apart from what it touches.
void addClefts(Silhouette& skin, const std::vector<LimbPoint>& limb);

void addFinger(Silhouette& hand, const FingerShape& finger, const FingerPose& pose);

ThumbTip addThumb(Silhouette& hand, const HandShape& shape, const FingerPose& pose);

// The palm and the arm, with what is worn on it.
void addPalm(Silhouette& hand, const HandShape& shape, const CaptureConditions& conditions);

}  // namespace brairu
