#pragma once

#include <opencv2/core/mat.hpp>

namespace brairu::npu {

/// A frame of two planes: Y, then U and V interleaved at half resolution (odd sides rounded down).
/// Both are views with their own row pitch. chroma is CV_8UC2 and may be empty for a frame less
/// than two pixels wide or high.
struct TwoPlaneFrame {
    cv::Mat luma;
    cv::Mat chroma;
};

/// Writes the frame into planes: one plane takes the luma as it is, three take red, green and blue
/// (BT.601, luma 16 to 235). Scales bilinearly where the planes differ in size from the frame.
/// planes is CV_8UC1, all planes below one another: height = planeCount * plane height.
void convertFrame(const TwoPlaneFrame& frame, int planeCount, cv::Mat& planes);

}  // namespace brairu::npu
