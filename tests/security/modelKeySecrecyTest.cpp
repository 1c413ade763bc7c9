// The key of the models, in a host on the shared library: nowhere in the process's memory once the
// engine runs, and not in one piece in any file that is shipped.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <vector>

#include "brairu.h"
#include "memoryScan.h"
#include "npu.h"
#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

// What happens whenever a deciphered model is handed over, right after the key was used.
std::function<void()>& atEveryModel() {
    static std::function<void()> action;
    return action;
}

}  // namespace
}  // namespace brairu::test

// In place of the NPU stack's own.
__attribute__((visibility("default"))) vx_status LoadNetModelFromMem(const void* buffer,
                                                                     std::uint32_t bytes,
                                                                     std::uint32_t* flag,
                                                                     NetModel* model) {
    if (const auto& action = brairu::test::atEveryModel()) {
        action();
    }
    using Function = vx_status(const void*, std::uint32_t, std::uint32_t*, NetModel*);
    auto* const next = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, "LoadNetModelFromMem"));
    return next(buffer, bytes, flag, model);
}

namespace brairu::test {
namespace {

constexpr MaskedKey kMaskedKey{0x2f, 0x6d, 0x08, 0x31, 0x6a, 0x2d, 0x0c, 0x20, 0x0b, 0x69, 0x32,
                               0x02, 0x37, 0x63, 0x16, 0x2a, 0x03, 0x39, 0x0e, 0x2b, 0x62, 0x10,
                               0x3e, 0x09, 0x6b, 0x3c, 0x1d, 0x2c, 0x14, 0x6f, 0x38, 0x00};
constexpr std::size_t kPieces = kMaskedKey.size() - kPieceBytes + 1;

// The key in memory, for as long as the object lives.
class KeyInMemory {
public:
    KeyInMemory() {
        for (const std::uint8_t byte : kMaskedKey) {
            bytes_.push_back(byte ^ kMask);
        }
    }
    ~KeyInMemory() {
        for (volatile std::uint8_t& byte : bytes_) {
            byte = 0;
        }
    }
    KeyInMemory(const KeyInMemory&) = delete;
    KeyInMemory& operator=(const KeyInMemory&) = delete;

    // Volatile, so that the compiler makes the key as it is told.
    const volatile std::uint8_t* bytes() const { return bytes_.data(); }

private:
    std::vector<std::uint8_t> bytes_;
};

class ModelKeySecrecy : public testing::Test {
protected:
    // The shipped document with a store of its own; the models are found from the repository root.
    std::string writeConfig() const {
        std::ifstream shipped("config/brairu.json");
        nlohmann::ordered_json document;
        shipped >> document;
        document["database"]["database_path"] = folder_.file("palms.db");
        document["database"]["search_index_path"] = folder_.file("palms.bin");
        return folder_.write("brairu.json", document.dump());
    }

    TemporaryFolder folder_;
};

TEST_F(ModelKeySecrecy, TheScanFindsAKeyThatIsThere) {
    const KeyInMemory key;
    ASSERT_NE(key.bytes()[0], 0);
    EXPECT_EQ(scanOwnMemory(kMaskedKey).pieces, kPieces);
}

TEST_F(ModelKeySecrecy, NoPieceOfTheKeyIsLeftWhenAModelIsHandedOver) {
    int models = 0;
    atEveryModel() = [&] {
        ++models;
        EXPECT_EQ(scanOwnMemory(kMaskedKey).pieces, 0u);
    };
    ASSERT_EQ(init_pva(writeConfig().c_str()), 1u);
    atEveryModel() = nullptr;
    EXPECT_EQ(models, 6);
}

TEST_F(ModelKeySecrecy, NoPieceOfTheKeyStaysInMemory) {
    ASSERT_EQ(init_pva(writeConfig().c_str()), 1u);
    const ScanResult scan = scanOwnMemory(kMaskedKey);
    EXPECT_GT(scan.bytesRead, std::size_t{1} << 20);
    EXPECT_EQ(scan.pieces, 0u);
}

TEST_F(ModelKeySecrecy, TheLibraryHoldsTheKeyInSlicesOnly) {
    const std::string library = readFile(BRAIRU_LIBRARY);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(library.data());
    // A slice of n characters has n - 7 pieces; the slices have 9, 10 and 13.
    EXPECT_LE(piecesIn({bytes, library.size()}, kMaskedKey), 2u + 3u + 6u);
}

}  // namespace
}  // namespace brairu::test
