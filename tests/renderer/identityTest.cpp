#include "renderer/palmIdentity.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

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

TEST(IdentityTest, SkinLayersCoverTheTextureArea) {
    const PalmIdentity palm = identityOf(kSeed, 0, Hand::left);
    const cv::Size size(cvRound(kTextureArea.width * kTextureScale),
                        cvRound(kTextureArea.height * kTextureScale));
    for (const cv::Mat& layer : {palm.creases, palm.veins, palm.relief}) {
        EXPECT_EQ(layer.type(), CV_8UC1);
        EXPECT_EQ(layer.size(), size);
    }
}

}  // namespace
}  // namespace brairu
