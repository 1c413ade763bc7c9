#include "renderer/skinTexture.h"

#include "renderer/blend.h"
#include "renderer/curves.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace brairu {

namespace {

constexpr int kSubPixelBits = 4;
constexpr float kPi = static_cast<float>(CV_PI);

cv::Size textureSize() {
    return {cvRound(kTextureArea.width * kTextureScale),
            cvRound(kTextureArea.height * kTextureScale)};
}

cv::Point subPixel(const cv::Point2f& palm) {
    const float unit = kTextureScale * static_cast<float>(1 << kSubPixelBits);
    return {cvRound((palm.x - kTextureArea.x) * unit),
            cvRound((kTextureArea.y + kTextureArea.height - palm.y) * unit)};
}

struct Stroke {
    Curve path;
    float depth;
    float width;
};

float taper(std::size_t i, std::size_t count) {
    const float t = static_cast<float>(i) / static_cast<float>(count);
    return std::min(1.0f, 6.0f * std::min(t, 1.0f - t) + 0.25f);
}

// Draws a line whose depth wavers along its length and fades out at both ends.
void drawStroke(cv::Mat& layer, const Stroke& stroke, Random& random) {
    float waver = 1.0f;
    for (std::size_t i = 0; i + 1 < stroke.path.size(); ++i) {
        waver += random.normal(0.12f) - 0.2f * (waver - 1.0f);
        const float strength = taper(i, stroke.path.size()) * std::clamp(waver, 0.45f, 1.4f);
        const int thickness = std::max(1, cvRound(stroke.width * strength * kTextureScale));
        cv::line(layer, subPixel(stroke.path[i]), subPixel(stroke.path[i + 1]),
                 cv::Scalar::all(std::min(255.0f, 255.0f * stroke.depth * strength)), thickness,
                 cv::LINE_AA, kSubPixelBits);
    }
}

Curve jittered(const Curve& points, Random& random, float deviation) {
    Curve result;
    for (const cv::Point2f& point : points) {
        result.push_back(point + cv::Point2f(random.normal(deviation), random.normal(deviation)));
    }
    return result;
}

Curve wobbling(Curve curve, Random& random, float deviation) {
    cv::Point2f drift(0.0f, 0.0f);
    for (cv::Point2f& point : curve) {
        drift = drift * 0.7f + cv::Point2f(random.normal(deviation), random.normal(deviation));
        point += drift;
    }
    return curve;
}

Curve stretchedPalm(Curve points, float palmLength) {
    for (cv::Point2f& point : points) {
        point.y *= point.y < 0.0f ? palmLength : 1.0f;
    }
    return points;
}

// Short lines that leave a crease at a shallow angle.
void drawForks(cv::Mat& layer, const Stroke& crease, Random& random) {
    const int forks = random.below(4);
    for (int k = 0; k < forks; ++k) {
        const auto count = static_cast<int>(crease.path.size());
        const auto at = 1 + static_cast<std::size_t>(random.below(count - 2));
        const cv::Point2f start = crease.path[at];
        const cv::Point2f along = crease.path[at] - crease.path[at - 1];
        const float heading = std::atan2(along.y, along.x) + random.normal(0.5f);
        const float length = random.uniform(0.06f, 0.24f);
        const cv::Point2f end = start + cv::Point2f(std::cos(heading), std::sin(heading)) * length;
        const cv::Point2f middle =
            (start + end) * 0.5f + cv::Point2f(random.normal(0.01f), random.normal(0.01f));
        drawStroke(layer,
                   {smoothCurve({start, middle, end}, 5), crease.depth * random.uniform(0.4f, 0.9f),
                    crease.width * 0.7f},
                   random);
    }
}

// How a hand's lines are drawn, whatever their course.
struct Pen {
    float boldness;
    float width;
    float palmLength;
};

// Takes a piece out of the middle of a path.
std::vector<Curve> broken(const Curve& path, Random& random) {
    const auto count = static_cast<int>(path.size());
    const int gap = 2 + random.below(3);
    const int at = 3 + random.below(std::max(1, count - gap - 6));
    if (count < gap + 8) {
        return {path};
    }
    return {{path.begin(), path.begin() + at}, {path.begin() + at + gap, path.end()}};
}

void drawPrincipal(cv::Mat& layer, const Curve& points, const Pen& pen, Random& random) {
    const Curve through = stretchedPalm(jittered(points, random, 0.028f), pen.palmLength);
    const Curve path = wobbling(smoothCurve(through, 7), random, 0.002f);
    const Stroke stroke{path, std::min(1.0f, pen.boldness * random.uniform(0.6f, 1.3f)),
                        pen.width * random.uniform(0.7f, 1.4f)};
    drawForks(layer, stroke, random);
    for (const Curve& piece :
         random.chance(0.15f) ? broken(path, random) : std::vector<Curve>{path}) {
        drawStroke(layer, {piece, stroke.depth, stroke.width}, random);
    }
}

// Rises from the side of the little finger, and ends below the index finger, between it and the
// middle finger, or runs straight on.
void drawHeartLine(cv::Mat& layer, const Pen& pen, Random& course, Random& random) {
    const float y = course.normal(0.05f);
    const float bow = course.normal(0.03f);
    const cv::Point2f ends[] = {{-0.24f, 0.03f}, {-0.12f, 0.06f}, {-0.36f, -0.05f}};
    drawPrincipal(layer,
                  {{0.52f, -0.27f + y},
                   {0.30f, -0.22f + y + bow},
                   {0.08f, -0.15f + y * 0.7f + bow},
                   {-0.12f, -0.06f + y * 0.3f},
                   ends[course.below(3)]},
                  pen, random);
}

void drawHeadLine(cv::Mat& layer, const Pen& pen, Random& course, Random& random) {
    const float fall = course.normal(0.09f);
    const float begin = course.chance(0.3f) ? course.uniform(0.02f, 0.10f) : 0.0f;
    Curve points{{-0.50f, -0.22f + begin},
                 {-0.28f, -0.25f + begin * 0.5f + fall * 0.4f},
                 {-0.05f, -0.33f + fall},
                 {0.18f, -0.45f + fall * 1.2f},
                 {0.38f, -0.60f + fall * 1.5f}};
    if (course.chance(0.3f)) {
        points.pop_back();
    }
    drawPrincipal(layer, points, pen, random);
}

void drawLifeLine(cv::Mat& layer, const Pen& pen, Random& course, Random& random) {
    const float reach = course.normal(0.055f);
    Curve points{{-0.49f, -0.23f},         {-0.26f + reach, -0.30f}, {-0.11f + reach, -0.48f},
                 {-0.05f + reach, -0.72f}, {-0.10f + reach, -0.95f}, {-0.17f, -1.12f}};
    if (course.chance(0.3f)) {
        points.pop_back();
    }
    drawPrincipal(layer, points, pen, random);
    if (course.chance(0.15f)) {
        for (cv::Point2f& point : points) {
            point.x -= 0.07f;
        }
        drawPrincipal(layer, {points.begin() + 1, points.end()},
                      {pen.boldness * 0.6f, pen.width * 0.8f, pen.palmLength}, random);
    }
}

// One line straight across in place of heart and head line.
void drawSingleLine(cv::Mat& layer, const Pen& pen, Random& course, Random& random) {
    const float y = course.normal(0.04f);
    drawPrincipal(
        layer, {{0.52f, -0.26f + y}, {0.20f, -0.24f + y}, {-0.10f, -0.22f + y}, {-0.50f, -0.21f}},
        pen, random);
}

// Upright lines that many hands have, towards the middle and the ring finger.
void drawUprightLines(cv::Mat& layer, const Pen& pen, Random& course, Random& random) {
    const Pen fine{pen.boldness * random.uniform(0.4f, 0.9f), pen.width * 0.7f, pen.palmLength};
    if (course.chance(0.5f)) {
        const float x = course.normal(0.05f);
        drawPrincipal(layer,
                      {{0.02f + x, -1.05f}, {0.0f + x, -0.75f}, {-0.04f, -0.45f}, {-0.1f, -0.1f}},
                      fine, random);
    }
    if (course.chance(0.3f)) {
        drawPrincipal(layer, {{0.12f, -0.65f}, {0.15f, -0.4f}, {0.15f, -0.1f}}, fine, random);
    }
}

// `course` decides where the lines run, `random` how they are drawn.
void drawPrincipalCreases(cv::Mat& layer, float palmLength, Random& course, Random& random) {
    const Pen pen{random.uniform(0.30f, 1.0f), random.uniform(0.007f, 0.016f), palmLength};
    if (course.chance(0.05f)) {
        drawSingleLine(layer, pen, course, random);
    } else {
        drawHeartLine(layer, pen, course, random);
        drawHeadLine(layer, pen, course, random);
    }
    drawLifeLine(layer, pen, course, random);
    drawUprightLines(layer, pen, course, random);
}

// A line of random place, direction and bow within the palm.
Stroke randomLine(Random& random, cv::Point2f centre, float heading, float length) {
    const cv::Point2f along(std::cos(heading), std::sin(heading));
    const cv::Point2f across(-along.y, along.x);
    const float bow = random.normal(0.12f) * length;
    const cv::Point2f half = along * (0.5f * length);
    return {smoothCurve({centre - half, centre + across * bow, centre + half}, 6),
            random.uniform(0.15f, 0.6f), random.uniform(0.004f, 0.010f)};
}

void drawLines(cv::Mat& layer, Random& random, float boldness, int count, cv::Point2f centre,
               cv::Point2f reach, float heading, float deviation) {
    for (int i = 0; i < count; ++i) {
        const cv::Point2f at(centre.x + random.uniform(-reach.x, reach.x),
                             centre.y + random.uniform(-reach.y, reach.y));
        Stroke line =
            randomLine(random, at, heading + random.normal(deviation), random.uniform(0.10f, 0.5f));
        line.depth *= boldness;
        drawStroke(layer, line, random);
    }
}

void drawSecondaryLines(cv::Mat& layer, Random& random) {
    const float density = random.uniform(0.0f, 1.4f);
    const float boldness = random.uniform(0.3f, 1.0f);
    const auto some = [&](int most) {
        return cvRound(density * static_cast<float>(random.below(most + 1)));
    };
    drawLines(layer, random, boldness, some(3), {0.02f, -0.55f}, {0.12f, 0.2f}, kPi * 0.5f, 0.15f);
    drawLines(layer, random, boldness, some(8), {-0.32f, -0.65f}, {0.2f, 0.3f}, kPi * 0.25f, 0.25f);
    drawLines(layer, random, boldness, some(8), {-0.32f, -0.65f}, {0.2f, 0.3f}, kPi * 0.75f, 0.25f);
    drawLines(layer, random, boldness, some(8), {0.33f, -0.65f}, {0.15f, 0.3f}, kPi * 0.85f, 0.3f);
    drawLines(layer, random, boldness, some(10), {0.0f, -0.05f}, {0.4f, 0.12f}, kPi * 0.5f, 0.35f);
    drawLines(layer, random, boldness, some(14), {0.0f, -0.5f}, {0.5f, 0.55f}, 0.0f, 1.6f);
}

void drawFingerBaseCreases(cv::Mat& layer, const HandShape& shape, Random& random) {
    for (const FingerShape& finger : shape.fingers) {
        const int lines = 1 + random.below(2);
        for (int i = 0; i < lines; ++i) {
            const float lift = random.normal(0.012f) + 0.025f * static_cast<float>(i);
            const cv::Point2f half(finger.baseWidth * 0.5f, 0.0f);
            const cv::Point2f centre = finger.base + cv::Point2f(0.0f, lift);
            const Curve path = smoothCurve(
                {centre - half, centre + cv::Point2f(0.0f, random.normal(0.012f)), centre + half},
                6);
            drawStroke(layer, {path, random.uniform(0.4f, 0.8f), 0.010f}, random);
        }
    }
}

// Wrinkles that run side by side over one part of the palm.
void drawWrinkles(cv::Mat& layer, cv::Point2f centre, float heading, Random& random) {
    const cv::Point2f along(std::cos(heading), std::sin(heading));
    const cv::Point2f across(-along.y, along.x);
    const float gap = random.uniform(0.018f, 0.06f);
    const float length = random.uniform(0.12f, 0.5f);
    const float bow = random.normal(0.15f) * length;
    const float depth = random.uniform(0.08f, 0.4f);
    const int count = 3 + random.below(10);
    for (int i = 0; i < count; ++i) {
        const float away = (static_cast<float>(i) - 0.5f * static_cast<float>(count)) * gap;
        const cv::Point2f at = centre + across * (away + random.normal(0.2f * gap)) +
                               along * random.normal(0.1f * length);
        const cv::Point2f half = along * (length * random.uniform(0.25f, 0.6f));
        const Curve path = smoothCurve({at - half, at + across * bow, at + half}, 5);
        drawStroke(layer, {path, depth * random.uniform(0.5f, 1.3f), 0.004f}, random);
    }
}

void drawWrinkledParts(cv::Mat& layer, Random& random) {
    const cv::Point2f parts[] = {
        {-0.33f, -0.65f}, {0.33f, -0.7f}, {0.0f, -0.45f}, {0.0f, -0.05f}, {0.0f, -0.95f}};
    const int count = random.below(8);
    for (int i = 0; i < count; ++i) {
        const cv::Point2f centre =
            parts[random.below(5)] + cv::Point2f(random.normal(0.10f), random.normal(0.12f));
        drawWrinkles(layer, centre, random.uniform(0.0f, kPi), random);
    }
}

// Blurs by a deviation of several pixels, for which half the pixels do.
cv::Mat softened(const cv::Mat& layer, float deviation) {
    cv::Mat half;
    cv::resize(layer, half, {}, 0.5, 0.5, cv::INTER_AREA);
    cv::GaussianBlur(half, half, {}, static_cast<double>(0.5f * deviation));
    cv::Mat result;
    cv::resize(half, result, layer.size(), 0, 0, cv::INTER_LINEAR);
    return result;
}

cv::Mat drawCreases(const HandShape& shape, Random& course, Random& random) {
    cv::Mat fine = cv::Mat::zeros(textureSize(), CV_8U);
    drawWrinkledParts(fine, random);
    drawSecondaryLines(fine, random);
    drawFingerBaseCreases(fine, shape, random);
    cv::Mat principal = cv::Mat::zeros(textureSize(), CV_8U);
    drawPrincipalCreases(principal, shape.palmLength, course, random);
    const cv::Mat broad = softened(principal, random.uniform(2.5f, 6.0f));
    cv::max(fine, principal, fine);
    cv::GaussianBlur(fine, fine, {}, random.uniform(0.7f, 1.6f));
    cv::addWeighted(fine, 0.85, broad, random.uniform(0.2f, 0.8f), 0.0, fine);
    return fine;
}

// A growing tip of the vein tree.
struct VeinTip {
    cv::Point2f at;
    float heading;
    float width;
    float strength;
    int generation;
};

bool inPalm(const cv::Point2f& point) {
    return std::abs(point.x) < 0.58f && point.y > -1.3f && point.y < 0.25f;
}

VeinTip childOf(const VeinTip& parent, Random& random) {
    const float side = random.chance(0.5f) ? 1.0f : -1.0f;
    return {parent.at, parent.heading + side * random.uniform(0.35f, 1.0f),
            parent.width * random.uniform(0.55f, 0.9f),
            parent.strength * random.uniform(0.6f, 1.05f), parent.generation + 1};
}

// Follows one vein to its end; the tips that split off it are appended.
Curve growVein(VeinTip tip, Random& random, std::vector<VeinTip>& tips) {
    constexpr float kStep = 0.035f;
    Curve path{tip.at};
    float bend = random.normal(0.06f);
    const int steps = 6 + random.below(tip.generation == 0 ? 34 : 22);
    for (int i = 0; i < steps && inPalm(tip.at); ++i) {
        bend = 0.8f * bend + random.normal(0.09f);
        tip.heading += bend;
        tip.at += cv::Point2f(std::cos(tip.heading), std::sin(tip.heading)) * kStep;
        path.push_back(tip.at);
        if (tip.generation < 3 && tips.size() < 40 && random.chance(0.13f)) {
            tips.push_back(childOf(tip, random));
        }
    }
    return path;
}

VeinTip rootOf(Random& random) {
    const float width = random.uniform(0.018f, 0.040f);
    const float strength = random.uniform(0.45f, 1.0f);
    switch (random.below(5)) {
        case 0:
            return {
                {-0.55f, random.uniform(-0.6f, -0.1f)}, random.normal(0.5f), width, strength, 0};
        case 1:
            return {{0.55f, random.uniform(-0.9f, -0.1f)},
                    kPi + random.normal(0.5f),
                    width,
                    strength,
                    0};
        case 2:
            return {{random.uniform(-0.4f, 0.4f), 0.2f},
                    -0.5f * kPi + random.normal(0.4f),
                    width,
                    strength,
                    0};
        default:
            return {{random.uniform(-0.35f, 0.35f), -1.2f},
                    0.5f * kPi + random.normal(0.35f),
                    width,
                    strength,
                    0};
    }
}

cv::Mat drawVeins(Random& random) {
    cv::Mat deep = cv::Mat::zeros(textureSize(), CV_8U);
    cv::Mat shallow = deep.clone();
    std::vector<VeinTip> tips;
    const int roots = 4 + random.below(4);
    tips.reserve(static_cast<std::size_t>(roots));
    for (int i = 0; i < roots; ++i) {
        tips.push_back(rootOf(random));
    }
    for (std::size_t i = 0; i < tips.size(); ++i) {
        const VeinTip tip = tips[i];
        const Curve path = growVein(tip, random, tips);
        drawStroke(random.chance(0.4f) ? deep : shallow, {path, tip.strength, tip.width}, random);
    }
    cv::Mat veins;
    cv::max(softened(deep, 6.5f), softened(shallow, 3.2f), veins);
    return veins;
}

cv::Mat whiteNoise(cv::Size size, Random& random) {
    cv::Mat noise(size, CV_8U);
    for (int y = 0; y < size.height; ++y) {
        std::uint64_t bits = 0;
        for (int x = 0; x < size.width; ++x) {
            bits = x % 8 == 0 ? random.next() : bits >> 8U;
            noise.at<std::uint8_t>(y, x) = static_cast<std::uint8_t>(bits & 0xFFU);
        }
    }
    return noise;
}

void addMoles(cv::Mat& relief, Random& random) {
    const int count = random.chance(0.4f) ? 1 + random.below(3) : 0;
    for (int i = 0; i < count; ++i) {
        const cv::Point at(random.below(relief.cols), random.below(relief.rows));
        cv::circle(relief, at, 1 + random.below(3), cv::Scalar::all(random.uniform(0.0f, 60.0f)),
                   cv::FILLED, cv::LINE_AA);
    }
}

// How the friction ridges of a palm run: side by side across it and aslant below the little finger,
// but around the root of the thumb (Cummins and Midlo, Finger Prints, Palms and Soles, 1943). Both
// are given in palm coordinates as the way along a ridge, and the way across the ridges.
class RidgeFlow {
public:
    explicit RidgeFlow(Random& random)
        : slant_(random.normal(0.25f)),
          thumb_{-0.42f + random.normal(0.05f), -0.72f + random.normal(0.08f)},
          reach_(random.uniform(0.28f, 0.42f)),
          fall_(random.uniform(0.4f, 1.8f)),
          sway_(random.uniform(0.02f, 0.07f)),
          phase_(random.uniform(0.0f, 2.0f * kPi)) {}

