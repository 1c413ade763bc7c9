#include <array>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "brairu.h"
#include "crossArchitecture/figures.h"
#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

constexpr std::uint32_t kWidth = 320;
constexpr std::uint32_t kHeight = 240;

void startEngine(const std::string& repository, const TemporaryFolder& folder) {
    nlohmann::ordered_json config;
    std::ifstream(repository + "/config/brairu.json") >> config;
    for (const char* const section : {"handpose", "feature"}) {
        for (auto& [key, value] : config[section].items()) {
            if (key.find("model_path") != std::string::npos) {
                value = repository + "/" + value.get<std::string>();
            }
        }
    }
    config["database"]["database_path"] = folder.file("palms.db");
    config["database"]["search_index_path"] = folder.file("palms.bin");
    init_pva(folder.write("brairu.json", config.dump()).c_str());
}

std::vector<int> recordOf(const PvaHandPose& pose) {
    std::vector<int> record{pose.centerX, pose.centerY, pose.width, pose.height, pose.orientation};
    for (const PvaPoint& point : pose.keyPoints) {
        record.insert(record.end(), {point.x, point.y});
    }
    return record;
}

}  // namespace

NetworkFigures networkFigures(const std::string& repository, const std::string& frame) {
    const TemporaryFolder folder;
    startEngine(repository, folder);
    std::string luma = readFile(frame);
    if (luma.size() != kWidth * kHeight) {
        throw std::runtime_error("no frame of 320 x 240 bytes");
    }
    auto* const image = reinterpret_cast<std::uint8_t*>(luma.data());
    PvaHandPose pose{};
    if (pvaGetHandPose(image, kWidth, kHeight, &pose) != 1) {
        throw std::runtime_error("no hand found");
    }
    const std::vector<int> record = recordOf(pose);
    std::array<std::uint8_t, PVA_FEATURE_BYTES> features{};
    if (pvaGetFeat(image, kWidth, kHeight, &pose, features.data()) != 0) {
        throw std::runtime_error("no features");
    }
    const auto* const values = reinterpret_cast<const std::int8_t*>(features.data());
    return {record, {values, values + features.size()}};
}

}  // namespace brairu::test
