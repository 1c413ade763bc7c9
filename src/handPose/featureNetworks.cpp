#include "handPose/featureNetworks.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "brairu.h"
#include "handPose/lumaFrame.h"

namespace brairu {
namespace {

// What fault lines of these networks name.
constexpr char kSourceFile[] = "src/pvAuth.cpp";
constexpr FrameSize kFrame{128, 128};
constexpr int kFeatureNetwork = 0;
constexpr int kSupportNetwork = 1;

void loadNetwork(NetRuntime& network, const std::string& netPath, const std::string& blobsPath) {
    ModelPair models;
    std::printf("start load model %s \r\n", netPath.c_str());
    readNetFile(netPath, models.net);
    std::printf("start load model %s \r\n", blobsPath.c_str());
    readBlobsFile(blobsPath, models.blobs);
    network.loadModels(std::move(models));
    std::printf("load model %s complete\n", blobsPath.c_str());
    network.prepare(kFrame);
}

}  // namespace

FeatureNetworks::FeatureNetworks(ConfigDocument& document)
    : faults_(kSourceFile), feature_(kSourceFile), support_(kSourceFile) {
    const auto path = [&](const char* key) { return readText(document, "feature", key); };
    loadNetwork(feature_, path("model_path_net"), path("model_path_blobs"));
    loadNetwork(support_, path("support_model_path_net"), path("support_model_path_blobs"));
}

FeatureNetworks::~FeatureNetworks() {
    std::puts("release pvauth\r");
    feature_.teardown();
    support_.teardown();
}

void FeatureNetworks::extract(const PalmImages& images, std::uint8_t* output) {
    runFeature(featureFrame(images.whole), output, kFeatureNetwork, 2);
    runFeature(featureFrame(images.regionA), output, kSupportNetwork, 0);
    runFeature(featureFrame(images.regionB), output, kSupportNetwork, 1);
}

void FeatureNetworks::runFeature(const cv::Mat& frame, std::uint8_t* output, int network,
                                 int slot) {
    NetRuntime& runtime = network == kFeatureNetwork ? feature_ : support_;
    const NetOutputs outputs = runtime.run({frame.data, frame.total()});
    const std::span<const std::uint8_t> feature = outputs.data();
    faults_.require(feature.size() == PVA_FEATURE_BLOCK_BYTES ? VX_SUCCESS : VX_FAILURE);
    std::ranges::copy(feature, output + slot * PVA_FEATURE_BLOCK_BYTES);
}

}  // namespace brairu
