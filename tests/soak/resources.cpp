#include "soak/resources.h"

#include <malloc.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "store/interposedCalls.h"
#include "support/scriptedNpu.h"

namespace brairu::test {
namespace {

std::int64_t residentKiB() {
    std::ifstream statm("/proc/self/statm");
    std::int64_t total = 0;
    std::int64_t resident = 0;
    statm >> total >> resident;
    return resident * ::sysconf(_SC_PAGESIZE) / 1024;
}

std::int64_t entriesOf(const char* folder) {
    std::int64_t entries = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) {
        ++entries;
    }
    return entries;
}

std::int64_t linesOf(const char* path) {
    std::ifstream file(path);
    std::int64_t lines = 0;
    for (std::string line; std::getline(file, line);) {
        ++lines;
    }
    return lines;
}

std::int64_t heapBytes() {
    const struct mallinfo2 info = ::mallinfo2();
    return static_cast<std::int64_t>(info.uordblks) + static_cast<std::int64_t>(info.hblkhd);
}

}  // namespace

Resources resourcesNow() {
    const InterposedCalls& calls = InterposedCalls::get();
    Resources now;
    now.heapBytes = heapBytes();
    now.residentKiB = residentKiB();
    now.descriptors = entriesOf("/proc/self/fd");
    now.mappings = linesOf("/proc/self/maps");
    now.statements = static_cast<std::int64_t>(calls.liveStatements.size()) + calls.liveBlobs;
    now.connections = calls.liveConnections;
    now.npuHandles = ScriptedNpu::get().liveHandles();
    return now;
}

std::string drift(const Resources& warm, const Resources& now) {
    std::string drifted;
    const auto compare = [&](const char* name, std::int64_t Resources::*field) {
        if (std::abs(now.*field - warm.*field) > kTolerance.*field) {
            drifted += std::string(drifted.empty() ? "" : ", ") + name;
        }
    };
#ifndef BRAIRU_OTHER_ALLOCATOR  // a sanitizer's keeps what is freed, and finds leaks by itself
    compare("resident memory", &Resources::residentKiB);
    compare("heap", &Resources::heapBytes);
    compare("mappings", &Resources::mappings);
#endif
    compare("descriptors", &Resources::descriptors);
    compare("statements", &Resources::statements);
    compare("connections", &Resources::connections);
    compare("NPU handles", &Resources::npuHandles);
    return drifted;
}

}  // namespace brairu::test