    cv::Point2f acrossThePalm(const cv::Point2f& palm) const {
        const float belowLittleFinger = std::max(0.0f, palm.x - 0.1f) * std::max(0.0f, -palm.y);
        const float sway = sway_ * std::sin(5.0f * palm.x + 3.0f * palm.y + phase_);
        return {palm.x * std::cos(slant_) - palm.y * std::sin(slant_),
                palm.y * std::cos(slant_) + palm.x * std::sin(slant_) - fall_ * belowLittleFinger +
                    sway};
    }

    cv::Point2f aroundTheThumb(const cv::Point2f& palm) const {
        const cv::Point2f away = palm - thumb_;
        const float distance = std::hypot(away.x, away.y);
        return {distance * std::atan2(away.y, away.x), distance};
    }

    // Whether ridges here run around the thumb, 0 to 255.
    float nearThumb(const cv::Point2f& palm) const {
        const cv::Point2f away = palm - thumb_;
        const float beyond = std::hypot(away.x, away.y) - reach_;
        return std::clamp(127.5f - 1500.0f * beyond, 0.0f, 255.0f);
    }

private:
    float slant_;
    cv::Point2f thumb_;
    float reach_;
    float fall_;
    float sway_;
    float phase_;
};

// What a function of the place on the palm gives for each pixel of the texture: worked out on a grid,
// and linear between.
template <typename Value, typename Function>
cv::Mat overTexture(Function&& valueAt) {
    constexpr int kGrid = 12;
    const cv::Size cells(textureSize().width / kGrid + 1, textureSize().height / kGrid + 1);
    cv::Mat_<Value> grid(cells);
    for (int y = 0; y < cells.height; ++y) {
        for (int x = 0; x < cells.width; ++x) {
            const float right = (static_cast<float>(x) + 0.5f) * kGrid / kTextureScale;
            const float down = (static_cast<float>(y) + 0.5f) * kGrid / kTextureScale;
            grid(y, x) =
                valueAt({kTextureArea.x + right, kTextureArea.y + kTextureArea.height - down});
        }
    }
    cv::Mat result;
    cv::resize(grid, result, cells * kGrid, 0, 0, cv::INTER_LINEAR);
    return result({{0, 0}, textureSize()});
}

// Noise drawn out along ridges by a factor.
template <typename Function>
cv::Mat drawnOut(float factor, Function&& alongAndAcross, Random& random) {
    constexpr float kReach = 2.0f;
    const float alongScale = kTextureScale / factor;
    const cv::Mat noise =
        whiteNoise({cvCeil(kReach * alongScale), cvCeil(kReach * kTextureScale)}, random);
    const cv::Mat map = overTexture<cv::Vec2f>([&](const cv::Point2f& palm) {
        const cv::Point2f at = alongAndAcross(palm);
        return cv::Vec2f(at.x * alongScale, at.y * kTextureScale);
    });
    cv::Mat result;
    cv::remap(noise, result, map, {}, cv::INTER_LINEAR, cv::BORDER_WRAP);
    return result;
}

// Grain in the direction of the ridges. They lie half a millimetre apart, closer than the pixels of
// most frames, so that their direction shows and not each of them.
cv::Mat ridgeGrain(Random& random) {
    const RidgeFlow flow(random);
    const float factor = random.uniform(3.0f, 8.0f);
    cv::Mat grain = drawnOut(
        factor, [&](const cv::Point2f& palm) { return flow.acrossThePalm(palm); }, random);
    const cv::Mat around = drawnOut(
        factor, [&](const cv::Point2f& palm) { return flow.aroundTheThumb(palm); }, random);
    cv::Mat nearThumb;
    overTexture<float>([&](const cv::Point2f& palm) {
        return flow.nearThumb(palm);
    }).convertTo(nearThumb, CV_8U);
    blend(grain, around, nearThumb);
    return grain;
}

// Lets the relief end softly at the borders of the texture.
void fadeOut(cv::Mat& relief) {
    constexpr int kBorder = 24;
    for (int y = 0; y < relief.rows; ++y) {
        auto* row = relief.ptr<std::uint8_t>(y);
        const int below = std::min(y, relief.rows - 1 - y);
        for (int x = 0; x < relief.cols; ++x) {
            const int inside = std::min({x, relief.cols - 1 - x, below, kBorder});
            row[x] = static_cast<std::uint8_t>(128 + (row[x] - 128) * inside / kBorder);
        }
    }
}

// Fine skin relief over soft mottling.
cv::Mat drawRelief(Random& random) {
    const cv::Mat grain = ridgeGrain(random);
    cv::Mat narrow;
    cv::GaussianBlur(grain, narrow, {}, random.uniform(0.6f, 1.7f));
    const cv::Mat wide = softened(grain, 3.2f);
    cv::Mat mottling;
    const int cells = 7 + random.below(12);
    cv::resize(whiteNoise({cells, cells + 2}, random), mottling, textureSize(), 0, 0,
               cv::INTER_CUBIC);
    cv::Mat relief;
    const double soft = random.uniform(0.08f, 0.36f);
    cv::addWeighted(narrow, 1.1, wide, -1.1, 128.0, relief);
    cv::addWeighted(relief, 1.0, mottling, soft, -128.0 * soft, relief);
    addMoles(relief, random);
    fadeOut(relief);
    return relief;
}

}  // namespace

void drawSkin(PalmIdentity& identity, Random& course, Random& random) {
    identity.creases = drawCreases(identity.shape, course, random);
    identity.veins = drawVeins(random);
    identity.relief = drawRelief(random);
}

}  // namespace brairu
