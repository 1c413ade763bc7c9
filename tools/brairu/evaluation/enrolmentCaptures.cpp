#include "evaluation/enrolmentCaptures.h"

#include <algorithm>

#include "match/registration.h"

namespace brairu::tool {
namespace {

void compareAll(const std::vector<FeatureBlock>& captures, ScoreDistribution& similarity) {
    for (auto one = captures.begin(); one != captures.end(); ++one) {
        for (auto other = one + 1; other != captures.end(); ++other) {
            similarity.add(cosineSimilarity(*one, *other));
        }
    }
}

void tryLater(const std::vector<FeatureBlock>& captures, int maxCount, EnrolmentCaptures& result) {
    const auto half = std::min(static_cast<std::size_t>(maxCount / 2), captures.size());
    RegisterBuffer buffer;
    for (std::size_t i = 0; i < half; ++i) {
        buffer.add({captures[i], {}, {}});
    }
    result.later += captures.size() - half;
    for (RepeatRow& row : result.repeats) {
        for (std::size_t i = half; i < captures.size(); ++i) {
            row.refused += repeatsFirstHalf(buffer, captures[i], maxCount, row.level) ? 1 : 0;
        }
    }
}

}  // namespace

EnrolmentCaptures examineEnrolment(const CaptureSet& set, int maxCount) {
    EnrolmentCaptures result;
    for (int level = 1; RepeatRow & row : result.repeats) {
        row = {level, dynamicSimilarityCap(level)};
        ++level;
    }
    const std::vector<std::vector<std::size_t>> acquired = set.acquiredByPalm();
    for (std::size_t palm = 0; palm < std::min(acquired.size(), set.firstBystander); ++palm) {
        std::vector<FeatureBlock> captures;
        for (const std::size_t index : acquired[palm]) {
            captures.push_back(set.captures[index].blocks[0]);
        }
        compareAll(captures, result.similarity);
        tryLater(captures, maxCount, result);
    }
    return result;
}

}  // namespace brairu::tool
