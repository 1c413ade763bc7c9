#include "renderer/blend.h"

namespace brairu {

void blend(cv::Mat& layer, const cv::Mat& over, const cv::Mat& mask) {
    cv::Mat kept;
    cv::multiply(layer, ~mask, kept, 1.0 / 255.0);
    cv::multiply(over, mask, layer, 1.0 / 255.0);
    layer += kept;
}

}  // namespace brairu
