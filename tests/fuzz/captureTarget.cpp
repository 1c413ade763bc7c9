// Frames of any size and hand records of any content through the capture calls, with the networks'
// outputs and the settings from the input too.
#include <cmath>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "brairu.h"
#include "byteSource.h"
#include "claim.h"
#include "pvAuth.h"
#include "support/engineFolder.h"
#include "support/poseOutput.h"
#include "support/scriptedLog.h"
#include "support/scriptedNpu.h"

namespace {

using namespace brairu;
using fuzz::ByteSource;
using fuzz::claim;
using test::ScriptedNpu;

constexpr std::size_t kMostPixels = 1 << 21;

// Built once per process, with the small networks of the tests.
class Engine {
public:
    Engine() : detector_(published().document()) { engine().detector = &detector_; }

    ConfigDocument settings() const { return folder_.document; }
    void configure(const ConfigDocument& document) {
        published().document() = document;
        detector_.refreshConfig(document);
    }

private:
    ConfigStore& published() {
        if (config_.document().is_null()) {
            config_.load(folder_.writeConfig());
            engine().config = &config_;
        }
        return config_;
    }

    test::EngineFolder folder_;
    ConfigStore config_;
    HandPose detector_;
};

double anyFraction(ByteSource& source) {
    const double percent = source.between(-20, 120) / 100.0;
    const float any = source.number<float>();
    return source.coin() ? percent : double{any};
}

void changeSettings(ByteSource& source, ConfigDocument& document) {
    for (const char* key :
         {"model_probability_threshold", "horizontal_offset_tolerance", "vertical_offset_tolerance",
          "hand_size_width_min", "hand_size_width_max", "hand_size_height_min",
          "hand_size_height_max", "blur_threshold"}) {
        if (source.coin()) {
            document["handpose"][key] = anyFraction(source);
        }
    }
    for (const char* key :
         {"brightness_threshold_min", "brightness_threshold_max", "brightness_range_threshold"}) {
        if (source.coin()) {
            document["handpose"][key] = source.between(-10, 300);
        }
    }
    for (const char* key : {"input_w", "input_h"}) {
        if (source.coin()) {
            const int side = source.between(-2, 300);
            document["feature"][key] = source.oneOf({side, side, side, 0, 1, 2, 128, 5000});
        }
    }
    document["debug"] = source.coin();
}

void scriptNetworks(ByteSource& source) {
    ScriptedNpu::reset();
    for (test::ScriptedNetwork& network : ScriptedNpu::get().networks) {
        network.outputs = {
            {std::vector<std::uint8_t>(PVA_FEATURE_BLOCK_BYTES, source.number<std::uint8_t>()),
             {}}};
    }
    test::ScriptedNetwork& hand = ScriptedNpu::get().networks[2];
    hand.outputNames = {
        source.oneOf<std::string>({"output0", "/model.22/Concat_6", "another", ""})};
    test::HandRow row{source.number<std::uint8_t>(), test::kUprightHand};
    if (source.coin()) {
        for (test::NetworkPoint& point : row.points) {
            point = {source.between(-128, 127), source.between(-128, 127)};
        }
    }
    const int rows = source.oneOf({336, 336, 336, 1, 840});
    hand.outputs = {{test::PoseOutput(rows).put(rows / 2, row).bytes(), {}}};
    if (source.number<std::uint8_t>() == 0) {
        hand.outputs[0].data.resize(source.number<std::uint8_t>());
    }
}

struct Frame {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> luma;
};

std::uint32_t anySide(ByteSource& source) {
    const int small = source.between(0, 700);
    return static_cast<std::uint32_t>(source.oneOf({small, small, 640, 480, 1, 2, 20000}));
}

// Pixels are the given bytes over and over.
Frame anyFrame(ByteSource& source) {
    Frame frame{anySide(source), anySide(source), {}};
    if (std::size_t{frame.width} * frame.height > kMostPixels) {
        frame.height = 1 + frame.height % 64;
    }
    const auto pattern = source.take(source.number<std::uint8_t>());
    frame.luma.resize(std::size_t{frame.width} * frame.height, 128);
    for (std::size_t i = 0; i < frame.luma.size() && !pattern.empty(); ++i) {
        frame.luma[i] = pattern[i % pattern.size()];
    }
    return frame;
}

// What the detector left, or whatever else a host may hand over.
void changeRecord(ByteSource& source, PvaHandPose& pose) {
    if (source.coin()) {
        pose = source.number<PvaHandPose>();
    }
    for (std::uint16_t* field : {&pose.centerX, &pose.centerY, &pose.width, &pose.height}) {
        if (source.number<std::uint8_t>() < 16) {
            *field = source.oneOf<std::uint16_t>({0, 1, 255, 32767, 32768, 65535});
        }
    }
}

bool isPlacementCode(std::uint32_t code) {
    return code <= PVA_QUALITY_DARK || code == PVA_PLACEMENT_LARGE || code == PVA_PLACEMENT_SMALL;
}

void extract(Frame& frame, PvaHandPose pose) {
    const std::vector<std::uint8_t> before = frame.luma;
    std::vector<std::uint8_t> features(PVA_FEATURE_BYTES, 0xA5);
    try {
        const std::uint32_t code =
            pvaGetFeat(frame.luma.data(), frame.width, frame.height, &pose, features.data());
        claim(isPlacementCode(code), "a code that hosts know");
        claim(code == PVA_PLACEMENT_GOOD ||
                  features == std::vector<std::uint8_t>(PVA_FEATURE_BYTES, 0xA5),
              "a refused capture leaves the features");
    } catch (const std::invalid_argument&) {
        // Of the configured input size.
    }
    claim(frame.luma == before, "the frame is only read");
}

void capture(ByteSource& source) {
    Frame frame = anyFrame(source);
    PvaHandPose pose{};
    claim(pvaGetHandPose(frame.luma.data(), frame.width, frame.height, &pose) <= 1, "0 or 1");
    if (source.coin()) {
        const Frame second = anyFrame(source);
        PvaHandPose other{};
        pvaGetHandPoseVeinAndPrints(frame.luma.data(), frame.width, frame.height, &pose,
                                    second.luma.data(), second.width, second.height, &other);
    }
    changeRecord(source, pose);
    extract(frame, pose);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ScriptedNpu::get().networks.resize(3);
    static Engine engine;
    ByteSource source(data, size);
    ConfigDocument document = engine.settings();
    changeSettings(source, document);
    engine.configure(document);
    scriptNetworks(source);
    capture(source);
    test::ScriptedLog::clear();
    return 0;
}
