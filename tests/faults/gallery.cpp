#include "gallery.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "quietBoard.h"
#include "support/childProcess.h"
#include "utils/fileDescriptor.h"

namespace brairu::test {
namespace {

SparseFile sparse(const std::string& content) {
    constexpr std::size_t kPage = 4096;
    SparseFile file{content.size(), {}};
    for (std::size_t start = 0; start < content.size(); start += kPage) {
        const std::string page = content.substr(start, kPage);
        if (page.find_first_not_of('\0') != std::string::npos) {
            file.pages[start] = page;
        }
    }
    return file;
}

FileDescriptor opened(const std::string& path, int flags) {
    FileDescriptor fd(::open(path.c_str(), flags | O_CLOEXEC, 0666));
    if (!fd.isOpen()) {
        throw std::runtime_error("cannot open " + path);
    }
    return fd;
}

void write(const std::string& path, const SparseFile& file) {
    const FileDescriptor fd = opened(path, O_RDWR | O_CREAT | O_TRUNC);
    bool written = ::ftruncate(fd.get(), static_cast<off_t>(file.size)) == 0;
    for (const auto& [offset, page] : file.pages) {
        written =
            written && ::pwrite(fd.get(), page.data(), page.size(), static_cast<off_t>(offset)) ==
                           static_cast<ssize_t>(page.size());
    }
    if (!written) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::string readPart(const FileDescriptor& file, std::size_t offset, std::size_t length) {
    std::string part(length, '\0');
    const ssize_t read = ::pread(file.get(), part.data(), length, static_cast<off_t>(offset));
    part.resize(static_cast<std::size_t>(std::max<ssize_t>(read, 0)));
    return part;
}

}  // namespace

Gallery::Gallery() {
    folder_.document["database"]["regis_max_count"] = 2;
    folder_.document["handpose"]["dynamic_detection_level"] = 0;
    folder_.writeConfig();
    const ChildResult making = inChild([this] {
        start();
        for (const std::int64_t user : kEnrolled) {
            EXPECT_EQ(enrolUser(user), PVA_REGISTER_COMMITTED);
        }
    });
    if (making.exitStatus != 0) {
        throw std::runtime_error("no gallery: " + making.out + making.err);
    }
    for (const auto& entry : std::filesystem::directory_iterator(folder_.file(""))) {
        files_[entry.path().filename()] = sparse(readFile(entry.path()));
    }
}

void Gallery::restore() const {
    for (const auto& entry : std::filesystem::directory_iterator(folder_.file(""))) {
        std::filesystem::remove_all(entry.path());
    }
    for (const auto& [name, content] : files_) {
        write(file(name), content);
    }
}

void Gallery::remove(const std::string& name) const {
    std::filesystem::remove(file(name));
}

void Gallery::setCentres(int centres) {
    centres_ = centres;
    folder_.document["database"]["regis_center_count"] = centres;
    files_["brairu.json"] = sparse(folder_.document.dump(4));
}

void Gallery::expectWhole(const std::vector<std::int64_t>& present,
                          const std::vector<std::int64_t>& absent) const {
    takeCompleteStarts();
    EXPECT_EQ(start(), 1u);
    EXPECT_EQ(takeCompleteStarts(), 1) << "cache and table disagree after a start";
    for (const std::int64_t user : present) {
        EXPECT_EQ(recognised(captureOfUser(user)), user);
    }
    for (const std::int64_t user : absent) {
        EXPECT_EQ(recognised(captureOfUser(user)), 0) << "user " << user << " is not enrolled";
    }
    expectMirrored();
}

int Gallery::unfinishedConfigs() const {
    const std::filesystem::directory_iterator all(folder_.file(""));
    return static_cast<int>(std::count_if(begin(all), end(all), [](const auto& entry) {
        return entry.path().filename().string().starts_with("brairu.json.");
    }));
}

// Straight from the two files.
void Gallery::expectMirrored() const {
    const std::size_t capacity = static_cast<std::size_t>(centres_ * kMirroredPalms);
    const FileDescriptor cache = opened(file("palms.bin"), O_RDONLY);
    const std::string flags = readPart(cache, 0, capacity);
    ASSERT_EQ(flags.size(), capacity);
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(file("palms.db").c_str(), &connection), SQLITE_OK);
    sqlite3_stmt* rows = nullptr;
    sqlite3_prepare_v2(connection, "SELECT id, vector_data FROM userInfo;", -1, &rows, nullptr);
    long expectedFlags = 0;
    while (sqlite3_step(rows) == SQLITE_ROW) {
        const auto* blob = static_cast<const char*>(sqlite3_column_blob(rows, 1));
        const auto id = static_cast<std::size_t>(sqlite3_column_int64(rows, 0));
        ASSERT_EQ(sqlite3_column_bytes(rows, 1), centres_ * static_cast<int>(kTemplateBytes));
        for (std::size_t j = 0; j < static_cast<std::size_t>(centres_); ++j) {
            const std::size_t slot = static_cast<std::size_t>(centres_) * (id - 1) + j;
            EXPECT_EQ(flags[slot], 1);
            EXPECT_EQ(readPart(cache, capacity + slot * kBlockBytes, kBlockBytes),
                      std::string(blob + j * kTemplateBytes, kBlockBytes))
                << "row " << id << " is mirrored wrongly";
            ++expectedFlags;
        }
    }
    sqlite3_finalize(rows);
    sqlite3_close(connection);
    EXPECT_EQ(std::ranges::count(flags, '\1'), expectedFlags);
}

}  // namespace brairu::test
