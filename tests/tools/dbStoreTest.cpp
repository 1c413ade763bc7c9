// The steps of "brairu db" that its command line does not show: compactions that are cut short,
// damaged exports, who has a file open.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "fault.h"
#include "store/cacheRenewal.h"
#include "store/compaction.h"
#include "store/fileHolders.h"
#include "store/palmExport.h"
#include "store/privateFile.h"
#include "store/readOnlyDatabase.h"
#include "store/templateStore.h"
#include "support/temporaryFolder.h"

namespace brairu::tool {
namespace {

using test::readFile;
using test::TemporaryFolder;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace fs = std::filesystem;

std::vector<std::uint8_t> rowOf(int user) {
    return std::vector<std::uint8_t>(kTemplateBytes, static_cast<std::uint8_t>(user));
}

// The message of the fault that work throws.
std::string faultOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const Fault& fault) {
        return fault.what();
    }
    return "";
}

// Runs work in a process of its own, like an engine: what it maps goes with it. Its wait status.
int statusOf(const std::function<void()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        const std::string fault = faultOf(work);
        EXPECT_EQ(fault, "");
        ::_exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
}

class DbStore : public testing::Test {
protected:
    DbStore() {
        std::ifstream(BRAIRU_SOURCE_DIR "/config/brairu.json") >> config;
        config["database"]["database_path"] = database();
        config["database"]["search_index_path"] = folder.file("palms.bin");
    }

    std::string database() const { return folder.file("palms.db"); }
    StoreFiles files() const { return storeFilesOf(config); }

    // Palms of users 1 to 7 but 4, in the rows 9999 to 10005 without the 10002.
    void enrolAcrossTheLimit() const { enrolAfter(9998); }

    // The same palms in seven rows without the fourth, as an engine leaves them that had time to.
    void enrolAfter(int row) const {
        ASSERT_EQ(statusOf([&] { enrolAfterHere(row); }), 0);
        fs::remove(files().changeNote());
    }

    void enrolAfterHere(int row) const {
        TemplateStore store(config);
        store.runStartupPass();
        PvaUserKey key{};
        ASSERT_TRUE(store.insertPalm(key, rowOf(9)));
        SqliteConnection connection;
        ASSERT_EQ(connection.open(database()), SQLITE_OK);
        connection.execute("DELETE FROM userInfo;");
        connection.execute(
            ("UPDATE sqlite_sequence SET seq = " + std::to_string(row) + ";").c_str());
        for (key.userid = 1; key.userid <= 7; ++key.userid) {
            ASSERT_TRUE(store.insertPalm(key, rowOf(static_cast<int>(key.userid))));
        }
        ASSERT_TRUE(store.removePalm(4, 0));
        connection.execute("UPDATE userInfo SET learn_count = 40 + userid;");
    }

    std::vector<std::int64_t> users() const {
        std::vector<std::int64_t> found;
        ReadOnlyDatabase(database()).visitPalms([&](const StoredPalm& palm) {
            EXPECT_TRUE(std::ranges::equal(palm.templates, rowOf(static_cast<int>(palm.userid))));
            EXPECT_EQ(palm.learnCount, 40 + palm.userid);
            found.push_back(palm.userid);
        });
        return found;
    }

    std::vector<std::int64_t> rowIds() const {
        std::vector<std::int64_t> found;
        ReadOnlyDatabase(database()).visitPalms([&](const StoredPalm& palm) {
            found.push_back(palm.rowId);
        });
        return found;
    }

    // What a start makes of the store: every row that it mirrors is in the cache, and nothing else.
    void expectAgreement() const {
        EXPECT_EQ(statusOf([&] { expectAgreementHere(); }), 0);
    }

    void expectAgreementHere() const {
        TemplateStore store(config);
        store.runStartupPass();
        int mirrored = 0;
        ReadOnlyDatabase(database()).visitPalms([&](const StoredPalm& palm) {
            if (isMirrored(palm.rowId)) {
                const std::vector<std::int8_t> block(kBlockBytes,
                                                     static_cast<std::int8_t>(palm.userid));
                EXPECT_TRUE(store.cache()->holds(palm.rowId - 1, block)) << palm.userid;
                ++mirrored;
            }
        });
        EXPECT_EQ(store.featureCount(), mirrored);
    }

