#include "evaluation/confidence.h"

#include <algorithm>
#include <cmath>

namespace brairu::tool {
namespace {

constexpr double kDoubt = 0.05;
constexpr double kRuleOfThree = 3.0;

// The chance of at most count events where mean are expected.
double chanceOfAtMost(std::uint64_t count, double mean) {
    double sum = 0.0;
    double logTerm = -mean;
    for (std::uint64_t events = 0; events <= count; ++events) {
        sum += std::exp(logTerm);
        logTerm += std::log(mean) - std::log(static_cast<double>(events) + 1.0);
    }
    return sum;
}

double exactBound(std::uint64_t events) {
    double low = 0.0;
    double high = 2.0 * static_cast<double>(events) + 10.0;
    for (int halving = 0; halving < 60; ++halving) {
        const double middle = (low + high) / 2.0;
        (chanceOfAtMost(events, middle) > kDoubt ? low : high) = middle;
    }
    return high;
}

// After E. B. Wilson and M. M. Hilferty, "The distribution of chi-square", 1931.
double manyEventsBound(std::uint64_t events) {
    constexpr double kDeviations = 1.6449;
    const double next = static_cast<double>(events) + 1.0;
    const double root = 1.0 - 1.0 / (9.0 * next) + kDeviations / (3.0 * std::sqrt(next));
    return next * root * root * root;
}

}  // namespace

double upperBound(std::uint64_t errors, std::uint64_t trials) {
    constexpr std::uint64_t kMany = 400;
    if (trials == 0) {
        return 1.0;
    }
    const double most = errors < kMany ? exactBound(errors) : manyEventsBound(errors);
    return std::min(1.0, most / static_cast<double>(trials));
}

double lowestTold(std::uint64_t trials) {
    return trials == 0 ? 1.0 : std::min(1.0, kRuleOfThree / static_cast<double>(trials));
}

std::uint64_t trialsToTell(double rate) {
    return static_cast<std::uint64_t>(std::ceil(kRuleOfThree / rate - 1e-6));
}

double rateOfAny(double rate, double comparisons) {
    return -std::expm1(comparisons * std::log1p(-rate));
}

double rateOfEach(double rateOfAny, double comparisons) {
    return -std::expm1(std::log1p(-rateOfAny) / comparisons);
}

}  // namespace brairu::tool
