#include "handPose/qualityGate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "support/captureOutput.h"
#include "support/seededRandom.h"

namespace brairu {
namespace {

using test::SeededRandom;
using test::stdoutOf;

cv::Mat uniform(int grey, int width = 128, int height = 128) {
    return {height, width, CV_8UC1, cv::Scalar(grey)};
}

// Quarters of one grey each, row by row.
cv::Mat quarters(int topLeft, int topRight, int bottomLeft, int bottomRight) {
    cv::Mat image(128, 128, CV_8UC1);
    image(cv::Rect(0, 0, 64, 64)).setTo(topLeft);
    image(cv::Rect(64, 0, 64, 64)).setTo(topRight);
    image(cv::Rect(0, 64, 64, 64)).setTo(bottomLeft);
    image(cv::Rect(64, 64, 64, 64)).setTo(bottomRight);
    return image;
}

cv::Mat noise(SeededRandom& random, int from = 0, int to = 255, int width = 128, int height = 128) {
    cv::Mat image(height, width, CV_8UC1);
    for (auto& pixel : cv::Mat_<std::uint8_t>(image)) {
        pixel = static_cast<std::uint8_t>(random.between(from, to));
    }
    return image;
}

// Wide limits; a uniform image passes.
QualitySettings someSettings() {
    return {50, 200, 40, 0.0f, false};
}

// ---- Measures

TEST(MeasureBrightness, OfAUniformImageIsItsGreyWithoutSpread) {
    const Brightness measured = measureBrightness(uniform(77));
    EXPECT_EQ(measured.mean, 77.0);
    EXPECT_EQ(measured.spread, 0.0);
}

TEST(MeasureBrightness, ComparesTheFourQuarters) {
    const Brightness measured = measureBrightness(quarters(10, 20, 70, 40));
    EXPECT_EQ(measured.mean, 35.0);
    EXPECT_EQ(measured.spread, 60.0);
}

TEST(MeasureBrightness, LeavesOutTheLastOddRowAndColumn) {
    cv::Mat image = uniform(10, 5, 7);
    image.col(4).setTo(250);
    image.row(6).setTo(250);
    EXPECT_EQ(measureBrightness(image).mean, 10.0);
}

TEST(MeasureBrightness, TurnsColourIntoGrey) {
    const cv::Mat colour(128, 128, CV_8UC3, cv::Scalar(90, 90, 90));
    EXPECT_EQ(measureBrightness(colour).mean, 90.0);
}

TEST(MeasureBrightness, AgreesWithPlainSums) {
    SeededRandom random;
    for (int i = 0; i < 100; ++i) {
        const cv::Mat image = noise(random, 0, 255, random.between(2, 60), random.between(2, 60));
        const int width = image.cols / 2;
        const int height = image.rows / 2;
        double means[4] = {};
        for (int y = 0; y < 2 * height; ++y) {
            for (int x = 0; x < 2 * width; ++x) {
                means[2 * (y / height) + x / width] += image.at<std::uint8_t>(y, x);
            }
        }
        for (double& mean : means) {
            mean /= width * height;
        }
        const Brightness measured = measureBrightness(image);
        EXPECT_NEAR(measured.mean, (means[0] + means[1] + means[2] + means[3]) / 4, 1e-9);
        EXPECT_NEAR(measured.spread,
                    *std::max_element(means, means + 4) - *std::min_element(means, means + 4),
                    1e-9);
    }
}

// The pixel beyond the border, reflected at the border pixel.
int mirrored(int position, int length) {
    return position < 0 ? -position : position >= length ? 2 * length - 2 - position : position;
}

double plainVariance(const cv::Mat& image) {
    const auto at = [&](int x, int y) {
        return static_cast<double>(
            image.at<std::uint8_t>(mirrored(y, image.rows), mirrored(x, image.cols)));
    };
    std::vector<double> values;
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x) {
            values.push_back(at(x - 1, y) + at(x + 1, y) + at(x, y - 1) + at(x, y + 1) -
                             4 * at(x, y));
        }
    }
    double mean = 0.0;
    for (const double value : values) {
        mean += value / static_cast<double>(values.size());
    }
    double variance = 0.0;
    for (const double value : values) {
        variance += (value - mean) * (value - mean) / static_cast<double>(values.size());
    }
    return variance;
}

