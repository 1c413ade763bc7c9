#include "training/npyFile.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/temporaryFolder.h"

namespace brairu {
namespace {

using test::readFile;
using test::TemporaryFolder;

constexpr std::size_t kLengthAt = 8;
constexpr std::size_t kDictionaryAt = 10;

std::string written(const std::string& type, const std::vector<int>& shape,
                    const std::string& rows) {
    const TemporaryFolder folder;
    NpyFile file(folder.file("a.npy"), type, shape);
    file.append(rows.data(), rows.size());
    file.close();
    return readFile(folder.file("a.npy"));
}

std::size_t headerLength(const std::string& content) {
    const auto low = static_cast<std::uint8_t>(content[kLengthAt]);
    const auto high = static_cast<std::uint8_t>(content[kLengthAt + 1]);
    return kDictionaryAt + low + std::size_t{256} * high;
}

TEST(NpyFile, BeginsWithTheMagicOfVersionOne) {
    const std::string magic{"\x93NUMPY\x01\x00", 8};
    EXPECT_EQ(written("|u1", {1}, "x").substr(0, 8), magic);
}

TEST(NpyFile, TellsTypeAndShape) {
    EXPECT_EQ(written("<f4", {2, 3, 15}, "").substr(kDictionaryAt, 64),
              "{'descr': '<f4', 'fortran_order': False, 'shape': (2,3,15,), }  ");
}

TEST(NpyFile, AlignsTheRowsBehindALineEnd) {
    for (const int rows : {1, 12345, 1234567890}) {
        const std::string content = written("|u1", {rows, 128, 128}, "");
        EXPECT_EQ(headerLength(content), content.size()) << rows;
        EXPECT_EQ(content.size() % 64, 0U) << rows;
        EXPECT_EQ(content.back(), '\n') << rows;
    }
}

TEST(NpyFile, KeepsRowsInTheirOrder) {
    const TemporaryFolder folder;
    NpyFile file(folder.file("a.npy"), "|u1", {2, 3});
    file.append("abc", 3);
    file.append("def", 3);
    file.close();
    const std::string content = readFile(folder.file("a.npy"));
    EXPECT_EQ(content.substr(headerLength(content)), "abcdef");
}

TEST(NpyFile, ReportsAFileThatCannotBeWritten) {
    const TemporaryFolder folder;
    const std::string path = folder.file("missing/a.npy");
    NpyFile file(path, "|u1", {1});
    try {
        file.close();
        FAIL() << "closed";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), "cannot write " + path);
    }
}

}  // namespace
}  // namespace brairu
