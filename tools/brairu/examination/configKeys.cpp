#include "examination/configKeys.h"

#include <array>

#include "report/numbers.h"

namespace brairu::tool {
namespace {

using enum ValueKind;
using enum Need;

constexpr double kMostGrey = 255;
constexpr double kAnyNumber = 2147483647;

constexpr std::array kKeys{
    ConfigKey{"handpose", "input_w", integer, 16, 1024, strict,
              "width of the picture that the hand-pose network sees, in pixels"},
    ConfigKey{"handpose", "input_h", integer, 16, 1024, strict,
              "height of the picture that the hand-pose network sees, in pixels"},
    ConfigKey{"handpose", "model_path_net", path, 0, 0, strict,
              "description of the hand-pose network"},
    ConfigKey{"handpose", "model_path_blobs", path, 0, 0, strict,
              "weights of the hand-pose network"},
    ConfigKey{"handpose", "model_probability_threshold", fraction, 0, 1, loose,
              "how sure the hand-pose network must be of a hand"},
    ConfigKey{"handpose", "horizontal_offset_tolerance", fraction, 0, 0.49, loose,
              "smallest gap between hand box and left or right edge, of the frame's width"},
    ConfigKey{"handpose", "vertical_offset_tolerance", fraction, 0, 0.49, loose,
              "smallest gap between hand box and top or bottom edge, of the frame's height"},
    ConfigKey{"handpose", "hand_size_width_min", fraction, 0, 1, loose,
              "hand box narrower than this is too small, of the frame's width"},
    ConfigKey{"handpose", "hand_size_width_max", fraction, 0, 1, loose,
              "hand box wider than this is too large, of the frame's width"},
    ConfigKey{"handpose", "hand_size_height_min", fraction, 0, 1, loose,
              "hand box lower than this is too small, of the frame's height"},
    ConfigKey{"handpose", "hand_size_height_max", fraction, 0, 1, loose,
              "hand box higher than this is too large, of the frame's height"},
    ConfigKey{"handpose", "brightness_threshold_min", integer, 0, kMostGrey, loose,
              "lowest mean grey level of a palm that is not too dark"},
    ConfigKey{"handpose", "brightness_threshold_max", integer, 0, kMostGrey, loose,
              "highest mean grey level of a palm that is not too bright"},
    ConfigKey{"handpose", "brightness_range_threshold", integer, 0, kMostGrey, loose,
              "largest difference in grey level between quarters of an evenly lit palm"},
    ConfigKey{"handpose", "blur_threshold", real, 0, kAnyNumber, loose,
              "least sharpness of a palm that is not blurred"},
    ConfigKey{"handpose", "blur_threshold_min", integer, 0, kAnyNumber, optional,
              "kept for the host; the library does not read it"},
    ConfigKey{"handpose", "blur_threshold_max", integer, 0, kAnyNumber, optional,
              "kept for the host; the library does not read it"},
    ConfigKey{"handpose", "enable_enhance", integer, 0, kAnyNumber, optional,
              "kept for the host; the library does not read it"},
    ConfigKey{"handpose", "dynamic_detection_level", integer, 0, 4, optional,
              "how much captures of one enrolment must differ: 0 not at all, 4 most; 3 if absent"},
    ConfigKey{"feature", "input_w", integer, 128, 128, strict,
              "width of the palm picture that the feature networks see, in pixels"},
    ConfigKey{"feature", "input_h", integer, 128, 128, strict,
              "height of the palm picture that the feature networks see, in pixels"},
    ConfigKey{"feature", "model_path_net", path, 0, 0, strict,
              "description of the feature network"},
    ConfigKey{"feature", "model_path_blobs", path, 0, 0, strict, "weights of the feature network"},
    ConfigKey{"feature", "support_model_path_net", path, 0, 0, strict,
              "description of the support network"},
    ConfigKey{"feature", "support_model_path_blobs", path, 0, 0, strict,
              "weights of the support network"},
    ConfigKey{"feature", "feature_len", integer, 512, 512, strict, "bytes of one feature block"},
    ConfigKey{"feature", "security_level", integer, 1, 100, loose,
              "how many matches in a row confirm a palm"},
    ConfigKey{"feature", "auth_threshold", real, 0, 1, loose,
              "similarity above which blocks 0 and 1 match"},
    ConfigKey{"feature", "filter_threshold", real, 0, 1, loose,
              "similarity above which block 2 matches"},
    ConfigKey{"database", "database_path", text, 0, 0, strict, "the template database"},
    ConfigKey{"database", "search_index_path", text, 0, 0, strict,
              "the feature cache, which the search scans"},
    ConfigKey{"database", "regis_center_count", integer, 1, 1000, strict,
              "templates kept of a palm"},
    ConfigKey{"database", "regis_max_count", integer, 2, 1000, loose, "captures of an enrolment"},
    ConfigKey{"", "debug", truth, 0, 0, loose, "prints the brightness of every palm"},
};

std::string withRange(const char* kind, const ConfigKey& key) {
    if (key.least == key.most) {
        return std::string(kind) + ", " + plain(key.least);
    }
    if (key.most == kAnyNumber) {
        return std::string(kind) + ", " + plain(key.least) + " or more";
    }
    return std::string(kind) + " from " + plain(key.least) + " to " + plain(key.most);
}

}  // namespace

std::span<const ConfigKey> configKeys() {
    return kKeys;
}

std::string nameOf(const ConfigKey& key) {
    return *key.section == '\0' ? key.key : std::string(key.section) + "." + key.key;
}

std::string rangeOf(const ConfigKey& key) {
    switch (key.kind) {
        case integer: return withRange("a whole number", key);
        case real:
        case fraction: return withRange("a number", key);
        case path: return "the path of a file";
        case text: return "a path";
        case truth: return "true or false";
    }
    return {};
}

}  // namespace brairu::tool
