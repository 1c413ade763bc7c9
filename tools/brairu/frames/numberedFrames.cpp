#include "frames/numberedFrames.h"

namespace brairu::tool {
namespace {

std::string progressText(std::size_t number, const FrameSource& source) {
    const std::optional<std::size_t> count = source.count();
    return "frame " + std::to_string(number) + (count ? " of " + std::to_string(*count) : "");
}

}  // namespace

std::size_t visitFrames(FrameSource& source, Report& report,
                        const std::function<bool(const FrameLabel&, const Frame&)>& visit) {
    std::size_t number = 0;
    while (const std::optional<Frame> frame = source.next()) {
        ++number;
        report.progress(progressText(number, source));
        if (!visit({number, frame->name}, *frame)) {
            break;
        }
    }
    return number;
}

}  // namespace brairu::tool
