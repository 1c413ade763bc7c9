// The picture sheet: frames with what the engine made of them drawn in.
#pragma once

#include <string>
#include <vector>

#include "captureStation.h"

namespace demo {

// Writes one frame with box, key points, code and outcome; green for a right outcome, red for a
// wrong one.
void writeTile(const Capture& capture, const std::string& caption, bool right,
               const std::string& path);

// Puts tiles side by side into one picture. False if it cannot be written.
bool writeSheet(const std::vector<std::string>& tiles, const std::string& path);

}  // namespace demo
