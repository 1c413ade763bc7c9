// What was called, and what came back wrong.
#pragma once

#include <cstdio>
#include <map>
#include <string>

namespace brairu::test {

class Logbook {
public:
    // Counts a call; a result that is not as expected is printed, the first few of each call.
    void count(const std::string& call, bool asExpected, const std::string& story = {});

    template <class Value>
    void expect(const std::string& call, const Value& got, const Value& wanted) {
        count(call, got == wanted,
              got == wanted ? "" : std::to_string(got) + " instead of " + std::to_string(wanted));
    }

    long calls() const { return calls_; }
    long wrong() const { return wrong_; }
    void print(std::FILE* out) const;

    // Where stories and tables go; standard output is the engine's.
    static std::FILE* paper();

private:
    struct Entry {
        long calls = 0;
        long wrong = 0;
    };

    std::map<std::string, Entry> entries_;
    long calls_ = 0;
    long wrong_ = 0;
};

}  // namespace brairu::test
