#include "evaluation/palmPairs.h"

#include <algorithm>

namespace brairu::tool {

void PalmPairs::add(const Comparison& comparison, float score) {
    const bool goesOn = current_ && current_->probePalm == comparison.probePalm &&
                        current_->referencePalm == comparison.referencePalm;
    if (goesOn) {
        current_->highest = std::max(current_->highest, score);
        return;
    }
    finish();
    current_ = {comparison.probePalm, comparison.referencePalm, score};
}

void PalmPairs::finish() {
    if (current_) {
        highest_.add(current_->highest);
        current_.reset();
    }
}

}  // namespace brairu::tool
