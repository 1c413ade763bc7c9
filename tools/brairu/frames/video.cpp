#include "frames/video.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include "fault.h"

namespace brairu::tool {
namespace {

cv::Mat greyOf(const cv::Mat& picture) {
    cv::Mat grey;
    switch (picture.channels()) {
        case 1: return picture.clone();
        case 2: cv::extractChannel(picture, grey, 0); return grey;  // packed YUV: Y comes first
        default: cv::cvtColor(picture, grey, cv::COLOR_BGR2GRAY); return grey;
    }
}

class Video : public FrameSource {
public:
    explicit Video(const std::string& name) : name_(name), capture_(name) {
        if (!capture_.isOpened()) {
            throw InputFault(name + " cannot be opened as a video",
                             "Check its name, and that it is a video.");
        }
    }

    std::optional<Frame> next() override {
        cv::Mat picture;
        if (!capture_.read(picture) || picture.empty()) {
            return std::nullopt;
        }
        return Frame{name_ + " #" + std::to_string(++number_), greyOf(picture)};
    }

private:
    std::string name_;
    cv::VideoCapture capture_;
    long long number_ = 0;
};

}  // namespace

std::unique_ptr<FrameSource> openVideo(const std::string& name) {
    return std::make_unique<Video>(name);
}

bool readsVideos() {
    return true;
}

}  // namespace brairu::tool
