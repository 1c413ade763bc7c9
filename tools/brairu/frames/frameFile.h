// Frames in files: pictures of any kind that OpenCV reads, and raw planes of grey.
#pragma once

#include <filesystem>
#include <optional>

#include "frames/frame.h"

namespace brairu::tool {

// "640x480". Throws InputFault for anything else.
cv::Size sizeFrom(const std::string& text);

// By its name. Other files in a folder of frames are passed over.
bool isPictureName(const std::filesystem::path& path);
bool isRawName(const std::filesystem::path& path);
bool isVideoName(const std::filesystem::path& path);
// A device file (/dev/video0), or the number of one, but no file of another kind: a pipe, say, or a
// frame that is called "0".
bool namesCamera(const std::string& name);

// rawSize: of raw planes, which are width x height bytes of grey, or half as many more, of which
// the first plane counts. Throws InputFault.
Frame readFrame(const std::filesystem::path& path, std::optional<cv::Size> rawSize);

}  // namespace brairu::tool
