#pragma once

#include <cstdint>
#include <opencv2/core.hpp>

namespace brairu {

// Over the pixels of a Laplacian (the four neighbours less four times the pixel): sums of its
// values and of their squares.
struct LaplacianSums {
    std::int64_t values = 0;
    std::int64_t squares = 0;
};

// Of a grey image whose border reflects without repeating the pixel at the edge.
LaplacianSums sumLaplacian(const cv::Mat& grey);

}  // namespace brairu
