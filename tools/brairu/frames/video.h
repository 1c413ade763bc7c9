// Videos and streams, which the program ffmpeg turns into grey frames.
#pragma once

#include <memory>
#include <string>

#include "frames/frame.h"

namespace brairu::tool {

// Like rtsp://door/stream.
bool isStreamAddress(const std::string& name);

// The frames of a video file, or of the stream at an address, none left out and none turned. Throws
// InputFault where there is no ffmpeg; a frame throws SourceFault where ffmpeg cannot go on.
std::unique_ptr<FrameSource> openVideo(const std::string& name);

}  // namespace brairu::tool
