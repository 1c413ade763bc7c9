#include "platformLog.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using testing::EndsWith;
using testing::StartsWith;

constexpr std::size_t kLineBytesMax = 4096;

/// Points standard error into a pipe while it lives.
class StandardErrorPipe {
public:
    StandardErrorPipe() : saved_(dup(STDERR_FILENO)) {
        EXPECT_EQ(pipe(ends_), 0);
        dup2(ends_[1], STDERR_FILENO);
        fcntl(ends_[0], F_SETFL, O_NONBLOCK);
    }

    ~StandardErrorPipe() {
        dup2(saved_, STDERR_FILENO);
        close(saved_);
        close(ends_[0]);
        close(ends_[1]);
    }

    StandardErrorPipe(const StandardErrorPipe&) = delete;
    StandardErrorPipe& operator=(const StandardErrorPipe&) = delete;

    std::string take() {
        char chunk[2 * kLineBytesMax];
        const ssize_t count = read(ends_[0], chunk, sizeof chunk);
        return count > 0 ? std::string(chunk, static_cast<std::size_t>(count)) : "";
    }

private:
    int saved_;
    int ends_[2] = {-1, -1};
};

class PlatformLog : public testing::Test {
protected:
    void SetUp() override { unsetenv("BRAIRU_LOG_LEVEL"); }
    void TearDown() override { unsetenv("BRAIRU_LOG_LEVEL"); }

    /// The priorities 2 to 8 that are written at the level.
    static std::vector<int> writtenAt(const char* level) {
        setenv("BRAIRU_LOG_LEVEL", level, 1);
        std::vector<int> written;
        for (int priority = 2; priority <= 8; ++priority) {
            StandardErrorPipe err;
            __android_log_print(priority, "tag", "text");
            if (!err.take().empty())
                written.push_back(priority);
        }
        return written;
    }
};

TEST_F(PlatformLog, WritesPriorityTagAndMessage) {
    StandardErrorPipe err;
    const int written = __android_log_print(ANDROID_LOG_ERROR, "pva", "%s has %d", "user", 7);
    EXPECT_EQ(err.take(), "E/pva: user has 7\n");
    EXPECT_EQ(written, 18);
}

TEST_F(PlatformLog, KeepsTheLineEndOfAMessage) {
    for (const std::string ending : {"\n", "\r\n", "\r\n\r\n"}) {
        StandardErrorPipe err;
        __android_log_print(6, "pva", "text%s", ending.c_str());
        EXPECT_EQ(err.take(), "E/pva: text" + ending);
    }
}

TEST_F(PlatformLog, EndsTheLineOfAMessageWithoutLineEnd) {
    for (const std::string ending : {"", "\r"}) {
        StandardErrorPipe err;
        __android_log_print(6, "pva", "text%s", ending.c_str());
        EXPECT_EQ(err.take(), "E/pva: text" + ending + "\n");
    }
}

TEST_F(PlatformLog, NamesEveryPriorityByItsLetter) {
    const std::string letters = "VDIWEFS";
    for (int priority = 2; priority <= 8; ++priority) {
        StandardErrorPipe err;
        __android_log_print(priority, "t", "m");
        EXPECT_EQ(err.take(),
                  std::string(1, letters[static_cast<std::size_t>(priority - 2)]) + "/t: m\n");
    }
}

TEST_F(PlatformLog, MarksUnknownPriorities) {
    StandardErrorPipe err;
    __android_log_print(9, "t", "m");
    EXPECT_EQ(err.take(), "?/t: m\n");
}

TEST_F(PlatformLog, TakesNullTagAndFormat) {
    StandardErrorPipe err;
    const char* volatile none = nullptr;
    __android_log_print(6, none, "m");
    EXPECT_EQ(err.take(), "E/: m\n");
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
    __android_log_print(6, "t", none);
#pragma GCC diagnostic pop
    EXPECT_EQ(err.take(), "E/t: \n");
}

TEST_F(PlatformLog, CutsLongMessagesAndStillEndsTheLine) {
    StandardErrorPipe err;
    const std::string text(3 * kLineBytesMax, 'x');
    const int written = __android_log_print(6, "t", "%s\r\n", text.c_str());
    const std::string line = err.take();
    EXPECT_EQ(line.size(), kLineBytesMax);
    EXPECT_EQ(static_cast<std::size_t>(written), line.size());
    EXPECT_EQ(line, "E/t: " + std::string(kLineBytesMax - 6, 'x') + "\n");
}

TEST_F(PlatformLog, WritesMessagesOfEveryLengthAroundTheCutWhole) {
    for (std::size_t length = kLineBytesMax - 9; length < kLineBytesMax; ++length) {
        StandardErrorPipe err;
        __android_log_print(6, "t", "%s", std::string(length, 'y').c_str());
        const std::size_t fitting = std::min(length, kLineBytesMax - 6);
        EXPECT_EQ(err.take(), "E/t: " + std::string(fitting, 'y') + "\n");
    }
}

TEST_F(PlatformLog, CutsLongTags) {
    StandardErrorPipe err;
    __android_log_print(6, std::string(2 * kLineBytesMax, 'z').c_str(), "m");
    const std::string line = err.take();
    EXPECT_EQ(line.size(), kLineBytesMax);
    EXPECT_THAT(line, StartsWith("E/zzz"));
    EXPECT_THAT(line, EndsWith("z\n"));
}

TEST_F(PlatformLog, KeepsUtf8Texts) {
    StandardErrorPipe err;
    __android_log_print(6, "database", "数据库\r\n");
    EXPECT_EQ(err.take(), "E/database: 数据库\r\n");
}

TEST_F(PlatformLog, FiltersByNumber) {
    EXPECT_EQ(writtenAt("2"), (std::vector{2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(writtenAt("6"), (std::vector{6, 7, 8}));
    EXPECT_EQ(writtenAt("8"), std::vector<int>{});
}

TEST_F(PlatformLog, FiltersByName) {
    EXPECT_EQ(writtenAt("verbose"), (std::vector{2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(writtenAt("debug"), (std::vector{3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(writtenAt("info"), (std::vector{4, 5, 6, 7, 8}));
    EXPECT_EQ(writtenAt("warn"), (std::vector{5, 6, 7, 8}));
    EXPECT_EQ(writtenAt("error"), (std::vector{6, 7, 8}));
    EXPECT_EQ(writtenAt("fatal"), (std::vector{7, 8}));
    EXPECT_EQ(writtenAt("silent"), std::vector<int>{});
}

TEST_F(PlatformLog, ShowsEverythingForAnUnknownLevel) {
    for (const char* level : {"", "loud", "1", "9", "66"}) {
        EXPECT_EQ(writtenAt(level).size(), 7U) << level;
    }
}

TEST_F(PlatformLog, ReturnsZeroForWhatItFilters) {
    setenv("BRAIRU_LOG_LEVEL", "silent", 1);
    EXPECT_EQ(__android_log_print(6, "t", "m"), 0);
}

TEST_F(PlatformLog, ReturnsNegativeAndKeepsErrnoWhenItCannotWrite) {
    const int saved = dup(STDERR_FILENO);
    close(STDERR_FILENO);
    errno = 42;
    const int written = __android_log_print(6, "t", "m");
    const int errorNumber = errno;
    dup2(saved, STDERR_FILENO);
    close(saved);
    EXPECT_LT(written, 0);
    EXPECT_EQ(errorNumber, 42);
}

}  // namespace
