// The steps of the demonstration, in the process that runs the engine.
#pragma once

#include <cstdio>
#include <string>

#include "engineProcess.h"

namespace demo {

// Enrols everyone, identifies and verifies fresh captures, turns strangers away.
inline constexpr char kFirstPhase[] = "first-run";
// In a new process: identifies from what was stored, deletes a user and meets them again.
inline constexpr char kSecondPhase[] = "after-restart";

// Runs a phase and writes its report. False if the engine did not start.
bool runSteps(const std::string& phase, const DemoFiles& files, std::FILE* progress);

}  // namespace demo
