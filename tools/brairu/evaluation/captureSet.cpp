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

}  // namespace brairu::tool
