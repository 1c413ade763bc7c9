#include "faultInjection.h"

namespace brairu::test {
namespace {

struct State {
    bool armed = false;
    const char* struck = "";
    Fault fault{};
    int calls = 0;
};

thread_local constinit State state;
thread_local constinit int asideDepth = 0;

}  // namespace

const char* nameOf(FaultKind kind) {
    switch (kind) {
        case FaultKind::sqliteCall: return "sqliteCall";
        case FaultKind::sqliteMemory: return "sqliteMemory";
        case FaultKind::fileError: return "fileError";
        case FaultKind::fileFull: return "fileFull";
        case FaultKind::fileBusy: return "fileBusy";
        case FaultKind::systemCall: return "systemCall";
        case FaultKind::heap: return "heap";
    }
    return "";
}

ArmedFault::ArmedFault(const Fault& fault) {
    state = {true, "", fault, 0};
}

ArmedFault::~ArmedFault() {
    disarm();
}

void ArmedFault::disarm() {
    state.armed = false;
}

int ArmedFault::calls() {
    return state.calls;
}

const char* ArmedFault::struck() {
    return state.struck;
}

bool faultStrikes(FaultKind kind, const char* call) {
    if (!state.armed || state.fault.kind != kind) {
        return false;
    }
    const int number = ++state.calls;
    const bool due =
        number == state.fault.number || (state.fault.span == FaultSpan::lasting &&
                                         state.fault.number > 0 && number > state.fault.number);
    if (due && *state.struck == '\0') {
        state.struck = call;
    }
    return due;
}

HeapAside::HeapAside() {
    ++asideDepth;
}

HeapAside::~HeapAside() {
    --asideDepth;
}

bool heapIsAside() {
    return asideDepth > 0;
}

LiveHandles& liveHandles() {
    static constinit LiveHandles handles;
    return handles;
}

}  // namespace brairu::test
