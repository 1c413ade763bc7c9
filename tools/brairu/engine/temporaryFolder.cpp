#include "engine/temporaryFolder.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "fault.h"

namespace brairu::tool {
namespace {

std::string makeFolder() {
    std::error_code ignored;
    std::filesystem::path base = std::filesystem::temp_directory_path(ignored);
    std::string name = (base / "brairu-XXXXXX").string();
    if (base.empty() || ::mkdtemp(name.data()) == nullptr) {
        throw EngineFault("no temporary folder can be made in \"" + base.string() + "\"",
                          "Name a folder that can be written in the environment variable TMPDIR.");
    }
    return name;
}

}  // namespace

TemporaryFolder::TemporaryFolder() : path_(makeFolder()) {}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace brairu::tool
