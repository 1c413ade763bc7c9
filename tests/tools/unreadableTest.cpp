// What a user may not read: said so, and never taken for what is not there.
#include <gmock/gmock.h>

#include <filesystem>
#include <iterator>

#include "tools/workplace.h"

namespace brairu::test {
namespace {

using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::StartsWith;

namespace fs = std::filesystem;

constexpr char kBecomeOwner[] =
    "Run the command as the user that owns it, which is that of the engine, or as root.\n";

// A store in a folder of its own, in which person 1 is enrolled.
class UnreadableStore : public testing::Test {
protected:
    UnreadableStore() {
        place.haveEnrolled();
        fs::create_directory(vault());
        fs::rename(place.databasePath(), database());
        fs::rename(place.cachePath(), vault() + "/palms.bin");
        place.config["database"]["database_path"] = database();
        place.config["database"]["search_index_path"] = vault() + "/palms.bin";
        frame = place.frames(1, 5, 1)[0];
    }
    ~UnreadableStore() override { fs::permissions(vault(), fs::perms(0700)); }

    std::string vault() const { return place.file("vault"); }
    std::string database() const { return vault() + "/palms.db"; }

    std::vector<std::vector<std::string>> readingCommands() const {
        return {{"identify", frame},
                {"identify", "--scores", frame},
                {"watch", "--idle", "0.1", place.file("")},
                {"db", "list"},
                {"db", "show", "1"},
                {"db", "backup", place.file("b.db")},
                {"db", "export", place.file("e.jsonl")}};
    }

    void expectRefusals() const {
        for (const std::vector<std::string>& command : readingCommands()) {
            const ToolRun run = place.runWithoutPrivileges(command);
            EXPECT_EQ(run.exitStatus, 3) << command[0] << " " << command[1];
            EXPECT_EQ(run.err, "brairu: the database " + database() +
                                   " cannot be read: Permission denied\n" + kBecomeOwner);
        }
        EXPECT_FALSE(fs::exists(place.file("b.db")));
    }

    ToolPlace place;
    std::string frame;
};

TEST_F(UnreadableStore, IsReadWithTheRightsForIt) {
    for (const std::vector<std::string>& command : readingCommands()) {
        EXPECT_EQ(place.runWithoutPrivileges(command).exitStatus, 0) << command[0];
    }
}

TEST_F(UnreadableStore, InAClosedFolderIsNotTakenForOneThatIsNotThere) {
    fs::permissions(vault(), fs::perms(0));
    expectRefusals();
}

TEST_F(UnreadableStore, ThatIsClosedItselfIsNamed) {
    fs::permissions(database(), fs::perms(0));
    expectRefusals();
}

TEST_F(UnreadableStore, IsAFaultToDbCheckAndDoctor) {
    fs::permissions(vault(), fs::perms(0));
    const ToolRun check = place.runWithoutPrivileges({"db", "check"});
    EXPECT_EQ(check.exitStatus, 3);
    EXPECT_THAT(check.out, HasSubstr("[FAULT]    database: the database " + database() +
                                     " cannot be read: Permission denied\n"));
    EXPECT_EQ(place.runWithoutPrivileges({"doctor"}).exitStatus, 3);
}

TEST_F(UnreadableStore, WhoseCacheAloneIsClosedIsAFaultToDbCheck) {
    const std::string closed = place.file("closed");
    fs::create_directory(closed);
    place.config["database"]["search_index_path"] = closed + "/palms.bin";
    fs::permissions(closed, fs::perms(0));
    const ToolRun run = place.runWithoutPrivileges({"db", "check"});
    fs::permissions(closed, fs::perms(0700));
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_THAT(run.out, HasSubstr("[FAULT]    cache: " + closed +
                                   "/palms.bin cannot be looked at: Permission denied\n"));
}

TEST_F(UnreadableStore, IsNotWrittenTo) {
    const std::string cache = vault() + "/palms.bin";
    const std::vector<std::string> before{readFile(database()), readFile(cache)};
    fs::permissions(vault(), fs::perms(0));
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"db", "delete", "1"},
          {"db", "compact"},
          {"enrol", "--user", "2", "--palm", "0", frame}}) {
        const ToolRun run = place.runWithoutPrivileges(command);
        EXPECT_EQ(run.exitStatus, 3) << command[1];
        EXPECT_THAT(run.err, StartsWith("brairu: the "));
    }
    fs::permissions(vault(), fs::perms(0700));
    EXPECT_THAT((std::vector{readFile(database()), readFile(cache)}), ElementsAreArray(before));
    EXPECT_EQ(std::distance(fs::directory_iterator(vault()), fs::directory_iterator()), 2);
}

class UnreadableFrames : public testing::Test {
protected:
    UnreadableFrames() {
        fs::create_directories(inner());
        place.greyFrame("frames/inner/anna_1.pgm");
        place.greyFrame("frames/inner/anna_2.pgm");
    }
    ~UnreadableFrames() override { fs::permissions(inner(), fs::perms(0700)); }

    std::string inner() const { return place.file("frames/inner"); }
    std::string picture() const { return inner() + "/anna_1.pgm"; }

    void expectRefusal(const std::vector<std::string>& command, const std::string& path) const {
        const ToolRun run = place.runWithoutPrivileges(command);
        EXPECT_EQ(run.exitStatus, 2) << command[0];
        EXPECT_EQ(run.err,
                  "brairu: " + path +
                      " cannot be read: Permission denied\n"
                      "Run the command as a user that may read it, or change its rights.\n");
    }

    ToolPlace place;
};

TEST_F(UnreadableFrames, InAFolderAreNotTakenForNone) {
    fs::permissions(inner(), fs::perms(0));
    expectRefusal({"detect", inner()}, inner());
    expectRefusal({"watch", inner()}, inner());
    expectRefusal({"eval", inner()}, inner());
    expectRefusal({"eval", place.file("frames")}, inner());
    expectRefusal({"models", "info", picture()}, picture());
}

TEST_F(UnreadableFrames, AreNamed) {
    fs::permissions(picture(), fs::perms(0));
    expectRefusal({"detect", picture()}, picture());
    expectRefusal({"verify", picture(), picture()}, picture());
    expectRefusal({"bench", picture()}, picture());
}

TEST_F(UnreadableFrames, AreNoFoldersAndNoDevices) {
    const ToolRun folder = place.run({"verify", inner(), picture()});
    EXPECT_EQ(folder.exitStatus, 2);
    EXPECT_THAT(folder.err, StartsWith("brairu: " + inner() + " is a folder\n"));
    const ToolRun device = place.run({"detect", "/dev/null"});
    EXPECT_EQ(device.exitStatus, 2);
    EXPECT_THAT(device.err,
                StartsWith("brairu: /dev/null is a device, which only \"brairu watch\" and "
                           "\"brairu enrol\" take, as a camera\n"));
}

}  // namespace
}  // namespace brairu::test
