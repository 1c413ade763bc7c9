#include "frames/stopSignals.h"

#include <csignal>

namespace brairu::tool {
namespace {

volatile std::sig_atomic_t stopped = 0;

void stop(int) {
    stopped = 1;
}

}  // namespace

void stopOnSignals() {
    struct sigaction stopping {};
    stopping.sa_handler = stop;
    ::sigaction(SIGINT, &stopping, nullptr);
    ::sigaction(SIGTERM, &stopping, nullptr);
}

bool isStopped() {
    return stopped != 0;
}

}  // namespace brairu::tool
