#include "samples.h"

#include <array>
#include <deque>
#include <random>
#include <string>
#include <unordered_map>

#include "brairu.h"

namespace brairu::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

// The cosine of a faint capture with its template: above the thresholds, below a strong match.
constexpr double kFaintCosine = 0.7;
constexpr double kFaintRest = 0.714;  // what makes the length that of the template

// Block values are spread over a range that leaves room for sums of two.
constexpr int kHalfRange = 40;

Bytes bytesOf(const std::vector<int>& values) {
    Bytes bytes;
    for (const int value : values) {
        bytes.push_back(static_cast<std::uint8_t>(static_cast<std::int8_t>(value)));
    }
    return bytes;
}

std::vector<int> randomCapture(unsigned seed) {
    std::mt19937 generator(seed);
    std::vector<int> values(PVA_FEATURE_BYTES);
    for (int& value : values) {
        value = static_cast<int>(generator() % (2 * kHalfRange + 1)) - kHalfRange;
    }
    return values;
}

Bytes faintCapture(int sample) {
    std::vector<int> values = randomCapture(static_cast<unsigned>(sample));
    const std::vector<int> other = randomCapture(static_cast<unsigned>(sample) + 1000);
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = static_cast<int>(kFaintCosine * values[i] + kFaintRest * other[i]);
    }
    return bytesOf(values);
}

struct Sample {
    explicit Sample(int number)
        : plain(bytesOf(randomCapture(static_cast<unsigned>(number)))),
          faint(faintCapture(number)),
          stored(plain) {
        stored.resize(PVA_TEMPLATE_BYTES, static_cast<std::uint8_t>(number + 1));
    }

    Bytes plain;
    Bytes faint;
    Bytes stored;
};

const Sample& sampleAt(int sample) {
    static const std::array<Sample, kSamples> samples{Sample(0), Sample(1), Sample(2), Sample(3)};
    return samples.at(static_cast<std::size_t>(sample));
}

// A deque, whose elements stay where they are.
std::deque<Bytes>& knownTemplates() {
    static std::deque<Bytes> templates;
    return templates;
}

int numberOf(const Bytes& bytes) {
    static std::unordered_map<std::string, int> numbers;
    const auto [place, isNew] = numbers.try_emplace(std::string(bytes.begin(), bytes.end()),
                                                    static_cast<int>(numbers.size()));
    if (isNew) {
        knownTemplates().push_back(bytes);
    }
    return place->second;
}

}  // namespace

const std::vector<std::uint8_t>& templateOfSample(int sample) {
    return sampleAt(sample).stored;
}

const std::vector<std::uint8_t>& captureOfSample(int sample, bool faint) {
    return faint ? sampleAt(sample).faint : sampleAt(sample).plain;
}

TemplateNumber::TemplateNumber(const std::vector<std::uint8_t>& bytes) : number_(numberOf(bytes)) {}

const std::vector<std::uint8_t>& TemplateNumber::bytes() const {
    return knownTemplates()[static_cast<std::size_t>(number_)];
}

}  // namespace brairu::test
