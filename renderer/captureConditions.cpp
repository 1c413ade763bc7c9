#include "renderer/captureConditions.h"

#include "renderer/random.h"

#include <algorithm>
#include <cmath>

namespace brairu {

namespace {

constexpr std::uint64_t kCaptureStream = 4;
constexpr float kDegree = static_cast<float>(CV_PI / 180.0);

// How far each kind of change may go in a scenario.
struct Ranges {
    float palmWidthLow;
    float palmWidthHigh;
    float shiftX;
    float shiftY;
    float turn;
    float tilt;
    float spread;
    float stretch;
    float exposureLow;
    float exposureHigh;
    float lightSlope;
    float lightFallOff;
    float focusBlur;
    float motionBlur;
    float noise;
};

constexpr Ranges kEnrolment{0.345f, 0.425f, 0.040f, 0.025f, 15.0f,  8.0f,   0.05f, 0.010f,
                            150.0f, 215.0f, 0.18f,  0.35f,  0.006f, 0.006f, 3.0f};
constexpr Ranges kHard{0.330f, 0.460f, 0.080f, 0.050f, 40.0f,  20.0f,  0.10f, 0.016f,
                       95.0f,  270.0f, 0.40f,  0.90f,  0.014f, 0.020f, 7.0f};
constexpr Ranges kAnywhere{0.110f, 0.700f, 0.420f, 0.420f, 50.0f,  28.0f,  0.14f, 0.016f,
                           60.0f,  290.0f, 0.50f,  1.20f,  0.020f, 0.030f, 10.0f};

const Ranges& rangesOf(Scenario scenario) {
    switch (scenario) {
        case Scenario::enrolment: return kEnrolment;
        case Scenario::hard: return kHard;
        case Scenario::anywhere: break;
    }
    return kAnywhere;
}

float turnOf(Random& random, const Ranges& ranges, Scenario scenario) {
    if (scenario != Scenario::anywhere || random.chance(0.7f)) {
        return random.uniform(-ranges.turn, ranges.turn);
    }
    return random.chance(0.7f) ? random.uniform(-110.0f, 110.0f) : random.uniform(-180.0f, 180.0f);
}

// The middle of the upright box around the key points once the hand is turned, in palm coordinates.
cv::Point2f boxMiddle(const PalmIdentity& identity, float turn) {
    const float angle = turn * kDegree * (identity.hand == Hand::left ? 1.0f : -1.0f);
    const cv::Matx22f turned(std::cos(angle), std::sin(angle), -std::sin(angle), std::cos(angle));
    cv::Point2f low(1e9f, 1e9f);
    cv::Point2f high(-1e9f, -1e9f);
    for (const cv::Point2f& point : identity.shape.keyPoints) {
        const cv::Point2f seen = turned * point;
        low = {std::min(low.x, seen.x), std::min(low.y, seen.y)};
        high = {std::max(high.x, seen.x), std::max(high.y, seen.y)};
    }
    return turned.t() * ((low + high) * 0.5f);
}

void holdHand(CaptureConditions& conditions, const PalmIdentity& identity, Random& random,
              const Ranges& ranges, Scenario scenario) {
    conditions.palmWidth = random.uniform(ranges.palmWidthLow, ranges.palmWidthHigh);
    conditions.place = {0.5f + random.uniform(-ranges.shiftX, ranges.shiftX),
                        0.5f + random.uniform(-ranges.shiftY, ranges.shiftY)};
    conditions.turn = turnOf(random, ranges, scenario);
    conditions.tiltAcross = random.uniform(-ranges.tilt, ranges.tilt);
    conditions.tiltAlong = random.uniform(-ranges.tilt, ranges.tilt);
    conditions.distance = random.uniform(3.0f, 8.0f);
    conditions.middle = boxMiddle(identity, conditions.turn);
}

void poseFingers(CaptureConditions& conditions, Random& random, const Ranges& ranges) {
    const float fan = random.normal(ranges.spread);
    for (std::size_t i = 0; i < 4; ++i) {
        const float outward = (static_cast<float>(i) - 1.2f) * 0.6f;
        conditions.fingerTurn[i] = fan * outward + random.normal(ranges.spread * 0.4f);
        conditions.fingerReach[i] = 1.0f - std::abs(random.normal(ranges.spread * 0.9f));
    }
    conditions.fingerTurn[4] = random.normal(11.0f) * kDegree;
    conditions.fingerReach[4] = random.uniform(0.88f, 1.05f);
    conditions.stretch = random.uniform(0.2f, 1.0f) * ranges.stretch;
    for (float& phase : conditions.stretchPhase) {
        phase = random.uniform(0.0f, 2.0f * static_cast<float>(CV_PI));
    }
}

void lightHand(CaptureConditions& conditions, Random& random, const Ranges& ranges) {
    conditions.exposure = random.uniform(ranges.exposureLow, ranges.exposureHigh);
    conditions.lightSlope = {random.normal(ranges.lightSlope * 0.6f),
                             random.normal(ranges.lightSlope * 0.6f)};
    conditions.lightCentre = {0.5f + random.normal(0.10f), 0.5f + random.normal(0.10f)};
    conditions.lightFallOff = random.uniform(0.1f, 1.0f) * ranges.lightFallOff;
    conditions.palmHollow = random.uniform(0.3f, 1.3f);
}

Background backgroundOf(Random& random, Scenario scenario) {
    const float draw = random.unit();
    if (scenario == Scenario::enrolment) {
        return draw < 0.5f ? Background::black
                           : (draw < 0.85f ? Background::dim : Background::clutter);
    }
    if (draw < 0.25f) {
        return Background::black;
    }
    return draw < 0.45f ? Background::dim : (draw < 0.65f ? Background::wall : Background::clutter);
}

void chooseSurroundings(CaptureConditions& conditions, Random& random, Scenario scenario) {
    const bool cooperative = scenario == Scenario::enrolment;
    conditions.background = backgroundOf(random, scenario);
    conditions.backgroundLevel = random.uniform(0.0f, cooperative ? 0.45f : 1.0f);
    conditions.sleeve = random.chance(0.3f) ? random.uniform(1.3f, 2.6f) : 0.0f;
    conditions.ring = random.chance(0.12f);
}

void showSkin(CaptureConditions& conditions, Random& random, Scenario scenario) {
    const float spread = scenario == Scenario::enrolment ? 0.18f : 0.45f;
    const float look = random.uniform(-spread, spread);
    conditions.creaseContrast = 0.50f * (1.0f - look) * random.uniform(0.85f, 1.15f);
    conditions.veinContrast = 0.42f * (1.0f + look) * random.uniform(0.85f, 1.15f);
    conditions.reliefContrast = random.uniform(0.10f, 0.26f);
}

void spoilImage(CaptureConditions& conditions, Random& random, const Ranges& ranges) {
    conditions.focusBlur = random.uniform(0.0f, ranges.focusBlur);
    conditions.motionBlur = random.chance(0.4f) ? random.uniform(0.0f, ranges.motionBlur) : 0.0f;
    conditions.motionAngle = random.uniform(0.0f, static_cast<float>(CV_PI));
    conditions.noise = random.uniform(0.8f, ranges.noise);
    conditions.noiseKey = random.next();
}

}  // namespace

CaptureConditions captureOf(std::uint64_t seed, const PalmIdentity& identity, int capture,
                            Scenario scenario) {
    const Ranges& ranges = rangesOf(scenario);
    Random random{seed, identity.key, static_cast<std::uint64_t>(capture),
                  static_cast<std::uint64_t>(scenario), kCaptureStream};
    CaptureConditions conditions{};
    holdHand(conditions, identity, random, ranges, scenario);
    poseFingers(conditions, random, ranges);
    lightHand(conditions, random, ranges);
    chooseSurroundings(conditions, random, scenario);
    showSkin(conditions, random, scenario);
    spoilImage(conditions, random, ranges);
    return conditions;
}

}  // namespace brairu
