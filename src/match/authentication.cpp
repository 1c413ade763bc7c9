#include "match/authentication.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "match/search.h"

namespace brairu {
namespace {

constexpr double kStrongMatch = 0.78;
constexpr float kLearningWeight = 0.15f;
constexpr double kThirdBlockAllowance = 0.1;

using TemplateBytes = std::array<std::uint8_t, kTemplateBytes>;

// The stored template, drawn towards the mean of the recent probes. Its trailer is not carried
// over.
TemplateBytes learnedTemplate(const TemplateBytes& stored, const AuthHistory& history) {
    TemplateBytes learned{};
    for (std::size_t block = 0; block < kBlocks; ++block) {
        const std::size_t offset = block * kBlockBytes;
        const FeatureBlock recent = meanFeature(history.blocks(block));
        const FeatureBlock blended =
            blendFeature(recent, blockOf(stored.data() + offset, kBlockBytes), kLearningWeight);
        std::ranges::copy(bytesOf(blended), learned.begin() + static_cast<std::ptrdiff_t>(offset));
    }
    return learned;
}

bool hasStoredLength(const FeatureBlock& block) {
    return block.size() == static_cast<Eigen::Index>(kBlockBytes);
}

bool canLearn(const AuthHistory& history) {
    return static_cast<double>(history.meanSimilarity()) <= kStrongMatch &&
           std::ranges::all_of(history.blocks(0), hasStoredLength);
}

// Ends a full history: its matches confirm a palm, or count for nothing.
bool settle(TemplateStore& store, AuthHistory& history, int templateIndex, PvaAuthResult& result) {
    const int id = history.oldestRowId();
    const bool confirmed = history.agrees();
    if (confirmed && canLearn(history)) {
        learn(store, history, templateIndex);
    }
    history.clear();
    if (confirmed) {
        store.keyOfId(id, result.userid, result.palmindex);
    }
    return confirmed;
}

}  // namespace

// All that may fail comes first: the lists stay of one length.
void AuthHistory::add(CaptureBlocks probe, const PvaAuthResult& match) {
    const auto makeRoom = [](auto& list) { list.reserve(list.size() + 1); };
    std::ranges::for_each(blocks_, makeRoom);
    makeRoom(rowIds_);
    makeRoom(similarities_);
    for (std::size_t block = 0; block < kBlocks; ++block) {
        blocks_[block].push_back(std::move(probe[block]));
    }
    rowIds_.push_back(match.rowId);
    similarities_.push_back(match.similarity);
}

void AuthHistory::clear() {
    *this = {};
}

void AuthHistory::cutTo(int length) {
    const int excess = count() - length;
    if (excess <= 0) {
        return;
    }
    const auto cut = [excess](auto& list) { list.erase(list.begin(), list.begin() + excess); };
    std::ranges::for_each(blocks_, cut);
    cut(rowIds_);
    cut(similarities_);
}

bool AuthHistory::agrees() const {
    return std::ranges::all_of(rowIds_, [this](int id) { return id == oldestRowId(); });
}

float AuthHistory::meanSimilarity() const {
    const float sum = std::accumulate(similarities_.begin(), similarities_.end(), 0.0f);
    return sum / static_cast<float>(similarities_.size());
}

void learn(TemplateStore& store, const AuthHistory& history, int templateIndex) {
    const int id = history.oldestRowId();
    TemplateBytes stored{};
    if (store.readTemplate(id, templateIndex, stored)) {
        store.writeTemplate(id, templateIndex, learnedTemplate(stored, history));
    }
}

bool identify(TemplateStore& store, AuthHistory& history, int securityLevel,
              const CaptureBlocks& probe, PvaAuthResult& result) {
    int templateIndex = 0;
    if (!matchProbe(store, {probe[0], probe[1], probe[2]}, result, templateIndex)) {
        return false;
    }
    const int needed = std::max(securityLevel, 1);
    history.add(probe, result);
    history.cutTo(needed);
    return history.count() == needed && settle(store, history, templateIndex, result);
}

BlockSimilarities compareCaptures(const std::uint8_t* probe, const std::uint8_t* reference) {
    BlockSimilarities similarities{};
    for (std::size_t block = 0; block < kBlocks; ++block) {
        const std::size_t offset = block * kBlockBytes;
        const double distance = cosineDistance(blockOf(probe + offset, kBlockBytes),
                                               blockOf(reference + offset, kBlockBytes));
        similarities[block] = static_cast<float>(1.0 - distance);
    }
    return similarities;
}

float reportedSimilarity(const BlockSimilarities& similarities) {
    return (similarities[0] + similarities[1]) * 0.5f;
}

double thirdBlockThreshold(float authThreshold) {
    return static_cast<double>(authThreshold) - kThirdBlockAllowance;
}

bool isSamePalm(const BlockSimilarities& similarities, float authThreshold) {
    return similarities[0] >= authThreshold && similarities[1] >= authThreshold &&
           static_cast<double>(similarities[2]) >= thirdBlockThreshold(authThreshold);
}

}  // namespace brairu
