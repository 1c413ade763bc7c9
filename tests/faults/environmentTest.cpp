// Disks that are full or cannot be written, and files of others in the place of the library's own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "support/ordinaryRights.h"
#include "support/scriptedLog.h"
#include "support/seededRandom.h"
#include "support/temporaryFolder.h"
#include "surroundings.h"

namespace brairu::test {
namespace {

using testing::HasSubstr;

class Environment : public testing::Test, protected Surroundings {
protected:
    // The folder on a disk of that size, with all that it holds. Only for the calling process.
    bool moveToDisk(const std::string& size) const {
        const TemporaryFolder aside;
        const auto all = std::filesystem::copy_options::recursive;
        std::filesystem::copy(file(""), aside.path(), all);
        if (!mountMemoryDisk(file(""), size)) {
            return false;
        }
        std::filesystem::copy(aside.path(), file(""), all);
        return true;
    }

    // Takes what is left of the disk.
    void fillDisk() const {
        std::ofstream filler(file("filler"), std::ios::binary);
        const std::string page(4096, 'x');
        while (filler.write(page.data(), static_cast<std::streamsize>(page.size())).flush()) {
        }
    }

    // Runs where mounts are allowed, and says where not.
    void onDisk(const std::function<void()>& action) {
        if (!mayMount()) {
            GTEST_SKIP() << "no right to mount";
        }
        freshly(action);
    }
};

// ---- Full disks

TEST_F(Environment, AFullDiskRefusesChangesAndKeepsWhatItHas) {
    enrolThree();
    onDisk([&] {
        ASSERT_TRUE(moveToDisk("8m"));
        ASSERT_EQ(start(), 1u);
        const std::string config = readFile(configPath());
        fillDisk();
        EXPECT_EQ(enrolUser(4), PVA_REGISTER_FAILED);
        EXPECT_EQ(addUser(5), 0);
        EXPECT_EQ(pvaConfigSetAuthThreshold(0.25f), 1u);
        EXPECT_EQ(readFile(configPath()), config);
        EXPECT_EQ(userOf(1), 1);
        EXPECT_EQ(pvaDataBaseGetAllPalmCount(), 3);
        std::filesystem::remove(file("filler"));
        EXPECT_EQ(enrolUser(4), PVA_REGISTER_COMMITTED);
        EXPECT_EQ(userOf(4), 4);
        EXPECT_EQ(userOf(1), 1);
        EXPECT_EQ(pvaConfigSetAuthThreshold(0.25f), 1u);
        EXPECT_NE(readFile(configPath()), config);
    });
}

TEST_F(Environment, AStartOnAFullDiskWorksWithoutACacheThatDoesNotFit) {
    onDisk([&] {
        ASSERT_TRUE(moveToDisk("2m"));
        EXPECT_EQ(start(), 1u);
        EXPECT_EQ(enrolUser(1), PVA_REGISTER_COMMITTED);
        EXPECT_EQ(userOf(1), 0);
        const PvaUserKey key{1, 1, {}};
        EXPECT_EQ(pvaDataBaseExistUser(&key), 1);
    });
}

TEST_F(Environment, ALimitOnFileSizesRefusesChangesAndKeepsWhatThereIs) {
    enrolThree();
    freshly([&] {
        ::signal(SIGXFSZ, SIG_IGN);
        ASSERT_EQ(start(), 1u);
        rlimit limit{};
        ::getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit usual = limit;
        limit.rlim_cur = 100;
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const std::string config = readFile(configPath());
        EXPECT_EQ(enrolUser(4), PVA_REGISTER_FAILED);
        EXPECT_EQ(addUser(5), 0);
        EXPECT_EQ(pvaConfigSetAuthThreshold(0.25f), 1u);
        EXPECT_EQ(readFile(configPath()), config);
        EXPECT_EQ(userOf(1), 1);
        ::setrlimit(RLIMIT_FSIZE, &usual);
        EXPECT_EQ(enrolUser(4), PVA_REGISTER_COMMITTED);
        EXPECT_EQ(userOf(4), 4);
    });
    expectRecognised({1, 2, 3, 4});
}

TEST_F(Environment, AReadOnlyDiskIsReadAndNothingElse) {
    enrolThree();
    onDisk([&] {
        ASSERT_TRUE(makeReadOnly(file("")));
        const std::string config = readFile(configPath());
        EXPECT_EQ(start(), 1u);
        CallResults expected = kAllRefused;
        expected.exists = 1;
        expected.list = 1;
        EXPECT_EQ(callEverything(), expected);
        EXPECT_EQ(readFile(configPath()), config);
    });
    expectRecognised({1, 2, 3});
}

// As of a service that may write its files and not make any: SQLite has no place for its journal,
// and the store none for its note.
TEST_F(Environment, AFolderThatTakesNoNewFileRefusesChangesAndKeepsWhatItHas) {
    enrolThree();
    std::filesystem::remove(cachePath() + ".changed");
    for (const std::string& path : {databasePath(), cachePath(), configPath()}) {
        ASSERT_EQ(::chmod(path.c_str(), 0666), 0);
    }
    ASSERT_EQ(::chmod(file("").c_str(), 0555), 0);
    freshly([&] {
        const OrdinaryRights ordinary;
        EXPECT_EQ(start(), 1u);
        EXPECT_EQ(userOf(1), 1);
        const PvaUserKey second = keyOfUser(2);
        EXPECT_EQ(pvaDataBaseUpdateUser(&second, newTemplateOfUser(2).data()), 0);
        const PvaUserKey third = keyOfUser(3);
        EXPECT_EQ(pvaDataBaseDeleteUser(&third), 0);
        EXPECT_EQ(enrolUser(4), PVA_REGISTER_FAILED);
        EXPECT_EQ(addUser(5), 0);
        EXPECT_EQ(pvaDataBaseDeleteAllPalm(), 0);
        EXPECT_EQ(userOf(1), 1);
    });
    ASSERT_EQ(::chmod(file("").c_str(), 0755), 0);
    expectRecognised({1, 2, 3});
}

// ---- In the place of the database

class ForeignDatabase : public Environment {
protected:
    // Every call fails in peace, and the file stays as it is.
    void expectRefusalOf(const std::string& content) {
        std::ofstream(databasePath(), std::ios::binary) << content;
        freshly([&] {
            EXPECT_EQ(start(), 1u);
            EXPECT_EQ(callEverything(), kAllRefused);
            EXPECT_EQ(start(), 1u);
        });
        EXPECT_EQ(readFile(databasePath()), content);
    }
};

TEST_F(ForeignDatabase, TextIsLeftAlone) {
    std::string text;
    while (text.size() < 5000) {
        text += "This is not a database, whatever its name says.\n";
    }
    expectRefusalOf(text);
}

TEST_F(ForeignDatabase, RandomBytesAreLeftAlone) {
    SeededRandom random;
    for (const int size : {512, 4096, 20000}) {
        std::string bytes(static_cast<std::size_t>(size), '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random.between(-128, 127));
        }
        expectRefusalOf(bytes);
    }
}

TEST_F(ForeignDatabase, ATableOfThatNameWithOtherColumnsIsRefused) {
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(databasePath().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other,
                           "CREATE TABLE userInfo (name TEXT, age INT);"
                           "INSERT INTO userInfo VALUES ('somebody', 30);",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(other);
    freshly([&] {
        EXPECT_EQ(start(), 1u);
        EXPECT_EQ(addUser(1), 0);
        EXPECT_EQ(enrolUser(1), PVA_REGISTER_FAILED);
        EXPECT_EQ(userOf(1), 0);
        const PvaUserKey key{1, 1, {}};
        EXPECT_EQ(pvaDataBaseExistUser(&key), 0);
        EXPECT_EQ(pvaDataBaseDeleteUser(&key), 0);
    });
    const std::string content = readFile(databasePath());
    EXPECT_THAT(content, HasSubstr("CREATE TABLE userInfo (name TEXT, age INT)"));
    EXPECT_THAT(content, HasSubstr("somebody"));
}

TEST_F(ForeignDatabase, AFolderIsRefused) {
    std::filesystem::create_directory(databasePath());
    freshly([&] {
        EXPECT_EQ(start(), 1u);
        EXPECT_EQ(callEverything(), kAllRefused);
    });
    EXPECT_TRUE(std::filesystem::is_directory(databasePath()));
}

TEST_F(ForeignDatabase, APipeDoesNotHangTheStart) {
    ASSERT_EQ(::mkfifo(databasePath().c_str(), 0600), 0);
    freshly([&] {
        EXPECT_EQ(start(), 1u);
        EXPECT_EQ(callEverything(), kAllRefused);
    });
}

// ---- In the place of the cache

class ForeignCache : public Environment {
protected:
    // Without a cache all works but the search.
    void expectWorkWithoutSearch(const std::string& fault) {
        const ChildResult life = freshly([&] {
            EXPECT_EQ(start(), 1u);
            CallResults expected = kAllWell;
            expected.recognise = 0;
            expected.remove = 0;  // nothing is counted, so there is nothing to delete
            EXPECT_EQ(callEverything(), expected);
        });
        EXPECT_THAT(life.err, HasSubstr(fault));
    }
};

TEST_F(ForeignCache, AFolderLeavesTheSearchWithoutResults) {
    enrolThree();
    std::filesystem::remove(cachePath());
    std::filesystem::create_directory(cachePath());
    expectWorkWithoutSearch("open: Is a directory\n");
}

TEST_F(ForeignCache, APipeLeavesTheSearchWithoutResultsAndDoesNotHang) {
    enrolThree();
    std::filesystem::remove(cachePath());
    ASSERT_EQ(::mkfifo(cachePath().c_str(), 0600), 0);
    expectWorkWithoutSearch("ftruncate: Invalid argument\n");
}

TEST_F(ForeignCache, ADeviceLeavesTheSearchWithoutResults) {
    enrolThree();
    std::filesystem::remove(cachePath());
    std::filesystem::create_symlink("/dev/zero", cachePath());
    expectWorkWithoutSearch("ftruncate: Invalid argument\n");
    EXPECT_TRUE(std::filesystem::exists("/dev/zero"));
}

TEST_F(ForeignCache, AFileThatCannotBeWrittenLeavesTheSearchWithoutResults) {
    enrolThree();
    onDisk([&] {
        ASSERT_TRUE(makeFileReadOnly(cachePath()));
        EXPECT_EQ(start(), 1u);
        EXPECT_EQ(userOf(1), 0);
        EXPECT_EQ(enrolUser(4), PVA_REGISTER_COMMITTED);
    });
    if (!IsSkipped()) {
        expectRecognised({1, 2, 3, 4});
    }
}

TEST_F(ForeignCache, ALinkIsFollowed) {
    enrolThree();
    std::filesystem::rename(cachePath(), file("elsewhere.bin"));
    std::filesystem::create_symlink(file("elsewhere.bin"), cachePath());
    expectRecognised({1, 2, 3});
    freshly([&] {
        start();
        EXPECT_EQ(callEverything(), kAllWell);
    });
}

TEST_F(ForeignCache, BytesOfAnythingElseAreReplacedByTheMirror) {
    enrolThree();
    SeededRandom random;
    std::string bytes(100'000, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random.between(-128, 127));
    }
    std::ofstream(cachePath(), std::ios::binary) << bytes;
    expectRecognised({1, 2, 3});
}

// ---- In the place of the configuration and of the models

TEST_F(Environment, AFolderIsNoConfiguration) {
    std::filesystem::create_directory(file("folder.json"));
    const ChildResult life = freshly([&] {
        ASSERT_EQ(start(), 1u);
        EXPECT_EQ(init_pva(file("folder.json").c_str()), 1u);
        EXPECT_EQ(pvaConfigSetAuthThreshold(0.25f), 1u);
    });
    EXPECT_THAT(life.out, HasSubstr("Error parsing config file: "));
}

TEST_F(Environment, AFolderOrAPipeIsNoModel) {
    constexpr int kUnprepared = 255;
    for (const bool pipe : {false, true}) {
        const std::string path = file(pipe ? "pipe.net" : "folder.net");
        pipe ? ::mkfifo(path.c_str(), 0600) : ::mkdir(path.c_str(), 0700);
        folder_.document["feature"]["model_path_net"] = path;
        folder_.writeConfig();
        const ChildResult life = inChild([&] {
            ::alarm(10);
            start();
        });
        EXPECT_EQ(life.exitStatus, kUnprepared) << life.out;
        EXPECT_THAT(life.out, HasSubstr("load handpose model net fail!\n"));
        EXPECT_THAT(life.out, HasSubstr("this face mode must be one input!\n"));
    }
}

// A wipe looks whether the configured name can be read.
TEST_F(Environment, AWipeDoesNotHangOnAPipe) {
    ASSERT_EQ(::mkfifo(file("index.usearch").c_str(), 0600), 0);
    folder_.document["database"]["search_index_path"] = file("index.usearch");
    folder_.writeConfig();
    freshly([&] {
        start();
        EXPECT_EQ(enrolUser(1), PVA_REGISTER_COMMITTED);
        EXPECT_EQ(pvaDataBaseDeleteAllPalm(), 1);
    });
}

// ---- Another process at the files

TEST_F(Environment, ALockedDatabaseRefusesEveryCallAtOnceAndServesTheNext) {
    enrolThree();
    freshly([&] {
        start();
        {
            const LockedDatabase locked(databasePath());
            const auto begin = std::chrono::steady_clock::now();
            EXPECT_EQ(callEverything(), kAllRefused);
            EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
        }
        EXPECT_EQ(callEverything(), kAllWell);
    });
}

TEST_F(Environment, AStartOnALockedDatabaseIsMadeUpForByTheNext) {
    enrolThree();
    freshly([&] {
        {
            const LockedDatabase locked(databasePath());
            EXPECT_EQ(start(), 1u);
            EXPECT_EQ(callEverything(), kAllRefused);
        }
        EXPECT_EQ(start(), 1u);
        for (const int user : {1, 2, 3}) {
            EXPECT_EQ(userOf(user), user);
        }
    });
    expectRecognised({1, 2, 3});
}

class SharedCache : public Environment {
protected:
    void expectLoss(const std::function<void()>& damage) {
        enrolThree();
        freshly([&] {
            start();
            EXPECT_EQ(userOf(1), 1);
            damage();
            ScriptedLog::clear();
            EXPECT_EQ(userOf(1), 0);
            EXPECT_EQ(enrolUser(4), PVA_REGISTER_COMMITTED);
            EXPECT_EQ(addUser(5), 1);
            const PvaUserKey key{3, 1, {}};
            pvaDataBaseDeleteUser(&key);
            pvaDataBaseGetAllPalmCount();
            std::filesystem::resize_file(cachePath(), 10000 * 513);
            EXPECT_EQ(userOf(1), 0) << "grown again, but not the same";
            const std::vector<LogLine> lines = ScriptedLog::lines();
            EXPECT_EQ(std::ranges::count(lines, kLossLine), 1);
        });
        expectRecognised({1, 2, 4, 5});
    }

    // Grown again, it has its size, and as many palms as the table.
    void expectLossAlone(std::uintmax_t size) {
        enrolThree();
        freshly([&] {
            start();
            std::filesystem::resize_file(cachePath(), size);
            EXPECT_EQ(userOf(1), 0);
            std::filesystem::resize_file(cachePath(), 10000 * 513);
        });
        expectRecognised({1, 2, 3});
    }

    const LogLine kLossLine{
        6, "database",
        "feature cache file was cut short: not used until the process starts anew\r\n"};
};

TEST_F(SharedCache, CutToNothingIsSurvivedAndRebuilt) {
    expectLoss([&] { std::filesystem::resize_file(cachePath(), 0); });
}

TEST_F(SharedCache, CutBehindTheFlagsIsRebuiltThoughNothingElseChanged) {
    expectLossAlone(10000 + 4096);
}

// The mark, which stands for the note, must not be written behind the end of the file.
TEST_F(SharedCache, CutToNothingIsSurvivedByFurtherStartsWhereNoNoteCanBeLeft) {
    enrolThree();
    std::filesystem::remove(cachePath() + ".changed");
    std::filesystem::create_symlink("missing/note", cachePath() + ".changed");
    freshly([&] {
        start();
        EXPECT_EQ(addUser(4), 1);
        std::filesystem::resize_file(cachePath(), 0);
        start();
        start();
        EXPECT_EQ(userOf(1), 0);
    });
    expectRecognised({1, 2, 3, 4});
}

TEST_F(SharedCache, CutInTheRecordsIsSurvivedAndRebuilt) {
    expectLoss([&] { std::filesystem::resize_file(cachePath(), 10000 + 4096); });
}

TEST_F(SharedCache, CutByOneByteIsSurvivedAndRebuilt) {
    expectLoss([&] { std::filesystem::resize_file(cachePath(), 10000 * 513 - 1); });
}

TEST_F(SharedCache, AWipeOfACutCacheEmptiesTheTable) {
    enrolThree();
    freshly([&] {
        start();
        std::filesystem::resize_file(cachePath(), 0);
        EXPECT_EQ(pvaDataBaseDeleteAllPalm(), 1);
        EXPECT_EQ(pvaDataBaseGetAllPalmCount(), 0);
    });
}

TEST_F(SharedCache, DeletedOrReplacedItServesOnAndTheNextStartRebuilds) {
    for (const bool replaced : {false, true}) {
        for (const char* const name : {"palms.db", "palms.bin"}) {
            std::filesystem::remove(file(name));
        }
        enrolThree();
        freshly([&] {
            start();
            std::filesystem::remove(cachePath());
            if (replaced) {
                std::ofstream(cachePath()) << "something else";
            }
            EXPECT_EQ(userOf(1), 1);
            EXPECT_EQ(enrolUser(4), PVA_REGISTER_COMMITTED);
            EXPECT_EQ(userOf(4), 4);
        });
        expectRecognised({1, 2, 3, 4});
    }
}

}  // namespace
}  // namespace brairu::test
