// What the locked calls do to the store and return, one after the other: a model in memory that
// knows neither files nor locks. Rows hold two templates.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "brairu.h"
#include "samples.h"

namespace brairu::test {

inline constexpr int kCentres = 2;
inline constexpr int kSecurityLevel = 2;
inline constexpr int kCaptures = 2;        // of an enrolment
inline constexpr float kThreshold = 0.5f;  // both of the search

class StoreModel {
public:
    using Row = std::vector<TemplateNumber>;

    void wipe();
    int palmCount() const { return featureCount_ / kCentres; }
    bool exists(const PvaUserKey& key) const { return find(key) != nullptr; }
    void insert(const PvaUserKey& key, const Row& row);
    bool replace(const PvaUserKey& key, const Row& row);
    bool remove(const PvaUserKey& key);

    // Null without such a palm.
    const Row* read(const PvaUserKey& key) const;
    std::vector<std::int32_t> palmIndexesOf(std::int64_t userid) const;

    // A PVA_REGISTER_... code.
    int enrol(const PvaUserKey& key, TemplateNumber centre, bool checkDuplicate);

    // probe is a template whose blocks are those of the capture.
    bool identify(TemplateNumber probe, PvaAuthResult& result);

    auto operator<=>(const StoreModel&) const = default;

private:
    struct Palm {
        int id;
        std::int64_t userid;
        std::int32_t palmindex;
        Row row;

        bool has(const PvaUserKey& key) const {
            return userid == key.userid && palmindex == key.palmindex;
        }
        auto operator<=>(const Palm&) const = default;
    };

    struct Hit {
        int slot;
        float similarity;
    };

    struct Match {
        TemplateNumber probe;
        int id;
        float similarity;

        auto operator<=>(const Match&) const = default;
    };

    // The first of the key.
    const Palm* find(const PvaUserKey& key) const;
    Palm* findById(int id);
    void append(const PvaUserKey& key, const Row& row);
    void mirror(int id, const Row& row);
    std::vector<Hit> bestHits(TemplateNumber probe) const;
    bool match(TemplateNumber probe, PvaAuthResult& result, int& templateIndex);
    bool settle(int templateIndex, PvaAuthResult& result);
    void learn(Palm& palm, int templateIndex);

    std::vector<Palm> palms_;              // in the order of their ids
    std::map<int, TemplateNumber> slots_;  // occupied slots of the cache
    int lastId_ = 0;
    int featureCount_ = 0;
    std::vector<Match> matches_;  // since the last confirmation
};

}  // namespace brairu::test
