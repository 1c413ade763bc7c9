#include "publishedEngine.h"

#include "support/captureOutput.h"
#include "support/poseOutput.h"
#include "support/scriptedLog.h"

namespace brairu::test {

PublishedEngine::PublishedEngine() {
    ScriptedNpu::reset();
    handNetwork().outputs = {{PoseOutput(336).put(100, {90, kUprightHand}).bytes(), {}}};
}

PublishedEngine::~PublishedEngine() {
    engine() = {};
    stdoutOf([&] { detector_.reset(); });
    store_.reset();
}

void PublishedEngine::publish() {
    stdoutOf([&] {
        config_.load(folder_.writeConfig());
        detector_ = std::make_unique<HandPose>(config_.document());
        store_.emplace(config_.document());
        store_->runStartupPass();
    });
    engine() = {&config_, detector_.get(), &*store_, 1, 2};
    ScriptedLog::clear();
    npu().calls.clear();
}

}  // namespace brairu::test
