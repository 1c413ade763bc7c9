// Calls every operation of npu.h and of platformLog.h in the order in which the library calls them.
#pragma once

#include <span>

#include "networks.h"
#include "verdict.h"

namespace brairu::conformance {

struct Questions {
    std::vector<Network> networks;
    std::string answers;  // folder of the picture and the known answers
    double leastCosine = 0.0;
};

// A life of the stack: a context for each network, every network run while all are alive, everything
// given back.
void examineLife(const Questions& questions, Journal& journal);

// What each operation has to refuse, one operation at a time.
std::span<const std::function<void(Journal&)>> refusals();

// The outputs of the networks, for answers to compare with later; empty where one did not run.
std::vector<Bytes> answersOf(const Questions& questions);

}  // namespace brairu::conformance
