// A place to run hosts at: a configuration of its own with the shipped networks, a store, rendered
// frames.
#pragma once

#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "renderer/palmRenderer.h"
#include "support/temporaryFolder.h"

namespace brairu::test {

struct HostRun {
    int exitStatus = -1;               // -1 for a death by signal
    std::vector<std::string> results;  // lines
    std::string output;                // standard output and error
};

class Workplace {
public:
    Workplace();

    // The configuration; written anew for every run.
    nlohmann::ordered_json config;

    std::string file(const std::string& name) const { return folder_.file(name); }
    std::string configPath() const { return file("brairu.json"); }
    void writeConfig() const;

    // Runs the C host on frames of a size, in the repository root.
    HostRun host(const std::vector<std::string>& command, cv::Size size = {640, 480}) const;

    // Writes frames to files and returns their paths. Captures are told apart by their number.
    std::vector<std::string> frames(int person, Hand hand, int firstCapture, int count,
                                    cv::Size size = {640, 480}) const;
    std::string frame(const std::string& name, const cv::Mat& luma) const;

    // Enrols a palm in a process of its own; the number of its rendered frames that it took.
    HostRun enrol(int person, Hand hand) const;
    HostRun identify(int person, Hand hand) const;

    // A copy of a shipped model container, which config then names.
    std::string ownModel(const std::string& section, const std::string& key);

private:
    TemporaryFolder folder_;
};

// The words in command, with the user and palm number that enrol() gives.
std::vector<std::string> keyOf(const std::string& command, int person, Hand hand);
std::string recognisedLine(int person, Hand hand);

}  // namespace brairu::test
