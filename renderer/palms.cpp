#include "renderer/palmRenderer.h"

#include <opencv2/imgcodecs.hpp>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

using brairu::Hand;
using brairu::Scenario;

constexpr const char* kUsage =
    "usage: brairu-palms FOLDER [--people N] [--captures M] [--empty E] [--seed S]\n"
    "                    [--scenario enrolment|hard|anywhere] [--size WxH] [--format png|raw]\n"
    "Draws M captures of both palms of N people and E frames without a hand as PNG files or as\n"
    "raw bytes of grey, row by row, and FOLDER/index.csv with the hand, box and key points of\n"
    "each frame in pixels.\n";

struct Options {
    std::filesystem::path folder;
    int people = 2;
    int captures = 2;
    int empty = 0;
    std::uint64_t seed = 1;
    Scenario scenario = Scenario::enrolment;
    cv::Size size{640, 480};
    std::string format = "png";
};

Scenario scenarioNamed(const std::string& name) {
    if (name == "enrolment") {
        return Scenario::enrolment;
    }
    if (name == "hard") {
        return Scenario::hard;
    }
    if (name == "anywhere") {
        return Scenario::anywhere;
    }
    throw std::invalid_argument("unknown scenario " + name);
}

std::string formatNamed(const std::string& name) {
    if (name != "png" && name != "raw") {
        throw std::invalid_argument("unknown format " + name);
    }
    return name;
}

cv::Size sizeFrom(const std::string& text) {
    const std::size_t cross = text.find('x');
    if (cross == std::string::npos) {
        throw std::invalid_argument("a size is written like 640x480, not " + text);
    }
    return {std::stoi(text.substr(0, cross)), std::stoi(text.substr(cross + 1))};
}

void setOption(Options& options, const std::string& name, const std::string& value) {
    if (name == "--people") {
        options.people = std::stoi(value);
    } else if (name == "--captures") {
        options.captures = std::stoi(value);
    } else if (name == "--empty") {
        options.empty = std::stoi(value);
    } else if (name == "--seed") {
        options.seed = std::stoull(value);
    } else if (name == "--scenario") {
        options.scenario = scenarioNamed(value);
    } else if (name == "--size") {
        options.size = sizeFrom(value);
    } else if (name == "--format") {
        options.format = formatNamed(value);
    } else {
        throw std::invalid_argument("unknown option " + name);
    }
}

Options parse(int count, char** arguments) {
    if (count < 2 || count % 2 != 0) {
        throw std::invalid_argument("a folder and pairs of options are needed");
    }
    Options options;
    options.folder = arguments[1];
    for (int i = 2; i < count; i += 2) {
        setOption(options, arguments[i], arguments[i + 1]);
    }
    return options;
}

bool writeBytes(const std::string& path, const cv::Mat& luma) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(luma.data),
               static_cast<std::streamsize>(luma.total()));
    file.close();
    return !file.fail();
}

class Album {
public:
    explicit Album(const Options& options) : options_(options) {
        std::filesystem::create_directories(options.folder);
        index_.open(options.folder / "index.csv");
        index_ << "file,person,hand,capture,left,top,right,bottom";
        for (int i = 0; i < 7; ++i) {
            index_ << ",x" << i << ",y" << i;
        }
        index_ << '\n';
    }

    void addPalm(int person, Hand hand) {
        const brairu::PalmIdentity identity = brairu::identityOf(options_.seed, person, hand);
        const char* side = hand == Hand::left ? "L" : "R";
        for (int capture = 0; capture < options_.captures; ++capture) {
            const auto conditions =
                brairu::captureOf(options_.seed, identity, capture, options_.scenario);
            const auto frame = brairu::render(identity, conditions, options_.size);
            const std::string name =
                fileName(std::to_string(person) + side + "_" + std::to_string(capture));
            write(name, frame);
            index_ << name << ',' << person << ',' << side << ',' << capture;
            describe(frame);
        }
    }

    void addEmpty(int number) {
        const auto frame = brairu::renderWithoutHand(options_.seed, number, options_.size);
        const std::string name = fileName("empty_" + std::to_string(number));
        write(name, frame);
        index_ << name << ",,," << number << std::string(18, ',') << '\n';
    }

private:
    std::string fileName(const std::string& name) const { return name + "." + options_.format; }

    void write(const std::string& name, const brairu::RenderedFrame& frame) const {
        const std::string path = (options_.folder / name).string();
        const bool written =
            options_.format == "raw" ? writeBytes(path, frame.luma) : cv::imwrite(path, frame.luma);
        if (!written) {
            throw std::runtime_error("cannot write " + path);
        }
    }

    void describe(const brairu::RenderedFrame& frame) {
        const std::vector<cv::Point2f> points(frame.keyPoints.begin(), frame.keyPoints.end());
        float left = points[0].x;
        float right = left;
        float top = points[0].y;
        float bottom = top;
        for (const cv::Point2f& point : points) {
            left = std::min(left, point.x);
            right = std::max(right, point.x);
            top = std::min(top, point.y);
            bottom = std::max(bottom, point.y);
        }
        index_ << ',' << left << ',' << top << ',' << right << ',' << bottom;
        for (const cv::Point2f& point : points) {
            index_ << ',' << point.x << ',' << point.y;
        }
        index_ << '\n';
    }

    const Options& options_;
    std::ofstream index_;
};

void draw(const Options& options) {
    Album album(options);
    for (int person = 0; person < options.people; ++person) {
        album.addPalm(person, Hand::left);
        album.addPalm(person, Hand::right);
    }
    for (int number = 0; number < options.empty; ++number) {
        album.addEmpty(number);
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        draw(parse(argc, argv));
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "brairu-palms: %s\n%s", error.what(), kUsage);
        return EXIT_FAILURE;
    }
}
