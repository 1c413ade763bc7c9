// Cameras, through libv4l2 where it was there at build time: it converts what they give.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "frames/frame.h"

namespace brairu::tool {

// Each frame is the newest that the camera has, in grey: those that came while the last was looked
// at are passed over. name: a device file, or its number. wanted: the size to ask for, 640 x 480
// without one; a camera gives the nearest that it has. isStopped is asked before each frame and
// while waiting: then there are no more.
// Throws SourceFault, from next() too, when there is no camera, or it gives no more frames.
std::unique_ptr<FrameSource> openCamera(const std::string& name, std::optional<cv::Size> wanted,
                                        std::function<bool()> isStopped);

bool readsCameras();

}  // namespace brairu::tool
