// Whether some order of overlapping calls, one after the other, explains what they returned.
//
// The search is that of Wing and Gong (Testing and Verifying Concurrent Objects, 1993): of the calls
// not yet placed, one that began before any of the others had returned may come next, if the model
// of the data agrees with its result. Pairs of calls placed and model reached are remembered, so
// that none is looked into twice (Lowe, Testing for Linearizability, 2017).
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

namespace brairu::test {

template <class Model>
struct RecordedCall {
    // Moments on one clock. A call that returned before another was invoked comes before it.
    std::uint64_t invoked = 0;
    std::uint64_t returned = 0;
    // Carries the call out on the model; false if the model's result is not the recorded one.
    std::function<bool(Model&)> agreesWith;
};

// Model can be copied and has an order.
template <class Model>
class SerialOrder {
public:
    // At most 64 calls.
    explicit SerialOrder(std::vector<RecordedCall<Model>> calls) : calls_(std::move(calls)) {
        if (calls_.size() > kMostCalls) {
            throw std::length_error("too many calls for one search");
        }
    }

    // True if there is an order that starts from this model.
    bool explains(const Model& start) {
        reached_.clear();
        return completes(0, start);
    }

    // Pairs of calls placed and model reached that the last search saw.
    std::size_t reached() const { return reached_.size(); }

private:
    using CallSet = std::uint64_t;
    static constexpr std::size_t kMostCalls = 64;

    static CallSet only(std::size_t call) { return CallSet{1} << call; }

    bool isComplete(CallSet placed) const {
        return placed == (calls_.size() == kMostCalls ? ~CallSet{0} : only(calls_.size()) - 1);
    }

    bool completes(CallSet placed, const Model& model) {
        if (isComplete(placed)) {
            return true;
        }
        if (!reached_.emplace(placed, model).second) {
            return false;
        }
        const std::uint64_t end = firstReturn(placed);
        for (std::size_t call = 0; call < calls_.size(); ++call) {
            if ((placed & only(call)) == 0 && calls_[call].invoked < end &&
                completesWith(call, placed, model)) {
                return true;
            }
        }
        return false;
    }

    bool completesWith(std::size_t call, CallSet placed, Model model) {
        return calls_[call].agreesWith(model) && completes(placed | only(call), model);
    }

    // Of the calls not yet placed.
    std::uint64_t firstReturn(CallSet placed) const {
        std::uint64_t first = std::numeric_limits<std::uint64_t>::max();
        for (std::size_t call = 0; call < calls_.size(); ++call) {
            if ((placed & only(call)) == 0) {
                first = std::min(first, calls_[call].returned);
            }
        }
        return first;
    }

    std::vector<RecordedCall<Model>> calls_;
    std::set<std::pair<CallSet, Model>> reached_;
};

}  // namespace brairu::test
