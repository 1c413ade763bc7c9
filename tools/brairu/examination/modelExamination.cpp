#include "examination/modelExamination.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "examination/examineApart.h"
#include "examination/fileExamination.h"
#include "handPose/poseDecoder.h"
#include "npu/netRuntime.h"

namespace brairu::tool {
namespace {

constexpr char kArea[] = "models";
constexpr char kGetAnother[] =
    "Take the pair of files anew from where it came from; both must be of one training.";
constexpr std::uint8_t kGrey = 128;

struct Network {
    const char* name;
    const char* section;
    const char* netKey;
    const char* blobsKey;
    bool findsHands;
};

constexpr std::array kNetworks{
    Network{"hand-pose network", "handpose", "model_path_net", "model_path_blobs", true},
    Network{"feature network", "feature", "model_path_net", "model_path_blobs", false},
    Network{"support network", "feature", "support_model_path_net", "support_model_path_blobs",
            false},
};

struct ModelPaths {
    std::string net;
    std::string blobs;
};

ModelPaths pathsOf(const ConfigDocument& document, const Network& network) {
    const ConfigDocument& section = document[network.section];
    return {section[network.netKey].get<std::string>(),
            section[network.blobsKey].get<std::string>()};
}

FrameSize inputOf(const ConfigDocument& document, const char* section) {
    ConfigDocument copy = document;
    return {readInt(copy, section, "input_w"), readInt(copy, section, "input_h")};
}

bool hasFault(const Findings& findings) {
    return std::ranges::any_of(findings,
                               [](const Finding& each) { return each.level == Level::fault; });
}

Findings examineContainer(const std::string& path) {
    Findings found = examineFile(kArea, path, false);
    std::error_code fault;
    if (!hasFault(found) && std::filesystem::file_size(path, fault) <= kNonceBytes) {
        found.push_back(
            {Level::fault, kArea, path + " is too short for a model container", kGetAnother});
    }
    return found;
}

// The size that the engine reads of an output.
std::size_t expectedBytes(const ConfigDocument& document, const Network& network) {
    if (network.findsHands) {
        return static_cast<std::size_t>(outputBytesFor(inputOf(document, network.section)));
    }
    return PVA_FEATURE_BLOCK_BYTES;
}

bool isRightSize(std::size_t bytes, std::size_t expected, const Network& network) {
    return network.findsHands ? bytes >= expected : bytes == expected;
}

// In the child: loads the pair, prepares it, runs it on grey.
Findings tryNetwork(const ConfigDocument& document, const Network& network) {
    const ModelPaths paths = pathsOf(document, network);
    ModelPair models;
    readNetFile(paths.net, models.net);
    readBlobsFile(paths.blobs, models.blobs);
    NetRuntime runtime("tools/brairu");
    runtime.loadModels(std::move(models));
    const FrameSize input = inputOf(document, network.section);
    runtime.prepare(input);
    std::string name;
    std::size_t bytes = 0;
    {
        const auto pixels =
            static_cast<std::size_t>(input.width) * static_cast<std::size_t>(input.height) * 3 / 2;
        const NetOutputs outputs = runtime.run(std::vector<std::uint8_t>(pixels, kGrey));
        name = outputs.firstName();
        bytes = outputs.data().size();
    }
    runtime.teardown();
    const std::size_t expected = expectedBytes(document, network);
    const std::string made = std::string(network.name) + ": output \"" + name + "\" of " +
                             std::to_string(bytes) + " bytes";
    if (!isRightSize(bytes, expected, network)) {
        return {{Level::fault, kArea, made + ", the engine reads " + std::to_string(expected),
                 "The network is not made for this input_w and input_h, or is none of this kind."}};
    }
    return {{Level::fine, kArea, made + ", deciphered, prepared and run", ""}};
}

Findings examineNetwork(const ConfigDocument& document, const Network& network, Report& report,
                        bool showLines) {
    const ModelPaths paths = pathsOf(document, network);
    Findings found = examineContainer(paths.net);
    append(found, examineContainer(paths.blobs));
    if (hasFault(found)) {
        return found;
    }
    Findings tried =
        examineApart([&] { return tryNetwork(document, network); }, kArea,
                     std::string(network.name) + " (" + paths.net + ", " + paths.blobs + "): ",
                     report, showLines)
            .findings;
    for (Finding& each : tried) {
        if (each.level == Level::fault && each.advice.empty()) {
            each.advice = kGetAnother;
        }
    }
    append(found, tried);
    return found;
}

}  // namespace

Findings examineModels(const ConfigDocument& document, Report& report, bool showLines) {
    Findings found;
    for (const Network& network : kNetworks) {
        append(found, examineNetwork(document, network, report, showLines));
    }
    return found;
}

}  // namespace brairu::tool
