#include "npu/modelFile.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include <array>
#include <fstream>
#include <functional>

#include "support/captureOutput.h"
#include "support/fileTimes.h"
#include "support/modelContainer.h"
#include "support/temporaryFolder.h"

namespace brairu {
namespace {

// What happens when the next chunk is deciphered, once.
std::function<void()>& atNextChunk() {
    static std::function<void()> action;
    return action;
}

}  // namespace
}  // namespace brairu

// In place of the cipher library's own: tells when a chunk is deciphered.
int crypto_stream_chacha20_xor(unsigned char* out, const unsigned char* in,
                               unsigned long long length, const unsigned char* nonce,
                               const unsigned char* key) {
    if (const auto action = std::exchange(brairu::atNextChunk(), nullptr)) {
        action();
    }
    return crypto_stream_chacha20_xor_ic(out, in, length, nonce, 0, key);
}

namespace brairu {
namespace {

using test::kFieldKey;
using test::sealedModel;
using test::stdoutOf;
using test::TemporaryFolder;

// Bytes without a period that divides a chunk.
std::string someModel(std::size_t bytes) {
    std::string model;
    for (std::size_t i = 0; i < bytes; ++i) {
        model += static_cast<char>(i * i % 251);
    }
    return model;
}

std::string textOf(const ModelBuffer& model) {
    return {reinterpret_cast<const char*>(model.data.get()), model.size};
}

ModelBuffer someBuffer() {
    return {{static_cast<std::uint8_t*>(std::malloc(5)), WipeAndFree{5}}, 5};
}

class ModelFile : public testing::Test {
protected:
    // Reads a container that is expected to be read, silently.
    std::string read(std::string_view container) {
        ModelBuffer model = someBuffer();
        const std::string path = folder_.write("model", container);
        EXPECT_EQ(stdoutOf([&] { EXPECT_TRUE(readModelFile(path, model)); }), "");
        EXPECT_NE(model.data, nullptr);
        return textOf(model);
    }

    // Reads what is expected to be refused; what was printed.
    std::string refuse(const std::string& path, const ModelKey& key) {
        ModelBuffer model = someBuffer();
        const std::string printed =
            stdoutOf([&] { EXPECT_FALSE(readModelFile(path, model, key)); });
        EXPECT_EQ(model.data, nullptr);
        EXPECT_EQ(model.size, 0u);
        return printed;
    }
    std::string refuse(const std::string& path) { return refuse(path, assembleModelKey()); }

    TemporaryFolder folder_;
};

TEST(ModelKeyTest, IsTheKeyOfTheModelsInTheField) {
    const ModelKey key = assembleModelKey();
    ASSERT_TRUE(key.hasRightLength());
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(key.bytes()), kModelKeyBytes), kFieldKey);
}

TEST(ModelKeyTest, KnowsItsLength) {
    EXPECT_FALSE(ModelKey("").hasRightLength());
    EXPECT_FALSE(ModelKey(std::string(31, 'k')).hasRightLength());
    EXPECT_TRUE(ModelKey(std::string(32, 'k')).hasRightLength());
    EXPECT_FALSE(ModelKey(std::string(33, 'k')).hasRightLength());
}

// Computed once from the cipher's definition, without a library.
TEST_F(ModelFile, DeciphersKnownBytes) {
    constexpr std::array<std::uint8_t, 24> kContainer{
        0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x6a, 0x31, 0xac, 0xba,
        0x81, 0x6d, 0x9f, 0x04, 0xe5, 0xee, 0x70, 0xab, 0x6d, 0xa3, 0xdf, 0x74};
    EXPECT_EQ(read({reinterpret_cast<const char*>(kContainer.data()), kContainer.size()}),
              "brairu network 1");
}

class ModelSize : public ModelFile, public testing::WithParamInterface<std::size_t> {};

TEST_P(ModelSize, DeciphersChunkByChunkWithTheSameKeystream) {
    const std::string model = someModel(GetParam());
    EXPECT_EQ(read(sealedModel(model)), model);
}

