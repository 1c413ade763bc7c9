// A model container of any bytes, and any bytes in a container.
#include <algorithm>

#include "byteSource.h"
#include "claim.h"
#include "npu/modelFile.h"
#include "support/modelContainer.h"
#include "support/temporaryFolder.h"

namespace {

using namespace brairu;

bool holds(const ModelBuffer& model, std::string_view bytes) {
    return model.size == bytes.size() &&
           std::equal(bytes.begin(), bytes.end(), model.data.get(),
                      [](char expected, std::uint8_t read) {
                          return static_cast<std::uint8_t>(expected) == read;
                      });
}

// The cipher is its own inverse.
std::string deciphered(const std::string& container) {
    std::array<std::uint8_t, kNonceBytes> nonce;
    std::copy_n(container.begin(), kNonceBytes, nonce.begin());
    return test::sealedModel(container.substr(kNonceBytes), nonce).substr(kNonceBytes);
}

void readAsContainer(const std::string& bytes, const test::TemporaryFolder& folder) {
    ModelBuffer model;
    const bool read = readModelFile(folder.write("any.net", bytes), model);
    if (bytes.size() < kNonceBytes) {
        fuzz::claim(!read && model.size == 0, "what is shorter than a nonce is no container");
    } else {
        fuzz::claim(read && holds(model, deciphered(bytes)), "a container gives its model");
    }
}

void readSealed(const std::string& bytes, const test::TemporaryFolder& folder) {
    ModelBuffer model;
    const bool read = readModelFile(folder.write("any.net", test::sealedModel(bytes)), model);
    fuzz::claim(read && holds(model, bytes), "a container gives back what was put in");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const test::TemporaryFolder folder;
    const std::string bytes(data, data + size);
    readAsContainer(bytes, folder);
    readSealed(bytes, folder);
    return 0;
}
