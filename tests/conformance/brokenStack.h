// The stand-in with one operation broken, linked in its place with --wrap.
#pragma once

#include <string>

namespace brairu::test {

enum class Fault {
    none,
    refuses,    // fails whatever it is given
    takesNull,  // succeeds for a handle of null, or for no buffer
    lies,       // succeeds, and does or tells something else
    crashes,
    exits,
    exitsInOrder,  // as a program that has done all it had to
    hangs,
};

struct Breakage {
    std::string operation;
    Fault fault = Fault::none;
    int callsBefore = 0;  // of the operation, which are as they should be
};

// In force until the next.
void breakStack(const Breakage& breakage);

}  // namespace brairu::test
