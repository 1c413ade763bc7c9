// The templates and captures that the concurrent callers hand over.
#pragma once

#include <compare>
#include <cstdint>
#include <vector>

namespace brairu::test {

inline constexpr int kSamples = 4;

// A palm's template, and captures of that palm: the plain one is the template without its last
// bytes; the faint one matches too, but so weakly that a template which is confirmed by such
// captures learns from them. Samples match no other sample.
const std::vector<std::uint8_t>& templateOfSample(int sample);
const std::vector<std::uint8_t>& captureOfSample(int sample, bool faint);

// A number for a template of these bytes, the same for the same bytes, and back. For one thread.
class TemplateNumber {
public:
    explicit TemplateNumber(const std::vector<std::uint8_t>& bytes);

    // For as long as the program runs.
    const std::vector<std::uint8_t>& bytes() const;

    auto operator<=>(const TemplateNumber&) const = default;

private:
    int number_;
};

}  // namespace brairu::test
