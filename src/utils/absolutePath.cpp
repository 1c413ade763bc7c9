#include "utils/absolutePath.h"

#include <filesystem>
#include <system_error>

namespace brairu {

std::string workingFolder() {
    std::error_code none;
    return std::filesystem::current_path(none).string();
}

std::string pathFrom(const std::string& folder, const std::string& path) {
    return path.empty() ? path : (std::filesystem::path(folder) / path).string();
}

std::string absolutePath(const std::string& path) {
    return pathFrom(workingFolder(), path);
}

}  // namespace brairu
