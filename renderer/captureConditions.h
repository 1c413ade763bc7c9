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

enum class Background { black, dim, wall, cloth, clutter };

// What a camera and its light make of every palm before it.
struct CameraLook {
    // How strongly creases, veins and fine relief show.
    float creases;
    float veins;
    float relief;
    // How much creases catch a slanting light, like grooves.
    float grooves;
    // Light that reaches the skin from everywhere, 0 to 1, and the mirror-like part of the reflection.
    float ambient;
    float sheen;
    // Usual direction of the light, as CaptureConditions::lightSlope but in the frame, x to the right
    // and y up: the lamp stands still when the hand turns.
    cv::Point2f light;
    // How much of a scenario's change of the light from capture to capture, and of its fall-off,
    // the camera lets through, 0 to 1.
    float unevenness;
    // How firmly pegs or habit bring every hand into one posture, 0 to 1; the posture's turn in
    // degrees, and its fan of the fingers and turn of the thumb in radians.
    float guidance;
    float turn;
    float fan;
    float thumb;
};

// A camera with near-infrared light beside the lens: creases and veins show alike.
CameraLook usualLook();

// One of all cameras there may be, from visible light, where creases alone show, to deep
// near-infrared light, where veins do.
CameraLook lookOf(std::uint64_t seed, int camera);

// What is worn on the wrist and the fingers. Distances run from the wrist down the arm, in palm
// breadths; tones are shares of fully lit skin.
struct ArmWear {
    // Where a sleeve begins, 0 for a bare arm, and how far it stands off.
    float sleeve;
    float sleeveWidth;
    float sleeveTone;
    // A watch or a bracelet; width 0 for none.
    float band;
    float bandWidth;
    float bandTone;
    // Tone 0 for no ring; fingers count from the index finger.
    float ringTone;
    int ringFinger;
};

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
    // How much of the thumb's nail is turned to the camera, 0 to 1.
    float thumbRoll;
    // Radians by which the arm leans away from the hand's axis.
    float armTurn;
    // Bending of straight lines by the lens: change of scale at the frame's corners.
    float lensBend;
    // Soft displacement of the skin, palm breadths.
    float stretch;
    std::array<float, 8> stretchPhase;
    float creaseContrast;
    float veinContrast;
    float reliefContrast;
    float grooves;
    float ambient;
    float sheen;
    // Dirty places on the palm, and wet ones anywhere on the hand, which shine.
    int stains;
    int wetPlaces;
    // Grey level of fully lit skin of albedo 1.
    float exposure;
    // Direction of the light in palm coordinates (0 is straight from the camera).
    cv::Point2f lightSlope;
    // Where the light is brightest (fractions of the frame) and how fast it falls off.
    cv::Point2f lightCentre;
    float lightFallOff;
    float palmHollow;
    Background background;
    float backgroundLevel;
    ArmWear wear;
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
                            Scenario scenario, const CameraLook& look = usualLook());

}  // namespace brairu
