// Videos, which the program ffmpeg turns into frames.
#pragma once

#include <memory>
#include <string>

#include "frames/frame.h"

namespace brairu::tool {

// The frames of a video file, none left out and none turned: its plane of grey, or its colours made
// grey. Throws InputFault where there is no ffmpeg. Where ffmpeg finds a fault, the frame after the
// last one throws SourceFault with what ffmpeg says.
std::unique_ptr<FrameSource> openVideo(const std::string& name);

}  // namespace brairu::tool
