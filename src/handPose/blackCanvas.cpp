#include "handPose/blackCanvas.h"

#include <sys/mman.h>

#include <cstdint>
#include <limits>
#include <new>

namespace brairu {
namespace {

// Pages that are zeros until they are written to, and only then take memory.
void* lazyZeros(cv::Size size) {
    const auto bytes =
        static_cast<std::uint64_t>(size.width) * static_cast<std::uint64_t>(size.height);
    if (bytes > std::numeric_limits<std::size_t>::max()) {
        throw std::bad_alloc();
    }
    void* const pages = ::mmap(nullptr, static_cast<std::size_t>(bytes), PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (pages == MAP_FAILED) {
        throw std::bad_alloc();
    }
    return pages;
}

}  // namespace

BlackCanvas::BlackCanvas(cv::Size size)
    : image_(size, CV_8UC1, lazyZeros(size), static_cast<std::size_t>(size.width)) {}

BlackCanvas::~BlackCanvas() {
    ::munmap(image_.data, image_.total());
}

}  // namespace brairu
