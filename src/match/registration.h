// Enrolment: captures are buffered, refused when they repeat each other, and reduced to centre
// templates.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "brairu.h"
#include "match/similarity.h"
#include "store/templateStore.h"

namespace brairu {

// The three blocks of one capture.
using CaptureBlocks = std::array<FeatureBlock, kBlocks>;

// Copies 3 x blockLength bytes at feature. A length below 1 gives empty blocks.
CaptureBlocks splitFeature(const std::uint8_t* feature, int blockLength);

// The captures of the running enrolment, block by block and in order of arrival; after
// computeCentres the centres that they were reduced to.
class RegisterBuffer {
public:
    void add(CaptureBlocks capture);
    void clear();
    int count() const { return static_cast<int>(lists_[0].size()); }

    // True when block0 is more similar than cap to that of a buffered capture.
    bool hasSimilar(const FeatureBlock& block0, float cap) const;

    std::array<std::vector<FeatureBlock>, kBlocks>& lists() { return lists_; }
    const std::array<std::vector<FeatureBlock>, kBlocks>& lists() const { return lists_; }

private:
    std::array<std::vector<FeatureBlock>, kBlocks> lists_;
};

// How similar two captures of one enrolment may be, by dynamic detection level.
float dynamicSimilarityCap(int level);

// Whether the next capture must be refused: the first one after the first half of an enrolment must
// differ from all before it. Level 0 refuses none.
bool repeatsFirstHalf(const RegisterBuffer& buffer, const FeatureBlock& block0, int maxCount,
                      int level);

// Reduces the buffer to centreCount centres per block: the mean of all captures, then the means of
// groups of equal size by distance from it. False if there is nothing to reduce. Throws
// std::invalid_argument when a group is empty.
bool computeCentres(RegisterBuffer& buffer, int centreCount);

enum class CommitOutcome { committed, duplicate, failed };

// Turns the buffer into an enrolled palm. Needs the API lock.
CommitOutcome commitRegistration(TemplateStore& store, RegisterBuffer& buffer,
                                 const PvaUserKey& key, bool checkDuplicate);

}  // namespace brairu
