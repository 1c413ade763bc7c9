// db: looks into a store, moves it, backs it up and numbers its rows anew.
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "tools/workplace.h"

namespace brairu::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace fs = std::filesystem;

constexpr std::size_t kTemplate = 1546;

void runSql(const std::string& path, const std::string& sql) {
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &handle), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(handle);
    sqlite3_close(handle);
}

std::string insertion(int id, int user, int palm) {
    return "INSERT INTO userInfo VALUES (" + std::to_string(id) + ", " + std::to_string(user) +
           ", " + std::to_string(palm) + ", randomblob(" + std::to_string(kTemplate) + "), 50);";
}

// Three palms of two users, the last beyond what the search reaches.
void fill(const ToolPlace& place) {
    runSql(place.databasePath(),
           "CREATE TABLE IF NOT EXISTS userInfo (id INTEGER PRIMARY KEY AUTOINCREMENT, userid "
           "UINT64, palmindex INT,vector_data BLOB,learn_count INT);" +
               insertion(3, 7, 0) + insertion(9999, 2, 1) + insertion(10005, 7, 1));
}

std::string contentOf(const ToolPlace& place) {
    const ToolRun run = place.run({"db", "list", "--json"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    return run.out;
}

bool isForItsOwnerAlone(const std::string& path) {
    return fs::status(path).permissions() == fs::perms(0600);
}

bool hasPartialFile(const ToolPlace& place) {
    const fs::directory_iterator files(fs::path(place.databasePath()).parent_path());
    return std::any_of(begin(files), end(files), [](const fs::directory_entry& file) {
        return file.path().filename().string().find(".partial") != std::string::npos;
    });
}

// A process that has a file open, as an engine has.
class Holder {
public:
    explicit Holder(const std::string& path) {
        int ready[2];
        EXPECT_EQ(::pipe(ready), 0);
        child_ = ::fork();
        if (child_ == 0) {
            const std::ifstream file(path);
            (void)!::write(ready[1], "r", 1);
            ::pause();
            ::_exit(0);
        }
        char byte = 0;
        EXPECT_EQ(::read(ready[0], &byte, 1), 1);
        ::close(ready[0]);
        ::close(ready[1]);
    }
    ~Holder() {
        ::kill(child_, SIGKILL);
        ::waitpid(child_, nullptr, 0);
    }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

private:
    pid_t child_ = 0;
};

TEST(Db, ListsUsersWithPalmsRowsAndWhatTheSearchReaches) {
    const ToolPlace place;
    fill(place);
    const ToolRun run = place.run({"db", "list"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out,
              "user 2: palm 1 (row 9999)\n"
              "user 7: palm 0 (row 3), palm 1 (row 10005, not searched)\n"
              "3 palms of 2 users in " +
                  place.databasePath() +
                  "\n1 palm not searched. The search does not reach rows beyond 10000: "
                  "\"brairu db compact\" numbers them anew.\n");
}

TEST(Db, ListsForPrograms) {
    const ToolPlace place;
    fill(place);
    const Json json = place.run({"db", "list", "--json"}).json();
    EXPECT_EQ(json["users"], 2);
    EXPECT_EQ(json["count"], 3);
    EXPECT_EQ(json["not_searched"], 1);
    EXPECT_EQ(json["palms"][2], (Json{{"user", 7},
                                      {"palm", 1},
                                      {"row", 10005},
                                      {"searched", false},
                                      {"templates", 1},
                                      {"learn_count", 50}}));
}

TEST(Db, SaysThatThereIsNoDatabase) {
    const ToolPlace place;
    const ToolRun run = place.run({"db", "list"});
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_THAT(run.err, HasSubstr(place.databasePath() + " is not there"));
    EXPECT_FALSE(fs::exists(place.databasePath()));
}

TEST(Db, ShowsAUser) {
    const ToolPlace place;
    fill(place);
    const ToolRun run = place.run({"db", "show", "7"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out,
              "user 7, palm 0: row 3; 1 template; learn count 50\n"
              "user 7, palm 1: row 10005, not searched; 1 template; learn count 50\n");
    EXPECT_EQ(place.run({"db", "show", "7", "--json"}).json()["palms"].size(), 2U);
    const ToolRun nobody = place.run({"db", "show", "8"});
    EXPECT_EQ(nobody.exitStatus, 1);
    EXPECT_EQ(nobody.out, "user 8 is not enrolled\n");
}

TEST(Db, ReadsBesideAnEngine) {
    const ToolPlace place;
    fill(place);
    const Holder engine(place.databasePath());
    for (const std::vector<std::string>& command : {std::vector<std::string>{"db", "list"},
                                                    {"db", "show", "7"},
                                                    {"db", "check"},
                                                    {"db", "backup", place.file("b.db")},
                                                    {"db", "export", place.file("e.jsonl")}}) {
        EXPECT_EQ(place.run(command).exitStatus, 0) << command[1];
    }
}

TEST(Db, ReadingLeavesTheStoreAsItIs) {
    const ToolPlace place;
    place.haveEnrolled();
    const auto before = place.storeState();
    place.run({"db", "list"});
    place.run({"db", "show", "1"});
    place.run({"db", "check"});
    place.run({"db", "backup", place.file("b.db")});
    place.run({"db", "export", place.file("e.jsonl")});
    EXPECT_EQ(place.storeState(), before);
}

TEST(Db, ChecksAStoreInOrder) {
    const ToolPlace place;
    place.haveEnrolled();
    const ToolRun run = place.run({"db", "check"});
    EXPECT_EQ(run.exitStatus, 0) << run.out;
    EXPECT_THAT(run.out, HasSubstr("[ok]       cache: " + place.cachePath() +
                                   " agrees with the database\n"));
    EXPECT_EQ(place.run({"db", "check", "--json"}).json()["result"], "in_order");
}

TEST(Db, ChecksADamagedStore) {
    const ToolPlace place;
    place.write("palms.db", std::string(4096, 'x'));
    const ToolRun run = place.run({"db", "check", "--json"});
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_EQ(run.json()["result"], "faulty");
}

TEST(Db, ChecksOddRowsAndWhatAnInterruptedCompactionLeft) {
    const ToolPlace place;
    fill(place);
    runSql(place.databasePath(), insertion(5, 7, 0));
    place.write("palms.db.compacted", "");
    const ToolRun run = place.run({"db", "check"});
    EXPECT_EQ(run.exitStatus, 0) << run.out;
    EXPECT_THAT(run.out, HasSubstr("[warning]  database: 1 palm with a row number outside"));
    EXPECT_THAT(run.out, HasSubstr("1 palm enrolled again under a number that is in use"));
    EXPECT_THAT(run.out, HasSubstr("palms.db.compacted is there"));
}

TEST(Db, BacksUpToAFileForItsOwnerAlone) {
    const ToolPlace place;
    place.haveEnrolled();
    const std::string list = contentOf(place);
    const ToolRun run = place.run({"db", "backup", place.file("b.db"), "--json"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.json()["palms"], 1);
    EXPECT_TRUE(isForItsOwnerAlone(place.file("b.db")));
    EXPECT_FALSE(hasPartialFile(place));
    fs::copy_file(place.file("b.db"), place.databasePath(), fs::copy_options::overwrite_existing);
    EXPECT_EQ(contentOf(place), list);
}

TEST(Db, ReplacesNoFile) {
    const ToolPlace place;
    fill(place);
    place.write("there", "mine");
    for (const char* const command : {"backup", "export"}) {
        const ToolRun run = place.run({"db", command, place.file("there")});
        EXPECT_EQ(run.exitStatus, 2);
        EXPECT_THAT(run.err, HasSubstr("there is there already"));
    }
    EXPECT_EQ(readFile(place.file("there")), "mine");
}

TEST(Db, BacksUpNoDamagedDatabase) {
    const ToolPlace place;
    fill(place);
    std::fstream file(place.databasePath(), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(4096 + 8) << std::string(200, '\xa5');
    file.close();
    EXPECT_EQ(place.run({"db", "backup", place.file("b.db")}).exitStatus, 3);
    EXPECT_FALSE(fs::exists(place.file("b.db")));
    EXPECT_FALSE(hasPartialFile(place));
}

TEST(Db, ExportedPalmsAreRecognisedInAnotherStore) {
    const ToolPlace place;
    place.haveEnrolled();
    const ToolRun exported = place.run({"db", "export", place.file("e.jsonl"), "--json"});
    ASSERT_EQ(exported.exitStatus, 0) << exported.err;
    EXPECT_EQ(exported.json()["palms"], 1);
    EXPECT_TRUE(isForItsOwnerAlone(place.file("e.jsonl")));

    const ToolPlace other;
    const ToolRun imported = other.run({"db", "import", place.file("e.jsonl"), "--json"});
    ASSERT_EQ(imported.exitStatus, 0) << imported.err;
    EXPECT_EQ(imported.json()["added"], 1);
    EXPECT_EQ(imported.json()["cache"], "rebuilt");
    EXPECT_TRUE(isForItsOwnerAlone(other.databasePath()));
    EXPECT_TRUE(isForItsOwnerAlone(other.cachePath()));
    EXPECT_FALSE(fs::exists(other.cachePath() + ".changed"));
    EXPECT_EQ(other.run({"identify", other.frames(1, 5, 1)[0]}).exitStatus, 0);
}

TEST(Db, ExportsOneUser) {
    const ToolPlace place;
    fill(place);
    const ToolRun run = place.run({"db", "export", place.file("e.jsonl"), "--user", "2"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_THAT(run.out, EndsWith("e.jsonl. It holds biometric data: only you may read it\n"));
    EXPECT_THAT(readFile(place.file("e.jsonl")), HasSubstr("\"user\":2,\"palm\":1"));
    EXPECT_THAT(readFile(place.file("e.jsonl")), Not(HasSubstr("\"user\":7")));
    EXPECT_EQ(place.run({"db", "export", place.file("f.jsonl"), "--user", "8"}).exitStatus, 1);
    EXPECT_FALSE(fs::exists(place.file("f.jsonl")));
}

TEST(Db, ImportsAllOrNothingUnlessToldToReplace) {
    const ToolPlace place;
    fill(place);
    ASSERT_EQ(place.run({"db", "compact"}).exitStatus, 0);
    ASSERT_EQ(place.run({"db", "export", place.file("e.jsonl")}).exitStatus, 0);
    ASSERT_EQ(place.run({"db", "delete", "2"}).exitStatus, 0);
    runSql(place.databasePath(), "UPDATE userInfo SET learn_count = 9;");
    const std::string before = contentOf(place);
    const ToolRun refused = place.run({"db", "import", place.file("e.jsonl")});
    EXPECT_EQ(refused.exitStatus, 1);
    EXPECT_THAT(refused.err, HasSubstr("user 7, palm 0 is enrolled already"));
    EXPECT_EQ(contentOf(place), before);

    const ToolRun run = place.run({"db", "import", "--replace", place.file("e.jsonl")});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("1 palm added, 2 replaced\n"));
    EXPECT_THAT(contentOf(place), Not(HasSubstr("\"learn_count\": 9")));
}

TEST(Db, ImportsNothingOutOfADamagedFile) {
    const ToolPlace place;
    fill(place);
    ASSERT_EQ(place.run({"db", "export", place.file("e.jsonl")}).exitStatus, 0);
    const std::string whole = readFile(place.file("e.jsonl"));
    const ToolPlace other;
    other.write("cut", whole.substr(0, whole.size() - 10));
    const ToolRun run = other.run({"db", "import", other.file("cut")});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_THAT(run.err, HasSubstr("is damaged: palm 3 cannot be read"));
    EXPECT_FALSE(fs::exists(other.databasePath()));
}

TEST(Db, ImportsNoOtherNumberOfTemplates) {
    const ToolPlace place;
    fill(place);
    ASSERT_EQ(place.run({"db", "export", place.file("e.jsonl")}).exitStatus, 0);
    ToolPlace other;
    other.config["database"]["regis_center_count"] = 2;
    const ToolRun run = other.run({"db", "import", place.file("e.jsonl")});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.err, HasSubstr("has 1 template of each palm"));
}

TEST(Db, ImportsNothingBeyondTheReachOfTheSearch) {
    const ToolPlace place;
    fill(place);
    ASSERT_EQ(place.run({"db", "export", place.file("e.jsonl"), "--user", "2"}).exitStatus, 0);
    ASSERT_EQ(place.run({"db", "delete", "2"}).exitStatus, 0);
    const std::string before = contentOf(place);
    const ToolRun run = place.run({"db", "import", place.file("e.jsonl")});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.err, HasSubstr("would reach number 10006, and the search reaches 10000"));
    EXPECT_EQ(contentOf(place), before);
    ASSERT_EQ(place.run({"db", "compact"}).exitStatus, 0);
    EXPECT_EQ(place.run({"db", "import", place.file("e.jsonl")}).exitStatus, 0);
}

TEST(Db, ADeletedPalmIsNotRecognisedAndGoneFromTheFiles) {
    const ToolPlace place;
    place.haveEnrolled();
    runSql(place.databasePath(), insertion(2, 2, 0));
    const std::string cacheBefore = readFile(place.cachePath());
    const std::string feature = cacheBefore.substr(10000, 512);
    ASSERT_THAT(readFile(place.databasePath()), HasSubstr(feature.substr(0, 64)));
    const ToolRun run = place.run({"db", "delete", "1", "--palm", "0", "--json"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.json()["palms"], 1);
    EXPECT_EQ(run.json()["cache"], "rebuilt");
    EXPECT_THAT(readFile(place.databasePath()), Not(HasSubstr(feature.substr(0, 64))));
    EXPECT_THAT(readFile(place.cachePath()), Not(HasSubstr(feature.substr(0, 64))));
    EXPECT_EQ(place.run({"identify", place.frames(1, 5, 1)[0]}).exitStatus, 1);
    EXPECT_EQ(place.run({"db", "check", "--json"}).json()["warnings"], 0);
}

TEST(Db, DeletesOnlyWhoIsEnrolled) {
    const ToolPlace place;
    fill(place);
    const std::string before = contentOf(place);
    EXPECT_EQ(place.run({"db", "delete", "8"}).exitStatus, 1);
    EXPECT_EQ(place.run({"db", "delete", "7", "--palm", "3"}).exitStatus, 1);
    EXPECT_EQ(contentOf(place), before);
    const ToolRun run = place.run({"db", "delete", "7"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("2 palms of user 7 deleted\n"));
}

TEST(Db, ACompactedStoreFindsWhoWasOutOfReach) {
    const ToolPlace place;
    place.haveEnrolled();
    runSql(place.databasePath(),
           "UPDATE userInfo SET id = 10005; UPDATE sqlite_sequence SET seq = "
           "10005;" +
               insertion(9999, 7, 0) + insertion(10001, 7, 1));
    fs::permissions(place.databasePath(), fs::perms(0640));
    const std::string frame = place.frames(1, 5, 1)[0];
    EXPECT_EQ(place.run({"identify", frame}).exitStatus, 1);
    const ToolRun run = place.run({"db", "compact", "--json"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.json()["palms"], 3);
    EXPECT_EQ(run.json()["last_number_before"], 10005);
    EXPECT_EQ(run.json()["cache"], "rebuilt");
    EXPECT_EQ(place.run({"identify", frame}).exitStatus, 0);
    EXPECT_EQ(place.run({"db", "check", "--json"}).json()["warnings"], 0);
    EXPECT_EQ(fs::status(place.databasePath()).permissions(), fs::perms(0640));
    EXPECT_FALSE(fs::exists(place.databasePath() + ".compacted"));
}

TEST(Db, WritesOnlyWhenTheStoreIsFree) {
    const ToolPlace place;
    fill(place);
    place.write("palms.bin", std::string(5130000, '\0'));
    ASSERT_EQ(place.run({"db", "export", place.file("e.jsonl")}).exitStatus, 0);
    const auto before = place.storeState();
    for (const std::string& held : {place.databasePath(), place.cachePath()}) {
        const Holder engine(held);
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"db", "delete", "7"},
              {"db", "compact"},
              {"db", "import", "--replace", place.file("e.jsonl")}}) {
            const ToolRun run = place.run(command);
            EXPECT_EQ(run.exitStatus, 1) << command[1];
            EXPECT_THAT(run.err, HasSubstr("the store is in use by "));
        }
    }
    EXPECT_EQ(place.storeState(), before);
    EXPECT_EQ(place.run({"db", "compact"}).exitStatus, 0);
}

TEST(Db, ChangesNoStoreWithTemplatesOfAnotherNumber) {
    ToolPlace place;
    fill(place);
    place.config["database"]["regis_center_count"] = 2;
    const auto before = place.storeState();
    for (const std::vector<std::string>& command : {std::vector<std::string>{"db", "delete", "7"},
                                                    {"db", "compact"},
                                                    {"db", "export", place.file("e.jsonl")}}) {
        EXPECT_EQ(place.run(command).exitStatus, 3) << command[1];
    }
    EXPECT_EQ(place.storeState(), before);
}

TEST(Db, NamesWhatRunsThatWereCutLeftBesideANewFile) {
    const ToolPlace place;
    fill(place);
    for (const std::string command : {"backup", "export"}) {
        const std::string path = place.file(command);
        const std::string leftover = place.write(command + ".partialAb12Cd", "half");
        const ToolRun run = place.run({"db", command, path});
        EXPECT_EQ(run.exitStatus, 0) << run.err;
        EXPECT_THAT(run.out, EndsWith("\n" + leftover +
                                      " is left of a run that was cut, unless one is under way: "
                                      "delete it, it holds templates\n"));
        EXPECT_EQ(readFile(leftover), "half");
        fs::remove(path);
        const Json json = place.run({"db", command, path, "--json"}).json();
        EXPECT_EQ(json["leftovers"], Json::array({leftover}));
    }
}

// What a program that is no engine may leave.
TEST(Db, TakesAnEmptyDatabaseForOneOfNobody) {
    const ToolPlace place;
    fill(place);
    ASSERT_EQ(place.run({"db", "compact"}).exitStatus, 0);
    ASSERT_EQ(place.run({"db", "export", place.file("e.jsonl")}).exitStatus, 0);
    place.write("palms.db", "");
    place.write("palms.bin", std::string(5130000, '\0'));
    EXPECT_EQ(place.run({"db", "check"}).exitStatus, 0);
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"db", "delete", "7"}, {"db", "compact"}}) {
        const ToolRun run = place.run(command);
        EXPECT_EQ(run.exitStatus, 1);
        EXPECT_EQ(run.err, "brairu: nobody is enrolled in " + place.databasePath() +
                               "\nNo engine has used it yet: the first start makes its table.\n");
    }
    const ToolRun import = place.run({"db", "import", place.file("e.jsonl")});
    EXPECT_EQ(import.exitStatus, 0) << import.err;
    EXPECT_THAT(import.out, HasSubstr("3 palms added"));
}

TEST(Db, ImportsNoFileThatIsNotThere) {
    const ToolPlace place;
    const ToolRun run = place.run({"db", "import", place.file("none")});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.err, "brairu: " + place.file("none") + " is not there\nCheck the name.\n");
}

TEST(Db, ReportsAFaultForPrograms) {
    const ToolPlace place;
    fill(place);
    EXPECT_EQ(place.run({"db", "delete", "8", "--json"}).json()["error"], "user 8 is not enrolled");
    EXPECT_EQ(place.run({"db"}).exitStatus, 2);
}

}  // namespace
}  // namespace brairu::test
