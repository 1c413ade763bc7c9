#include "renderer/frameSize.h"
#include "renderer/palmAlbum.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <limits>
#include <stdexcept>
#include <string>

namespace {

using brairu::AlbumOptions;
using brairu::Scenario;

constexpr const char* kUsage =
    "usage: brairu-palms FOLDER [--people N] [--captures M] [--empty E] [--seed S]\n"
    "                    [--scenario enrolment|hard|anywhere] [--size WxH] [--format png|raw]\n"
    "Draws M captures of both palms of N people and E frames without an open palm as PNG files or "
    "as\n"
    "raw bytes of grey, row by row, and FOLDER/index.csv with the hand, box and key points of\n"
    "each frame in pixels.\n";

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
    const std::optional<cv::Size> size = brairu::frameSizeFrom(text);
    if (!size) {
        throw std::invalid_argument("a size is written like 640x480, not " + text);
    }
    if (!brairu::isDrawable(*size)) {
        const std::string least = std::to_string(brairu::kLeastFrameSide);
        throw std::invalid_argument("frames of " + text + " are too small to draw a palm in: at " +
                                    "least " + least + "x" + least);
    }
    return *size;
}

std::uint64_t numberFrom(const std::string& text, std::uint64_t most) {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    if (read.ec != std::errc() || read.ptr != end || number > most) {
        throw std::invalid_argument("a whole number from 0 to " + std::to_string(most) +
                                    " is wanted, not " + text);
    }
    return number;
}

int countFrom(const std::string& text) {
    constexpr int kMost = 1'000'000;
    return static_cast<int>(numberFrom(text, kMost));
}

void setOption(AlbumOptions& options, const std::string& name, const std::string& value) {
    if (name == "--people") {
        options.people = countFrom(value);
    } else if (name == "--captures") {
        options.captures = countFrom(value);
    } else if (name == "--empty") {
        options.empty = countFrom(value);
    } else if (name == "--seed") {
        options.seed = numberFrom(value, std::numeric_limits<std::uint64_t>::max());
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

AlbumOptions parse(int count, char** arguments) {
    if (count < 2 || count % 2 != 0) {
        throw std::invalid_argument("a folder and pairs of options are needed");
    }
    AlbumOptions options;
    options.folder = arguments[1];
    for (int i = 2; i < count; i += 2) {
        setOption(options, arguments[i], arguments[i + 1]);
    }
    return options;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        brairu::drawAlbum(parse(argc, argv), [](int, int) {});
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        (void)std::fprintf(stderr, "brairu-palms: %s\n%s", error.what(), kUsage);
        return EXIT_FAILURE;
    }
}
