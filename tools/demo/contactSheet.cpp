#include "contactSheet.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace demo {
namespace {

constexpr int kColumns = 8;
const cv::Size kTileSize(240, 180);
const cv::Scalar kGreen(80, 220, 80);
const cv::Scalar kRed(60, 60, 255);
const cv::Scalar kBlue(255, 160, 60);
const cv::Scalar kWhite(255, 255, 255);

void drawPose(cv::Mat& picture, const PvaHandPose& pose, const cv::Scalar& colour) {
    const cv::Rect box(pose.centerX - pose.width / 2, pose.centerY - pose.height / 2, pose.width,
                       pose.height);
    cv::rectangle(picture, box, colour, 3);
    for (int point = 0; point < PVA_KEY_POINTS; ++point) {
        const cv::Point at(pose.keyPoints[point].x, pose.keyPoints[point].y);
        cv::circle(picture, at, 6, kBlue, cv::FILLED);
        cv::putText(picture, std::to_string(point), at + cv::Point(8, -4), cv::FONT_HERSHEY_SIMPLEX,
                    0.7, kWhite, 2);
    }
}

void drawLine(cv::Mat& tile, const std::string& text, int bottom, const cv::Scalar& colour) {
    const cv::Point at(6, bottom);
    cv::putText(tile, text, at, cv::FONT_HERSHEY_SIMPLEX, 0.42, cv::Scalar::all(0), 3, cv::LINE_AA);
    cv::putText(tile, text, at, cv::FONT_HERSHEY_SIMPLEX, 0.42, colour, 1, cv::LINE_AA);
}

}  // namespace

void writeTile(const Capture& capture, const std::string& caption, bool right,
               const std::string& path) {
    const cv::Scalar& colour = right ? kGreen : kRed;
    cv::Mat picture;
    cv::cvtColor(capture.frame, picture, cv::COLOR_GRAY2BGR);
    if (capture.found.width > 0) {
        drawPose(picture, capture.found, colour);
    }
    cv::Mat tile;
    cv::resize(picture, tile, kTileSize, 0, 0, cv::INTER_AREA);
    drawLine(tile, caption, 16, colour);
    drawLine(tile, capture.outcome, kTileSize.height - 8, kWhite);
    cv::imwrite(path, tile);
}

bool writeSheet(const std::vector<std::string>& tiles, const std::string& path) {
    const int count = static_cast<int>(tiles.size());
    const int rows = (count + kColumns - 1) / kColumns;
    if (rows == 0) {
        return false;
    }
    cv::Mat sheet = cv::Mat::zeros(rows * kTileSize.height, kColumns * kTileSize.width, CV_8UC3);
    for (int i = 0; i < count; ++i) {
        const cv::Mat tile = cv::imread(tiles[static_cast<std::size_t>(i)]);
        if (tile.size() != kTileSize) {
            return false;
        }
        const cv::Point corner(i % kColumns * kTileSize.width, i / kColumns * kTileSize.height);
        tile.copyTo(sheet(cv::Rect(corner, kTileSize)));
    }
    return cv::imwrite(path, sheet);
}

}  // namespace demo
