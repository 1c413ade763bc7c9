#include "handPose/featureNetworks.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

#include "brairu.h"
#include "handPose/lumaFrame.h"

namespace brairu {
namespace {

// What fault lines of these networks name: the engine's file, which hosts match on.
constexpr char kSourceFile[] = "src/pvAuth.cpp";
constexpr FrameSize kFrame{128, 128};
constexpr int kFeatureNetwork = 0;
constexpr int kSupportNetwork = 1;

void loadNetwork(NetRuntime& network, ConfigDocument& document, const char* netKey,
                 const char* blobsKey) {
    const std::string netPath = readText(document, "feature", netKey);
    const std::string blobsPath = readText(document, "feature", blobsKey);
    ModelPair models;
    std::printf("start load model %s \r\n", netPath.c_str());
    readNetFile(netPath, models.net);
    std::printf("start load model %s \r\n", blobsPath.c_str());
    readBlobsFile(blobsPath, models.blobs);
    network.loadModels(std::move(models));
    std::printf("load model %s complete\n", blobsPath.c_str());
    network.prepare(kFrame);
}

// Chroma of half the resolution wants even sides.
void requireEven(const cv::Mat& image) {
    if (image.cols % 2 != 0 || image.rows % 2 != 0) {
        throw std::invalid_argument("feature input_w and input_h must be even");
    }
}

}  // namespace

FeatureNetworks::FeatureNetworks(ConfigDocument& document)
    : faults_(kSourceFile), feature_(kSourceFile), support_(kSourceFile) {
    loadNetwork(feature_, document, "model_path_net", "model_path_blobs");
    loadNetwork(support_, document, "support_model_path_net", "support_model_path_blobs");
}

FeatureNetworks::~FeatureNetworks() {
    std::puts("release pvauth\r");
    feature_.teardown();
    support_.teardown();
}

void FeatureNetworks::extract(const PalmImages& images, std::uint8_t* output) {
    requireEven(images.whole);
    runFeature(frameOf(images.whole), output, kFeatureNetwork, 2);
    runFeature(frameOf(images.regionA), output, kSupportNetwork, 0);
    runFeature(frameOf(images.regionB), output, kSupportNetwork, 1);
}

const cv::Mat& FeatureNetworks::frameOf(const cv::Mat& grey) {
    frame_ = featureFrame(grey, frame_);
    return frame_;
}

void FeatureNetworks::runFeature(const cv::Mat& frame, std::uint8_t* output, int network,
                                 int slot) {
    NetRuntime& runtime = network == kFeatureNetwork ? feature_ : support_;
    const NetOutputs outputs = runtime.run({frame.data, frame.total()});
    const std::span<const std::uint8_t> feature = outputs.data();
    faults_.require(feature.size() == PVA_FEATURE_BLOCK_BYTES ? VX_SUCCESS : VX_FAILURE);
    std::ranges::copy(feature, output + std::ptrdiff_t{slot} * PVA_FEATURE_BLOCK_BYTES);
}

}  // namespace brairu
