// Runs a folder of photographs of hands through the library's exported calls, and writes down what
// came of each.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>

#include "brairu.h"
#include "training/npyFile.h"

namespace {

using namespace brairu;
namespace fs = std::filesystem;

constexpr const char* kUsage =
    "usage: brairu-measure-photographs CONFIG PHOTOGRAPHS FOLDER\n"
    "Writes FOLDER/captures.csv, one line a photograph, and FOLDER/features.npy, signed bytes\n"
    "(photographs, 3, 512), zeros where there are none. In captures.csv `usable` is what\n"
    "pvaGetHandPose returned, `found` whether it reported any hand, and `code` what pvaGetFeat\n"
    "returned for a usable hand; the key points are in pixels of the photograph.\n";

std::vector<fs::path> photographsIn(const fs::path& folder) {
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

struct Capture {
    PvaHandPose pose{};
    bool usable = false;
    std::uint32_t code = 0;
    std::vector<std::uint8_t> features = std::vector<std::uint8_t>(PVA_FEATURE_BYTES);
};

Capture capture(const cv::Mat& photograph) {
    const auto width = static_cast<std::uint32_t>(photograph.cols);
    const auto height = static_cast<std::uint32_t>(photograph.rows);
    Capture result;
    result.usable = pvaGetHandPose(photograph.data, width, height, &result.pose) == 1;
    if (result.usable) {
        // The call moves the record's centre.
        PvaHandPose pose = result.pose;
        result.code = pvaGetFeat(photograph.data, width, height, &pose, result.features.data());
    }
    return result;
}

void writeLine(std::ofstream& table, const std::string& name, cv::Size size,
               const Capture& capture) {
    const bool found = capture.pose.width > 0;
    table << name << ',' << size.width << ',' << size.height << ',' << found << ','
          << capture.usable << ',' << (capture.usable ? std::to_string(capture.code) : "");
    for (const auto& point : capture.pose.keyPoints) {
        table << ',' << point.x << ',' << point.y;
    }
    table << '\n';
}

void writeHeading(std::ofstream& table) {
    table << "file,width,height,found,usable,code";
    for (int i = 0; i < 7; ++i) {
        table << ",x" << i << ",y" << i;
    }
    table << '\n';
}

void measure(const fs::path& photographs, const fs::path& folder) {
    const std::vector<fs::path> files = photographsIn(photographs);
    fs::create_directories(folder);
    std::ofstream table(folder / "captures.csv");
    writeHeading(table);
    NpyFile features((folder / "features.npy").string(), "|i1",
                     {static_cast<int>(files.size()), 3, PVA_FEATURE_BYTES / 3});
    for (const fs::path& file : files) {
        const cv::Mat photograph = cv::imread(file.string(), cv::IMREAD_GRAYSCALE);
        if (photograph.empty()) {
            throw std::runtime_error(file.string() + " is no picture");
        }
        const Capture result = capture(photograph);
        writeLine(table, file.filename().string(), photograph.size(), result);
        features.append(result.features.data(), result.features.size());
    }
    features.close();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        (void)std::fputs(kUsage, stderr);
        return EXIT_FAILURE;
    }
    try {
        if (init_pva(argv[1]) != 1) {
            throw std::runtime_error("the engine does not start");
        }
        measure(argv[2], argv[3]);
        deinit_pva();
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        (void)std::fprintf(stderr, "brairu-measure-photographs: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
