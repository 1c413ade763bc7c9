// Draws the time of a search against the size of the gallery, both on logarithmic scales:
// brairu-search-time RESULTS.json PICTURE.svg
#include <cmath>
#include <cstdio>
#include <exception>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "svg/svg.h"

namespace brairu::bench {
namespace {

constexpr double kWidth = 760;
constexpr double kHeight = 440;

struct Axis {
    double first, last;  // powers of ten
    double from, to;     // in the picture

    double at(double value) const {
        return from + (std::log10(value) - first) / (last - first) * (to - from);
    }
};

constexpr Axis kRecords{3, 6, 80, 560};
constexpr Axis kMilliseconds{-3, 3, 390, 50};

struct Curve {
    const char* key;  // in the results
    const char* label;
    const char* colour;
    double labelShift;  // downwards
};

constexpr Curve kCurves[] = {
    {"threeSums", "three sums a record, -O2", "#c2571a", 4},
    {"ours", "the search", "#1f5fa8", -2},
    {"stream", "reading the same bytes", "#6b6b6b", 14},
};

void drawGrid(SvgPicture& picture) {
    const std::string thin = "stroke='#dddddd'";
    const char* const records[] = {"1,000", "10,000", "100,000", "1,000,000"};
    const char* const milliseconds[] = {"0.001 ms", "0.01 ms", "0.1 ms", "1 ms",
                                        "10 ms",    "100 ms",  "1 s"};
    double value = std::pow(10.0, kRecords.first);
    for (const char* const label : records) {
        const double x = kRecords.at(value);
        picture.line({x, kMilliseconds.from}, {x, kMilliseconds.to}, thin);
        picture.text({x, kMilliseconds.from + 20}, label, "text-anchor='middle'");
        value *= 10;
    }
    value = std::pow(10.0, kMilliseconds.first);
    for (const char* const label : milliseconds) {
        const double y = kMilliseconds.at(value);
        picture.line({kRecords.from, y}, {kRecords.to, y}, thin);
        picture.text({kRecords.from - 8, y + 4}, label, "text-anchor='end'");
        value *= 10;
    }
}

// The largest store: 10,000 palms with five centres each.
void drawStoreMark(SvgPicture& picture) {
    const double x = kRecords.at(50'000);
    picture.line({x, kMilliseconds.from}, {x, kMilliseconds.to},
                 "stroke='#999999' stroke-dasharray='4 4'");
    picture.text({x - 6, kMilliseconds.to + 14}, "10,000 palms, five centres each",
                 "text-anchor='end' fill='#666666'");
}

void drawCurve(SvgPicture& picture, const Curve& curve, const nlohmann::json& points) {
    constexpr double kNanosecondsPerMillisecond = 1e6;
    const std::string colour = std::string("'") + curve.colour + "'";
    std::vector<SvgPoint> corners;
    for (const nlohmann::json& point : points) {
        corners.push_back(
            {kRecords.at(point.at("records")),
             kMilliseconds.at(point.at(curve.key).get<double>() / kNanosecondsPerMillisecond)});
    }
    picture.polyline(corners, "stroke-width='2' stroke=" + colour);
    for (const SvgPoint& corner : corners) {
        picture.dot(corner, 3, "fill=" + colour);
    }
    if (!corners.empty()) {
        picture.text({corners.back().x + 10, corners.back().y + curve.labelShift}, curve.label,
                     "fill=" + colour);
    }
}

std::string picture(const nlohmann::json& points) {
    SvgPicture picture(kWidth, kHeight);
    picture.text({kRecords.from, 28}, "Time of one search against the records in the gallery",
                 "font-size='15'");
    drawGrid(picture);
    drawStoreMark(picture);
    for (const Curve& each : kCurves) {
        drawCurve(picture, each, points);
    }
    picture.text({(kRecords.from + kRecords.to) / 2, kHeight - 10}, "records of 512 bytes",
                 "text-anchor='middle'");
    return picture.document();
}

nlohmann::json readGrowth(const char* path) {
    std::ifstream file(path);
    if (!file) {
        throw std::runtime_error(std::string("cannot read ") + path);
    }
    return nlohmann::json::parse(file).at("growth");
}

void draw(const char* results, const char* path) {
    const std::string svg = picture(readGrowth(results));
    std::ofstream file(path);
    file << svg;
    if (!file.flush()) {
        throw std::runtime_error(std::string("cannot write ") + path);
    }
}

}  // namespace
}  // namespace brairu::bench

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: brairu-search-time RESULTS.json PICTURE.svg\n");
        return 2;
    }
    try {
        brairu::bench::draw(argv[1], argv[2]);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "brairu-search-time: %s\n", error.what());
        return 1;
    }
}
