#include "engineTest.h"

#include <chrono>
#include <future>
#include <thread>

namespace brairu::test {

EngineTest::EngineTest() {
    config_["feature"]["security_level"] = 1;
    config_["feature"]["auth_threshold"] = 0.5;
    config_["feature"]["filter_threshold"] = 0.5;
    config_["handpose"]["dynamic_detection_level"] = 0;
    config_["database"]["regis_max_count"] = 4;
}

EngineTest::~EngineTest() {
    deinit_pva();
    pvaClearRegisterBuffer();
}

void EngineTest::startEngine(int centres) {
    stdoutOf([&] { start(centres); });
    document() = config_;
    EngineContext& context = engine();
    context.config = &engineConfig_;
    context.store = store_.get();
    context.securityLevel = readInt(document(), "feature", "security_level");
    context.detectionLevel = readInt(document(), "handpose", "dynamic_detection_level");
    ScriptedLog::clear();
}

void EngineTest::configure(const std::string& section, const std::string& key,
                           const ConfigDocument& value) {
    document()[section][key] = value;
    store().config() = document();
}

int EngineTest::enrol(std::int64_t userid,
                      const std::vector<std::vector<std::uint8_t>>& templates) {
    Bytes row;
    for (const Bytes& one : templates) {
        row.insert(row.end(), one.begin(), one.end());
    }
    EXPECT_EQ(store().enrolPalm(keyOf(userid, 1), row), TemplateStore::EnrolOutcome::committed);
    return static_cast<int>(store().lastRowId().value_or(0));
}

// The thread is left to itself: it waits for ever when the lock is held for ever.
bool apiLockIsFree() {
    auto taken = std::make_shared<std::promise<void>>();
    std::future<void> future = taken->get_future();
    std::thread([taken] {
        const MutexLock lock(apiLock);
        taken->set_value();
    }).detach();
    return future.wait_for(std::chrono::seconds(5)) == std::future_status::ready;
}

}  // namespace brairu::test
