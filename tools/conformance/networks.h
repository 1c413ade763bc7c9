// The networks of a configuration, with the picture they are shown and what they answer to it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "npu/modelFile.h"
#include "utils/frameSize.h"

namespace brairu::conformance {

using Bytes = std::vector<std::uint8_t>;

struct Network {
    std::string name;
    std::string netPath;
    std::string blobsPath;
    FrameSize input;
    std::size_t outputBytes = 0;
    Bytes answer;  // empty: not compared
};

// The hand-pose, the feature and the support network. Throws std::runtime_error.
std::vector<Network> networksOf(const std::string& configPath);

// The answers that are kept in folder, for networks that are asked about the picture there.
void readAnswers(const std::string& folder, std::vector<Network>& networks);
void writeAnswer(const std::string& folder, const std::string& network, const Bytes& answer);

ModelPair readModels(const Network& network);

// The picture in folder at the size of an input: the same bytes on every machine.
Bytes pictureOf(const std::string& folder, FrameSize size);

}  // namespace brairu::conformance
