#include "referenceEngine.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace brairu::fuzz {
namespace {

constexpr std::int64_t kPalms = 10000;
constexpr int kTemplate = 1546;
constexpr int kBlock = 512;
constexpr std::size_t kHits = 25;

std::int64_t product(const Block& a, const Block& b) {
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        sum += a[i] * b[i];
    }
    return sum;
}

// The sums are whole numbers below 2^24 and thus exact in single precision, in any order.
float cosineDistance(const Block& a, const Block& b) {
    const float lengths =
        std::sqrt(static_cast<float>(product(a, a))) * std::sqrt(static_cast<float>(product(b, b)));
    return 1.0F - static_cast<float>(product(a, b)) / lengths;
}

float cosine(const Block& a, const Block& b) {
    return 1.0F - cosineDistance(a, b);
}

float indexSimilarity(const Block& probe, const Block& stored) {
    const auto pp = static_cast<double>(product(probe, probe));
    const auto ss = static_cast<double>(product(stored, stored));
    const auto ps = static_cast<double>(product(probe, stored));
    if (pp == 0 && ss == 0) {
        return 1.0F;
    }
    if (ps == 0) {
        return 0.0F;
    }
    const double distance = 1.0 - ps * (1.0 / std::sqrt(pp)) * (1.0 / std::sqrt(ss));
    return distance > 0 ? 1.0F - static_cast<float>(distance) : 1.0F;
}

Block mean(const std::vector<Block>& blocks) {
    Block result(kBlock);
    for (std::size_t i = 0; i < result.size(); ++i) {
        int sum = 0;
        for (const Block& block : blocks) {
            sum += block[i];
        }
        result[i] =
            static_cast<std::int8_t>(static_cast<float>(sum) / static_cast<float>(blocks.size()));
    }
    return result;
}

Capture mean(const std::vector<Capture>& captures) {
    Capture result;
    for (std::size_t k = 0; k < 3; ++k) {
        std::vector<Block> blocks;
        for (const Capture& capture : captures) {
            blocks.push_back(capture[k]);
        }
        result[k] = mean(blocks);
    }
    return result;
}

Block blended(const Block& recent, const Block& stored) {
    const float weight = 0.15F;
    const auto rest = static_cast<float>(1.0 - static_cast<double>(weight));
    Block result(kBlock);
    for (std::size_t i = 0; i < result.size(); ++i) {
        const float fresh = weight * static_cast<float>(recent[i]);
        const float old = rest * static_cast<float>(stored[i]);
        result[i] = static_cast<std::int8_t>(fresh + old);
    }
    return result;
}

float cap(int level) {
    switch (level) {
        case 1: return 0.90F;
        case 3: return 0.80F;
        case 4: return 0.75F;
        default: return 0.85F;
    }
}

void copyBlock(const Block& block, std::uint8_t* out) {
    std::ranges::transform(block, out, [](std::int8_t v) { return static_cast<std::uint8_t>(v); });
}

void copyCapture(const Capture& capture, std::uint8_t* out) {
    for (std::size_t k = 0; k < 3; ++k) {
        copyBlock(capture[k], out + k * kBlock);
    }
}

Capture captureAt(const Bytes& blob, int templateIndex) {
    return captureOf(std::span(blob).subspan(static_cast<std::size_t>(templateIndex) * kTemplate));
}

bool isOf(const ReferenceRow& row, const PvaUserKey& key) {
    return row.userid == key.userid && row.palmindex == key.palmindex;
}

}  // namespace

Capture captureOf(std::span<const std::uint8_t> data) {
    Capture capture;
    for (std::size_t k = 0; k < 3; ++k) {
        const auto block = data.subspan(k * kBlock, kBlock);
        capture[k].assign(block.begin(), block.end());
    }
    return capture;
}

int ReferenceEngine::rowBytes() const {
    return centres_ * kTemplate;
}

const ReferenceRow* ReferenceEngine::find(const PvaUserKey& key) const {
    const auto row = std::ranges::find_if(rows_, [&](const auto& r) { return isOf(r, key); });
    return row == rows_.end() ? nullptr : &*row;
}

const ReferenceRow* ReferenceEngine::find(std::int64_t id) const {
    const auto row = std::ranges::find(rows_, id, &ReferenceRow::id);
    return row == rows_.end() ? nullptr : &*row;
}

// Whole copies of the first template follow what is too short, then zeros.
Bytes ReferenceEngine::fitted(const Bytes& data) const {
    const auto size = static_cast<std::size_t>(rowBytes());
    Bytes first(data);
    first.resize(kTemplate);
    Bytes row(data);
    row.resize(std::min(data.size(), size));
    while (row.size() + kTemplate <= size) {
        row.insert(row.end(), first.begin(), first.end());
    }
    row.resize(size);
    return row;
}

