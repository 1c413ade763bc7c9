// An engine that init_pva starts, on scripted networks. What is built once per process is built by
// the first test of the program and serves the others.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "brairu.h"

namespace brairu::test {

class StartedEngine : public testing::Test {
public:
    // The settings that the model of the store assumes.
    static nlohmann::ordered_json usualSettings();

    // Writes the configuration file. Returns its path.
    static std::string write(const nlohmann::ordered_json& settings);

    // Starts once more, with these settings. The store keeps its copy of the earlier ones until a
    // setter is called.
    static void start(const nlohmann::ordered_json& settings);

protected:
    // Starts with the usual settings, an empty store and no matches remembered.
    StartedEngine();
    ~StartedEngine() override;

    static void emptyStore();
};

}  // namespace brairu::test
