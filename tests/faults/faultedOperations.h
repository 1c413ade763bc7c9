// The calls that are made to fail inside, and what each may do then.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "gallery.h"

namespace brairu::test {

// How a call ended.
struct Outcome {
    int result = 0;
    std::string thrown;  // the type of the exception that left it, else empty
    std::string struck;  // the call below it that was made to fail, else empty
};

// Those enrolled, and one that some calls add.
inline constexpr std::int64_t kNewcomer = 9;
inline constexpr std::array<std::int64_t, 4> kPalms{1, 2, 3, kNewcomer};

struct FaultedOperation {
    std::string name;
    bool isFirstStart = false;
    // Known to come by calls of every kind that can be made to fail.
    bool meetsEveryKind = false;
    // Before the first restore() of the gallery, and after each.
    std::function<void(Gallery&)> arrange = [](Gallery&) {};
    std::function<void(const Gallery&)> spoil = [](const Gallery&) {};
    // Without faults, before each run.
    std::function<void()> prepare = [] {};
    std::function<int(const Gallery&)> run{};
    int success = 1;
    // Results that a fault may lead to, and exceptions besides the std::bad_alloc of a full heap.
    std::vector<int> refusals{};
    std::vector<std::string> exceptions{};
    // Expects, by calls that do not fail, that the outcome tells the truth.
    std::function<void(const Outcome&)> check = [](const Outcome&) {};
    // The store may be without a connection until the next start.
    bool mayClose = false;
    // Recognised after a restart, whatever happened; all others if they were enrolled at the end.
    std::vector<std::int64_t> survivors{1, 2, 3};
    // The palm whose enrolment does not make it recognised; 0 for none.
    std::int64_t unrecognised = 0;
};

inline void PrintTo(const FaultedOperation& operation, std::ostream* out) {
    *out << operation.name;
}

std::vector<FaultedOperation> faultedOperations();

}  // namespace brairu::test
