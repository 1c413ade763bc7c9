// Stands between the library and the system: looks at files at the moment when their names go, and
// at memory at the moment when it is wiped.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace brairu::test {

struct WatchedCalls {
    static WatchedCalls& get();

    // Called before a file is renamed or removed.
    std::function<void(const std::string& name)> beforeNameGoes;
    // Called before memory is wiped.
    std::function<void(const void* memory, std::size_t bytes)> beforeWipe;
};

}  // namespace brairu::test
