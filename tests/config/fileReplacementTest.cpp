#include "utils/fileReplacement.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>

#include "support/childProcess.h"
#include "support/fileTimes.h"
#include "support/interposing.h"
#include "support/ordinaryRights.h"
#include "support/temporaryFolder.h"

namespace {

int renamingFault = 0;  // rename fails with this errno
int rightsFault = 0;    // fchmod fails with this errno

}  // namespace

BRAIRU_INTERPOSED int rename(const char* from, const char* to) noexcept {
    using Function = int(const char*, const char*);
    if (renamingFault != 0) {
        errno = renamingFault;
        return -1;
    }
    return brairu::test::next<Function>("rename")(from, to);
}

BRAIRU_INTERPOSED int fchmod(int fd, mode_t mode) noexcept {
    using Function = int(int, mode_t);
    if (rightsFault != 0) {
        errno = rightsFault;
        return -1;
    }
    return brairu::test::next<Function>("fchmod")(fd, mode);
}

namespace brairu {
namespace {

using test::inChild;
using test::kNobody;
using test::OrdinaryRights;
using test::readFile;
using test::TemporaryFolder;
namespace fs = std::filesystem;

struct stat statusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    return status;
}

std::size_t filesIn(const fs::path& folder) {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

bool isRoot() {
    return ::geteuid() == 0;
}

class FileReplacement : public testing::Test {
protected:
    // Whatever a disk that is full or broken answers to the call of this fault.
    void expectTheOldText(int& fault) const {
        const std::string path = folder_.write("file", "old");
        for (const int error : {ENOSPC, EDQUOT, EIO}) {
            fault = error;
            EXPECT_FALSE(replaceFile(path, "new"));
            fault = 0;
            EXPECT_EQ(readFile(path), "old");
            EXPECT_EQ(filesIn(folder_.path()), 1u);
        }
    }

    TemporaryFolder folder_;
};

TEST_F(FileReplacement, WritesAFileThatIsNotThereYet) {
    EXPECT_TRUE(replaceFile(folder_.file("new"), "text"));
    EXPECT_EQ(readFile(folder_.file("new")), "text");
}

TEST_F(FileReplacement, ReplacesTheWholeContent) {
    const std::string path = folder_.write("file", "a longer old text");
    EXPECT_TRUE(replaceFile(path, "new"));
    EXPECT_EQ(readFile(path), "new");
}

TEST_F(FileReplacement, WritesTextsThatAreLargerThanOnePage) {
    const std::string path = folder_.write("file", "old");
    const std::string text(300'000, 'x');
    EXPECT_TRUE(replaceFile(path, text));
    EXPECT_EQ(readFile(path), text);
}

TEST_F(FileReplacement, PutsANewFileInPlaceOfTheOldOne) {
    const std::string path = folder_.write("file", "old");
    std::FILE* reader = std::fopen(path.c_str(), "r");
    ASSERT_NE(reader, nullptr);
    const ino_t before = statusOf(path).st_ino;
    EXPECT_TRUE(replaceFile(path, "new"));
    EXPECT_NE(statusOf(path).st_ino, before);
    char piece[8] = {};
    EXPECT_EQ(std::fread(piece, 1, sizeof piece, reader), 3u);
    EXPECT_STREQ(piece, "old") << "a reader of the old file keeps the old text";
    std::fclose(reader);
}

TEST_F(FileReplacement, PutsANewFileInPlaceOfOneOfAnyYear) {
    const std::string path = folder_.write("file", "old");
    test::stampIn2040(path);
    const ino_t before = statusOf(path).st_ino;
    EXPECT_TRUE(replaceFile(path, "new"));
    EXPECT_NE(statusOf(path).st_ino, before);
}

TEST_F(FileReplacement, KeepsTheMode) {
    const std::string path = folder_.write("file", "old");
    ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
    EXPECT_TRUE(replaceFile(path, "new"));
    EXPECT_EQ(statusOf(path).st_mode & 07777, 0640u);
}

TEST_F(FileReplacement, KeepsTheOwner) {
    if (!isRoot()) {
        GTEST_SKIP() << "only root can give files away";
    }
    const std::string path = folder_.write("file", "old");
    ASSERT_EQ(::chown(path.c_str(), kNobody, kNobody), 0);
    EXPECT_TRUE(replaceFile(path, "new"));
    EXPECT_EQ(statusOf(path).st_uid, kNobody);
    EXPECT_EQ(statusOf(path).st_gid, kNobody);
}

TEST_F(FileReplacement, LeavesNothingBeside) {
    const std::string path = folder_.write("file", "old");
    EXPECT_TRUE(replaceFile(path, "new"));
    EXPECT_EQ(filesIn(folder_.path()), 1u);
}

TEST_F(FileReplacement, WritesThroughASymbolicLink) {
    const std::string target = folder_.write("target", "old");
    const std::string link = folder_.file("link");
    fs::create_symlink(target, link);
    EXPECT_TRUE(replaceFile(link, "new"));
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(readFile(target), "new");
}

TEST_F(FileReplacement, WritesThroughAHardLink) {
    const std::string path = folder_.write("file", "old");
    const std::string other = folder_.file("other");
    fs::create_hard_link(path, other);
    EXPECT_TRUE(replaceFile(path, "new"));
    EXPECT_EQ(readFile(other), "new");
}

TEST_F(FileReplacement, WritesToADevice) {
    EXPECT_TRUE(replaceFile("/dev/null", "text"));
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(FileReplacement, FailsForAFolderAndForAMissingFolder) {
    EXPECT_FALSE(replaceFile(folder_.path().string(), "text"));
    EXPECT_FALSE(replaceFile(folder_.file("missing/file"), "text"));
    EXPECT_FALSE(replaceFile("", "text"));
    EXPECT_EQ(filesIn(folder_.path()), 0u);
}

TEST_F(FileReplacement, TruncatesWhereTheFolderTakesNoNewFile) {
    const std::string path = folder_.write("file", "a longer old text");
    ASSERT_EQ(::chmod(path.c_str(), 0666), 0);
    ASSERT_EQ(::chmod(folder_.path().c_str(), 0555), 0);
    const auto result = inChild([&] {
        const OrdinaryRights ordinary;
        EXPECT_TRUE(replaceFile(path, "new"));
    });
    ASSERT_EQ(::chmod(folder_.path().c_str(), 0755), 0);
    EXPECT_EQ(result.exitStatus, 0) << result.out;
    EXPECT_EQ(readFile(path), "new");
}

// A file that was made with the owner alone in mind belongs to root's group as a rule.
class OfAnotherGroup : public FileReplacement {
protected:
    // Replaces a file of the mode, owned by who replaces it and by a group that this one is not in.
    // Whether another file took its place.
    bool isReplaced(mode_t mode) {
        const std::string path = folder_.write("file", "old");
        EXPECT_EQ(::chmod(path.c_str(), mode), 0);
        EXPECT_EQ(::chown(path.c_str(), kNobody, 0), 0);
        EXPECT_EQ(::chmod(folder_.path().c_str(), 0777), 0);
        const ino_t before = statusOf(path).st_ino;
        const auto result = inChild([&] {
            const OrdinaryRights ordinary;
            EXPECT_TRUE(replaceFile(path, "new"));
        });
        EXPECT_EQ(result.exitStatus, 0) << result.out;
        EXPECT_EQ(readFile(path), "new");
        EXPECT_EQ(statusOf(path).st_mode & 07777, mode);
        EXPECT_EQ(statusOf(path).st_uid, kNobody);
        EXPECT_EQ(filesIn(folder_.path()), 1u);
        return statusOf(path).st_ino != before;
    }
};

TEST_F(OfAnotherGroup, IsReplacedWhereTheGroupHasNoRightOfItsOwn) {
    if (!isRoot()) {
        GTEST_SKIP() << "only root can give files away";
    }
    EXPECT_TRUE(isReplaced(0600));
    EXPECT_TRUE(isReplaced(0644));
}

TEST_F(OfAnotherGroup, IsWrittenInPlaceWhereTheGroupHasARightOfItsOwn) {
    if (!isRoot()) {
        GTEST_SKIP() << "only root can give files away";
    }
    EXPECT_FALSE(isReplaced(0640));
    EXPECT_FALSE(isReplaced(0604));
}

TEST_F(FileReplacement, WritesInPlaceWhereTheNameCannotBeTaken) {
    const std::string path = folder_.write("file", "a longer old text");
    renamingFault = EBUSY;
    EXPECT_TRUE(replaceFile(path, "new"));
    renamingFault = 0;
    EXPECT_EQ(readFile(path), "new");
    EXPECT_EQ(filesIn(folder_.path()), 1u);
}

TEST_F(FileReplacement, KeepsTheOldTextWhereTheDiskRefusesTheRenaming) {
    expectTheOldText(renamingFault);
}

TEST_F(FileReplacement, KeepsTheOldTextWhereTheDiskRefusesTheRights) {
    expectTheOldText(rightsFault);
}

TEST_F(FileReplacement, WritesInPlaceWhereTheRightsCannotBeGiven) {
    const std::string path = folder_.write("file", "old");
    rightsFault = EPERM;
    EXPECT_TRUE(replaceFile(path, "new"));
    rightsFault = 0;
    EXPECT_EQ(readFile(path), "new");
}

TEST_F(FileReplacement, LeavesAReadOnlyFileAlone) {
    const std::string path = folder_.write("file", "old");
    ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
    ASSERT_EQ(::chmod(folder_.path().c_str(), 0777), 0);
    const auto result = inChild([&] {
        const OrdinaryRights ordinary;
        EXPECT_FALSE(replaceFile(path, "new"));
    });
    EXPECT_EQ(result.exitStatus, 0) << result.out;
    EXPECT_EQ(readFile(path), "old");
    EXPECT_EQ(filesIn(folder_.path()), 1u);
}

TEST_F(FileReplacement, KeepsTheOldTextWhenTheNewOneDoesNotFit) {
    const std::string path = folder_.write("file", "old");
    const auto result = inChild([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{1000, 1000};
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
        EXPECT_FALSE(replaceFile(path, std::string(5000, 'x')));
    });
    EXPECT_EQ(result.exitStatus, 0) << result.out;
    EXPECT_EQ(readFile(path), "old");
    EXPECT_EQ(filesIn(folder_.path()), 1u);
}

}  // namespace
}  // namespace brairu
