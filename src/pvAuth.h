// The engine context: what init_pva publishes and every other export works on.
#pragma once

#include "config/configStore.h"
#include "handPose.h"
#include "store/templateStore.h"
#include "utils/mutex.h"

namespace brairu {

struct EngineContext {
    ConfigStore* config = nullptr;
    HandPose* detector = nullptr;
    TemplateStore* store = nullptr;
    int securityLevel = 0;
    int detectionLevel = 0;
};

EngineContext& engine();

// Serialises the calls that touch the template store.
extern Mutex apiLock;

// The published objects. Each throws std::logic_error, naming the exported call, while the engine
// is not started.
ConfigStore& engineConfig(const char* call);
HandPose& engineDetector(const char* call);
TemplateStore& engineStore(const char* call);

// Publishes the engine's objects, building each once per process, and reads the engine's own
// settings. Throws std::logic_error for a null path.
void startEngine(const char* configPath);

// Withdraws the objects; they stay alive until the process exits.
void stopEngine();

}  // namespace brairu
