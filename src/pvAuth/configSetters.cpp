// Exports: the settings that may change while the engine runs.
#include "brairu.h"
#include "platformLog.h"
#include "pvAuth.h"

namespace {

constexpr std::uint32_t kHighestDetectionLevel = 4;

// The networks read their settings once, when they are built: no setter concerns them.
void refreshCopies(const char* call) {
    const brairu::ConfigDocument& document = brairu::engineConfig(call).document();
    brairu::engineDetector(call).refreshConfig(document);
    brairu::engineStoreConfig(call) = document;
}

template <class Number>
std::uint32_t setNumber(const char* call, const char* section, const char* key, Number value) {
    brairu::engineConfig(call).set(section, key, value);
    refreshCopies(call);
    return 1;
}

}  // namespace

std::uint32_t pvaConfigSetAuthThreshold(float similarity) {
    return setNumber(__func__, "feature", "auth_threshold", similarity);
}

std::uint32_t pvaConfigSetHandThreshold(float probability) {
    return setNumber(__func__, "handpose", "model_probability_threshold", probability);
}

std::uint32_t pvaConfigSetBrightnessThresholdMin(std::uint32_t grey) {
    return setNumber(__func__, "handpose", "brightness_threshold_min", grey);
}

std::uint32_t pvaConfigSetBrightnessThresholdMax(std::uint32_t grey) {
    return setNumber(__func__, "handpose", "brightness_threshold_max", grey);
}

std::uint32_t pvaConfigSetBlurThresholdMin(std::uint32_t value) {
    return setNumber(__func__, "handpose", "blur_threshold_min", value);
}

std::uint32_t pvaConfigSetBlurThresholdMax(std::uint32_t value) {
    return setNumber(__func__, "handpose", "blur_threshold_max", value);
}

std::uint32_t pvaConfigSetHorizontalOffsetTolerance(float fraction) {
    return setNumber(__func__, "handpose", "horizontal_offset_tolerance", fraction);
}

std::uint32_t pvaConfigSetVerticalOffsetTolerance(float fraction) {
    return setNumber(__func__, "handpose", "vertical_offset_tolerance", fraction);
}

std::uint32_t pvaConfigSetHandSizeWidthMin(float fraction) {
    return setNumber(__func__, "handpose", "hand_size_width_min", fraction);
}

std::uint32_t pvaConfigSetHandSizeWidthMax(float fraction) {
    return setNumber(__func__, "handpose", "hand_size_width_max", fraction);
}

std::uint32_t pvaConfigSetHandSizeHeightMin(float fraction) {
    return setNumber(__func__, "handpose", "hand_size_height_min", fraction);
}

std::uint32_t pvaConfigSetHandSizeHeightMax(float fraction) {
    return setNumber(__func__, "handpose", "hand_size_height_max", fraction);
}

std::uint32_t pvaConfigSetEnhance(std::uint32_t value) {
    return setNumber(__func__, "handpose", "enable_enhance", value);
}

std::uint32_t pvaConfigSetRegisCenterCount(std::uint32_t count) {
    return setNumber(__func__, "database", "regis_center_count", count);
}

std::uint32_t pvaConfigSetRegisMaxCount(std::uint32_t count) {
    return setNumber(__func__, "database", "regis_max_count", count);
}

std::uint32_t pvaConfigSetDynamicDetectionLevel(std::uint32_t level) {
    if (level > kHighestDetectionLevel) {
        __android_log_print(ANDROID_LOG_ERROR, "pva", "动态检测等级必须在0-4之间\r\n");
        return 0;
    }
    brairu::engineConfig(__func__).set("handpose", "dynamic_detection_level", level);
    brairu::engine().detectionLevel = static_cast<int>(level);
    refreshCopies(__func__);
    return 1;
}
