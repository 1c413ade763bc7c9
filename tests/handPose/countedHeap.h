#pragma once

#include <functional>

namespace brairu::test {

// How often the call takes memory from the C allocator; operator new and OpenCV take it from there
// too. Of one thread.
int allocationsOf(const std::function<void()>& call);

}  // namespace brairu::test
