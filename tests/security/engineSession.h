// A host's whole day with the engine, on the scripted NPU.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "brairu.h"
#include "support/childProcess.h"
#include "support/engineFolder.h"
#include "support/scriptedCapture.h"

namespace brairu::test {

// Features that no other number's resemble.
Features featuresOf(int palm);

class EngineSession : public testing::Test {
protected:
    EngineSession();

    // Runs an action in a fresh process, where every expectation must hold; its result has what was
    // logged in its place among the standard output.
    static ChildResult freshly(const std::function<void()>& action);

    // Starts the engine with the folder's document.
    void start() const;

    // One capture through the exported calls; what they write.
    static Features capture(const Features& features);

    // Enrols a palm from captures.
    static void enrol(const PvaUserKey& key, const Features& features);

    EngineFolder folder_;
};

}  // namespace brairu::test
