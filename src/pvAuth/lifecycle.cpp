// Exports: start and stop.
#include "brairu.h"
#include "pvAuth.h"

std::uint32_t init_pva(const char* configPath) {
    brairu::startEngine(configPath);
    return 1;
}

std::uint32_t deinit_pva(void) {
    brairu::stopEngine();
    return 1;
}