TEST(MeasureSharpness, OfAUniformImageIsZero) {
    EXPECT_EQ(measureSharpness(uniform(120)), 0.0f);
}

TEST(MeasureSharpness, IsTheVarianceOfTheLaplacianWithAReflectedBorder) {
    cv::Mat image = uniform(0, 4, 3);
    image.at<std::uint8_t>(1, 1) = 12;
    EXPECT_NEAR(measureSharpness(image), plainVariance(image), 1e-3);
    SeededRandom random;
    for (int i = 0; i < 50; ++i) {
        const cv::Mat noisy = noise(random, 0, 255, random.between(2, 70), random.between(2, 70));
        const double expected = plainVariance(noisy);
        EXPECT_NEAR(measureSharpness(noisy), expected, 1e-5 * expected);
    }
}

TEST(MeasureSharpness, FallsWithBlur) {
    SeededRandom random;
    const cv::Mat sharp = noise(random);
    cv::Mat blurred;
    cv::GaussianBlur(sharp, blurred, cv::Size(7, 7), 0);
    EXPECT_LT(measureSharpness(blurred), measureSharpness(sharp) / 10);
}

TEST(MeasureSharpness, TurnsColourIntoGrey) {
    SeededRandom random;
    const cv::Mat grey = noise(random);
    cv::Mat colour;
    cv::cvtColor(grey, colour, cv::COLOR_GRAY2BGR);
    EXPECT_EQ(measureSharpness(colour), measureSharpness(grey));
}

// ---- Codes

TEST(QualityCode, AcceptsAnEvenlyLitPalm) {
    EXPECT_EQ(qualityCode(uniform(120), uniform(120), someSettings()), 0u);
}

TEST(QualityCode, RefusesEitherRegionTooDark) {
    EXPECT_EQ(qualityCode(uniform(49), uniform(120), someSettings()), 6u);
    EXPECT_EQ(qualityCode(uniform(120), uniform(49), someSettings()), 6u);
}

TEST(QualityCode, RefusesEitherRegionTooBright) {
    EXPECT_EQ(qualityCode(uniform(201), uniform(120), someSettings()), 5u);
    EXPECT_EQ(qualityCode(uniform(120), uniform(201), someSettings()), 5u);
}

TEST(QualityCode, RefusesEitherRegionUnevenlyLit) {
    const cv::Mat uneven = quarters(100, 141, 120, 120);
    EXPECT_EQ(qualityCode(uneven, uniform(120), someSettings()), 14u);
    EXPECT_EQ(qualityCode(uniform(120), uneven, someSettings()), 14u);
}

TEST(QualityCode, AcceptsTheLimitsThemselves) {
    EXPECT_EQ(qualityCode(uniform(50), uniform(50), someSettings()), 0u);
    EXPECT_EQ(qualityCode(uniform(200), uniform(200), someSettings()), 0u);
    EXPECT_EQ(qualityCode(quarters(100, 140, 120, 120), uniform(120), someSettings()), 0u);
}

TEST(QualityCode, CutsMeansAndSpreadsToWholeGreys) {
    const cv::Mat nearly50 = quarters(50, 50, 50, 49);  // 49.75
    EXPECT_EQ(qualityCode(nearly50, uniform(120), someSettings()), 6u);
    const cv::Mat over200 = quarters(200, 200, 200, 203);  // 200.75
    EXPECT_EQ(qualityCode(over200, uniform(120), someSettings()), 0u);
    cv::Mat over40 = quarters(100, 140, 120, 120);
    over40.at<std::uint8_t>(0, 127) = 255;  // a spread of a little more than 40
    EXPECT_EQ(qualityCode(over40, uniform(120), someSettings()), 0u);
}

TEST(QualityCode, CallsOneDarkQuarterUneven) {
    EXPECT_EQ(qualityCode(uniform(120), quarters(0, 120, 120, 120), someSettings()), 14u);
}

