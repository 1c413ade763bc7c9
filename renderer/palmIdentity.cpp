#include "renderer/palmIdentity.h"

#include "renderer/angles.h"
#include "renderer/creaseLayer.h"
#include "renderer/random.h"
#include "renderer/reliefLayer.h"
#include "renderer/veinLayer.h"

#include <cmath>

namespace brairu {

namespace {

enum Stream : std::uint64_t {
    kPersonStream = 1,
    kHandStream = 2,
    kSkinStream = 3,
    kColourStream = 5,
    kKeyStream = 6,
    kCourseStream = 8
};

FingerShape finger(Random& person, Random& hand, cv::Point2f base, float length, float width,
                   float splay) {
    FingerShape shape{};
    shape.base = base + cv::Point2f(person.normal(0.008f) + hand.normal(0.004f),
                                    person.normal(0.012f) + hand.normal(0.004f));
    shape.length = length * (1.0f + person.normal(0.05f) + hand.normal(0.008f));
    shape.baseWidth = width * (1.0f + person.normal(0.03f));
    shape.tipWidth = shape.baseWidth * person.uniform(0.62f, 0.86f);
    shape.splay = (splay + person.normal(3.0f) + hand.normal(1.0f)) * kDegree;
    shape.bow = (person.normal(3.5f) + hand.normal(1.0f)) * kDegree;
    shape.joints = person.uniform(-0.02f, 0.08f);
    return shape;
}

void placeKeyPoints(HandShape& shape) {
    const float stretch = shape.palmLength;
    shape.keyPoints = {cv::Point2f(0.0f, -0.45f * stretch),
                       cv::Point2f(-0.44f, -0.90f * stretch),
                       shape.fingers[0].base,
                       shape.fingers[1].base,
                       shape.fingers[2].base,
                       shape.fingers[3].base,
                       cv::Point2f(0.37f, -0.80f * stretch)};
}

SkinRelief reliefOf(Random& person, Random& hand) {
    SkinRelief relief;
    for (float& mound : relief.mounds) {
        mound = person.uniform(0.2f, 1.6f) + hand.normal(0.08f);
    }
    if (person.chance(0.25f)) {
        const float fleshy = person.uniform(1.5f, 3.5f);
        for (std::size_t pad = 3; pad < relief.mounds.size(); ++pad) {
            relief.mounds[pad] *= fleshy;
        }
    }
    relief.flankRadius = person.uniform(0.085f, 0.15f);
    return relief;
}

Nails nailsOf(Random& person) {
    const bool varnished = person.chance(0.15f);
    return {person.chance(0.35f) ? person.uniform(0.01f, 0.10f) : 0.0f,
            varnished ? person.uniform(0.2f, 1.4f) : person.uniform(0.8f, 1.1f)};
}

HandShape shapeOf(Random& person, Random& hand) {
    const float reach = person.uniform(0.84f, 1.14f);
    const float girth = person.uniform(0.84f, 1.06f);
    HandShape shape{};
    shape.fingers = {finger(person, hand, {-0.375f, 0.085f}, 0.86f * reach, 0.245f * girth, -7.0f),
                     finger(person, hand, {-0.130f, 0.130f}, 0.95f * reach, 0.250f * girth, -1.0f),
                     finger(person, hand, {0.130f, 0.090f}, 0.88f * reach, 0.240f * girth, 5.0f),
                     finger(person, hand, {0.375f, -0.085f}, 0.70f * reach, 0.215f * girth, 14.0f)};
    shape.thumbLength = 0.66f * reach * person.uniform(0.90f, 1.10f);
    shape.thumbWidth = 0.25f * girth * person.uniform(0.92f, 1.16f);
    shape.palmLength = person.uniform(0.92f, 1.08f);
    shape.thenarBulge = person.uniform(-0.03f, 0.08f);
    shape.littleBulge = person.uniform(-0.03f, 0.05f);
    shape.wristWidth = person.uniform(0.62f, 0.86f);
    shape.webbing = person.uniform(0.0f, 1.0f);
    shape.relief = reliefOf(person, hand);
    shape.nails = nailsOf(person);
    placeKeyPoints(shape);
    return shape;
}

}  // namespace

HandShape handShapeOf(std::uint64_t seed, int person, Hand hand) {
    const auto personKey = static_cast<std::uint64_t>(person);
    Random ofPerson{seed, personKey, kPersonStream};
    Random ofHand{seed, personKey, static_cast<std::uint64_t>(hand), kHandStream};
    return shapeOf(ofPerson, ofHand);
}

PalmIdentity identityOf(std::uint64_t seed, int person, Hand hand) {
    return identityOf(seed, person, hand, person);
}

PalmIdentity identityOf(std::uint64_t seed, int person, Hand hand, int family) {
    const auto personKey = static_cast<std::uint64_t>(person);
    const auto handKey = static_cast<std::uint64_t>(hand);
    Random ofPerson{seed, personKey, kColourStream};
    Random ofHand{seed, personKey, handKey, kKeyStream};
    Random ofSkin{seed, personKey, handKey, kSkinStream};
    Random course{seed, static_cast<std::uint64_t>(family), handKey, kCourseStream};
    PalmIdentity identity{};
    identity.key = ofHand.next();
    identity.hand = hand;
    identity.albedo = ofPerson.uniform(0.45f, 1.0f);
    identity.shape = handShapeOf(seed, family, hand);
    identity.creases = drawCreases(identity.shape, course, ofSkin);
    identity.veins = drawVeins(ofSkin);
    identity.relief = drawRelief(ofSkin);
    return identity;
}

}  // namespace brairu
