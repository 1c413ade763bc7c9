// Locked calls from several threads at once. Whatever they return must be explained by some order
// in which they came one after the other.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <sstream>

#include "crowd.h"
#include "lockedCalls.h"
#include "serialOrder.h"
#include "startedEngine.h"
#include "support/captureOutput.h"
#include "support/seededRandom.h"

namespace brairu::test {
namespace {

constexpr int kThreads = 4;
constexpr int kCallsOfThread = 5;
constexpr int kUsualRounds = 150;
constexpr int kUsers = 2;
constexpr int kPalms = 2;

int rounds() {
    const char* text = std::getenv("BRAIRU_TEST_ROUNDS");
    return text != nullptr ? std::atoi(text) : kUsualRounds;
}

// Counts moments. Relaxed: a clock that ordered the threads' memory as well would hide a missing
// lock from a race detector. Inside a call that holds a lock no moment moves out past the locked
// part, so that the order of moments is one that the calls could be in.
std::uint64_t moment() {
    static std::atomic<std::uint64_t> last{0};
    return last.fetch_add(1, std::memory_order_relaxed);
}

struct MadeCall {
    const LockedCall* call = nullptr;
    Arguments arguments{};
    std::uint64_t invoked = 0;
    std::uint64_t returned = 0;
    Outcome outcome{};

    void make() {
        invoked = moment();
        outcome = call->make(arguments);
        returned = moment();
    }
};

using Calls = std::vector<MadeCall>;

RecordedCall<StoreModel> recorded(const MadeCall& made) {
    return {made.invoked, made.returned, [&made](StoreModel& model) {
                return made.call->explain(model, made.arguments) == made.outcome;
            }};
}

std::ostream& operator<<(std::ostream& stream, const MadeCall& made) {
    const Arguments& arguments = made.arguments;
    stream << made.invoked << " to " << made.returned << ": " << made.call->name << " of user "
           << arguments.key.userid << " palm " << arguments.key.palmindex << ", samples "
           << arguments.sample << " and " << arguments.otherSample
           << (arguments.flag ? ", flagged" : "") << " gives " << made.outcome.result << " (";
    for (const std::int64_t number : made.outcome.numbers) {
        stream << number << " ";
    }
    return stream << ") and " << made.outcome.bytes.size() << " bytes";
}

std::string textOf(const Calls& calls) {
    std::ostringstream text;
    for (const MadeCall& made : calls) {
        text << made << "\n";
    }
    return text.str();
}

// By weight.
const LockedCall& randomCall(SeededRandom& random) {
    const auto calls = lockedCalls();
    const int total = std::accumulate(calls.begin(), calls.end(), 0,
                                      [](int sum, const auto& call) { return sum + call.weight; });
    int left = random.between(1, total);
    std::size_t chosen = 0;
    while ((left -= calls[chosen].weight) > 0) {
        ++chosen;
    }
    return calls[chosen];
}

// Few users and palms, so that the calls meet.
Calls randomCalls(SeededRandom& random) {
    Calls calls(kCallsOfThread);
    for (MadeCall& made : calls) {
        made.call = &randomCall(random);
        made.arguments = {{random.between(1, kUsers), random.between(1, kPalms), {}},
                          random.between(0, kSamples - 1),
                          random.between(0, kSamples - 1),
                          random.coin()};
    }
    return calls;
}

// What the threads left behind, looked at when all is quiet. Each sample is asked for twice, that
// is once past the number of matches that confirm.
Calls closingCalls() {
    Calls calls{{&lockedCall("pvaDataBaseGetAllPalmCount")}};
    for (int user = 1; user <= kUsers; ++user) {
        for (int palm = 1; palm <= kPalms; ++palm) {
            calls.push_back({&lockedCall("pvaDataBaseGetFeatWithFeatSize"), {{user, palm, {}}}});
        }
        calls.push_back({&lockedCall("pvaDataBaseGetPalmNumFromUserId"), {{user, 0, {}}}});
    }
    for (int sample = 0; sample < 2 * kSamples; ++sample) {
        calls.push_back({&lockedCall("pvaGetAuthRes"), {{}, sample / 2, 0, false}});
    }
    return calls;
}

class LockedCalls : public StartedEngine {
protected:
    // The calls of all threads, and then the closing ones.
    Calls madeInOneRound() {
        std::vector<Calls> ofThreads(kThreads);
        std::vector<std::function<void()>> actions;
        for (Calls& calls : ofThreads) {
            calls = randomCalls(random_);
            actions.emplace_back([&calls] { makeAll(calls); });
        }
        runTogether(actions);
        Calls all = closingCalls();
        makeAll(all);
        for (const Calls& calls : ofThreads) {
            all.insert(all.end(), calls.begin(), calls.end());
        }
        return all;
    }

    static void makeAll(Calls& calls) {
        for (MadeCall& made : calls) {
            made.make();
        }
    }

    // Pairs of calls and model that the search looked into.
    std::size_t expectExplained(const Calls& calls) {
        std::vector<RecordedCall<StoreModel>> history;
        for (const MadeCall& made : calls) {
            history.push_back(recorded(made));
        }
        SerialOrder<StoreModel> order(std::move(history));
        EXPECT_TRUE(order.explains({})) << "no order explains\n" << textOf(calls);
        return order.reached();
    }

    SeededRandom random_;
};

TEST_F(LockedCalls, ReturnWhatSomeOrderOneAfterTheOtherExplains) {
    int round = 0;
    std::size_t calls = 0;
    std::size_t reached = 0;
    for (; round < rounds() && !HasFailure(); ++round) {
        Calls made;
        emptyStore();
        stdoutOf([&] { made = madeInOneRound(); });
        calls += made.size();
        reached += expectExplained(made);
    }
    std::printf("%d rounds of %d threads, %zu calls, %zu situations searched\n", round, kThreads,
                calls, reached);
}

// The model is one of this library: calls that nothing overlaps leave it no choice.
TEST_F(LockedCalls, OfOneThreadReturnWhatTheModelSays) {
    Calls calls;
    stdoutOf([&] {
        for (int i = 0; i < 8; ++i) {
            Calls next = randomCalls(random_);
            makeAll(next);
            calls.insert(calls.end(), next.begin(), next.end());
        }
        Calls closing = closingCalls();
        makeAll(closing);
        calls.insert(calls.end(), closing.begin(), closing.end());
    });
    EXPECT_EQ(expectExplained(calls), calls.size());
}

}  // namespace
}  // namespace brairu::test
