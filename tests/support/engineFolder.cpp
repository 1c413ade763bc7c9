#include "support/engineFolder.h"

#include "support/modelContainer.h"

namespace brairu::test {

EngineFolder::EngineFolder() {
    document["handpose"] = {
        {"input_w", 128},
        {"input_h", 128},
        {"model_path_net", seal("hand.net", "hand net")},
        {"model_path_blobs", seal("hand.blobs", "hand blobs")},
        {"model_probability_threshold", 0.605},
        {"horizontal_offset_tolerance", 0.025},
        {"vertical_offset_tolerance", 0.025},
        {"hand_size_width_min", 0.105},
        {"hand_size_width_max", 0.805},
        {"hand_size_height_min", 0.105},
        {"hand_size_height_max", 0.805},
        {"brightness_threshold_min", 10},
        {"brightness_threshold_max", 250},
        {"brightness_range_threshold", 200},
        {"blur_threshold", 0.0},
        {"dynamic_detection_level", 2},
    };
    document["feature"] = {
        {"input_w", 128},
        {"input_h", 128},
        {"model_path_net", seal("feature.net", "feature net")},
        {"model_path_blobs", seal("feature.blobs", "feature blobs")},
        {"support_model_path_net", seal("support.net", "support net")},
        {"support_model_path_blobs", seal("support.blobs", "support blobs")},
        {"feature_len", 512},
        {"security_level", 1},
        {"auth_threshold", 0.5},
        {"filter_threshold", 0.5},
    };
    document["database"] = {
        {"database_path", file("palms.db")},
        {"search_index_path", file("palms.bin")},
        {"regis_center_count", 1},
        {"regis_max_count", 6},
    };
    document["debug"] = false;
}

std::string EngineFolder::writeConfig() const {
    return folder_.write("brairu.json", document.dump(4));
}

std::string EngineFolder::seal(std::string_view name, std::string_view model) const {
    return folder_.write(name, sealedModel(model));
}

}  // namespace brairu::test
