// The figures of a capture: detector, placement, palm regions, quality gate.
#pragma once

#include <string>
#include <vector>

namespace brairu::test {

std::string scaledLuma();
std::string decodedRecords();
std::string placementCodes();
std::string cropGeometry();
std::string broadcastFrames();
std::string brightnessFigures();

std::vector<double> uprightAngles();
std::vector<double> palmRegions();
std::vector<double> sharpnessFigures();

}  // namespace brairu::test
