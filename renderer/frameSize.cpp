#include "renderer/frameSize.h"

#include <algorithm>
#include <charconv>

namespace brairu {
namespace {

int lengthFrom(std::string_view text) {
    constexpr int kMost = 16384;
    int length = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), length);
    const bool whole = fault == std::errc() && end == text.data() + text.size();
    return whole && length > 0 && length <= kMost ? length : 0;
}

}  // namespace

std::optional<cv::Size> frameSizeFrom(std::string_view text) {
    const std::size_t cross = text.find('x');
    if (cross == std::string_view::npos) {
        return std::nullopt;
    }
    const cv::Size size(lengthFrom(text.substr(0, cross)), lengthFrom(text.substr(cross + 1)));
    return size.empty() ? std::nullopt : std::optional(size);
}

bool isDrawable(cv::Size size) {
    return std::min(size.width, size.height) >= kLeastFrameSide;
}

}  // namespace brairu
