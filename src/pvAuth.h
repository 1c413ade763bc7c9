// The engine context: what init_pva publishes and every other export works on.
#pragma once

#include "config/configStore.h"
#include "handPose.h"
#include "store/templateStore.h"
#include "utils/mutex.h"

namespace brairu {

// Serialises the calls that touch the template store.
extern Mutex apiLock;

// Changed only by calls beside which no other may run, and so read without a lock.
struct EngineContext {
    ConfigStore* config = nullptr;
    HandPose* detector = nullptr;
    TemplateStore* store BRAIRU_THREAD(pt_guarded_by(apiLock)) = nullptr;
    int securityLevel = 0;
    int detectionLevel = 0;
};

EngineContext& engine();

// The published objects. Each throws std::logic_error, naming the exported call, while the engine
// is not started.
ConfigStore& engineConfig(const char* call);
HandPose& engineDetector(const char* call);
TemplateStore& engineStore(const char* call) BRAIRU_THREAD(requires_capability(apiLock));

// Only throws, for a call that needs the store later on.
void requireEngineStore(const char* call);

// The store's copy of the configuration, which only the setters change: needs no lock.
ConfigDocument& engineStoreConfig(const char* call);

// Publishes the engine's objects, building each once per process, and reads the engine's own
// settings. Throws std::logic_error for a null path.
void startEngine(const char* configPath);

// Withdraws the objects; they stay alive until the process exits.
void stopEngine();

}  // namespace brairu
