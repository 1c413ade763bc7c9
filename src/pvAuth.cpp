#include "pvAuth.h"

#include <stdexcept>
#include <string>

#include "match/kernels/chosenKernel.h"
#include "platformLog.h"

namespace brairu {
namespace {

constexpr int kDefaultDetectionLevel = 3;

// Built on first use and kept until the process exits, whatever is withdrawn in between. A fault of
// the NPU ends the process beside the calls of other threads: what these use is never destroyed.
ConfigStore& configStore() {
    static ConfigStore& store = *new ConfigStore;
    return store;
}

HandPose& handPose(const ConfigDocument& document) {
    static HandPose detector(document);
    return detector;
}

class LastingStore {
public:
    explicit LastingStore(const ConfigDocument& document) : store_(*new TemplateStore(document)) {}
    // Later calls find a store without a connection. Whoever holds the lock is left to its work.
    ~LastingStore() {
        if (apiLock.tryLock()) {
            store_.endForExit();
            apiLock.unlock();
        }
    }
    LastingStore(const LastingStore&) = delete;
    LastingStore& operator=(const LastingStore&) = delete;

    TemplateStore& get() { return store_; }

private:
    TemplateStore& store_;
};

TemplateStore& templateStore(const ConfigDocument& document) {
    static LastingStore store(document);
    return store.get();
}

int configuredDetectionLevel(ConfigStore& config) {
    if (!config.has("handpose", "dynamic_detection_level")) {
        return kDefaultDetectionLevel;
    }
    return readInt(config.document(), "handpose", "dynamic_detection_level");
}

template <class Object>
Object& published(Object* object, const char* call) {
    if (object == nullptr) {
        throw std::logic_error(std::string(call) +
                               ": the engine is not started; call init_pva first");
    }
    return *object;
}

}  // namespace

constinit Mutex apiLock;

EngineContext& engine() {
    static constinit EngineContext context;
    return context;
}

ConfigStore& engineConfig(const char* call) {
    return published(engine().config, call);
}

HandPose& engineDetector(const char* call) {
    return published(engine().detector, call);
}

TemplateStore& engineStore(const char* call) {
    return published(engine().store, call);
}

void requireEngineStore(const char* call) {
    published(engine().store, call);
}

ConfigDocument& engineStoreConfig(const char* call) {
    return published(engine().store, call).config();
}

void startEngine(const char* configPath) {
    EngineContext& context = engine();
    context.config = &configStore();
    // The result does not matter: with an earlier document the engine goes on, without one the
    // first lookup raises.
    context.config->load(std::string(configPath));
    // A name that cannot be had is logged here, and not only at the first search.
    chosenKernel();
    ConfigDocument& document = context.config->document();
    context.detector = &handPose(document);
    TemplateStore& store = templateStore(document);
    context.store = &store;
    store.runStartupPass();
    context.securityLevel = readInt(document, "feature", "security_level");
    context.detectionLevel = configuredDetectionLevel(*context.config);
    // The label names another setting than the value; hosts match on this text.
    __android_log_print(ANDROID_LOG_ERROR, "pva", "init_pva success feat_cache_len %d\r\n",
                        context.securityLevel);
}

void stopEngine() {
    EngineContext& context = engine();
    context.config = nullptr;
    context.detector = nullptr;
    context.store = nullptr;
}

}  // namespace brairu
