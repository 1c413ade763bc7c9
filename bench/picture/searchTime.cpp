// Draws the time of a search against the size of the gallery, both on logarithmic scales:
// brairu-search-time RESULTS.json PICTURE.svg
#include <cmath>
#include <cstdio>
#include <exception>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

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

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

std::string line(double x1, double y1, double x2, double y2, const std::string& style) {
    return "<line x1='" + number(x1) + "' y1='" + number(y1) + "' x2='" + number(x2) + "' y2='" +
           number(y2) + "' " + style + "/>\n";
}

std::string text(double x, double y, const std::string& words, const std::string& style) {
    return "<text x='" + number(x) + "' y='" + number(y) + "' " + style + ">" + words + "</text>\n";
}

std::string grid() {
    const std::string thin = "stroke='#dddddd'";
    const char* const records[] = {"1,000", "10,000", "100,000", "1,000,000"};
    const char* const milliseconds[] = {"0.001 ms", "0.01 ms", "0.1 ms", "1 ms",
                                        "10 ms",    "100 ms",  "1 s"};
    std::string lines;
    double value = std::pow(10.0, kRecords.first);
    for (const char* const label : records) {
        const double x = kRecords.at(value);
        lines += line(x, kMilliseconds.from, x, kMilliseconds.to, thin);
        lines += text(x, kMilliseconds.from + 20, label, "text-anchor='middle'");
        value *= 10;
    }
    value = std::pow(10.0, kMilliseconds.first);
    for (const char* const label : milliseconds) {
        const double y = kMilliseconds.at(value);
        lines += line(kRecords.from, y, kRecords.to, y, thin);
        lines += text(kRecords.from - 8, y + 4, label, "text-anchor='end'");
        value *= 10;
    }
    return lines;
}

// The largest store: 10,000 palms with five centres each.
std::string storeMark() {
    const double x = kRecords.at(50'000);
    return line(x, kMilliseconds.from, x, kMilliseconds.to,
                "stroke='#999999' stroke-dasharray='4 4'") +
           text(x - 6, kMilliseconds.to + 14, "10,000 palms, five centres each",
                "text-anchor='end' fill='#666666'");
}

std::string curve(const Curve& curve, const nlohmann::json& points) {
    constexpr double kNanosecondsPerMillisecond = 1e6;
    std::string corners;
    std::string dots;
    double x = 0;
    double y = 0;
    for (const nlohmann::json& point : points) {
        x = kRecords.at(point.at("records"));
        y = kMilliseconds.at(point.at(curve.key).get<double>() / kNanosecondsPerMillisecond);
        corners += number(x) + "," + number(y) + " ";
        dots += "<circle cx='" + number(x) + "' cy='" + number(y) + "' r='3' fill='" +
                curve.colour + "'/>\n";
    }
    return "<polyline points='" + corners + "' fill='none' stroke-width='2' stroke='" +
           curve.colour + "'/>\n" + dots +
           text(x + 10, y + curve.labelShift, curve.label,
                "fill='" + std::string(curve.colour) + "'");
}

std::string picture(const nlohmann::json& points) {
    std::string svg = "<svg xmlns='http://www.w3.org/2000/svg' width='" + number(kWidth) +
                      "' height='" + number(kHeight) +
                      "' font-family='sans-serif' font-size='12'>\n"
                      "<rect width='100%' height='100%' fill='white'/>\n";
    svg += text(kRecords.from, 28, "Time of one search against the records in the gallery",
                "font-size='15'");
    svg += grid() + storeMark();
    for (const Curve& each : kCurves) {
        svg += curve(each, points);
    }
    svg += text((kRecords.from + kRecords.to) / 2, kHeight - 10, "records of 512 bytes",
                "text-anchor='middle'");
    return svg + "</svg>\n";
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
