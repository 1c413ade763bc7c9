// Captures of rendered people, with what is true of them.
#pragma once

#include <cstdint>

#include "evaluation/captureCollection.h"
#include "renderer/palmRenderer.h"

namespace brairu::tool {

struct RenderedPeople {
    int people = 0;      // each with both palms
    int bystanders = 0;  // people more who are enrolled only
    int captures = 6;    // of each palm
    int enrolment = 3;   // captures of a bystander's palm that give features
    int handless = 0;    // frames without an open palm
    Scenario scenario = Scenario::hard;
    bool isAnyCamera = false;  // else the usual one
    std::uint64_t seed = 0;
};

// Frames without an open palm, and those of them in which one was seen.
struct AlarmTally {
    std::uint64_t frames = 0;
    std::uint64_t alarms = 0;

    double share() const;
};

// How well the hands in rendered frames were found.
struct DetectionTally {
    std::uint64_t hands = 0;
    std::uint64_t found = 0;  // some hand was reported
    std::uint64_t usable = 0;
    // Of usable hands: mean distance of the key points from the true ones, as a share of the hand's
    // length and of the long side of the key points' box.
    double ofLengthSum = 0.0;
    double ofBoxSum = 0.0;
    AlarmTally withoutHand;
    AlarmTally otherHands;  // fists, signs, loose fingers, backs of hands

    double foundShare() const;
    double errorOfLength() const;
    double errorOfBox() const;
    AlarmTally allAlarms() const;
};

struct RenderedSet {
    CaptureSet set;
    DetectionTally detection;
};

RenderedSet collectRendered(const RenderedPeople& people, const ConfigDocument& config,
                            Report& report);

}  // namespace brairu::tool
