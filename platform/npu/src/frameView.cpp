#include "frameView.h"

#include "deviceMemory.h"

namespace brairu::npu {

namespace {

constexpr std::int32_t kSideMax = 16384;
constexpr std::int32_t kPitchMax = 4 * kSideMax;

bool inRange(std::int32_t value, std::int32_t least, std::int32_t most) {
    return value >= least && value <= most;
}

bool possible(const NpuImageDescriptor& image) {
    return image.format == NPU_FORMAT_YUV420_TWO_PLANE && inRange(image.width, 1, kSideMax) &&
           inRange(image.height, 1, kSideMax) && inRange(image.outputWidth, 1, kSideMax) &&
           inRange(image.outputHeight, 1, kSideMax) &&
           inRange(image.strideY, image.width, kPitchMax) &&
           inRange(image.strideUV, image.width / 2 * 2, kPitchMax);
}

struct Plane {
    std::uint32_t physical;
    std::int32_t rows;
    std::int32_t rowBytes;
    std::int32_t pitch;

    std::shared_ptr<const std::uint8_t> find() const {
        const auto last = static_cast<std::uint64_t>(rows - 1) * static_cast<std::uint64_t>(pitch);
        return AddressSpace::instance().resolve(physical,
                                                last + static_cast<std::uint64_t>(rowBytes));
    }

    cv::Mat view(const std::uint8_t* data, int type) const {
        // cv::Mat has no view of constant bytes; the converter only reads.
        return {rows, rowBytes / CV_ELEM_SIZE(type), type, const_cast<std::uint8_t*>(data),
                static_cast<std::size_t>(pitch)};
    }
};

}  // namespace

std::optional<FrameView> findFrame(const NpuImageDescriptor& image) {
    if (!possible(image))
        return std::nullopt;
    const Plane luma{image.physicalY, image.height, image.width, image.strideY};
    FrameView frame;
    frame.luma = luma.find();
    if (frame.luma == nullptr)
        return std::nullopt;
    frame.planes.luma = luma.view(frame.luma.get(), CV_8UC1);
    if (image.width < 2 || image.height < 2)
        return frame;

    const Plane chroma{image.physicalUV, image.height / 2, image.width / 2 * 2, image.strideUV};
    frame.chroma = chroma.find();
    if (frame.chroma == nullptr)
        return std::nullopt;
    frame.planes.chroma = chroma.view(frame.chroma.get(), CV_8UC2);
    return frame;
}

}  // namespace brairu::npu
