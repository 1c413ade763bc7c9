#include "settingPictures/embeddedImage.h"

#include <sodium.h>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace brairu::tool {
namespace {

constexpr int kQuality = 82;

std::string base64(const std::vector<std::uint8_t>& bytes) {
    std::string text(sodium_base64_encoded_len(bytes.size(), sodium_base64_VARIANT_ORIGINAL), ' ');
    sodium_bin2base64(text.data(), text.size(), bytes.data(), bytes.size(),
                      sodium_base64_VARIANT_ORIGINAL);
    text.pop_back();  // the zero at its end
    return text;
}

}  // namespace

std::string embeddedImage(const cv::Mat& grey, cv::Size size) {
    cv::Mat small;
    cv::resize(grey, small, size, 0.0, 0.0, cv::INTER_AREA);
    std::vector<std::uint8_t> bytes;
    cv::imencode(".jpg", small, bytes, {cv::IMWRITE_JPEG_QUALITY, kQuality});
    return "data:image/jpeg;base64," + base64(bytes);
}

}  // namespace brairu::tool
