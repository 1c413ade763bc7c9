// The JSON library's destructor of an object takes memory to flatten it, and ends the process when
// there is none. Nothing that holds a configuration can help that, so these allocations are left
// out of fault injection, and counted.
#pragma once

namespace brairu::test {

// Learns to recognise the destructor on a call stack. Before the first of the questions below.
void learnJsonDestructor();

// Whether the caller is called by that destructor. A true answer is counted.
bool insideJsonDestructor();

// The number of true answers since the last call.
int takeJsonDestructorHits();

}  // namespace brairu::test
