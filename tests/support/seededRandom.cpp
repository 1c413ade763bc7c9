#include "support/seededRandom.h"

#include <cstdio>
#include <cstdlib>

namespace brairu::test {
namespace {

constexpr std::uint32_t kUsualSeed = 20'231;

std::uint32_t chosenSeed() {
    const char* text = std::getenv("BRAIRU_TEST_SEED");
    return text != nullptr ? static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10))
                           : kUsualSeed;
}

}  // namespace

SeededRandom::SeededRandom() {
    const std::uint32_t seed = chosenSeed();
    std::printf("BRAIRU_TEST_SEED=%u\n", seed);
    generator_.seed(seed);
}

int SeededRandom::between(int first, int last) {
    return std::uniform_int_distribution(first, last)(generator_);
}

float SeededRandom::fraction(float first, float last) {
    return std::uniform_real_distribution(first, last)(generator_);
}

}  // namespace brairu::test
