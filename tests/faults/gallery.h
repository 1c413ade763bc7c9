// A folder with a small gallery of enrolled palms, which goes back to its first state for every
// fault that is tried on it.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "brairu.h"
#include "match/registration.h"
#include "store/palmTemplate.h"
#include "support/engineFolder.h"

namespace brairu::test {

inline constexpr std::array<std::int64_t, 3> kEnrolled{1, 2, 3};

// Captures of the palm of a user. Those of different users are unrelated.
std::array<std::uint8_t, kFeatureBytes> captureOfUser(std::int64_t userid);
// One that is recognised, but so little alike that the template learns from it.
std::array<std::uint8_t, kFeatureBytes> weakCaptureOfUser(std::int64_t userid);
// A template: that of the enrolment, and another one that is recognised as well.
std::vector<std::uint8_t> templateOfUser(std::int64_t userid);
std::vector<std::uint8_t> newTemplateOfUser(std::int64_t userid);

PvaUserKey keyOfUser(std::int64_t userid);
int rowsOfUser(std::int64_t userid);
// The user that the engine recognises in a capture; 0 for none.
std::int64_t recognised(const std::array<std::uint8_t, kFeatureBytes>& capture);

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

    // Expects a start that finds cache and table in agreement and leaves nothing behind, the
    // palms of these users recognised, and every row mirrored. To be called in a fresh process.
    void expectWhole(const std::vector<std::int64_t>& users) const;

private:
    void expectMirrored() const;

    EngineFolder folder_;
    int centres_ = 1;
    std::map<std::string, SparseFile> files_;
};

}  // namespace brairu::test
