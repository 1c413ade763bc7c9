#include "storeModel.h"

#include <algorithm>
#include <numeric>

#include "match/similarity.h"
#include "store/palmTemplate.h"

namespace brairu::test {
namespace {

constexpr std::size_t kMostHits = 25;
constexpr double kStrongMatch = 0.78;
constexpr float kLearningWeight = 0.15f;

FeatureBlock blockAt(TemplateNumber number, std::size_t block) {
    return blockOf(number.bytes().data() + block * kBlockBytes, kBlockBytes);
}

// The search asks for the same pairs again and again.
float searchSimilarity(TemplateNumber probe, TemplateNumber stored) {
    static std::map<std::pair<TemplateNumber, TemplateNumber>, float> known;
    const auto [place, isNew] = known.try_emplace({probe, stored}, 0.0f);
    if (isNew) {
        place->second =
            indexSimilarity(blockAt(probe, 0).data(), blockAt(stored, 0).data(), kBlockBytes);
    }
    return place->second;
}

bool otherBlocksAgree(TemplateNumber probe, TemplateNumber stored) {
    return cosineSimilarity(blockAt(probe, 1), blockAt(stored, 1)) > kThreshold &&
           cosineSimilarity(blockAt(probe, 2), blockAt(stored, 2)) > kThreshold;
}

}  // namespace

const StoreModel::Palm* StoreModel::find(const PvaUserKey& key) const {
    const auto found =
        std::ranges::find_if(palms_, [&](const Palm& palm) { return palm.has(key); });
    return found == palms_.end() ? nullptr : &*found;
}

StoreModel::Palm* StoreModel::findById(int id) {
    const auto found = std::ranges::find(palms_, id, &Palm::id);
    return found == palms_.end() ? nullptr : &*found;
}

void StoreModel::mirror(int id, const Row& row) {
    for (int index = 0; index < kCentres; ++index) {
        slots_.insert_or_assign(kCentres * (id - 1) + index, row[static_cast<std::size_t>(index)]);
    }
}

void StoreModel::append(const PvaUserKey& key, const Row& row) {
    ++lastId_;
    mirror(lastId_, row);
    palms_.push_back({lastId_, key.userid, key.palmindex, row});
}

// The history of matches survives.
void StoreModel::wipe() {
    palms_.clear();
    slots_.clear();
    lastId_ = 0;
    featureCount_ = 0;
}

void StoreModel::insert(const PvaUserKey& key, const Row& row) {
    append(key, row);
    featureCount_ = static_cast<int>(slots_.size());
}

// Rows of the same key all change; the slots are those of the first.
bool StoreModel::replace(const PvaUserKey& key, const Row& row) {
    const Palm* first = find(key);
    if (first == nullptr) {
        return false;
    }
    mirror(first->id, row);
    for (Palm& palm : palms_) {
        if (palm.has(key)) {
            palm.row = row;
        }
    }
    return true;
}

// Rows of the same key all go; the slots that are freed are those of the first.
bool StoreModel::remove(const PvaUserKey& key) {
    const Palm* first = find(key);
    if (featureCount_ == 0 || first == nullptr) {
        return false;
    }
    for (int index = 0; index < kCentres; ++index) {
        slots_.erase(kCentres * (first->id - 1) + index);
    }
    std::erase_if(palms_, [&](const Palm& palm) { return palm.has(key); });
    const bool counted = featureCount_ >= kCentres;
    featureCount_ -= counted ? kCentres : 0;
    return counted;
}

const StoreModel::Row* StoreModel::read(const PvaUserKey& key) const {
    const Palm* palm = find(key);
    return palm == nullptr ? nullptr : &palm->row;
}

std::vector<std::int32_t> StoreModel::palmIndexesOf(std::int64_t userid) const {
    std::vector<std::int32_t> indexes;
    for (const Palm& palm : palms_) {
        if (palm.userid == userid) {
            indexes.push_back(palm.palmindex);
        }
    }
    return indexes;
}

int StoreModel::enrol(const PvaUserKey& key, TemplateNumber centre, bool checkDuplicate) {
    PvaAuthResult ignoredResult{};
    int ignoredIndex = 0;
    if (checkDuplicate && match(centre, ignoredResult, ignoredIndex)) {
        return PVA_REGISTER_DUPLICATE;
    }
    append(key, Row(kCentres, centre));
    featureCount_ += kCentres;
    return PVA_REGISTER_COMMITTED;
}

std::vector<StoreModel::Hit> StoreModel::bestHits(TemplateNumber probe) const {
    std::vector<Hit> hits;
    for (const auto& [slot, stored] : slots_) {
        hits.push_back({slot, searchSimilarity(probe, stored)});
    }
    std::ranges::stable_sort(hits, std::greater(), &Hit::similarity);
    hits.resize(std::min({hits.size(), static_cast<std::size_t>(featureCount_), kMostHits}));
    return hits;
}

bool StoreModel::match(TemplateNumber probe, PvaAuthResult& result, int& templateIndex) {
    for (const Hit& hit : bestHits(probe)) {
        templateIndex = hit.slot % kCentres;
        if (!(hit.similarity > kThreshold)) {
            continue;
        }
        const int id = hit.slot / kCentres + 1;
        const Palm* palm = findById(id);
        if (palm == nullptr ||
            otherBlocksAgree(probe, palm->row[static_cast<std::size_t>(templateIndex)])) {
            result.rowId = id;
            result.similarity = hit.similarity;
            return palm != nullptr;
        }
    }
    return false;
}

bool StoreModel::identify(TemplateNumber probe, PvaAuthResult& result) {
    int templateIndex = 0;
    if (!match(probe, result, templateIndex)) {
        return false;
    }
    matches_.push_back({probe, result.rowId, result.similarity});
    return matches_.size() == kSecurityLevel && settle(templateIndex, result);
}

bool StoreModel::settle(int templateIndex, PvaAuthResult& result) {
    const int id = matches_.front().id;
    const bool confirmed =
        std::ranges::all_of(matches_, [&](const Match& m) { return m.id == id; });
    Palm* palm = findById(id);
    if (confirmed && palm != nullptr) {
        learn(*palm, templateIndex);
        result.userid = palm->userid;
        result.palmindex = palm->palmindex;
    }
    matches_.clear();
    return confirmed;
}

// Only from weak matches. The last bytes become zeros.
void StoreModel::learn(Palm& palm, int templateIndex) {
    float sum = 0.0f;
    for (const Match& match : matches_) {
        sum += match.similarity;
    }
    if (static_cast<double>(sum / static_cast<float>(matches_.size())) > kStrongMatch) {
        return;
    }
    TemplateNumber& stored = palm.row[static_cast<std::size_t>(templateIndex)];
    std::vector<std::uint8_t> learned(kTemplateBytes);
    for (std::size_t block = 0; block < kBlocks; ++block) {
        std::vector<FeatureBlock> recent;
        for (const Match& match : matches_) {
            recent.push_back(blockAt(match.probe, block));
        }
        const FeatureBlock blended =
            blendFeature(meanFeature(recent), blockAt(stored, block), kLearningWeight);
        std::ranges::copy(brairu::bytesOf(blended),
                          learned.begin() + static_cast<std::ptrdiff_t>(block * kBlockBytes));
    }
    stored = TemplateNumber(learned);
    slots_.insert_or_assign(kCentres * (palm.id - 1) + templateIndex, stored);
}

}  // namespace brairu::test
