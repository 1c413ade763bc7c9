#include "renderer/background.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

namespace brairu {

namespace {

// Backgrounds are out of focus, so they are drawn small and enlarged.
constexpr int kShrink = 3;

cv::Mat softPattern(cv::Size size, float low, float high, int cells, Random& random) {
    cv::Mat pattern(std::max(2, cells * size.height / size.width), std::max(2, cells), CV_8U);
    for (int y = 0; y < pattern.rows; ++y) {
        for (int x = 0; x < pattern.cols; ++x) {
            pattern.at<std::uint8_t>(y, x) =
                cv::saturate_cast<std::uint8_t>(random.uniform(low, high));
        }
    }
    cv::Mat result;
    cv::resize(pattern, result, size, 0, 0, cv::INTER_CUBIC);
    return result;
}

cv::Point anywhereIn(cv::Size size, Random& random) {
    return {cvRound(random.uniform(-0.1f, 1.1f) * static_cast<float>(size.width)),
            cvRound(random.uniform(-0.1f, 1.1f) * static_cast<float>(size.height))};
}

void drawBox(cv::Mat& image, const cv::Scalar& grey, Random& random) {
    const auto reach = static_cast<float>(image.cols);
    const cv::RotatedRect box(
        anywhereIn(image.size(), random),
        cv::Size2f(random.uniform(0.05f, 0.5f) * reach, random.uniform(0.03f, 0.5f) * reach),
        random.uniform(0.0f, 180.0f));
    cv::Point2f corners[4];
    box.points(corners);
    const std::vector<cv::Point> outline(corners, corners + 4);
    cv::fillConvexPoly(image, outline, grey, cv::LINE_AA);
}

void drawThing(cv::Mat& image, float high, Random& random) {
    const cv::Scalar grey = cv::Scalar::all(random.uniform(0.0f, high));
    const auto reach = static_cast<float>(image.cols);
    switch (random.below(4)) {
        case 0: drawBox(image, grey, random); break;
        case 1:
            cv::ellipse(image, anywhereIn(image.size(), random),
                        {cvRound(random.uniform(0.02f, 0.25f) * reach),
                         cvRound(random.uniform(0.02f, 0.25f) * reach)},
                        random.uniform(0.0f, 180.0f), 0.0, 360.0, grey, cv::FILLED, cv::LINE_AA);
            break;
        default:
            cv::line(image, anywhereIn(image.size(), random), anywhereIn(image.size(), random),
                     grey, 1 + random.below(std::max(1, image.cols / 14)), cv::LINE_AA);
            break;
    }
}

cv::Mat drawClutter(cv::Size size, float high, Random& random) {
    cv::Mat image = softPattern(size, 0.1f * high, 0.7f * high, 4, random);
    const int things = 3 + random.below(18);
    for (int i = 0; i < things; ++i) {
        drawThing(image, high, random);
    }
    cv::GaussianBlur(image, image, {}, random.uniform(0.4f, 2.5f));
    return image;
}

// Folds across a cloth, and its weave.
cv::Mat drawCloth(cv::Size size, float grey, Random& random) {
    cv::Mat image = softPattern(size, 0.8f * grey, 1.1f * grey, 3, random);
    cv::Mat folds = cv::Mat::zeros(size, CV_8U);
    const int count = random.below(7);
    for (int i = 0; i < count; ++i) {
        const cv::Point from = anywhereIn(size, random);
        const cv::Point to = anywhereIn(size, random);
        const int thickness = 1 + random.below(std::max(2, size.width / 40));
        cv::line(folds, from, to, cv::Scalar::all(80.0f), thickness, cv::LINE_AA);
        cv::line(image, from + cv::Point(0, thickness), to + cv::Point(0, thickness),
                 cv::Scalar::all(1.15f * grey), thickness, cv::LINE_AA);
    }
    cv::GaussianBlur(image, image, {}, random.uniform(0.8f, 3.0f));
    cv::GaussianBlur(folds, folds, {}, random.uniform(0.5f, 2.5f));
    cv::addWeighted(image, 1.0, folds, static_cast<double>(-grey / 255.0f), 0.0, image);
    return image;
}

// Darker towards the corners, as under one lamp.
void addVignette(cv::Mat& image, float strength) {
    const cv::Point2f middle(0.5f * static_cast<float>(image.cols),
                             0.5f * static_cast<float>(image.rows));
    for (int y = 0; y < image.rows; ++y) {
        auto* row = image.ptr<std::uint8_t>(y);
        for (int x = 0; x < image.cols; ++x) {
            const cv::Point2f away(static_cast<float>(x) - middle.x,
                                   static_cast<float>(y) - middle.y);
            const float share = 1.0f - strength * away.dot(away) / middle.dot(middle);
            row[x] = static_cast<std::uint8_t>(static_cast<float>(row[x]) * share);
        }
    }
}

}  // namespace

cv::Mat drawBackground(cv::Size size, Background kind, float level, Random& random) {
    const cv::Size small(std::max(8, size.width / kShrink), std::max(8, size.height / kShrink));
    cv::Mat image;
    switch (kind) {
        case Background::black:
            image = softPattern(small, 1.0f, 6.0f + 16.0f * level, 3, random);
            break;
        case Background::dim:
            image = softPattern(small, 5.0f, 20.0f + 70.0f * level, 4, random);
            break;
        case Background::wall: {
            const float grey = 40.0f + 200.0f * level;
            image = softPattern(small, grey * 0.85f, grey * 1.1f, 3, random);
            break;
        }
        case Background::cloth: image = drawCloth(small, 10.0f + 220.0f * level, random); break;
        case Background::clutter: image = drawClutter(small, 50.0f + 200.0f * level, random); break;
    }
    if (random.chance(0.4f)) {
        addVignette(image, random.uniform(0.1f, 0.7f));
    }
    return image;
}

}  // namespace brairu
