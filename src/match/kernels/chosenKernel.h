// Which search kernel runs.
#pragma once

#include <span>
#include <string_view>

#include "match/kernels/kernel.h"

namespace brairu {

// Every kernel of this architecture, the fastest first and the scalar one last.
std::span<const SearchKernel* const> searchKernels();

// The kernel of that name, or null if there is none or the CPU cannot run it.
const SearchKernel* usableKernel(std::string_view name);

// The kernel of that name; without a name the fastest that the CPU can run. So too for a name that
// cannot be had, which is logged.
const SearchKernel& chooseKernel(const char* forced);

// The kernel of every search of this process, chosen once. The environment variable
// BRAIRU_SEARCH_KERNEL forces one.
const SearchKernel& chosenKernel();

}  // namespace brairu
