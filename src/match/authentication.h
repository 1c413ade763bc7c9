// 1:N identification with a history of agreeing matches and learning, and 1:1 verification.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "brairu.h"
#include "match/registration.h"
#include "match/similarity.h"
#include "store/templateStore.h"

namespace brairu {

// The successful matches since the last confirmation, oldest first.
class AuthHistory {
public:
    void add(CaptureBlocks probe, const PvaAuthResult& match);
    void clear();

    // Drops the oldest entries beyond a length.
    void cutTo(int length);

    int count() const { return static_cast<int>(rowIds_.size()); }
    int oldestRowId() const { return rowIds_.front(); }
    bool agrees() const;
    float meanSimilarity() const;
    const std::vector<FeatureBlock>& blocks(std::size_t block) const { return blocks_[block]; }

private:
    std::array<std::vector<FeatureBlock>, kBlocks> blocks_;
    std::vector<int> rowIds_;
    std::vector<float> similarities_;
};

// One 1:N attempt. True when a palm is confirmed by securityLevel agreeing matches; result is then
// complete, and the template that matched may have learned from them. Needs the API lock.
bool identify(TemplateStore& store, AuthHistory& history, int securityLevel,
              const CaptureBlocks& probe, PvaAuthResult& result);

// Draws a stored template towards the mean of the history's probes, and rewrites it. Faults are
// logged by the store and change nothing else.
void learn(TemplateStore& store, const AuthHistory& history, int templateIndex);

// The cosines of the blocks of two captures, subtracted in double precision and kept in single.
using BlockSimilarities = std::array<float, kBlocks>;

// Compares two captures of PVA_FEATURE_BYTES each.
BlockSimilarities compareCaptures(const std::uint8_t* probe, const std::uint8_t* reference);

// What a 1:1 comparison reports: the mean of the first two blocks.
float reportedSimilarity(const BlockSimilarities& similarities);

// What the third block has to reach where the others have to reach authThreshold.
double thirdBlockThreshold(float authThreshold);

// Whether two captures are of the same palm. The third block is granted a lower threshold.
bool isSamePalm(const BlockSimilarities& similarities, float authThreshold);

}  // namespace brairu
