#include "settingPictures/embeddedImage.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "base64.h"

namespace brairu::tool {
namespace {

constexpr int kQuality = 82;

}  // namespace

std::string embeddedImage(const cv::Mat& grey, cv::Size size) {
    cv::Mat small;
    cv::resize(grey, small, size, 0.0, 0.0, cv::INTER_AREA);
    std::vector<std::uint8_t> bytes;
    cv::imencode(".jpg", small, bytes, {cv::IMWRITE_JPEG_QUALITY, kQuality});
    return "data:image/jpeg;base64," + base64Of(bytes);
}

}  // namespace brairu::tool
