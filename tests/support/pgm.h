// Grey pictures as the simplest of files.
#pragma once

#include <string>

namespace brairu::test {

// A PGM picture: width times height bytes of luma, row by row, behind its header.
inline std::string pgm(int width, int height, const std::string& luma) {
    const std::string size = std::to_string(width) + " " + std::to_string(height);
    return "P5\n" + size + "\n255\n" + luma;
}

}  // namespace brairu::test
