#include "claim.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace brairu::fuzz {
namespace {

// Taken before the fuzzer turns standard error off.
const int reportDescriptor = ::dup(STDERR_FILENO);

}  // namespace

void claim(bool holds, const char* text) {
    if (!holds) {
        ::dprintf(reportDescriptor, "broken claim: %s\n", text);
        std::abort();
    }
}

}  // namespace brairu::fuzz
