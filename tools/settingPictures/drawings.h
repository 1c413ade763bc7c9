// The pictures, one function each, as SVG. All but the first run the shipped networks: the engine
// must be started where a function does not start it itself.
#pragma once

#include <string>

#include "config/configStore.h"

namespace brairu::tool {

// What a drawing may use: the configuration, and the file that engines start from.
struct PictureSource {
    ConfigDocument config;
    std::string configPath;
};

// Which boxes the placement check takes, by their place and by their size. Runs no network.
std::string drawPlacementLimits(PictureSource& source);

// Frames of a hand that moves across, down and nearer.
std::string drawHandPlace(PictureSource& source);

// How sure the network is of hands, and of what is none.
std::string drawHandScore(PictureSource& source);

// Palms from dark to bright, from even to uneven light, from blurred to sharp.
std::string drawPalmQuality(PictureSource& source);

// Similarities of own palms and of strangers beside the two thresholds.
std::string drawThresholds(PictureSource& source);

// What captures at a door come to at each security level. Starts engines itself.
std::string drawConfirmation(PictureSource& source);

// Which captures of a sequence an enrolment takes.
std::string drawEnrolment(PictureSource& source);

// What more captures and more templates of a palm bring.
std::string drawTemplates(PictureSource& source);

}  // namespace brairu::tool
