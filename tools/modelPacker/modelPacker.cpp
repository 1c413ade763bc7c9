// brairu-models: makes an encrypted container of a model file, and opens one again.
#include <sodium.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "npu/modelCipher.h"
#include "npu/modelFile.h"
#include "utils/fileReplacement.h"

namespace {

constexpr char kUsage[] =
    "usage: brairu-models pack MODEL CONTAINER     encrypt a model file\n"
    "       brairu-models unpack CONTAINER MODEL   decrypt it again\n";

int fail(const std::string& message) {
    std::fprintf(stderr, "brairu-models: %s\n", message.c_str());
    return 1;
}

std::optional<std::vector<std::uint8_t>> readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::uint8_t> bytes;
    std::array<char, 65536> piece;
    while (file.read(piece.data(), piece.size()) || file.gcount() > 0) {
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + file.gcount());
    }
    if (!file.eof()) {
        return std::nullopt;
    }
    return bytes;
}

void encipher(std::vector<std::uint8_t>& model, const brairu::ModelNonce& nonce) {
    const brairu::ModelKey key = brairu::assembleModelKey();
    for (std::size_t start = 0; start < model.size(); start += brairu::kChunkBytes) {
        const std::size_t length = std::min(brairu::kChunkBytes, model.size() - start);
        brairu::applyModelCipher({model.data() + start, length}, nonce, key);
    }
}

int pack(const std::string& modelPath, const std::string& containerPath) {
    std::optional<std::vector<std::uint8_t>> model = readFile(modelPath);
    if (!model) {
        return fail("cannot read " + modelPath);
    }
    brairu::ModelNonce nonce;
    randombytes_buf(nonce.data(), nonce.size());
    encipher(*model, nonce);
    std::string container(nonce.begin(), nonce.end());
    container.append(model->begin(), model->end());
    return brairu::replaceFile(containerPath, container) ? 0
                                                         : fail("cannot write " + containerPath);
}

int unpack(const std::string& containerPath, const std::string& modelPath) {
    brairu::ModelBuffer model;
    if (!brairu::readModelFile(containerPath, model) || !model.data) {
        return fail(containerPath + " is no model container");
    }
    const std::string text(reinterpret_cast<const char*>(model.data.get()), model.size);
    return brairu::replaceFile(modelPath, text) ? 0 : fail("cannot write " + modelPath);
}

}  // namespace

int main(int argc, char** argv) {
    if (sodium_init() < 0) {
        return fail("no source of random numbers");
    }
    const std::string_view command = argc == 4 ? argv[1] : "";
    if (command == "pack") {
        return pack(argv[2], argv[3]);
    }
    if (command == "unpack") {
        return unpack(argv[2], argv[3]);
    }
    std::fputs(kUsage, stderr);
    return 2;
}
