// A folder of pictures whose names say whose palm they show: PALM_CAPTURE.png.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace brairu::tool {

struct PalmPicture {
    std::filesystem::path path;
    std::string name;  // from the folder on
    std::string palm;
};

// The palm that a picture shows, by its path from the folder: all before the last underscore of its
// name, sub-folders included ("anna/left_3.png" shows "anna/left"). In a sub-folder a name without
// an underscore says the capture, and the sub-folder the palm. Throws InputFault when the name tells
// no palm.
std::string palmNameOf(const std::filesystem::path& relative);

// The pictures and raw planes in a folder and those below it, in the order of their paths. Throws
// InputFault when there are none, or for one whose name tells no palm.
std::vector<PalmPicture> palmPicturesIn(const std::filesystem::path& folder);

}  // namespace brairu::tool
