#include "jsonDestructor.h"

#include <dlfcn.h>
#include <unwind.h>

#include <algorithm>
#include <array>
#include <new>
#include <stdexcept>
#include <utility>

#include "config/configStore.h"
#include "faultInjection.h"

namespace brairu::test {
namespace {

// The functions on a call stack, innermost first.
struct CallStack {
    static constexpr std::size_t kDepth = 64;
    std::array<void*, kDepth> functions{};
    std::size_t depth = 0;

    auto begin() const { return functions.begin(); }
    auto end() const { return functions.begin() + depth; }
};

_Unwind_Reason_Code addFrame(_Unwind_Context* context, void* stack) {
    auto& frames = *static_cast<CallStack*>(stack);
    if (frames.depth == CallStack::kDepth) {
        return _URC_END_OF_STACK;
    }
    void* const place = reinterpret_cast<void*>(_Unwind_GetIP(context) - 1);
    frames.functions[frames.depth++] = _Unwind_FindEnclosingFunction(place);
    return _URC_NO_REASON;
}

CallStack callStack() {
    const HeapAside aside;
    CallStack stack;
    _Unwind_Backtrace(addFrame, &stack);
    return stack;
}

constinit CallStack destructor;
constinit bool learning = false;
constinit int hits = 0;

[[gnu::noinline]] void destroy(ConfigDocument& document) {
    document.~ConfigDocument();
    new (&document) ConfigDocument();
}

// What lies between operator new and the function that asked for the destruction.
void learnFrom(const CallStack& stack) {
    void* const allocation = ::dlsym(RTLD_DEFAULT, "_Znwm");
    const auto first = std::ranges::find(stack, allocation);
    const auto last = std::find(first, stack.end(), reinterpret_cast<void*>(&destroy));
    if (first == stack.end() || last == stack.end()) {
        return;
    }
    std::for_each(first + 1, last,
                  [](void* function) { destructor.functions[destructor.depth++] = function; });
}

}  // namespace

void learnJsonDestructor() {
    ConfigDocument document = {{"section", {{"key", 1}}}};
    learning = true;
    {
        const ArmedFault fault({FaultKind::heap, 1, FaultSpan::once});
        destroy(document);
    }
    learning = false;
    if (destructor.depth == 0) {
        throw std::logic_error("the JSON library's destructor takes no memory any more");
    }
}

bool insideJsonDestructor() {
    const CallStack stack = callStack();
    if (learning) {
        learnFrom(stack);
        return true;
    }
    const bool inside = std::ranges::find_first_of(stack, destructor) != stack.end();
    hits += inside;
    return inside;
}

int takeJsonDestructorHits() {
    return std::exchange(hits, 0);
}

}  // namespace brairu::test