void ReferenceEngine::mirror(std::int64_t id, const Bytes& blob) {
    if (id < 1 || id > kPalms) {
        return;
    }
    for (int j = 0; j < centres_; ++j) {
        cache_[centres_ * (id - 1) + j] = captureAt(blob, j)[0];
    }
}

void ReferenceEngine::restart(int centres) {
    centres_ = centres;
    for (ReferenceRow& row : rows_) {
        row.blob = fitted(row.blob);
    }
    cache_.clear();
    for (const ReferenceRow& row : rows_) {
        mirror(row.id, row.blob);
    }
    featureCount_ = static_cast<int>(cache_.size());
}

int ReferenceEngine::wipe() {
    rows_.clear();
    cache_.clear();
    lastId_ = 0;
    featureCount_ = 0;
    return 1;
}

void ReferenceEngine::append(const PvaUserKey& key, const Bytes& blob) {
    mirror(++lastId_, blob);
    rows_.push_back({lastId_, key.userid, key.palmindex, blob});
}

int ReferenceEngine::add(const PvaUserKey& key, Bytes data) {
    append(key, fitted(data));
    featureCount_ = static_cast<int>(cache_.size());
    return 1;
}

// Widened data counts as stored, whatever became of it.
int ReferenceEngine::update(const PvaUserKey& key, Bytes data) {
    const bool widened = data.size() < static_cast<std::size_t>(rowBytes());
    const ReferenceRow* first = find(key);
    if (first == nullptr) {
        return widened;
    }
    const Bytes blob = fitted(data);
    mirror(first->id, blob);
    for (ReferenceRow& row : rows_) {
        if (isOf(row, key)) {
            row.blob = blob;
        }
    }
    return 1;
}

Bytes ReferenceEngine::read(const PvaUserKey& key, std::size_t size) const {
    const ReferenceRow* row = find(key);
    Bytes bytes = row == nullptr ? Bytes() : row->blob;
    bytes.resize(size);
    return bytes;
}

void ReferenceEngine::readMean(const PvaUserKey& key, Bytes& out) const {
    const Bytes row = read(key, static_cast<std::size_t>(rowBytes()));
    if (centres_ == 1) {
        out = row;
        return;
    }
    std::vector<Capture> templates;
    for (int j = 0; j < centres_; ++j) {
        templates.push_back(captureAt(row, j));
    }
    copyCapture(mean(templates), out.data());
}

// All rows of the key go, but only the slots of the first.
int ReferenceEngine::remove(const PvaUserKey& key) {
    const ReferenceRow* first = find(key);
    if (featureCount_ == 0 || first == nullptr) {
        return 0;
    }
    for (int j = 0; j < centres_; ++j) {
        cache_.erase(centres_ * (first->id - 1) + j);
    }
    std::erase_if(rows_, [&](const ReferenceRow& row) { return isOf(row, key); });
    if (featureCount_ < centres_) {
        return 0;
    }
    featureCount_ -= centres_;
    return 1;
}

std::vector<std::int64_t> ReferenceEngine::palmsOf(std::int64_t userid) const {
    std::vector<std::int64_t> palms;
    for (const ReferenceRow& row : rows_) {
        if (row.userid == userid) {
            palms.push_back(row.palmindex);
        }
    }
    return palms;
}

bool ReferenceEngine::repeats(const Block& block) const {
    const int half = settings.maxCount / 2;
    if (settings.detectionLevel == 0 || half == 0 || captures_.empty() ||
        bufferedCaptures() % half != 0) {
        return false;
    }
    return std::ranges::any_of(captures_, [&](const Capture& capture) {
        return cosine(block, capture[0]) > cap(settings.detectionLevel);
    });
}

bool ReferenceEngine::enrol(const PvaUserKey& key, const Capture& capture, bool checkDuplicate,
                            PvaRegisterResult& result) {
    if (result.count == 0) {
        captures_.clear();
    }
    result.status = PVA_REGISTER_MORE;
    if (repeats(capture[0])) {
        return true;
    }
    captures_.push_back(capture);
    result.count = bufferedCaptures();
    result.maxCount = settings.maxCount;
    if (result.count != settings.maxCount) {
        return true;
    }
    const bool enough = commit(key, checkDuplicate, result);
    captures_.clear();
    return enough;
}

bool ReferenceEngine::commit(const PvaUserKey& key, bool checkDuplicate,
                             PvaRegisterResult& result) {
    const auto centres = centresOfCaptures();
    if (!centres) {
        return false;
    }
    PvaAuthResult ignored{};
    if (checkDuplicate && match(centres->front(), ignored)) {
        result.status = PVA_REGISTER_DUPLICATE;
        return true;
    }
    Bytes row(static_cast<std::size_t>(rowBytes()));
    for (std::size_t j = 0; j < centres->size(); ++j) {
        copyCapture((*centres)[j], row.data() + j * kTemplate);
    }
    append(key, row);
    featureCount_ += centres_;
    result.status = PVA_REGISTER_COMMITTED;
    return true;
}

