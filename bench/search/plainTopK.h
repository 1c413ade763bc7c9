#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "match/search.h"

namespace brairu::bench {

// The best k hits as a heap with the worst on top, without anything clever.
class PlainTopK {
public:
    explicit PlainTopK(std::size_t k) : k_(k) { hits_.reserve(k); }

    void offer(SearchHit hit) {
        if (hits_.size() == k_) {
            if (!(hit.similarity > hits_.front().similarity)) {
                return;
            }
            std::pop_heap(hits_.begin(), hits_.end(), ranksBefore);
            hits_.pop_back();
        }
        hits_.push_back(hit);
        std::push_heap(hits_.begin(), hits_.end(), ranksBefore);
    }

    std::vector<SearchHit> ranked() && {
        std::sort_heap(hits_.begin(), hits_.end(), ranksBefore);
        return std::move(hits_);
    }

private:
    static bool ranksBefore(const SearchHit& a, const SearchHit& b) {
        return a.similarity != b.similarity ? a.similarity > b.similarity : a.slot < b.slot;
    }

    std::size_t k_;
    std::vector<SearchHit> hits_;
};

}  // namespace brairu::bench
