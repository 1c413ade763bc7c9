// A double of the NPU stack: networks whose outputs a test sets, that records the calls, fails the
// n-th call of a named operation, and counts what is acquired and released. Linked in place of the
// real stack.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "npu.h"

namespace brairu::test {

struct ScriptedTensor {
    std::vector<std::uint8_t> data;
    std::array<std::uint32_t, 4> dims{};
};

// What one network, in the order in which graphs are created, puts out.
struct ScriptedNetwork {
    std::vector<std::string> outputNames{"output0"};
    std::vector<ScriptedTensor> outputs;
    // Of the first runs, where they differ.
    std::vector<std::vector<ScriptedTensor>> outputsOfRun;
    std::size_t runs = 0;

    const std::vector<ScriptedTensor>& takeOutputs();
};

class ScriptedNpu {
public:
    static ScriptedNpu& get();
    static void reset() { get() = ScriptedNpu(); }

    // Makes the n-th call (from 1) of an operation fail: a status of failureStatus, a null handle
    // or a null address.
    void failCall(const std::string& operation, int n = 1) { failures_[operation] = n; }
    bool fails(const std::string& operation);
    int callsOf(const std::string& operation) const;
    int liveHandles() const;  // of any kind

    // Settings.
    vx_status failureStatus = -7;
    std::uint32_t inputCount = 1;
    std::array<std::uint32_t, 3> inputDims{128, 128, 1};
    std::vector<ScriptedNetwork> networks{3};

    // Records.
    std::vector<std::string> calls;                 // operation names, in order
    std::vector<std::vector<std::uint8_t>> models;  // buffers that were loaded
    std::vector<NpuImageDescriptor> converted;      // descriptors that were handed over
    std::vector<std::vector<std::uint8_t>> frames;  // frame memory at each conversion
    std::vector<std::size_t> processed;             // networks that ran, in order
    std::vector<int> attributes;                    // of vxQueryTensor, in order
    std::vector<int> stridesUV;                     // that went with the descriptors
    std::vector<std::uint32_t> flushedBytes;
    std::vector<std::uint32_t> allocatedBytes;
    std::map<std::string, int> live;    // handles by kind that were given out and not returned
    std::vector<std::string> released;  // kinds, in order
    std::vector<std::size_t> unloaded;  // indices into models, in order
    int doubleReleases = 0;
    std::size_t graphsCreated = 0;

private:
    std::map<std::string, int> failures_;
};

}  // namespace brairu::test
