// Videos to try things with, which ffmpeg makes.
#pragma once

#include <string>

namespace brairu::test {

// pictures: PGM pictures one after the other. options: of ffmpeg, how to make a video of them. False
// where it failed.
bool makeVideo(const std::string& path, const std::string& pictures,
               const std::string& options = "-c:v ffv1");

}  // namespace brairu::test
