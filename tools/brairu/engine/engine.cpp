#include "engine/engine.h"

#include "brairu.h"

namespace brairu::tool {

Engine::Engine(const std::string& configPath) {
    init_pva(configPath.c_str());
}

Engine::~Engine() {
    deinit_pva();
}

}  // namespace brairu::tool
