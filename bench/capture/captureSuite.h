#pragma once

#include "suite.h"

namespace brairu::bench {

// The capture without its networks, whole and step by step, against the calls of OpenCV that make
// the same images; and what the networks take. Throws std::runtime_error if a capture fails.
void addCapture(Suite& suite);

}  // namespace brairu::bench
