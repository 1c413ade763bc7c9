// Videos, through OpenCV's videoio where it was there at build time.
#pragma once

#include <memory>
#include <string>

#include "frames/frame.h"

namespace brairu::tool {

// A video file, or the address of a stream. Throws InputFault.
std::unique_ptr<FrameSource> openVideo(const std::string& name);

bool readsVideos();

}  // namespace brairu::tool
