// Makes one call below the library fail: the n-th of its kind that this thread makes, or every one
// from the n-th on. Linked between the library and the system, SQLite and the heap.
#pragma once

#include <array>
#include <cstdint>

namespace brairu::test {

enum class FaultKind {
    sqliteCall,    // a call of SQLite's interface
    sqliteMemory,  // an allocation of SQLite's own
    fileError,     // SQLite's file operations: an I/O error
    fileFull,      // its writes: no space left
    fileBusy,      // its locks: held by another
    systemCall,    // open, ftruncate, fallocate, mmap, msync, write, fsync, rename, ...
    heap,          // malloc, and with it operator new
};

inline constexpr std::array kFaultKinds{
    FaultKind::sqliteCall, FaultKind::sqliteMemory, FaultKind::fileError, FaultKind::fileFull,
    FaultKind::fileBusy,   FaultKind::systemCall,   FaultKind::heap};

const char* nameOf(FaultKind kind);

enum class FaultSpan { once, lasting };

struct Fault {
    FaultKind kind;
    int number;  // of the first call that fails, from 1; 0: none, the calls are only counted
    FaultSpan span;
};

// Counts and fails calls for as long as it lives. One at a time.
class ArmedFault {
public:
    explicit ArmedFault(const Fault& fault);
    ~ArmedFault();
    ArmedFault(const ArmedFault&) = delete;
    ArmedFault& operator=(const ArmedFault&) = delete;

    static void disarm();
    static int calls();
    // The call that failed first; empty if none did.
    static const char* struck();
};

// Counts one call. True if it has to fail. For the interposed calls; allocates nothing.
bool faultStrikes(FaultKind kind, const char* call);

// While it lives, this thread's heap is SQLite's, or a double's, and does not count.
class HeapAside {
public:
    HeapAside();
    ~HeapAside();
    HeapAside(const HeapAside&) = delete;
    HeapAside& operator=(const HeapAside&) = delete;
};
bool heapIsAside();

// What was acquired through the interposed calls and not given back.
struct LiveHandles {
    int statements = 0;
    int blobs = 0;
    int connections = 0;
    int mappings = 0;
    int configs = 0;  // half written, whose removal was made to fail
};
LiveHandles& liveHandles();
std::int64_t liveHeapBlocks();

// Puts SQLite's memory and files under fault injection. Before SQLite's first use in the process.
void interposeSqlite();

}  // namespace brairu::test
