#include "renderer/creaseLayer.h"

#include "renderer/angles.h"
#include "renderer/skinLayer.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace brairu {

namespace {

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

}  // namespace

cv::Mat drawCreases(const HandShape& shape, Random& course, Random& random) {
    cv::Mat fine = cv::Mat::zeros(texture().size(), CV_8U);
    drawWrinkledParts(fine, random);
    drawSecondaryLines(fine, random);
    drawFingerBaseCreases(fine, shape, random);
    cv::Mat principal = cv::Mat::zeros(texture().size(), CV_8U);
    drawPrincipalCreases(principal, shape.palmLength, course, random);
    const cv::Mat broad = softened(principal, random.uniform(2.5f, 6.0f));
    cv::max(fine, principal, fine);
    cv::GaussianBlur(fine, fine, {}, random.uniform(0.7f, 1.6f));
    cv::addWeighted(fine, 0.85, broad, random.uniform(0.2f, 0.8f), 0.0, fine);
    return fine;
}

}  // namespace brairu