// The mean of all, then those of equal groups by distance from it.
std::optional<std::vector<Capture>> ReferenceEngine::centresOfCaptures() const {
    const Capture all = mean(captures_);
    std::vector<std::pair<float, std::size_t>> order;
    for (std::size_t i = 0; i < captures_.size(); ++i) {
        const float distance = cosineDistance(captures_[i][0], all[0]);
        order.emplace_back(std::isnan(distance) ? std::numeric_limits<float>::infinity() : distance,
                           i);
    }
    std::ranges::sort(order);
    std::vector<Capture> centres{all};
    const std::size_t groups = static_cast<std::size_t>(centres_) - 1;
    for (std::size_t g = 0; g < groups; ++g) {
        std::vector<Capture> group;
        for (std::size_t p = g * order.size() / groups; p < (g + 1) * order.size() / groups; ++p) {
            group.push_back(captures_[order[p].second]);
        }
        if (group.empty()) {
            return std::nullopt;
        }
        centres.push_back(mean(group));
    }
    return centres;
}

// The number of the template that agrees.
std::optional<int> ReferenceEngine::match(const Capture& probe, PvaAuthResult& result) const {
    std::vector<std::pair<float, std::int64_t>> hits;
    for (const auto& [slot, block] : cache_) {
        hits.emplace_back(-indexSimilarity(probe[0], block), slot);
    }
    std::ranges::sort(hits);
    hits.resize(std::min({hits.size(), kHits, static_cast<std::size_t>(featureCount_)}));
    for (const auto& [negated, slot] : hits) {
        if (!(-negated > settings.authThreshold)) {
            continue;
        }
        const ReferenceRow* row = find(slot / centres_ + 1);
        const auto index = static_cast<int>(slot % centres_);
        const Capture stored = row == nullptr ? Capture{} : captureAt(row->blob, index);
        if (row == nullptr || (cosine(probe[2], stored[2]) > settings.filterThreshold &&
                               cosine(probe[1], stored[1]) > settings.authThreshold)) {
            result.rowId = static_cast<std::int32_t>(slot / centres_ + 1);
            result.similarity = -negated;
            return row == nullptr ? std::nullopt : std::optional(index);
        }
    }
    return std::nullopt;
}

int ReferenceEngine::identify(const Capture& probe, PvaAuthResult& result) {
    const std::optional<int> index = match(probe, result);
    if (!index) {
        return 0;
    }
    history_.push_back({probe, result.rowId, result.similarity});
    const auto needed = static_cast<std::size_t>(settings.securityLevel);
    while (history_.size() > needed) {
        history_.erase(history_.begin());
    }
    if (history_.size() < needed) {
        return 0;
    }
    const bool agreed = std::ranges::all_of(
        history_, [&](const Match& m) { return m.rowId == history_.front().rowId; });
    if (agreed) {
        learn(*index);
        const ReferenceRow* row = find(std::int64_t{history_.front().rowId});
        result.userid = row->userid;
        result.palmindex = row->palmindex;
    }
    history_.clear();
    return agreed;
}

void ReferenceEngine::learn(int templateIndex) {
    float sum = 0.0F;
    std::vector<Capture> probes;
    for (const Match& match : history_) {
        sum += match.similarity;
        probes.push_back(match.probe);
    }
    if (!(static_cast<double>(sum / static_cast<float>(history_.size())) <= 0.78)) {
        return;
    }
    const std::int64_t id = history_.front().rowId;
    const auto row = std::ranges::find(rows_, id, &ReferenceRow::id);
    const Capture recent = mean(probes);
    const Capture stored = captureAt(row->blob, templateIndex);
    Capture learned;
    for (std::size_t k = 0; k < 3; ++k) {
        learned[k] = blended(recent[k], stored[k]);
    }
    cache_[centres_ * (id - 1) + templateIndex] = learned[0];
    std::uint8_t* out = row->blob.data() + templateIndex * kTemplate;
    std::fill_n(out, kTemplate, std::uint8_t{0});
    copyCapture(learned, out);
}

int ReferenceEngine::verify(const Capture& probe, const Capture& reference,
                            PvaAuthResult& result) const {
    std::array<float, 3> s{};
    for (std::size_t k = 0; k < 3; ++k) {
        s[k] =
            static_cast<float>(1.0 - static_cast<double>(cosineDistance(probe[k], reference[k])));
    }
    result.similarity = (s[0] + s[1]) * 0.5F;
    const float auth = settings.authThreshold;
    return s[0] >= auth && s[1] >= auth &&
           static_cast<double>(s[2]) >= static_cast<double>(auth) - 0.1;
}

}  // namespace brairu::fuzz