INSTANTIATE_TEST_SUITE_P(Bytes, ModelSize,
                         testing::Values(1, 476, 1023, 1024, 1025, 1500, 2048, 2049, 100'000));

TEST_F(ModelFile, DeciphersEqualChunksAlike) {
    const std::string chunk = someModel(1024);
    const std::string container = sealedModel(chunk + chunk);
    EXPECT_EQ(container.substr(8, 1024), container.substr(1032));
    EXPECT_EQ(read(container), chunk + chunk);
}

TEST_F(ModelFile, TakesTheNonceFromTheFile) {
    const std::string model = someModel(1500);
    EXPECT_EQ(read(sealedModel(model, {8, 7, 6, 5, 4, 3, 2, 1})), model);
    EXPECT_EQ(read(sealedModel(model, {})), model);
}

TEST_F(ModelFile, AnotherKeyGivesGarbageAndNoFault) {
    const std::string model = someModel(1500);
    const std::string garbage =
        read(sealedModel(model, test::kSomeNonce, "another key of thirty-two bytes."));
    EXPECT_EQ(garbage.size(), model.size());
    EXPECT_NE(garbage, model);
}

TEST_F(ModelFile, EightBytesAreAModelOfLengthZero) {
    EXPECT_EQ(read("12345678"), "");
}

TEST_F(ModelFile, FewerThanEightBytesAreNoContainer) {
    EXPECT_EQ(refuse(folder_.write("seven", "1234567")), "");
    EXPECT_EQ(refuse(folder_.write("none", "")), "");
}

TEST_F(ModelFile, AFolderIsNoContainer) {
    EXPECT_EQ(refuse(folder_.path().string()), "");
}

TEST_F(ModelFile, ReportsAFileThatIsNotThere) {
    EXPECT_EQ(refuse(folder_.file("missing")), "无法打开输入文件：\r\n");
    EXPECT_EQ(refuse(""), "无法打开输入文件：\r\n");
}

TEST_F(ModelFile, ReportsAKeyOfAnotherLength) {
    const std::string path = folder_.write("model", sealedModel("model"));
    EXPECT_EQ(refuse(path, ModelKey(std::string(31, 'k'))), "密钥长度不正确。\r\n");
    EXPECT_EQ(refuse(path, ModelKey(std::string(33, 'k'))), "密钥长度不正确。\r\n");
    EXPECT_EQ(refuse(path, ModelKey("")), "密钥长度不正确。\r\n");
}

TEST_F(ModelFile, ReportsAMissingFileBeforeTheKey) {
    EXPECT_EQ(refuse(folder_.file("missing"), ModelKey("short")), "无法打开输入文件：\r\n");
}

TEST_F(ModelFile, OwnersReportTheirFilesAndGoOnEmpty) {
    ModelPair models{someBuffer(), someBuffer()};
    EXPECT_EQ(stdoutOf([&] {
                  readNetFile(folder_.file("missing"), models.net);
                  readBlobsFile(folder_.path().string(), models.blobs);
              }),
              "无法打开输入文件：\r\nload handpose model net fail!\n"
              "load handpose model blobs fail!\n");
    EXPECT_EQ(models.net.data, nullptr);
    EXPECT_EQ(models.blobs.data, nullptr);
}

TEST_F(ModelFile, OwnersReadTheirFilesSilently) {
    const std::string path = folder_.write("model", sealedModel("net"));
    ModelPair models;
    EXPECT_EQ(stdoutOf([&] {
                  readNetFile(path, models.net);
                  readBlobsFile(path, models.blobs);
              }),
              "");
    EXPECT_EQ(textOf(models.net), "net");
    EXPECT_EQ(textOf(models.blobs), "net");
}

TEST_F(ModelFile, ReadsAFileOfAnyYear) {
    const std::string path = folder_.write("model", sealedModel("model"));
    test::stampIn2040(path);
    ModelBuffer model;
    EXPECT_TRUE(readModelFile(path, model));
    EXPECT_EQ(textOf(model), "model");
}

TEST_F(ModelFile, GivesUpSuccessfullyOnAFileThatGrowsWhileItIsRead) {
    const std::string path = folder_.write("model", sealedModel(someModel(2000)));
    atNextChunk() = [&] { std::ofstream(path, std::ios::app) << std::string(5000, 'x'); };
    ModelBuffer model = someBuffer();
    EXPECT_EQ(stdoutOf([&] { EXPECT_TRUE(readModelFile(path, model)); }),
              "Decrypted data exceeds expected size.\r\n");
    EXPECT_EQ(model.data, nullptr);
    EXPECT_EQ(model.size, 0u);
}

// Every prefix of a container is either no container or a shorter model.
TEST_F(ModelFile, ReadsEveryPrefixWithoutHarm) {
    const std::string model = someModel(40);
    const std::string container = sealedModel(model);
    for (std::size_t bytes = 0; bytes < container.size(); ++bytes) {
        const std::string prefix = container.substr(0, bytes);
        if (bytes < 8) {
            refuse(folder_.write("prefix", prefix));
        } else {
            EXPECT_EQ(read(prefix), model.substr(0, bytes - 8));
        }
    }
}

}  // namespace
}  // namespace brairu
