#include "frames/frameFile.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>
#include <iterator>
#include <opencv2/imgcodecs.hpp>
#include <span>
#include <string_view>
#include <vector>

#include "fault.h"
#include "namedFile.h"
#include "renderer/frameSize.h"

namespace brairu::tool {
namespace {

constexpr std::array<std::string_view, 11> kPictures{
    ".png", ".jpg", ".jpeg", ".bmp", ".pgm", ".ppm", ".pnm", ".tif", ".tiff", ".webp", ".jp2"};
constexpr std::array<std::string_view, 7> kRaw{".raw",  ".y",    ".y8", ".gray",
                                               ".grey", ".nv12", ".yuv"};
constexpr std::array<std::string_view, 7> kVideos{".mp4",  ".avi",   ".mkv", ".mov",
                                                  ".webm", ".mjpeg", ".m4v"};

bool hasExtension(const std::filesystem::path& path, std::span<const std::string_view> known) {
    std::string extension = path.extension().string();
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char letter) { return std::tolower(letter); });
    return std::ranges::find(known, extension) != known.end();
}

// A pipe will do.
void requireFile(const std::filesystem::path& path) {
    requireReadable(path);
    if (std::filesystem::is_directory(path)) {
        throw InputFault(path.string() + " is a folder", "Give one picture, or one raw plane.");
    }
    if (std::filesystem::is_character_file(path)) {
        throw InputFault(path.string() +
                             " is a device, which only \"brairu watch\" and \"brairu "
                             "enrol\" take, as a camera",
                         "Give pictures, or raw planes of grey with --size.");
    }
}

// A device file (/dev/video0), or the number of one.
bool isCameraName(const std::string& name) {
    constexpr std::size_t kMostDigits = 3;
    const auto isDigit = [](unsigned char letter) { return std::isdigit(letter) != 0; };
    const bool isNumber =
        !name.empty() && name.size() <= kMostDigits && std::ranges::all_of(name, isDigit);
    return isNumber || name.starts_with("/dev/");
}

std::vector<char> bytesOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file && !file.eof()) {
        throw InputFault(path.string() + " cannot be read", "Check its name and its rights.");
    }
    return bytes;
}

std::string textOf(cv::Size size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

cv::Mat rawPlane(const std::filesystem::path& path, cv::Size size) {
    const std::vector<char> bytes = bytesOf(path);
    const auto plane = static_cast<std::size_t>(size.area());
    if (bytes.size() != plane && bytes.size() != plane * 3 / 2) {
        throw InputFault(path.string() + " has " + std::to_string(bytes.size()) +
                             " bytes, a plane of " + textOf(size) + " has " + std::to_string(plane),
                         "Give the size of the raw frames with --size.");
    }
    cv::Mat luma(size, CV_8UC1);
    std::copy_n(bytes.begin(), plane, luma.begin<char>());
    return luma;
}

cv::Mat picture(const std::filesystem::path& path) {
    cv::Mat luma = cv::imread(path.string(), cv::IMREAD_GRAYSCALE | cv::IMREAD_IGNORE_ORIENTATION);
    if (luma.empty()) {
        throw InputFault(path.string() + " is no picture that can be read",
                         "Give pictures (png, jpeg, pgm, ...), or raw planes of grey with --size.");
    }
    return luma;
}

}  // namespace

cv::Size sizeFrom(const std::string& text) {
    if (const std::optional<cv::Size> size = frameSizeFrom(text)) {
        return *size;
    }
    throw InputFault("\"" + text + "\" is no frame size", "Write it like 640x480.");
}

bool isPictureName(const std::filesystem::path& path) {
    return hasExtension(path, kPictures);
}

bool isRawName(const std::filesystem::path& path) {
    return hasExtension(path, kRaw);
}

bool isVideoName(const std::filesystem::path& path) {
    return hasExtension(path, kVideos);
}

bool namesCamera(const std::string& name) {
    std::error_code fault;
    const std::filesystem::file_status file = std::filesystem::status(name, fault);
    return isCameraName(name) &&
           (!std::filesystem::exists(file) || std::filesystem::is_character_file(file));
}

Frame readFrame(const std::filesystem::path& path, std::optional<cv::Size> rawSize) {
    requireFile(path);
    if (isPictureName(path)) {
        return {path.string(), picture(path)};
    }
    if (rawSize) {
        return {path.string(), rawPlane(path, *rawSize)};
    }
    if (isRawName(path)) {
        throw InputFault(path.string() + " is a raw plane, and its size is not known",
                         "Give it with --size, like --size 640x480.");
    }
    return {path.string(), picture(path)};
}

}  // namespace brairu::tool
