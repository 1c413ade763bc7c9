#include "npu/modelFile.h"

#include <sodium.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>
#include <span>

#include "utils/pipe.h"

namespace brairu {
namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { (void)std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// One chunk on its way from the file; it ends as plain text.
struct Chunk {
    Chunk() = default;
    ~Chunk() { sodium_memzero(bytes.data(), bytes.size()); }
    Chunk(const Chunk&) = delete;
    Chunk& operator=(const Chunk&) = delete;

    std::array<std::uint8_t, kChunkBytes> bytes{};
};

bool isFolder(std::FILE* file) {
    struct stat status {};
    return ::fstat(::fileno(file), &status) != 0 || S_ISDIR(status.st_mode);
}

// The size of a file that can be a container; the position is then its beginning.
std::optional<std::uint32_t> containerSize(std::FILE* file) {
    if (isFolder(file) || std::fseek(file, 0, SEEK_END) != 0) {
        return std::nullopt;
    }
    const long long size = ::ftello(file);
    if (size < static_cast<long long>(kNonceBytes) ||
        size > std::numeric_limits<std::uint32_t>::max() || std::fseek(file, 0, SEEK_SET) != 0) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(size);
}

// Deciphers chunk after chunk into plain, which holds a whole file's bytes. False when the file
// turns out longer than that.
bool decipher(std::FILE* file, std::span<std::uint8_t> plain, const ModelNonce& nonce,
              const ModelKey& key) {
    Chunk chunk;
    std::size_t done = 0;
    while (const std::size_t read = std::fread(chunk.bytes.data(), 1, kChunkBytes, file)) {
        if (done + read > plain.size()) {
            return false;
        }
        const std::span<std::uint8_t> bytes(chunk.bytes.data(), read);
        applyModelCipher(bytes, nonce, key);
        std::copy(bytes.begin(), bytes.end(), plain.begin() + static_cast<std::ptrdiff_t>(done));
        done += read;
        if (read < kChunkBytes) {
            break;
        }
    }
    return true;
}

}  // namespace

void WipeAndFree::operator()(void* memory) const {
    sodium_memzero(memory, bytes);
    std::free(memory);
}

bool readModelFile(const std::string& path, ModelBuffer& model, const ModelKey& key) {
    model = {};
    const File file(isPipe(path) ? nullptr : std::fopen(path.c_str(), "rb"));
    if (!file) {
        std::puts("无法打开输入文件：\r");
        return false;
    }
    const std::optional<std::uint32_t> size = containerSize(file.get());
    if (!size) {
        return false;
    }
    // As large as the file: the limit that the bytes are held against below.
    ModelBuffer plain{{static_cast<std::uint8_t*>(std::calloc(*size, 1)), WipeAndFree{*size}},
                      static_cast<std::uint32_t>(*size - kNonceBytes)};
    if (!key.hasRightLength()) {
        std::puts("密钥长度不正确。\r");
        return false;
    }
    ModelNonce nonce;
    if (!plain.data || std::fread(nonce.data(), 1, nonce.size(), file.get()) != nonce.size()) {
        return false;
    }
    if (!decipher(file.get(), {plain.data.get(), *size}, nonce, key)) {
        std::puts("Decrypted data exceeds expected size.\r");
        return true;
    }
    model = std::move(plain);
    return true;
}

bool readModelFile(const std::string& path, ModelBuffer& model) {
    return readModelFile(path, model, assembleModelKey());
}

void readNetFile(const std::string& path, ModelBuffer& net) {
    if (!readModelFile(path, net)) {
        std::puts("load handpose model net fail!");
    }
}

void readBlobsFile(const std::string& path, ModelBuffer& blobs) {
    if (!readModelFile(path, blobs)) {
        std::puts("load handpose model blobs fail!");
    }
}

}  // namespace brairu
