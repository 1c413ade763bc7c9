#include "evaluation/nearMisses.h"

#include <algorithm>

namespace brairu::tool {
namespace {

template <typename Order>
void keep(std::vector<ScoredComparison>& list, const ScoredComparison& added, std::size_t kept,
          Order order) {
    if (list.size() == kept && !order(added.score, list.back().score)) {
        return;
    }
    const auto place = std::ranges::upper_bound(list, added.score, order, &ScoredComparison::score);
    list.insert(place, added);
    list.resize(std::min(list.size(), kept));
}

}  // namespace

void NearMisses::add(const Comparison& comparison, float score) {
    if (comparison.isGenuine()) {
        keep(genuine_, {comparison, score}, kept_, std::ranges::less());
    } else {
        keep(impostors_, {comparison, score}, kept_, std::ranges::greater());
    }
}

}  // namespace brairu::tool
