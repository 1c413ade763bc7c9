// The calls that hold the API lock: each as a host makes it, and as the model explains it.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "brairu.h"
#include "storeModel.h"

namespace brairu::test {

// What a call is handed; each takes what it needs.
struct Arguments {
    PvaUserKey key{};
    int sample = 0;
    int otherSample = 0;
    bool flag = false;  // a duplicate check, or a faint capture
};

// What a call returned and wrote.
struct Outcome {
    int result = 0;
    std::vector<std::int64_t> numbers;
    std::vector<std::uint8_t> bytes;

    bool operator==(const Outcome&) const = default;
};

struct LockedCall {
    const char* name;
    int weight;  // how often it is made, relative to the others
    Outcome (*make)(const Arguments&);
    Outcome (*explain)(StoreModel&, const Arguments&);
};

// The database calls, identification, and whole enrolments, whose last capture commits.
std::span<const LockedCall> lockedCalls();

const LockedCall& lockedCall(const char* name);

}  // namespace brairu::test
