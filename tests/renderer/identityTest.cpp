#include "renderer/palmIdentity.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace brairu {
namespace {

constexpr std::uint64_t kSeed = 42;

bool equal(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0.0;
}

double correlation(const cv::Mat& a, const cv::Mat& b) {
    cv::Mat result;
    cv::matchTemplate(a, b, result, cv::TM_CCOEFF_NORMED);
    return static_cast<double>(result.at<float>(0, 0));
}

TEST(IdentityTest, IsTheSameWhenAskedForAgain) {
    const PalmIdentity first = identityOf(kSeed, 3, Hand::left);
    const PalmIdentity second = identityOf(kSeed, 3, Hand::left);
    EXPECT_EQ(first.key, second.key);
    EXPECT_EQ(first.albedo, second.albedo);
    EXPECT_EQ(first.shape.keyPoints, second.shape.keyPoints);
    EXPECT_TRUE(equal(first.creases, second.creases));
    EXPECT_TRUE(equal(first.veins, second.veins));
    EXPECT_TRUE(equal(first.relief, second.relief));
}

TEST(IdentityTest, DiffersBetweenSeeds) {
    const PalmIdentity first = identityOf(kSeed, 3, Hand::left);
    const PalmIdentity second = identityOf(kSeed + 1, 3, Hand::left);
    EXPECT_NE(first.key, second.key);
    EXPECT_FALSE(equal(first.creases, second.creases));
}

TEST(IdentityTest, PeopleHaveVeinsOfTheirOwn) {
    for (int person = 0; person < 8; ++person) {
        const PalmIdentity first = identityOf(kSeed, person, Hand::left);
        const PalmIdentity second = identityOf(kSeed, person + 1, Hand::left);
        EXPECT_LT(correlation(first.veins, second.veins), 0.5) << person;
        EXPECT_LT(correlation(first.creases, second.creases), 0.7) << person;
    }
}

TEST(IdentityTest, HandsOfAPersonShareSkinAndProportionsOnly) {
    const PalmIdentity left = identityOf(kSeed, 4, Hand::left);
    const PalmIdentity right = identityOf(kSeed, 4, Hand::right);
    EXPECT_EQ(left.albedo, right.albedo);
    EXPECT_EQ(left.shape.palmLength, right.shape.palmLength);
    EXPECT_NEAR(left.shape.fingers[1].length, right.shape.fingers[1].length, 0.08f);
    EXPECT_LT(correlation(left.veins, right.veins), 0.5);
    EXPECT_FALSE(equal(left.creases, right.creases));
}

TEST(IdentityTest, KeyPointsStayCloseToTheirMeaning) {
    const cv::Point2f meaning[] = {{0.0f, -0.45f},  {-0.44f, -0.90f}, {-0.375f, 0.085f},
                                   {-0.13f, 0.13f}, {0.13f, 0.09f},   {0.375f, -0.085f},
                                   {0.37f, -0.80f}};
    for (int person = 0; person < 20; ++person) {
        const PalmIdentity palm = identityOf(kSeed, person, Hand::right);
        for (std::size_t i = 0; i < 7; ++i) {
            const cv::Point2f away = palm.shape.keyPoints[i] - meaning[i];
            EXPECT_LT(std::hypot(away.x, away.y), 0.09f) << "person " << person << " point " << i;
        }
    }
}

TEST(IdentityTest, ShapeCanBeHadWithoutTheSkin) {
    const PalmIdentity palm = identityOf(kSeed, 6, Hand::right);
    const HandShape shape = handShapeOf(kSeed, 6, Hand::right);
    EXPECT_EQ(shape.keyPoints, palm.shape.keyPoints);
    EXPECT_EQ(shape.fingers[2].length, palm.shape.fingers[2].length);
    EXPECT_EQ(shape.relief.mounds, palm.shape.relief.mounds);
}

TEST(IdentityTest, AFamilySharesShapeAndCourseOfTheCreasesButNoDetail) {
    constexpr int kFamily = 1000;
    for (int person = 0; person < 6; ++person) {
        const PalmIdentity one = identityOf(kSeed, person, Hand::left, kFamily);
        const PalmIdentity other = identityOf(kSeed, person + 1, Hand::left, kFamily);
        EXPECT_EQ(one.shape.keyPoints, other.shape.keyPoints);
        EXPECT_NE(one.key, other.key);
        EXPECT_FALSE(equal(one.creases, other.creases));
        EXPECT_LT(correlation(one.veins, other.veins), 0.5) << person;
    }
}

TEST(IdentityTest, CreasesOfAFamilyAreMoreAlikeThanThoseOfStrangers) {
    double family = 0.0;
    double strangers = 0.0;
    for (int person = 0; person < 12; ++person) {
        const PalmIdentity one = identityOf(kSeed, person, Hand::left, 1000);
        family += correlation(one.creases, identityOf(kSeed, person + 1, Hand::left, 1000).creases);
        strangers +=
            correlation(one.creases, identityOf(kSeed, person + 1, Hand::left, 2000).creases);
    }
    EXPECT_GT(family, strangers + 0.5);
}

TEST(IdentityTest, PeopleDifferInProportions) {
    float narrowest = 1.0f;
    float widest = 0.0f;
    for (int person = 0; person < 60; ++person) {
        const HandShape shape = handShapeOf(kSeed, person, Hand::left);
        const float slimness = shape.fingers[1].baseWidth / shape.fingers[1].length;
        narrowest = std::min(narrowest, slimness);
        widest = std::max(widest, slimness);
    }
    EXPECT_GT(widest, 1.4f * narrowest);
}

TEST(IdentityTest, SkinLayersCoverTheTextureArea) {
    const PalmIdentity palm = identityOf(kSeed, 0, Hand::left);
    const cv::Size size(cvRound(kTextureArea.width * kTextureScale),
                        cvRound(kTextureArea.height * kTextureScale));
    for (const cv::Mat& layer : {palm.creases, palm.veins, palm.relief}) {
        EXPECT_EQ(layer.type(), CV_8UC1);
        EXPECT_EQ(layer.size(), size);
    }
}

// How alike the directions of the relief's slopes are around a place of the palm, 0 to 1, and which
// way the lines run, in degrees.
std::pair<double, double> grainAt(const PalmIdentity& palm, cv::Point2f place) {
    constexpr int kSide = 40;
    const cv::Point corner(
        cvRound((place.x - kTextureArea.x) * kTextureScale) - kSide / 2,
        cvRound((kTextureArea.y + kTextureArea.height - place.y) * kTextureScale) - kSide / 2);
    cv::Mat part;
    palm.relief({corner, cv::Size(kSide, kSide)}).convertTo(part, CV_32F);
    cv::Mat x;
    cv::Mat y;
    cv::Sobel(part, x, CV_32F, 1, 0);
    cv::Sobel(part, y, CV_32F, 0, 1);
    const double xx = x.dot(x);
    const double yy = y.dot(y);
    const double xy = x.dot(y);
    const double coherence = std::hypot(xx - yy, 2.0 * xy) / (xx + yy);
    return {coherence, 0.5 * std::atan2(2.0 * xy, xx - yy) * 180.0 / CV_PI};
}

TEST(IdentityTest, RidgesRunSideBySideAndTurnAroundTheThumb) {
    double below = 0.0;
    double thumb = 0.0;
    double turned = 0.0;
    constexpr int kPeople = 20;
    for (int person = 0; person < kPeople; ++person) {
        const PalmIdentity palm = identityOf(kSeed, person, Hand::left);
        const auto [fingers, levelAngle] = grainAt(palm, {0.0f, -0.05f});
        const auto [root, thumbAngle] = grainAt(palm, {-0.20f, -0.72f});
        below += fingers / kPeople;
        thumb += root / kPeople;
        const double apart = std::abs(levelAngle - thumbAngle);
        turned += std::min(apart, 180.0 - apart) / kPeople;
    }
    EXPECT_GT(below, 0.3);
    EXPECT_GT(thumb, 0.3);
    EXPECT_GT(turned, 40.0);
}

}  // namespace
}  // namespace brairu
