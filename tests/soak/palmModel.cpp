#include "soak/palmModel.h"

#include <algorithm>
#include <cmath>

namespace brairu::test {
namespace {

int signedAt(const std::uint8_t* bytes, std::size_t place) {
    return static_cast<std::int8_t>(bytes[place]);
}

std::uint8_t byteOf(float value) {
    return static_cast<std::uint8_t>(static_cast<std::int8_t>(value));
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

TemplateBytes learned(const TemplateBytes& stored, const Features& capture) {
    constexpr float kWeight = 0.15f;
    const auto rest = static_cast<float>(1.0 - static_cast<double>(kWeight));
    TemplateBytes result{};
    for (std::size_t i = 0; i < capture.size(); ++i) {
        result[i] = byteOf(kWeight * static_cast<float>(signedAt(capture.data(), i)) +
                           rest * static_cast<float>(signedAt(stored.data(), i)));
    }
    return result;
}

TemplateBytes templateOf(const Features& features) {
    TemplateBytes stored{};
    std::ranges::copy(features, stored.begin());
    return stored;
}

double cosine(const std::uint8_t* a, const std::uint8_t* b) {
    double aa = 0;
    double bb = 0;
    double ab = 0;
    for (std::size_t i = 0; i < PVA_FEATURE_BLOCK_BYTES; ++i) {
        aa += signedAt(a, i) * signedAt(a, i);
        bb += signedAt(b, i) * signedAt(b, i);
        ab += signedAt(a, i) * signedAt(b, i);
    }
    return ab / std::sqrt(aa * bb);
}

}  // namespace brairu::test
