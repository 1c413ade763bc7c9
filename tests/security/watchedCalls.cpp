#include "watchedCalls.h"

#include "support/interposing.h"

namespace brairu::test {
namespace {

void tellName(const char* name) {
    if (const auto& watcher = WatchedCalls::get().beforeNameGoes) {
        watcher(name);
    }
}

}  // namespace

WatchedCalls& WatchedCalls::get() {
    static auto& calls = *new WatchedCalls;
    return calls;
}

}  // namespace brairu::test

BRAIRU_INTERPOSED int rename(const char* from, const char* to) {
    brairu::test::tellName(from);
    return brairu::test::next<int(const char*, const char*)>("rename")(from, to);
}

BRAIRU_INTERPOSED int unlink(const char* name) {
    brairu::test::tellName(name);
    return brairu::test::next<int(const char*)>("unlink")(name);
}

BRAIRU_INTERPOSED void sodium_memzero(void* memory, std::size_t bytes) {
    if (const auto& watcher = brairu::test::WatchedCalls::get().beforeWipe) {
        watcher(memory, bytes);
    }
    brairu::test::next<void(void*, std::size_t)>("sodium_memzero")(memory, bytes);
}
