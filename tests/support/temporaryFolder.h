#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace brairu::test {

// A fresh folder that goes with the object.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string file(std::string_view name) const { return (path_ / name).string(); }

    // Writes a file and returns its path.
    std::string write(std::string_view name, std::string_view content) const;

private:
    std::filesystem::path path_;
};

std::string readFile(const std::string& path);

}  // namespace brairu::test
