#include "modelPacker/modelContainer.h"

#include <sodium.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <vector>

#include "npu/modelCipher.h"
#include "npu/modelFile.h"
#include "utils/fileReplacement.h"

namespace brairu {
namespace {

std::optional<std::vector<std::uint8_t>> readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::uint8_t> bytes;
    std::array<char, 65536> piece{};
    while (file.read(piece.data(), piece.size()) || file.gcount() > 0) {
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + file.gcount());
    }
    if (!file.eof()) {
        return std::nullopt;
    }
    return bytes;
}

void encipher(std::vector<std::uint8_t>& model, const ModelNonce& nonce) {
    const ModelKey key = assembleModelKey();
    for (std::size_t start = 0; start < model.size(); start += kChunkBytes) {
        const std::size_t length = std::min(kChunkBytes, model.size() - start);
        applyModelCipher({model.data() + start, length}, nonce, key);
    }
}

ContainerFault write(const std::string& path, const std::string& bytes) {
    return replaceFile(path, bytes) ? std::nullopt : ContainerFault("cannot write " + path);
}

}  // namespace

ContainerFault packModel(const std::string& modelPath, const std::string& containerPath) {
    std::optional<std::vector<std::uint8_t>> model = readFile(modelPath);
    if (!model) {
        return "cannot read " + modelPath;
    }
    ModelNonce nonce;
    randombytes_buf(nonce.data(), nonce.size());
    encipher(*model, nonce);
    std::string container(nonce.begin(), nonce.end());
    container.append(model->begin(), model->end());
    return write(containerPath, container);
}

ContainerFault unpackModel(const std::string& containerPath, const std::string& modelPath) {
    ModelBuffer model;
    if (!readModelFile(containerPath, model) || !model.data) {
        return containerPath + " is no model container";
    }
    return write(modelPath,
                 std::string(reinterpret_cast<const char*>(model.data.get()), model.size));
}

}  // namespace brairu
