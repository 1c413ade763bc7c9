// What the exported calls on templates have to return, said plainly: rows in a list, the cache in a
// map, every rule in the order in which it applies. No files, no locks, no vectors of floats.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "brairu.h"

namespace brairu::fuzz {

using Bytes = std::vector<std::uint8_t>;
using Block = std::vector<std::int8_t>;
using Capture = std::array<Block, 3>;

struct ReferenceRow {
    std::int64_t id;
    std::int64_t userid;
    std::int32_t palmindex;
    Bytes blob;
};

struct ReferenceSettings {
    float authThreshold = 0.5F;
    float filterThreshold = 0.5F;
    int maxCount = 4;
    int detectionLevel = 0;
    int securityLevel = 1;
};

class ReferenceEngine {
public:
    ReferenceEngine(int centres, std::int64_t lastId) : centres_(centres), lastId_(lastId) {}

    ReferenceSettings settings;

    // A new process on the same files. Captures of an enrolment and the history of matches stay:
    // they belong to the process that plays the new one.
    void restart(int centres);

    int wipe();
    int palmCount() const { return featureCount_ / centres_; }
    int exists(const PvaUserKey& key) const { return find(key) != nullptr; }
    int add(const PvaUserKey& key, Bytes data);
    int update(const PvaUserKey& key, Bytes data);
    bool dividesRow(int size) const { return size > 0 && rowBytes() % size == 0; }
    // size bytes of the row, zeros where there is none.
    Bytes read(const PvaUserKey& key, std::size_t size) const;
    // Over what out holds.
    void readMean(const PvaUserKey& key, Bytes& out) const;
    int remove(const PvaUserKey& key);
    std::vector<std::int64_t> palmsOf(std::int64_t userid) const;

    // False where the call has to throw for want of captures.
    bool enrol(const PvaUserKey& key, const Capture& capture, bool checkDuplicate,
               PvaRegisterResult& result);
    int bufferedCaptures() const { return static_cast<int>(captures_.size()); }
    void clearCaptures() { captures_.clear(); }

    int identify(const Capture& probe, PvaAuthResult& result);
    int verify(const Capture& probe, const Capture& reference, PvaAuthResult& result) const;
    bool hasHistory() const { return !history_.empty(); }

    int rowBytes() const;
    int featureCount() const { return featureCount_; }
    const std::vector<ReferenceRow>& rows() const { return rows_; }
    const std::map<std::int64_t, Block>& cache() const { return cache_; }

private:
    struct Match {
        Capture probe;
        int rowId;
        float similarity;
    };

    const ReferenceRow* find(const PvaUserKey& key) const;
    const ReferenceRow* find(std::int64_t id) const;
    Bytes fitted(const Bytes& data) const;
    void mirror(std::int64_t id, const Bytes& blob);
    void append(const PvaUserKey& key, const Bytes& blob);
    bool repeats(const Block& block) const;
    bool commit(const PvaUserKey& key, bool checkDuplicate, PvaRegisterResult& result);
    std::optional<std::vector<Capture>> centresOfCaptures() const;
    std::optional<int> match(const Capture& probe, PvaAuthResult& result) const;
    void learn(int templateIndex);

    int centres_;
    std::int64_t lastId_;
    std::vector<ReferenceRow> rows_;
    std::map<std::int64_t, Block> cache_;
    int featureCount_ = 0;
    std::vector<Capture> captures_;
    std::vector<Match> history_;
};

// The three blocks at data.
Capture captureOf(std::span<const std::uint8_t> data);

}  // namespace brairu::fuzz
