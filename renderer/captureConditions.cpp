#include "renderer/captureConditions.h"

#include "renderer/angles.h"
#include "renderer/random.h"

#include <algorithm>
#include <cmath>

namespace brairu {

namespace {

enum Stream : std::uint64_t { kCaptureStream = 4, kLookStream = 7 };

// How far each kind of change may go in a scenario.
struct Ranges {
    float palmWidthLow;
    float palmWidthHigh;
    float shiftX;
    float shiftY;
    float turn;
    float tilt;
    float spread;
    float thumb;
    float armTurn;
    float lensBend;
    float stretch;
    float exposureLow;
    float exposureHigh;
    float lightSlope;
    float lightFallOff;
    float focusBlur;
    float motionBlur;
    float noise;
    float closedFingers;
};

constexpr Ranges kEnrolment{
    .palmWidthLow = 0.345f,
    .palmWidthHigh = 0.425f,
    .shiftX = 0.040f,
    .shiftY = 0.025f,
    .turn = 15.0f,
    .tilt = 8.0f,
    .spread = 0.05f,
    .thumb = 11.0f,
    .armTurn = 5.0f,
    .lensBend = 0.02f,
    .stretch = 0.010f,
    .exposureLow = 150.0f,
    .exposureHigh = 215.0f,
    .lightSlope = 0.18f,
    .lightFallOff = 0.35f,
    .focusBlur = 0.006f,
    .motionBlur = 0.006f,
    .noise = 3.0f,
    .closedFingers = 0.05f,
};
constexpr Ranges kHard{
    .palmWidthLow = 0.330f,
    .palmWidthHigh = 0.460f,
    .shiftX = 0.080f,
    .shiftY = 0.050f,
    .turn = 40.0f,
    .tilt = 20.0f,
    .spread = 0.10f,
    .thumb = 14.0f,
    .armTurn = 9.0f,
    .lensBend = 0.05f,
    .stretch = 0.016f,
    .exposureLow = 95.0f,
    .exposureHigh = 270.0f,
    .lightSlope = 0.45f,
    .lightFallOff = 0.90f,
    .focusBlur = 0.014f,
    .motionBlur = 0.020f,
    .noise = 7.0f,
    .closedFingers = 0.10f,
};
constexpr Ranges kAnywhere{
    .palmWidthLow = 0.110f,
    .palmWidthHigh = 0.720f,
    .shiftX = 0.420f,
    .shiftY = 0.420f,
    .turn = 50.0f,
    .tilt = 28.0f,
    .spread = 0.18f,
    .thumb = 21.0f,
    .armTurn = 13.0f,
    .lensBend = 0.09f,
    .stretch = 0.018f,
    .exposureLow = 55.0f,
    .exposureHigh = 310.0f,
    .lightSlope = 0.75f,
    .lightFallOff = 1.20f,
    .focusBlur = 0.020f,
    .motionBlur = 0.030f,
    .noise = 10.0f,
    .closedFingers = 0.18f,
};

const Ranges& rangesOf(Scenario scenario) {
    switch (scenario) {
        case Scenario::enrolment: return kEnrolment;
        case Scenario::hard: return kHard;
        case Scenario::anywhere: break;
    }
    return kAnywhere;
}

float turnOf(Random& random, const Ranges& ranges, Scenario scenario) {
    if (scenario != Scenario::anywhere || random.chance(0.6f)) {
        return random.uniform(-ranges.turn, ranges.turn);
    }
    return random.chance(0.5f) ? random.uniform(-110.0f, 110.0f) : random.uniform(-180.0f, 180.0f);
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

// What a hand would do of its own accord, drawn towards the posture that the camera asks for.
float guided(float own, float wanted, const CameraLook& look) {
    return own + look.guidance * (wanted - own);
}

void holdHand(CaptureConditions& conditions, const PalmIdentity& identity, Random& random,
              const Ranges& ranges, Scenario scenario, const CameraLook& look) {
    conditions.palmWidth = random.uniform(ranges.palmWidthLow, ranges.palmWidthHigh);
    conditions.place = {0.5f + random.uniform(-ranges.shiftX, ranges.shiftX),
                        0.5f + random.uniform(-ranges.shiftY, ranges.shiftY)};
    conditions.turn = guided(turnOf(random, ranges, scenario), look.turn, look);
    conditions.tiltAcross = random.uniform(-ranges.tilt, ranges.tilt);
    conditions.tiltAlong = random.uniform(-ranges.tilt, ranges.tilt);
    conditions.distance = random.uniform(3.0f, 8.0f);
    conditions.lensBend = random.uniform(-ranges.lensBend, ranges.lensBend);
    conditions.middle = boxMiddle(identity, conditions.turn);
}

// Fanned out by chance, or all side by side so that they touch.
void spreadFingers(CaptureConditions& conditions, const HandShape& shape, Random& random,
                   const Ranges& ranges, const CameraLook& look) {
    const float fan = guided(random.normal(ranges.spread), look.fan, look);
    const bool closed = random.chance(ranges.closedFingers);
    for (std::size_t i = 0; i < 4; ++i) {
        const float outward = (static_cast<float>(i) - 1.2f) * 0.6f;
        conditions.fingerTurn[i] =
            closed ? random.normal(1.5f * kDegree) - shape.fingers[i].splay - 0.03f * outward
                   : fan * outward + random.normal(ranges.spread * 0.4f);
        conditions.fingerReach[i] = 1.0f - std::abs(random.normal(ranges.spread * 0.9f));
    }
}

void poseHand(CaptureConditions& conditions, const HandShape& shape, Random& random,
              const Ranges& ranges, const CameraLook& look) {
    spreadFingers(conditions, shape, random, ranges, look);
    const float thumb = std::clamp(random.normal(ranges.thumb), -50.0f, 40.0f) * kDegree;
    conditions.fingerTurn[4] = guided(thumb, look.thumb, look);
    conditions.fingerReach[4] = random.uniform(0.85f, 1.05f);
    conditions.thumbRoll = std::max(0.0f, random.uniform(-0.4f, 1.0f));
    conditions.armTurn = random.normal(ranges.armTurn) * kDegree;
    conditions.stretch = random.uniform(0.2f, 1.0f) * ranges.stretch;
    for (float& phase : conditions.stretchPhase) {
        phase = random.uniform(0.0f, 2.0f * kPi);
    }
}

// A direction in the frame, x to the right and y up, in the coordinates of a turned palm.
cv::Point2f seenFromPalm(const cv::Point2f& direction, float turn, Hand hand) {
    const float angle = turn * kDegree;
    const cv::Point2f turned(direction.x * std::cos(angle) - direction.y * std::sin(angle),
                             direction.x * std::sin(angle) + direction.y * std::cos(angle));
    return {hand == Hand::left ? turned.x : -turned.x, turned.y};
}

void lightHand(CaptureConditions& conditions, Hand hand, Random& random, const Ranges& ranges,
               const CameraLook& look) {
    conditions.exposure = random.uniform(ranges.exposureLow, ranges.exposureHigh);
    const float slant = ranges.lightSlope * 0.6f * look.unevenness;
    const cv::Point2f change{random.normal(slant), random.normal(slant)};
    conditions.lightSlope = seenFromPalm(look.light, conditions.turn, hand) + change;
    conditions.ambient = look.ambient;
    conditions.sheen = look.sheen * random.uniform(0.3f, 1.5f);
    conditions.lightCentre = {0.5f + random.normal(0.10f), 0.5f + random.normal(0.10f)};
    conditions.lightFallOff = random.uniform(0.1f, 1.0f) * ranges.lightFallOff * look.unevenness;
    conditions.palmHollow = random.uniform(0.3f, 1.3f);
}

Background backgroundOf(Random& random, Scenario scenario) {
    const float draw = random.unit();
    if (scenario == Scenario::enrolment) {
        return draw < 0.5f ? Background::black
                           : (draw < 0.85f ? Background::dim : Background::clutter);
    }
    if (draw < 0.35f) {
        return draw < 0.20f ? Background::black : Background::dim;
    }
    if (draw < 0.75f) {
        return draw < 0.58f ? Background::wall : Background::cloth;
    }
    return Background::clutter;
}

ArmWear wearOf(Random& random) {
    ArmWear wear{};
    if (random.chance(0.3f)) {
        wear.sleeve = random.uniform(0.1f, 1.4f);
        wear.sleeveWidth = random.uniform(0.02f, 0.3f);
        wear.sleeveTone = random.uniform(0.05f, 1.35f);
    }
    if (random.chance(0.18f)) {
        wear.band = random.uniform(0.02f, 0.4f);
        wear.bandWidth = random.uniform(0.03f, 0.3f);
        wear.bandTone = random.uniform(0.05f, 1.4f);
    }
    if (random.chance(0.15f)) {
        wear.ringTone = random.uniform(0.3f, 1.4f);
        wear.ringFinger = random.below(4);
    }
    return wear;
}

void chooseSurroundings(CaptureConditions& conditions, Random& random, Scenario scenario) {
    const bool cooperative = scenario == Scenario::enrolment;
    conditions.background = backgroundOf(random, scenario);
    conditions.backgroundLevel = random.uniform(0.0f, cooperative ? 0.45f : 1.0f);
    conditions.wear = wearOf(random);
    conditions.stains = random.chance(cooperative ? 0.04f : 0.10f) ? 1 + random.below(3) : 0;
    conditions.wetPlaces = random.chance(cooperative ? 0.04f : 0.10f) ? 1 + random.below(5) : 0;
}

void showSkin(CaptureConditions& conditions, Random& random, Scenario scenario,
              const CameraLook& look) {
    const float spread = scenario == Scenario::enrolment ? 0.18f : 0.45f;
    const float towardsVeins = random.uniform(-spread, spread);
    conditions.creaseContrast = look.creases * (1.0f - towardsVeins) * random.uniform(0.85f, 1.15f);
    conditions.veinContrast = look.veins * (1.0f + towardsVeins) * random.uniform(0.85f, 1.15f);
    conditions.reliefContrast = look.relief * random.uniform(0.55f, 1.45f);
    conditions.grooves = look.grooves;
}

void spoilImage(CaptureConditions& conditions, Random& random, const Ranges& ranges) {
    conditions.focusBlur = random.uniform(0.0f, ranges.focusBlur);
    conditions.motionBlur = random.chance(0.4f) ? random.uniform(0.0f, ranges.motionBlur) : 0.0f;
    conditions.motionAngle = random.uniform(0.0f, kPi);
    conditions.noise = random.uniform(0.8f, ranges.noise);
    conditions.noiseKey = random.next();
}

}  // namespace

CameraLook usualLook() {
    return {0.50f, 0.42f, 0.18f, 0.3f, 0.28f, 0.05f, {0.0f, 0.0f}, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f};
}

CameraLook lookOf(std::uint64_t seed, int camera) {
    Random random{seed, static_cast<std::uint64_t>(camera), kLookStream};
    const float towardsVeins = random.unit();
    const float strength = std::exp(random.uniform(-2.1f, 0.2f));
    CameraLook look{};
    look.creases = strength * std::min(1.0f, 2.0f * (1.0f - towardsVeins)) * 0.8f;
    look.veins = strength * std::min(1.0f, 2.0f * towardsVeins) * 0.7f;
    look.relief = 0.06f * std::exp(random.uniform(0.0f, 2.0f));
    look.grooves = random.uniform(0.0f, 1.2f);
    look.ambient = random.uniform(0.10f, 0.55f);
    look.sheen = random.chance(0.5f) ? random.uniform(0.0f, 0.35f) : 0.0f;
    look.light = {random.normal(0.22f), random.normal(0.22f)};
    look.unevenness = random.uniform(0.15f, 1.0f);
    look.guidance = random.chance(0.5f) ? random.uniform(0.5f, 0.95f) : 0.0f;
    look.turn = random.normal(10.0f);
    look.fan = random.normal(0.08f);
    look.thumb = random.normal(10.0f) * kDegree;
    return look;
}

CaptureConditions captureOf(std::uint64_t seed, const PalmIdentity& identity, int capture,
                            Scenario scenario, const CameraLook& look) {
    const Ranges& ranges = rangesOf(scenario);
    Random random{seed, identity.key, static_cast<std::uint64_t>(capture),
                  static_cast<std::uint64_t>(scenario), kCaptureStream};
    CaptureConditions conditions{};
    holdHand(conditions, identity, random, ranges, scenario, look);
    poseHand(conditions, identity.shape, random, ranges, look);
    lightHand(conditions, identity.hand, random, ranges, look);
    chooseSurroundings(conditions, random, scenario);
    showSkin(conditions, random, scenario, look);
    spoilImage(conditions, random, ranges);
    return conditions;
}

}  // namespace brairu
