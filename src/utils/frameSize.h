#pragma once

namespace brairu {

// In pixels.
struct FrameSize {
    int width = 0;
    int height = 0;
};

}  // namespace brairu
