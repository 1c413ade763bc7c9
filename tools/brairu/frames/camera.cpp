#include "frames/camera.h"

#include <fcntl.h>
#include <libv4l2.h>
#include <linux/videodev2.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "fault.h"

namespace brairu::tool {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 5s;
constexpr int kPollMilliseconds = 100;
constexpr auto kPause = 10ms;
constexpr int kWaitingFrames = 4;  // that libv4l2 keeps

constexpr char kOtherDevice[] =
    "A camera may have several device files, one of them for pictures: \"ls /dev/video*\" lists "
    "them.";

std::string deviceOf(const std::string& name) {
    return name.starts_with('/') ? name : "/dev/video" + name;
}

std::string textOf(int error) {
    return std::generic_category().message(error);
}

[[noreturn]] void failToOpen(const std::string& device, int error) {
    switch (error) {
        case ENOENT:
            throw SourceFault(device + " is not there",
                              "Look whether the camera is plugged in: \"ls /dev/video*\" lists "
                              "what is.");
        case ENODEV:
        case ENXIO: throw SourceFault("there is no camera behind " + device, kOtherDevice);
        case EACCES:
        case EPERM:
            throw SourceFault(device + " may not be opened: " + textOf(error),
                              "Join the group that has the device, mostly video (sudo adduser "
                              "USER video), and log in again.");
        case EBUSY:
            throw SourceFault("another program is using the camera " + device,
                              "Close it, and run the command again.");
        case EINVAL:
        case ENOTTY: throw SourceFault(device + " is no camera", kOtherDevice);
        default: throw SourceFault(device + " cannot be opened: " + textOf(error), kOtherDevice);
    }
}

[[noreturn]] void failToGoOn(const std::string& device, int error) {
    if (error == ENODEV || error == ENXIO) {
        throw SourceFault("the camera " + device + " was unplugged",
                          "Plug it in, and run the command again.");
    }
    throw SourceFault("the camera " + device + " gives no frames: " + textOf(error),
                      "Close other programs that may use it, and plug it in anew.");
}

// What there is no frame for now, and may be later.
bool isPassing(int error) {
    return error == EAGAIN || error == EINTR || error == EIO;
}

// Of libv4l2, which has to close it.
class CameraDescriptor {
public:
    explicit CameraDescriptor(int fd) : fd_(fd) {}
    ~CameraDescriptor() {
        if (fd_ >= 0) {
            ::v4l2_close(fd_);
        }
    }
    CameraDescriptor(const CameraDescriptor&) = delete;
    CameraDescriptor& operator=(const CameraDescriptor&) = delete;

    int get() const { return fd_; }

private:
    int fd_;
};

class Camera : public FrameSource {
public:
    Camera(const std::string& name, cv::Size wanted, std::function<bool()> isStopped)
        : device_(deviceOf(name)),
          isStopped_(std::move(isStopped)),
          fd_(::open(device_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)) {
        if (fd_.get() < 0 || ::v4l2_fd_open(fd_.get(), 0) < 0) {
            failToOpen(device_, errno);
        }
        requirePictures();
        chooseFormat(wanted);
    }

    std::optional<Frame> next() override {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (!isStopped_()) {
            if (const cv::Mat luma = newestFrame(); !luma.empty()) {
                return Frame{device_ + " #" + std::to_string(number_), luma};
            }
            if (std::chrono::steady_clock::now() >= deadline) {
                throw SourceFault("the camera " + device_ + " gave no frame for " +
                                      std::to_string(kPatience.count()) + " seconds",
                                  "Look at its cable and its power, and plug it in anew.");
            }
            waitForFrame();
        }
        return std::nullopt;
    }

private:
    void requirePictures() const {
        v4l2_capability found{};
        if (::v4l2_ioctl(fd_.get(), VIDIOC_QUERYCAP, &found) != 0) {
            failToOpen(device_, errno);
        }
        const bool hasOwn = (found.capabilities & V4L2_CAP_DEVICE_CAPS) != 0;
        const std::uint32_t own = hasOwn ? found.device_caps : found.capabilities;
        if ((own & V4L2_CAP_VIDEO_CAPTURE) == 0) {
            throw SourceFault(device_ + " gives no pictures", kOtherDevice);
        }
    }

    // Grey as the camera has it, or what can be made of its colours, whose first plane is grey.
    void chooseFormat(cv::Size wanted) {
        for (const std::uint32_t pixels : {V4L2_PIX_FMT_GREY, V4L2_PIX_FMT_YUV420}) {
            if (takesFormat(pixels, wanted)) {
                return;
            }
        }
        throw SourceFault(device_ + " has no pictures that can be made grey",
                          "\"v4l2-ctl --list-formats\" lists what it has: grey, YUV, RGB, JPEG and "
                          "most others will do.");
    }

    bool takesFormat(std::uint32_t pixels, cv::Size wanted) {
        v4l2_format format{};
        format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        v4l2_pix_format& picture = format.fmt.pix;
        picture.width = static_cast<std::uint32_t>(wanted.width);
        picture.height = static_cast<std::uint32_t>(wanted.height);
        picture.pixelformat = pixels;
        if (::v4l2_ioctl(fd_.get(), VIDIOC_S_FMT, &format) != 0) {
            if (errno == EBUSY) {
                failToOpen(device_, errno);
            }
            return false;
        }
        size_ = {static_cast<int>(picture.width), static_cast<int>(picture.height)};
        rowBytes_ = std::max(picture.bytesperline, picture.width);
        buffer_.resize(std::max<std::size_t>(picture.sizeimage, rowBytes_ * picture.height));
        return picture.pixelformat == pixels && !size_.empty();
    }

    // Empty while none came.
    cv::Mat newestFrame() {
        cv::Mat newest;
        for (int taken = 0; taken < kWaitingFrames && takeFrame(); ++taken) {
            newest = cv::Mat(size_, CV_8UC1, buffer_.data(), rowBytes_).clone();
            ++number_;
        }
        return newest;
    }

    // False without one, or with a part of one.
    bool takeFrame() {
        const ssize_t bytes = ::v4l2_read(fd_.get(), buffer_.data(), buffer_.size());
        if (bytes < 0 && !isPassing(errno)) {
            failToGoOn(device_, errno);
        }
        const auto rows = static_cast<std::size_t>(size_.height);
        return bytes >= 0 && static_cast<std::size_t>(bytes) >=
                                 rowBytes_ * (rows - 1) + static_cast<std::size_t>(size_.width);
    }

    // The first read, which starts the camera, has to come before.
    void waitForFrame() const {
        pollfd wanted{fd_.get(), POLLIN, 0};
        const int ready = ::poll(&wanted, 1, kPollMilliseconds);
        if (ready > 0 && (wanted.revents & POLLIN) == 0) {
            std::this_thread::sleep_for(kPause);
        }
    }

    std::string device_;
    std::function<bool()> isStopped_;
    CameraDescriptor fd_;
    cv::Size size_;
    std::size_t rowBytes_ = 0;
    std::vector<std::uint8_t> buffer_;
    long long number_ = 0;
};

}  // namespace

std::unique_ptr<FrameSource> openCamera(const std::string& name, std::optional<cv::Size> wanted,
                                        std::function<bool()> isStopped) {
    const cv::Size usual(640, 480);
    return std::make_unique<Camera>(name, wanted.value_or(usual), std::move(isStopped));
}

bool readsCameras() {
    return true;
}

}  // namespace brairu::tool
