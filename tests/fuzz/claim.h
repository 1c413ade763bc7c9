// What a fuzz target holds to be true of the code under test.
#pragma once

namespace brairu::fuzz {

// Ends the process, naming the claim, when it does not hold: for the fuzzer that is a crash.
void claim(bool holds, const char* text);

}  // namespace brairu::fuzz