    // Compacts in a process that is killed after a number of steps. Whether it was.
    bool compactKilledAfter(int steps) const {
        const int status = statusOf([&] {
            int step = 0;
            ExclusiveStore store(files());
            compact(store, [&] {
                if (++step == steps) {
                    ::kill(::getpid(), SIGKILL);
                }
            });
        });
        EXPECT_TRUE(WIFSIGNALED(status) || (WIFEXITED(status) && WEXITSTATUS(status) == 0));
        return WIFSIGNALED(status);
    }

    TemporaryFolder folder;
    ConfigDocument config;
};

using Compacting = DbStore;
using Holding = DbStore;
using Exporting = DbStore;
using BackingUp = DbStore;

TEST_F(Compacting, NumbersTheRowsInTheirOrder) {
    enrolAcrossTheLimit();
    ASSERT_THAT(rowIds(), ElementsAre(9999, 10000, 10001, 10003, 10004, 10005));
    {
        ExclusiveStore store(files());
        const Compaction done = compact(store);
        EXPECT_EQ(done.palms, 6);
        EXPECT_EQ(done.lastNumber, 10005);
    }
    removeCompactionLeftovers(database());
    EXPECT_THAT(users(), ElementsAre(1, 2, 3, 5, 6, 7));
    EXPECT_THAT(rowIds(), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(ReadOnlyDatabase(database()).answer("SELECT seq FROM sqlite_sequence;"), "6");
    expectAgreement();
    EXPECT_FALSE(fs::exists(files().changeNote()));
}

TEST_F(Compacting, LeavesNoFileBesideTheStore) {
    enrolAcrossTheLimit();
    (void)folder.write("palms.db.compacted", "of one that was cut");
    (void)folder.write("palms.db.compacted.partialAb12Cd", "of another");
    (void)folder.write("palms.db.compacted-mine", "of somebody else");
    ASSERT_THAT(compactionLeftovers(database()),
                ElementsAre(fs::canonical(database()).string() + ".compacted",
                            fs::canonical(database()).string() + ".compacted.partialAb12Cd"));
    compact(ExclusiveStore(files()));
    EXPECT_THAT(compactionLeftovers(database()), IsEmpty());
    EXPECT_TRUE(fs::exists(database() + ".compacted-mine"));
    EXPECT_FALSE(fs::exists(database() + ".before-compact"));
}

TEST_F(Compacting, RemovesTheNewFileWhenAStepFails) {
    enrolAcrossTheLimit();
    for (int failing = 1; failing <= 7; ++failing) {
        ExclusiveStore store(files());
        int step = 0;
        EXPECT_EQ(faultOf([&] {
                      compact(store, [&] {
                          if (++step == failing) {
                              throw EngineFault("stopped", "");
                          }
                      });
                  }),
                  "stopped");
        EXPECT_THAT(compactionLeftovers(database()), IsEmpty()) << failing;
    }
    EXPECT_THAT(rowIds(), ElementsAre(9999, 10000, 10001, 10003, 10004, 10005));
}

TEST_F(Compacting, TheNextPalmIsMirrored) {
    enrolAcrossTheLimit();
    {
        ExclusiveStore store(files());
        compact(store);
    }
    TemplateStore store(config);
    store.runStartupPass();
    PvaUserKey key{};
    key.userid = 8;
    ASSERT_TRUE(store.insertPalm(key, rowOf(8)));
    EXPECT_TRUE(store.cache()->holds(6, std::vector<std::int8_t>(kBlockBytes, 8)));
}

// A store whose rows the search does not all reach, and one in which the cache has as many palms
// after the change as before, and none in its old place.
class KilledCompacting : public DbStore, public testing::WithParamInterface<int> {
protected:
    KilledCompacting() { enrolAfter(GetParam()); }
    ~KilledCompacting() override { fs::remove_all(kept_); }

    void keep() const { fs::copy(folder.path(), kept_); }
    void restore() const {
        for (const auto& entry : fs::directory_iterator(folder.path())) {
            fs::remove(entry.path());
        }
        fs::copy(kept_, folder.path());
    }

private:
    fs::path kept_ = folder.path().string() + "-kept";
};

TEST_P(KilledCompacting, LeavesAWholeStoreAfterAnyStep) {
    keep();
    int steps = 0;
    for (bool killed = true; killed;) {
        SCOPED_TRACE(++steps);
        restore();
        killed = compactKilledAfter(steps);
        EXPECT_EQ(ReadOnlyDatabase(database()).integrity(), "ok");
        EXPECT_THAT(users(), ElementsAre(1, 2, 3, 5, 6, 7));
        expectAgreement();
        EXPECT_EQ(compactKilledAfter(0), false);  // what is left is no obstacle
        EXPECT_THAT(rowIds(), ElementsAre(1, 2, 3, 4, 5, 6));
        expectAgreement();
        removeCompactionLeftovers(database());
        EXPECT_THAT(compactionLeftovers(database()), IsEmpty());
    }
    EXPECT_EQ(steps, 9);  // eight kills, and a run to the end
}
INSTANTIATE_TEST_SUITE_P(Rows, KilledCompacting, testing::Values(0, 9998));

TEST_F(Compacting, AnEmptyStoreStartsAtOne) {
    enrolAcrossTheLimit();
    {
        SqliteConnection connection;
        ASSERT_EQ(connection.open(database()), SQLITE_OK);
        connection.execute("DELETE FROM userInfo;");
    }
    {
        ExclusiveStore store(files());
        compact(store);
    }
    TemplateStore store(config);
    store.runStartupPass();
    EXPECT_EQ(store.lastRowId(), 0);
    EXPECT_EQ(store.featureCount(), 0);
}

TEST_F(Compacting, RefusesWhatItWouldLose) {
    enrolAcrossTheLimit();
    {
        SqliteConnection connection;
        ASSERT_EQ(connection.open(database()), SQLITE_OK);
        connection.execute("CREATE TABLE mine (a);");
    }
    const std::string before = readFile(database());
    EXPECT_THAT(faultOf([&] {
                    ExclusiveStore store(files());
                    compact(store);
                }),
                HasSubstr("holds tables or indexes of another program"));
    EXPECT_EQ(readFile(database()), before);
}

TEST_F(Compacting, FollowsALinkToTheDatabase) {
    enrolAcrossTheLimit();
    fs::rename(database(), folder.file("real.db"));
    fs::create_symlink(folder.file("real.db"), database());
    {
        ExclusiveStore store(files());
        compact(store);
    }
    EXPECT_TRUE(fs::is_symlink(database()));
    EXPECT_THAT(rowIds(), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(Holding, RefusesADatabaseThatAnotherProgramHasLocked) {
    enrolAcrossTheLimit();
    SqliteConnection other;
    ASSERT_EQ(other.open(database()), SQLITE_OK);
    ASSERT_EQ(other.execute("BEGIN IMMEDIATE;"), SQLITE_OK);
    EXPECT_THAT(faultOf([&] { const ExclusiveStore store(files()); }),
                HasSubstr("another program is using the database"));
}

TEST_F(Holding, RefusesADatabaseThatIsNamedAsItsOwnCache) {
    enrolAcrossTheLimit();
    const std::string before = readFile(database());
    fs::create_symlink(database(), folder.file("link"));
    fs::create_hard_link(database(), folder.file("hardlink"));
    for (const char* const cache : {"palms.db", "link", "hardlink"}) {
        config["database"]["search_index_path"] = folder.file(cache);
        EXPECT_THAT(faultOf([&] { ExclusiveStore(files()).commit(); }),
                    HasSubstr("names one file as database and as feature cache"));
        EXPECT_EQ(readFile(database()), before);
    }
}

TEST_F(Holding, RefusesACacheThatIsAnotherFile) {
    enrolAcrossTheLimit();
    const std::string mine = folder.write("mine", std::string(5129999, 'x'));
    fs::create_directory(folder.file("directory"));
    for (const char* const cache : {"mine", "directory"}) {
        config["database"]["search_index_path"] = folder.file(cache);
        EXPECT_THAT(faultOf([&] { ExclusiveStore(files()).commit(); }),
                    HasSubstr(std::string(cache) + " is no feature cache"));
    }
    EXPECT_EQ(readFile(mine), std::string(5129999, 'x'));
}

TEST_F(Holding, TakesACacheOfAnySizeThatTheLibraryMakes) {
    enrolAcrossTheLimit();
    for (const std::uintmax_t size : {0, 5130000, 3 * 5130000}) {
        fs::resize_file(files().cache, size);
        EXPECT_EQ(faultOf([&] { const ExclusiveStore store(files()); }), "");
    }
}

TEST_F(Holding, ChangesNothingWhenTheCacheCannotBeEmptied) {
    constexpr uid_t kNobody = 65534;
    enrolAcrossTheLimit();
    fs::permissions(files().cache, fs::perms(0444));
    if (::geteuid() == 0) {
        fs::permissions(folder.path(), fs::perms(0777));
        ASSERT_EQ(::chown(database().c_str(), kNobody, kNobody), 0);
    }
    EXPECT_EQ(statusOf([&] {
                  if (::geteuid() == 0) {
                      ASSERT_EQ(::setgid(kNobody), 0);
                      ASSERT_EQ(::setuid(kNobody), 0);
                  }
                  const std::string fault = faultOf([&] {
                      ExclusiveStore store(files());
                      SqliteStatement(store.connection(), "DELETE FROM userInfo;").step();
                      store.commit();
                  });
                  EXPECT_THAT(fault, HasSubstr("cannot be emptied: Permission denied"));
                  EXPECT_THAT(faultOf([&] { compact(ExclusiveStore(files())); }),
                              HasSubstr("cannot be emptied: Permission denied"));
                  EXPECT_THAT(compactionLeftovers(database()), IsEmpty());
              }),
              0);
    EXPECT_THAT(users(), ElementsAre(1, 2, 3, 5, 6, 7));
    EXPECT_THAT(rowIds(), ElementsAre(9999, 10000, 10001, 10003, 10004, 10005));
}

TEST_F(Holding, EmptiesTheCacheBeforeTheChangeIsMade) {
    enrolAcrossTheLimit();
    EXPECT_EQ(
        statusOf([&] {
            ExclusiveStore store(files());
            SqliteStatement(store.connection(), "DELETE FROM userInfo WHERE userid = 1;").step();
            sqlite3_commit_hook(
                store.connection().handle(),
                [](void* cache) {
                    EXPECT_EQ(fs::file_size(*static_cast<const std::string*>(cache)), 0U);
                    return 1;  // the commit fails
                },
                const_cast<std::string*>(&store.files().cache));
            EXPECT_THAT(faultOf([&] { store.commit(); }), HasSubstr("cannot be written"));
            EXPECT_EQ(fs::file_size(files().cache), 0U);
        }),
        0);
    EXPECT_THAT(users(), ElementsAre(1, 2, 3, 5, 6, 7));
    expectAgreement();
}

TEST_F(Holding, SaysThatTheChangeIsDoneWhenTheCacheIsNotBuilt) {
    enrolAcrossTheLimit();
    fs::remove(files().cache);
    fs::create_directory(files().cache);
    Report report(Settings{});
    EXPECT_THAT(faultOf([&] {
                    rebuildCache({config, files()}, report, false);
                }),
                HasSubstr("the change is done, but the feature cache " + files().cache));
}

TEST_F(Holding, SaysThatTheChangeIsDoneWhenTheRebuildIsStopped) {
    for (const int signal : {SIGINT, SIGTERM, SIGKILL}) {
        const EngineFault fault = unfinishedRebuild(files(), EngineEnd{std::nullopt, signal, ""});
        EXPECT_THAT(fault.what(), HasSubstr("the change is done, but the feature cache"));
        EXPECT_THAT(fault.what(), Not(HasSubstr("before the work was done")));
        EXPECT_THAT(fault.advice(), HasSubstr("The next start of the engine builds it."));
    }
}

TEST_F(Holding, RefusesAWriteAheadLogAndLeavesItAsItIs) {
    enrolAcrossTheLimit();
    {
        SqliteConnection connection;
        ASSERT_EQ(connection.open(database()), SQLITE_OK);
        SqliteStatement(connection, "PRAGMA journal_mode = wal;").step();
    }
    const std::string before = readFile(database());
    EXPECT_THAT(faultOf([&] { const ExclusiveStore store(files()); }),
                HasSubstr("has a write-ahead log"));
    EXPECT_EQ(readFile(database()), before);
}

TEST_F(Holding, FindsAMappingWithoutADescriptor) {
    const std::string path = folder.write("mapped", "x");
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        {
            const FileDescriptor file(::open(path.c_str(), O_RDONLY));
            ::mmap(nullptr, 1, PROT_READ, MAP_SHARED, file.get(), 0);
        }
        (void)!::write(ready[1], "r", 1);
        ::pause();
    }
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    EXPECT_THAT(holdersOf({path}).processes,
                ElementsAre(HasSubstr(" (" + std::to_string(child) + ")")));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    EXPECT_THAT(holdersOf({path}).processes, IsEmpty());
    ::close(ready[0]);
    ::close(ready[1]);
}

// The parent is root's, and root's processes are closed to others.
TEST_F(Holding, CountsProcessesThatItMayNotLookInto) {
    constexpr uid_t kNobody = 65534;
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root, to have a process of another user";
    }
    const std::string path = folder.write("file", "x");
    EXPECT_EQ(statusOf([&] {
                  ASSERT_EQ(::setuid(kNobody), 0);
                  EXPECT_GT(holdersOf({path}).unseen, 0);
              }),
              0);
}

TEST_F(Holding, RefusesToGuessWithoutTheTableOfProcesses) {
    EXPECT_THAT(faultOf([&] { holdersOf({}, folder.file("proc")); }),
                HasSubstr("whether an engine is running cannot be told: " + folder.file("proc") +
                          " cannot be read: No such file or directory"));
    fs::create_directory(folder.file("proc"));
    EXPECT_THAT(faultOf([&] { holdersOf({}, folder.file("proc")); }),
                HasSubstr("does not list this command"));
}

TEST_F(Holding, RefusesToGuessWhereProcessesOfOtherUsersAreHidden) {
    fs::create_directories(folder.file("proc/" + std::to_string(::getpid())));
    EXPECT_THAT(faultOf([&] { holdersOf({}, folder.file("proc")); }),
                HasSubstr("proc hides the processes of other users"));
}

// Mounts a table of processes that hides those of others, in a process of its own. False without
// the right to.
bool mountsHidingTable(const std::string& table) {
    return ::unshare(CLONE_NEWNS) == 0 &&
           ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount("proc", table.c_str(), "proc", 0, "hidepid=2") == 0;
}

TEST_F(Holding, RefusesToGuessBehindHidepid) {
    constexpr uid_t kNobody = 65534;
    constexpr int kMayNotMount = 2;
    const std::string table = folder.file("proc");
    fs::create_directory(table);
    const int status = statusOf([&] {
        if (!mountsHidingTable(table)) {
            ::_exit(kMayNotMount);
        }
        EXPECT_EQ(faultOf([&] { holdersOf({}, table); }), "");
        fs::permissions(folder.path(), fs::perms(0755));
        ASSERT_EQ(::setgroups(0, nullptr), 0);  // the group of root sees them too
        ASSERT_EQ(::setgid(kNobody), 0);
        ASSERT_EQ(::setuid(kNobody), 0);
        EXPECT_THAT(faultOf([&] { holdersOf({}, table); }),
                    HasSubstr("proc hides the processes of other users"));
    });
    if (WIFEXITED(status) && WEXITSTATUS(status) == kMayNotMount) {
        GTEST_SKIP() << "may not mount a table of processes: takes root";
    }
    EXPECT_EQ(status, 0);
}

TEST_F(Holding, SaysHowManyProcessesItCouldNotLookInto) {
    EXPECT_EQ(remarkOnUnseen(1),
              "1 process could not be looked into: if an engine is among them, start it anew");
    EXPECT_EQ(remarkOnUnseen(7),
              "7 processes could not be looked into: if an engine is among them, start it anew");
}

TEST_F(Holding, CountsAProcessThatCannotBeReadForAnyReason) {
    fs::create_directories(folder.file("proc/" + std::to_string(::getpid())));
    fs::create_directories(folder.file("proc/1"));  // as one that has ended
    fs::create_directories(folder.file("proc/2"));
    (void)folder.write("proc/2/fd", "no directory");
    fs::create_directories(folder.file("proc/3/fd"));
    fs::create_symlink("0", folder.file("proc/3/fd/0"));  // stat says: too many links
    EXPECT_EQ(holdersOf({}, folder.file("proc")).unseen, 2);
}

PalmExport twoPalms() {
    return {1, {{7, 0, 50, rowOf(1)}, {-3, 1, 12, rowOf(2)}}};
}

TEST_F(Exporting, ReadsWhatItWrote) {
    const PalmExport read = readPalmExport(folder.write("e", textOf(twoPalms())));
    EXPECT_EQ(read.centreCount, 1);
    ASSERT_EQ(read.palms.size(), 2U);
    EXPECT_EQ(read.palms[1].userid, -3);
    EXPECT_EQ(read.palms[1].palmindex, 1);
    EXPECT_EQ(read.palms[1].learnCount, 12);
    EXPECT_EQ(read.palms[1].templates, rowOf(2));
}

TEST_F(Exporting, RefusesEveryCut) {
    const std::string whole = textOf(twoPalms());
    for (std::size_t size = 0; size + 1 < whole.size(); size += 7) {
        const std::string path = folder.write("cut", whole.substr(0, size));
        EXPECT_NE(faultOf([&] { readPalmExport(path); }), "") << size;
    }
}

TEST_F(Exporting, RefusesEveryChangedByteOfAPalm) {
    const std::string whole = textOf(twoPalms());
    for (std::size_t at = whole.find('\n') + 1; at + 1 < whole.size(); at += 5) {
        std::string changed = whole;
        changed[at] = changed[at] == '1' ? '2' : '1';
        const std::string path = folder.write("changed", changed);
        EXPECT_NE(faultOf([&] { readPalmExport(path); }), "") << at;
    }
}

TEST_F(Exporting, SaysWhatIsWrongWithAFile) {
    const std::string whole = textOf(twoPalms());
    const auto faultIn = [&](const std::string& text) {
        return faultOf([&] { readPalmExport(folder.write("e", text)); });
    };
    EXPECT_THAT(faultIn("{}\n"), HasSubstr("is no export of palms"));
    EXPECT_THAT(faultIn(R"({"format":"brairu-palms","version":2,"palms":0,"centres":1})"),
                HasSubstr("has version 2, and this tool reads 1"));
    EXPECT_THAT(faultIn(whole + "{}\n"), HasSubstr("has more lines than its first line says"));
    EXPECT_THAT(faultIn(whole.substr(0, whole.find('\n') + 1)),
                HasSubstr("is cut short: palm 1 is missing"));
    EXPECT_THAT(faultIn(textOf({1, {{7, 0, 50, rowOf(1)}, {7, 0, 50, rowOf(1)}}})),
                HasSubstr("names user 7, palm 0 twice"));
    EXPECT_THAT(faultIn(textOf({2, {{7, 0, 50, rowOf(1)}}})), HasSubstr("is damaged"));
    EXPECT_THAT(faultOf([&] { readPalmExport(folder.file("missing")); }),
                HasSubstr("cannot be read"));
}

TEST_F(Exporting, AWorkingFileTakesNoNameThatIsInUse) {
    const std::string mine = folder.write("e.partial", "mine");
    PrivateFile first(folder.file("e"));
    PrivateFile second(folder.file("e"));
    EXPECT_NE(first.workingPath(), second.workingPath());
    EXPECT_EQ(fs::status(first.workingPath()).permissions(), fs::perms(0600));
    first.write("first");
    first.keep();
    EXPECT_EQ(readFile(folder.file("e")), "first");
    EXPECT_EQ(readFile(mine), "mine");
}

// Writes half a file in a process that is killed then.
void writeKilled(const std::string& path, PrivateFile::Before before) {
    const int status = statusOf([&] {
        PrivateFile file(path, before);
        file.write("half");
        ::kill(::getpid(), SIGKILL);
    });
    EXPECT_TRUE(WIFSIGNALED(status));
}

TEST_F(Exporting, AKilledRunLeavesNothing) {
    if (!FileDescriptor(::open(folder.path().c_str(), O_TMPFILE | O_RDWR, 0600)).isOpen()) {
        GTEST_SKIP() << "this file system knows no files without a name";
    }
    writeKilled(folder.file("e"), PrivateFile::Before::nameless);
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST_F(Exporting, AKilledRunUnderAWorkingNameIsFound) {
    EXPECT_THAT(PrivateFile::workingFilesOf(folder.file("e")), IsEmpty());
    writeKilled(folder.file("e"), PrivateFile::Before::named);
    (void)folder.write("f.partialAb12Cd", "of another file");
    const auto found = PrivateFile::workingFilesOf(folder.file("e"));
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(readFile(found[0]), "half");
}

TEST_F(Exporting, AFileReplacesNoneThatCameMeanwhile) {
    for (const auto before : {PrivateFile::Before::nameless, PrivateFile::Before::named}) {
        PrivateFile file(folder.file("e"), before);
        file.write("mine");
        (void)folder.write("e", "of another");
        EXPECT_THAT(faultOf([&] { file.keep(); }), HasSubstr("cannot be written: File exists"));
        EXPECT_EQ(readFile(folder.file("e")), "of another");
        fs::remove(folder.file("e"));
    }
}

TEST_F(BackingUp, LeavesAnEngineTimeToWrite) {
    enrolAcrossTheLimit();
    SqliteConnection engine;  // which waits for no lock
    ASSERT_EQ(engine.open(database()), SQLITE_OK);
    ASSERT_EQ(engine.execute("CREATE TABLE filling AS SELECT zeroblob(4000000) AS bytes;"),
              SQLITE_OK);
    int steps = 0;
    ReadOnlyDatabase(database()).copyTo(folder.file("copy"), [&] {
        if (++steps == 3) {
            EXPECT_EQ(engine.execute("UPDATE userInfo SET learn_count = 7;"), SQLITE_OK);
        }
    });
    EXPECT_GT(steps, 10);
    const ReadOnlyDatabase copy(folder.file("copy"));
    EXPECT_EQ(copy.integrity(), "ok");
    EXPECT_EQ(copy.answer("SELECT COUNT(*) FROM userInfo WHERE learn_count = 7;"), "6");
}

TEST_F(BackingUp, SaysThatADatabaseIsLockedAllTheTime) {
    enrolAcrossTheLimit();
    SqliteConnection other;
    ASSERT_EQ(other.open(database()), SQLITE_OK);
    ASSERT_EQ(other.execute("BEGIN EXCLUSIVE;"), SQLITE_OK);
    EXPECT_THAT(faultOf([&] { ReadOnlyDatabase(database()).copyTo(folder.file("copy")); }),
                HasSubstr("cannot be copied: database is locked"));
}

TEST_F(BackingUp, RowsAreListedWithTheSizesOfTheirTemplates) {
    enrolAcrossTheLimit();
    std::vector<std::size_t> sizes;
    ReadOnlyDatabase(database()).visitRows([&](const StoredPalm& palm, std::size_t bytes) {
        EXPECT_TRUE(palm.templates.empty());
        sizes.push_back(bytes);
    });
    EXPECT_THAT(sizes, Each(kTemplateBytes));
    EXPECT_EQ(sizes.size(), 6U);
}

TEST_F(Exporting, AFileThatIsNotKeptLeavesNothing) {
    {
        PrivateFile file(folder.file("e"));
        file.write("half");
        EXPECT_TRUE(fs::exists(file.workingPath()));
    }
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

}  // namespace
}  // namespace brairu::tool
