#include "fault.h"
#include "frames/video.h"

namespace brairu::tool {

std::unique_ptr<FrameSource> openVideo(const std::string& name) {
    throw InputFault(name + " cannot be read: this build reads no videos",
                     "Give its frames as a folder of pictures; or install libopencv-videoio-dev "
                     "and build the tool again.");
}

bool readsVideos() {
    return false;
}

}  // namespace brairu::tool
