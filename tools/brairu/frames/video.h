// Videos and cameras, through OpenCV's videoio where it was there at build time.
#pragma once

#include <memory>
#include <string>

#include "frames/frame.h"

namespace brairu::tool {

// A video file, or a camera: its device file (/dev/video0) or its number. Throws InputFault.
std::unique_ptr<FrameSource> openVideo(const std::string& name);

bool readsVideos();

}  // namespace brairu::tool
