#include "networks.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "brairu.h"
#include "handPose/poseDecoder.h"

namespace brairu::conformance {
namespace {

using Json = nlohmann::ordered_json;

constexpr char kPicture[] = "/palm.raw";
constexpr std::size_t kPictureSide = 128;

struct Source {
    const char* name;
    const char* section;
    const char* net;
    const char* blobs;
};

constexpr std::array kSources{
    Source{"handpose", "handpose", "model_path_net", "model_path_blobs"},
    Source{"feature", "feature", "model_path_net", "model_path_blobs"},
    Source{"support", "feature", "support_model_path_net", "support_model_path_blobs"},
};

Network networkFrom(const Json& config, const Source& source) {
    const Json& section = config.at(source.section);
    const FrameSize input{section.at("input_w").get<int>(), section.at("input_h").get<int>()};
    const bool findsHands = source.section == std::string("handpose");
    return {source.name,
            section.at(source.net).get<std::string>(),
            section.at(source.blobs).get<std::string>(),
            input,
            findsHands ? static_cast<std::size_t>(outputBytesFor(input))
                       : std::size_t{PVA_FEATURE_BLOCK_BYTES},
            {}};
}

Bytes readBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error(path + " cannot be read");
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string answerPath(const std::string& folder, const std::string& network) {
    return folder + "/" + network + ".bytes";
}

}  // namespace

std::vector<Network> networksOf(const std::string& configPath) {
    std::ifstream file(configPath);
    if (!file) {
        throw std::runtime_error(configPath + " cannot be read");
    }
    std::vector<Network> networks;
    try {
        const Json config = Json::parse(file);
        for (const Source& source : kSources) {
            networks.push_back(networkFrom(config, source));
        }
    } catch (const Json::exception& fault) {
        throw std::runtime_error(configPath + ": " + fault.what());
    }
    return networks;
}

void readAnswers(const std::string& folder, std::vector<Network>& networks) {
    for (Network& network : networks) {
        network.answer = readBytes(answerPath(folder, network.name));
    }
}

void writeAnswer(const std::string& folder, const std::string& network, const Bytes& answer) {
    std::ofstream file(answerPath(folder, network), std::ios::binary);
    file.write(reinterpret_cast<const char*>(answer.data()),
               static_cast<std::streamsize>(answer.size()));
    if (!file.flush()) {
        throw std::runtime_error(answerPath(folder, network) + " cannot be written");
    }
}

ModelPair readModels(const Network& network) {
    ModelPair models;
    if (!readModelFile(network.netPath, models.net) ||
        !readModelFile(network.blobsPath, models.blobs)) {
        throw std::runtime_error("the models of the " + network.name + " network cannot be read");
    }
    return models;
}

Bytes pictureOf(const std::string& folder, FrameSize size) {
    const Bytes whole = readBytes(folder + kPicture);
    if (whole.size() != kPictureSide * kPictureSide) {
        throw std::runtime_error(folder + kPicture + " is no picture of 128 x 128 bytes");
    }
    const auto width = static_cast<std::size_t>(size.width);
    const auto height = static_cast<std::size_t>(size.height);
    Bytes picture;
    for (std::size_t y = 0; y < height; ++y) {
        const std::size_t row = y * kPictureSide / height * kPictureSide;
        for (std::size_t x = 0; x < width; ++x) {
            picture.push_back(whole[row + x * kPictureSide / width]);
        }
    }
    return picture;
}

}  // namespace brairu::conformance