TEST(QualityCode, PassesUniformLightWhateverTheRange) {
    QualitySettings settings = someSettings();
    settings.brightnessRange = 0;
    EXPECT_EQ(qualityCode(uniform(120), uniform(130), settings), 0u);
    settings.brightnessRange = -1;
    EXPECT_EQ(qualityCode(uniform(120), uniform(130), settings), 14u);
}

TEST(QualityCode, RefusesABlurredRegionAOnly) {
    SeededRandom random;
    const cv::Mat sharp = noise(random, 110, 130);
    QualitySettings settings = someSettings();
    settings.blur = 1.0f;
    EXPECT_EQ(qualityCode(uniform(120), sharp, settings), 15u);
    EXPECT_EQ(qualityCode(sharp, uniform(120), settings), 0u);
}

TEST(QualityCode, AcceptsASharpnessOfExactlyTheLimit) {
    SeededRandom random;
    const cv::Mat sharp = noise(random, 110, 130);
    QualitySettings settings = someSettings();
    settings.blur = measureSharpness(sharp);
    EXPECT_EQ(qualityCode(sharp, uniform(120), settings), 0u);
    settings.blur = std::nextafter(settings.blur, 1e9f);
    EXPECT_EQ(qualityCode(sharp, uniform(120), settings), 15u);
}

TEST(QualityCode, TestsDarkThenBrightThenUnevenThenBlurred) {
    QualitySettings settings{100, 100, 0, 1e9f, false};
    EXPECT_EQ(qualityCode(uniform(99), uniform(101), settings), 6u);
    EXPECT_EQ(qualityCode(quarters(100, 102, 102, 100), uniform(100), settings), 5u);
    EXPECT_EQ(qualityCode(quarters(99, 101, 101, 99), uniform(100), settings), 14u);
    EXPECT_EQ(qualityCode(uniform(100), uniform(100), settings), 15u);
}

TEST(QualityCode, PrintsTheMeansOfBThenAWhenDebugging) {
    QualitySettings settings = someSettings();
    settings.debug = true;
    EXPECT_EQ(stdoutOf([&] { qualityCode(quarters(90, 91, 91, 91), uniform(110), settings); }),
              "avr_bri is 110 and 90\r\n");
}

TEST(QualityCode, PrintsBeforeAnyTest) {
    QualitySettings settings = someSettings();
    settings.debug = true;
    EXPECT_EQ(stdoutOf([&] { EXPECT_EQ(qualityCode(uniform(1), uniform(2), settings), 6u); }),
              "avr_bri is 2 and 1\r\n");
}

TEST(QualityCode, IsSilentOtherwise) {
    EXPECT_EQ(stdoutOf([] { qualityCode(uniform(1), uniform(2), someSettings()); }), "");
}

// ---- Settings

ConfigDocument someDocument() {
    ConfigDocument document;
    document["handpose"] = {{"brightness_threshold_min", 40.9},
                            {"brightness_threshold_max", 220},
                            {"brightness_range_threshold", 110},
                            {"blur_threshold", 20.5}};
    document["debug"] = true;
    return document;
}

TEST(QualitySettingsTest, AreReadFromTheDocument) {
    ConfigDocument document = someDocument();
    const QualitySettings settings = readQualitySettings(document);
    EXPECT_EQ(settings.brightnessMin, 40);
    EXPECT_EQ(settings.brightnessMax, 220);
    EXPECT_EQ(settings.brightnessRange, 110);
    EXPECT_EQ(settings.blur, 20.5f);
    EXPECT_TRUE(settings.debug);
}

TEST(QualitySettingsTest, EachIsNeeded) {
    const ConfigDocument whole = someDocument();
    for (const auto& [key, value] : whole["handpose"].items()) {
        ConfigDocument document = whole;
        document["handpose"].erase(key);
        EXPECT_THROW(readQualitySettings(document), nlohmann::json::type_error) << key;
    }
}

TEST(QualitySettingsTest, NeedABooleanForDebug) {
    ConfigDocument document = someDocument();
    document["debug"] = 1;
    try {
        readQualitySettings(document);
        FAIL() << "nothing was raised";
    } catch (const nlohmann::json::type_error& fault) {
        EXPECT_STREQ(fault.what(),
                     "[json.exception.type_error.302] type must be boolean, but is number");
    }
}

}  // namespace
}  // namespace brairu
