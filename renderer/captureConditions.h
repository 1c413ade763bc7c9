#pragma once

#include "renderer/palmIdentity.h"

#include <opencv2/core.hpp>

#include <array>
#include <cstdint>

namespace brairu {

// How the palm is held and how the camera sees it.
enum class Scenario {
    // A cooperative user above the sensor who moves the hand a little between captures: shift,
    // turn within 15 degrees, distance within 10 %, slight tilt. Every capture is a good one.
    enrolment,
    // The same user in a hurry: turns to 40 degrees, tilt, blur, uneven light, any background.
    hard,
    // Anything in which a hand can be found, well placed or not: all distances, places, turns.
    anywhere
};

enum class Background { black, dim, wall, clutter };

// Everything that differs between two captures of one palm.
struct CaptureConditions {
    // Palm breadth as a fraction of the shorter frame side.
    float palmWidth;
    // Where the middle of the palm, a point in palm coordinates, lies as fractions of the frame.
    cv::Point2f place;
    cv::Point2f middle;
    // Degrees: turn in the image plane (positive is clockwise as seen), and tilt out of it.
    float turn;
    float tiltAcross;
    float tiltAlong;
    // Camera distance in palm breadths; smaller means stronger perspective.
    float distance;
    // Radians added to each finger's resting direction, thumb last.
    std::array<float, 5> fingerTurn;
    // Visible part of each finger's length, 1 when it lies in the palm's plane, thumb last.
    std::array<float, 5> fingerReach;
    // Soft displacement of the skin, palm breadths.
    float stretch;
    std::array<float, 8> stretchPhase;
    float creaseContrast;
    float veinContrast;
    float reliefContrast;
    // Grey level of fully lit skin of albedo 1.
    float exposure;
    // Direction of the light across the palm (0 is straight from the camera).
    cv::Point2f lightSlope;
    // Where the light is brightest (fractions of the frame) and how fast it falls off.
    cv::Point2f lightCentre;
    float lightFallOff;
    float palmHollow;
    Background background;
    float backgroundLevel;
    // Distance below the palm's origin where a sleeve begins, palm breadths; 0 for a bare arm.
    float sleeve;
    bool ring;
    // Deviation of the focus blur and length of the motion blur, palm breadths.
    float focusBlur;
    float motionBlur;
    float motionAngle;
    // Deviation of the sensor noise in grey levels.
    float noise;
    std::uint64_t noiseKey;
};

// The conditions of one capture; depends on nothing but the arguments.
CaptureConditions captureOf(std::uint64_t seed, const PalmIdentity& identity, int capture,
                            Scenario scenario);

}  // namespace brairu
