#include "soak/logbook.h"

#include <unistd.h>

namespace brairu::test {
namespace {

constexpr long kStoriesPerCall = 5;

}  // namespace

void Logbook::count(const std::string& call, bool asExpected, const std::string& story) {
    Entry& entry = entries_[call];
    ++calls_;
    ++entry.calls;
    if (asExpected) {
        return;
    }
    ++wrong_;
    if (++entry.wrong <= kStoriesPerCall) {
        std::fprintf(paper(), "wrong, call %ld: %s %s\n", calls_, call.c_str(), story.c_str());
    }
}

void Logbook::print(std::FILE* out) const {
    std::fprintf(out, "%-36s %10s %8s\n", "call", "calls", "wrong");
    for (const auto& [call, entry] : entries_) {
        std::fprintf(out, "%-36s %10ld %8ld\n", call.c_str(), entry.calls, entry.wrong);
    }
    std::fprintf(out, "%-36s %10ld %8ld\n", "all", calls_, wrong_);
}

std::FILE* Logbook::paper() {
    static std::FILE* const paper = ::fdopen(::dup(STDOUT_FILENO), "w");
    return paper;
}

}  // namespace brairu::test
