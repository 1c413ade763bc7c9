#include "fault.h"
#include "frames/camera.h"

namespace brairu::tool {

std::unique_ptr<FrameSource> openCamera(const std::string& name, std::optional<cv::Size> /*wanted*/,
                                        std::function<bool()> /*isStopped*/) {
    throw SourceFault(name + " cannot be read: this build reads no cameras",
                      "Install libv4l-dev and build the tool again, or give a folder of pictures.");
}

bool readsCameras() {
    return false;
}

}  // namespace brairu::tool
