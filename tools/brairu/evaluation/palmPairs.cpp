#include "evaluation/palmPairs.h"

#include <algorithm>

namespace brairu::tool {
namespace {

constexpr float kNotCompared = -2.0f;
constexpr float kLeast = -1.0f;

template <typename List, typename... Value>
void grow(List& list, std::size_t size, const Value&... value) {
    if (list.size() < size) {
        list.resize(size, value...);
    }
}

}  // namespace

void PalmPairs::add(const Comparison& comparison, float score) {
    const auto [low, high] = std::minmax(comparison.probePalm, comparison.referencePalm);
    grow(pairs_, high + 1);
    std::vector<float>& others = pairs_[high];
    grow(others, low + 1, kNotCompared);
    // What is no number is the least, as it is for the distribution.
    others[low] = std::max(others[low], score > kLeast ? score : kLeast);
}

void PalmPairs::finish() {
    for (const std::vector<float>& others : pairs_) {
        for (const float highest : others) {
            if (highest != kNotCompared) {
                highest_.add(highest);
            }
        }
    }
    pairs_.clear();
}

}  // namespace brairu::tool
