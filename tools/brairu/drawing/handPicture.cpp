#include "drawing/handPicture.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "fault.h"

namespace brairu::tool {
namespace {

const cv::Scalar kGreen(80, 220, 80);
const cv::Scalar kRed(60, 60, 255);
const cv::Scalar kBlue(255, 160, 60);
const cv::Scalar kWhite(255, 255, 255);

void drawBox(cv::Mat& picture, const PvaHandPose& pose, const cv::Scalar& colour) {
    const cv::Point corner(pose.centerX - pose.width / 2, pose.centerY - pose.height / 2);
    cv::rectangle(picture, {corner, cv::Size(pose.width, pose.height)}, colour, 2);
}

void drawKeyPoints(cv::Mat& picture, const PvaHandPose& pose) {
    for (int number = 0; number < PVA_KEY_POINTS; ++number) {
        const cv::Point at(pose.keyPoints[number].x, pose.keyPoints[number].y);
        cv::circle(picture, at, 5, kBlue, cv::FILLED);
        cv::putText(picture, std::to_string(number), at + cv::Point(7, -4),
                    cv::FONT_HERSHEY_SIMPLEX, 0.6, kWhite, 2);
    }
}

bool isWritten(const std::string& path, const cv::Mat& picture) {
    try {
        return cv::imwrite(path, picture);
    } catch (const cv::Exception&) {
        return false;
    }
}

}  // namespace

void drawHand(const cv::Mat& luma, const Capture& capture, const std::string& path) {
    cv::Mat picture;
    cv::cvtColor(luma, picture, cv::COLOR_GRAY2BGR);
    if (capture.candidate) {
        drawBox(picture, capture.found, capture.isGood() ? kGreen : kRed);
        drawKeyPoints(picture, capture.found);
    }
    if (!isWritten(path, picture)) {
        throw InputFault("the picture " + path + " cannot be written",
                         "Name a file in a folder that you may write to, ending in .png or .jpg.");
    }
}

}  // namespace brairu::tool
