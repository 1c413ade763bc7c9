#include "soak/settings.h"

#include "brairu.h"

namespace brairu::test {

std::span<const Setting> settings() {
    static const Setting kSettings[]{
        {"pvaConfigSetAuthThreshold", pvaConfigSetAuthThreshold, "feature", "auth_threshold",
         0.5625},
        {"pvaConfigSetHandThreshold", pvaConfigSetHandThreshold, "handpose",
         "model_probability_threshold", 0.75},
        {"pvaConfigSetBrightnessThresholdMin", pvaConfigSetBrightnessThresholdMin, "handpose",
         "brightness_threshold_min", 11},
        {"pvaConfigSetBrightnessThresholdMax", pvaConfigSetBrightnessThresholdMax, "handpose",
         "brightness_threshold_max", 240},
        {"pvaConfigSetBlurThresholdMin", pvaConfigSetBlurThresholdMin, "handpose",
         "blur_threshold_min", 3},
        {"pvaConfigSetBlurThresholdMax", pvaConfigSetBlurThresholdMax, "handpose",
         "blur_threshold_max", 4},
        {"pvaConfigSetHorizontalOffsetTolerance", pvaConfigSetHorizontalOffsetTolerance, "handpose",
         "horizontal_offset_tolerance", 0.125},
        {"pvaConfigSetVerticalOffsetTolerance", pvaConfigSetVerticalOffsetTolerance, "handpose",
         "vertical_offset_tolerance", 0.25},
        {"pvaConfigSetHandSizeWidthMin", pvaConfigSetHandSizeWidthMin, "handpose",
         "hand_size_width_min", 0.125},
        {"pvaConfigSetHandSizeWidthMax", pvaConfigSetHandSizeWidthMax, "handpose",
         "hand_size_width_max", 0.875},
        {"pvaConfigSetHandSizeHeightMin", pvaConfigSetHandSizeHeightMin, "handpose",
         "hand_size_height_min", 0.1875},
        {"pvaConfigSetHandSizeHeightMax", pvaConfigSetHandSizeHeightMax, "handpose",
         "hand_size_height_max", 0.9375},
        {"pvaConfigSetEnhance", pvaConfigSetEnhance, "handpose", "enable_enhance", 1},
        {"pvaConfigSetRegisCenterCount", pvaConfigSetRegisCenterCount, "database",
         "regis_center_count", 2},
        {"pvaConfigSetRegisMaxCount", pvaConfigSetRegisMaxCount, "database", "regis_max_count", 4},
        {"pvaConfigSetDynamicDetectionLevel", pvaConfigSetDynamicDetectionLevel, "handpose",
         "dynamic_detection_level", 3},
    };
    return kSettings;
}

}  // namespace brairu::test
