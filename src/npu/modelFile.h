// Reading the encrypted model files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "npu/modelCipher.h"

namespace brairu {

// Leaves nothing to read in memory that is given back.
struct WipeAndFree {
    std::size_t bytes = 0;

    void operator()(void* memory) const;
};

// A deciphered model, in memory of the C allocator.
struct ModelBuffer {
    std::unique_ptr<std::uint8_t, WipeAndFree> data;
    std::uint32_t size = 0;
};

// Reads and deciphers the container at path. False, with an empty model, when it cannot be read or
// is no container; what cannot be opened is reported on standard output. A container that grows
// while it is read gives true and an empty model. Whether the key was right shows only when the
// network is built.
bool readModelFile(const std::string& path, ModelBuffer& model, const ModelKey& key);
bool readModelFile(const std::string& path, ModelBuffer& model);

// The two files of one network.
struct ModelPair {
    ModelBuffer net;    // description
    ModelBuffer blobs;  // weights
};

// Reports a file that readModelFile refused, and goes on with an empty buffer.
void readNetFile(const std::string& path, ModelBuffer& net);
void readBlobsFile(const std::string& path, ModelBuffer& blobs);

}  // namespace brairu
