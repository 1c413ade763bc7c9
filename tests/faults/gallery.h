// A folder with a small gallery of enrolled palms, which goes back to its first state for every
// fault that is tried on it.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "brairu.h"
#include "palms.h"
#include "support/engineFolder.h"

namespace brairu::test {

inline constexpr std::array<std::int64_t, 3> kEnrolled{1, 2, 3};

// A file without its pages of zeros.
struct SparseFile {
    std::size_t size = 0;
    std::map<std::size_t, std::string> pages;  // by offset
};

class Gallery {
public:
    // Enrols the palms in a process of its own.
    Gallery();

    // Every file as it was, and no other.
    void restore() const;
    void remove(const std::string& name) const;
    void setCentres(int centres);

    std::string file(const std::string& name) const { return folder_.file(name); }
    std::string configPath() const { return folder_.configPath(); }
    std::uint32_t start() const { return init_pva(configPath().c_str()); }

    // Expects a start that finds cache and table in agreement, the palms of some users recognised
    // and of others not, and every row mirrored. To be called in a fresh process.
    void expectWhole(const std::vector<std::int64_t>& present,
                     const std::vector<std::int64_t>& absent) const;

    // Files on the way to becoming the configuration.
    int unfinishedConfigs() const;

private:
    void expectMirrored() const;

    EngineFolder folder_;
    int centres_ = 1;
    std::map<std::string, SparseFile> files_;
};

}  // namespace brairu::test
