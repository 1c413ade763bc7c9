#include "evaluation/captureSet.h"

#include <algorithm>

#include "evaluation/share.h"

namespace brairu::tool {

std::size_t CaptureSet::probesTaken() const {
    return static_cast<std::size_t>(std::ranges::count_if(
        captures, [this](const EvaluatedCapture& each) { return each.palm < firstBystander; }));
}

std::size_t CaptureSet::probesAcquired() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(captures, [this](const EvaluatedCapture& each) {
            return each.palm < firstBystander && each.isAcquired();
        }));
}

double CaptureSet::failureToAcquire() const {
    const std::size_t taken = probesTaken();
    return share(taken - probesAcquired(), taken);
}

std::vector<std::vector<std::size_t>> CaptureSet::acquiredByPalm() const {
    std::vector<std::vector<std::size_t>> byPalm(palms.size());
    for (std::size_t index = 0; index < captures.size(); ++index) {
        if (captures[index].isAcquired()) {
            byPalm[captures[index].palm].push_back(index);
        }
    }
    return byPalm;
}

}  // namespace brairu::tool
