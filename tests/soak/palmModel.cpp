#include "soak/palmModel.h"

#include <algorithm>

namespace brairu::test {
namespace {

int signedAt(const std::uint8_t* bytes, std::size_t place) {
    return static_cast<std::int8_t>(bytes[place]);
}

}  // namespace

Features newFeatures(SeededRandom& random) {
    Features features{};
    for (std::uint8_t& byte : features) {
        byte = static_cast<std::uint8_t>(random.between(-90, 90));
    }
    return features;
}

// Noise as strong as the signal makes a cosine of about 0.7.
Features recapture(const TemplateBytes& stored, Likeness likeness, SeededRandom& random) {
    const int noise = likeness == Likeness::near ? 20 : 90;
    Features capture{};
    for (std::size_t i = 0; i < capture.size(); ++i) {
        const int value = signedAt(stored.data(), i) + random.between(-noise, noise);
        capture[i] = static_cast<std::uint8_t>(std::clamp(value, -127, 127));
    }
    return capture;
}

Features meanOf(const std::vector<Features>& captures) {
    Features mean{};
    for (std::size_t i = 0; i < mean.size(); ++i) {
        int sum = 0;
        for (const Features& capture : captures) {
            sum += signedAt(capture.data(), i);
        }
        mean[i] = static_cast<std::uint8_t>(sum / static_cast<int>(captures.size()));
    }
    return mean;
}

TemplateBytes templateOf(const Features& features) {
    TemplateBytes stored{};
    std::ranges::copy(features, stored.begin());
    return stored;
}

}  // namespace brairu::test
