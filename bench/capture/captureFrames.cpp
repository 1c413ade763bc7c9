#include "capture/captureFrames.h"

#include <algorithm>
#include <fstream>
#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <string>

namespace brairu::bench {
namespace {

constexpr char kFile[] = "tests/crossArchitecture/palm320x240.raw";
constexpr int kStoredWidth = 320;
constexpr int kStoredHeight = 240;
constexpr double kTurnDegrees = 30.0;

cv::Mat storedFrame() {
    cv::Mat frame(kStoredHeight, kStoredWidth, CV_8UC1);
    std::ifstream file(kFile, std::ios::binary);
    if (!file.read(frame.ptr<char>(), kStoredWidth * kStoredHeight)) {
        throw std::runtime_error(std::string("cannot read ") + kFile);
    }
    return frame;
}

}  // namespace

cv::Mat turnedPalm(cv::Size size) {
    const cv::Mat stored = storedFrame();
    const double scale = std::min(static_cast<double>(size.width) / kStoredWidth,
                                  static_cast<double>(size.height) / kStoredHeight);
    const cv::Point2d from(kStoredWidth / 2.0, kStoredHeight / 2.0);
    cv::Mat placing = cv::getRotationMatrix2D(from, kTurnDegrees, scale);
    placing.at<double>(0, 2) += size.width / 2.0 - from.x;
    placing.at<double>(1, 2) += size.height / 2.0 - from.y;
    cv::Mat frame;
    cv::warpAffine(stored, frame, placing, size, cv::INTER_CUBIC, cv::BORDER_REPLICATE);
    return frame;
}

}  // namespace brairu::bench
