// An engine on the scripted NPU that is built and published by the test, not by init_pva.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "pvAuth.h"
#include "support/engineFolder.h"
#include "support/scriptedNpu.h"
#include "support/thrownBy.h"

namespace brairu::test {

class PublishedEngine : public testing::Test {
protected:
    PublishedEngine();
    ~PublishedEngine() override;

    // Builds the objects from folder_.document and publishes them.
    void publish();

    static ScriptedNpu& npu() { return ScriptedNpu::get(); }
    static ScriptedNetwork& handNetwork() { return npu().networks[2]; }

    ConfigDocument& document() { return config_.document(); }
    TemplateStore& store() { return *store_; }

    EngineFolder folder_;

private:
    ConfigStore config_;
    std::unique_ptr<HandPose> detector_;
    std::optional<TemplateStore> store_;
};

}  // namespace brairu::test
