#include "handPose/laplacian.h"

#include <algorithm>

namespace brairu {
namespace {

// As many squares of at most 1020 as 32 bits hold.
constexpr int kSpan = 4096;

struct Rows {
    const std::uint8_t* above;
    const std::uint8_t* middle;
    const std::uint8_t* below;
};

int reflected(int position, int length) {
    if (length == 1) {
        return 0;
    }
    const int inside = position < 0 ? -position : position;
    return inside < length ? inside : 2 * (length - 1) - inside;
}

Rows rowsAround(const cv::Mat& grey, int y) {
    const auto row = [&](int position) {
        return grey.ptr<std::uint8_t>(reflected(position, grey.rows));
    };
    return {row(y - 1), row(y), row(y + 1)};
}

// Short, so that the compiler multiplies eight at a time.
std::int16_t laplacianAt(const Rows& rows, int left, int x, int right) {
    return static_cast<std::int16_t>(rows.above[x] + rows.below[x] + rows.middle[left] +
                                     rows.middle[right] - 4 * rows.middle[x]);
}

// Columns with a neighbour on either side, at most kSpan of them.
LaplacianSums sumInside(const Rows& rows, int first, int end) {
    std::int32_t values = 0;
    std::uint32_t squares = 0;
    for (int x = first; x < end; ++x) {
        const std::int16_t value = laplacianAt(rows, x - 1, x, x + 1);
        values += value;
        squares += static_cast<std::uint32_t>(value * value);
    }
    return {values, squares};
}

LaplacianSums sumAtEdge(const Rows& rows, int x, int width) {
    const std::int64_t value =
        laplacianAt(rows, reflected(x - 1, width), x, reflected(x + 1, width));
    return {value, value * value};
}

void add(LaplacianSums& sums, LaplacianSums more) {
    sums.values += more.values;
    sums.squares += more.squares;
}

void addRow(LaplacianSums& sums, const Rows& rows, int width) {
    add(sums, sumAtEdge(rows, 0, width));
    for (int x = 1; x < width - 1; x += kSpan) {
        add(sums, sumInside(rows, x, std::min(x + kSpan, width - 1)));
    }
    if (width > 1) {
        add(sums, sumAtEdge(rows, width - 1, width));
    }
}

}  // namespace

LaplacianSums sumLaplacian(const cv::Mat& grey) {
    LaplacianSums sums;
    for (int y = 0; y < grey.rows; ++y) {
        addRow(sums, rowsAround(grey, y), grey.cols);
    }
    return sums;
}

}  // namespace brairu
