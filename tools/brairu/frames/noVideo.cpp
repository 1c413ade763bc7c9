#include "fault.h"
#include "frames/video.h"

namespace brairu::tool {

std::unique_ptr<FrameSource> openVideo(const std::string& name) {
    throw InputFault(
        name + " is a video or a camera, which this build cannot read",
        "Install libopencv-videoio-dev and build again, or give a folder of pictures.");
}

bool readsVideos() {
    return false;
}

}  // namespace brairu::tool
