#include "evaluation/palmPictures.h"

#include <algorithm>

#include "fault.h"
#include "frames/frameFile.h"
#include "namedFile.h"

namespace brairu::tool {
namespace {

using Path = std::filesystem::path;

constexpr char kNaming[] =
    "Name pictures after the palm and the capture, like anna-left_3.png: what stands before the "
    "last underscore is the palm.";

[[noreturn]] void refuseName(const Path& path) {
    throw InputFault(path.string() + " does not say whose palm it shows", kNaming);
}

void requireFolder(const Path& folder) {
    requireReadable(folder);
    if (!std::filesystem::is_directory(folder)) {
        throw InputFault(folder.string() + " is no folder",
                         "Give the folder that holds the pictures.");
    }
}

std::vector<Path> framesBelow(const Path& folder) {
    std::vector<Path> paths;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_directory()) {
            requireReadable(entry.path());
        }
        if (entry.is_regular_file() && (isPictureName(entry.path()) || isRawName(entry.path()))) {
            paths.push_back(entry.path());
        }
    }
    std::ranges::sort(paths);
    return paths;
}

}  // namespace

std::string palmNameOf(const Path& relative) {
    const std::string stem = relative.stem().string();
    const std::size_t underscore = stem.rfind('_');
    if (underscore == 0 || (underscore == std::string::npos && relative.parent_path().empty())) {
        refuseName(relative);
    }
    if (underscore == std::string::npos) {
        return relative.parent_path().generic_string();
    }
    return (relative.parent_path() / stem.substr(0, underscore)).generic_string();
}

std::vector<PalmPicture> palmPicturesIn(const Path& folder) {
    requireFolder(folder);
    std::vector<PalmPicture> pictures;
    for (const Path& path : framesBelow(folder)) {
        const Path relative = path.lexically_relative(folder);
        pictures.push_back({path, relative.generic_string(), palmNameOf(relative)});
    }
    if (pictures.empty()) {
        throw InputFault(folder.string() + " holds no pictures", kNaming);
    }
    return pictures;
}

}  // namespace brairu::tool
