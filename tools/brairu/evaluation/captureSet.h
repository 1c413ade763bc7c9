// The captures of an evaluation: what came of every frame, and whose palm it shows.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "match/registration.h"

namespace brairu::tool {

// Something measured or known of a capture that may explain an error, such as how dark it is.
struct Trait {
    std::string name;  // "sharpness of the palm"
    std::string unit;  // may be empty
};

struct EvaluatedCapture {
    std::string name;           // of the frame
    std::size_t palm = 0;       // in CaptureSet::palms
    std::string refusalId;      // why it gave no features, for programs; empty when it did
    std::string refusal;        // the same in words
    CaptureBlocks blocks;       // the features
    std::vector<float> traits;  // in the order of CaptureSet::traits; NaN for what is not known

    bool isAcquired() const { return refusalId.empty(); }
};

struct CaptureSet {
    std::vector<std::string> palms;
    std::vector<Trait> traits;
    std::vector<EvaluatedCapture> captures;
    std::vector<std::string> unreadable;    // frames that are no pictures, with the reason
    std::size_t firstBystander = SIZE_MAX;  // from this palm on they are enrolled, and no probes
    double seconds = 0.0;                   // of the processor that the captures took

    // Of the captures of palms before the first bystander.
    std::size_t probesTaken() const;
    std::size_t probesAcquired() const;
    double failureToAcquire() const;
    // Of each palm the captures that gave features, in their order.
    std::vector<std::vector<std::size_t>> acquiredByPalm() const;
};

}  // namespace brairu::tool
