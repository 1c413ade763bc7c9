// What is said of databases and caches, whole and damaged.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "examination/storeExamination.h"
#include "store/templateStore.h"
#include "support/temporaryFolder.h"

namespace brairu::tool {
namespace {

using test::readFile;
using test::TemporaryFolder;
using testing::AllOf;
using testing::Contains;
using testing::Field;
using testing::HasSubstr;
using testing::Not;

auto says(Level level, const std::string& what) {
    return Contains(AllOf(Field(&Finding::level, level), Field(&Finding::what, HasSubstr(what))));
}

class StoreExamination : public testing::Test {
protected:
    StoreExamination() {
        std::ifstream(BRAIRU_SOURCE_DIR "/config/brairu.json") >> config;
        config["database"]["database_path"] = database();
        config["database"]["search_index_path"] = cache();
    }

    std::string database() const { return folder.file("palms.db"); }
    std::string cache() const { return folder.file("palms.bin"); }

    // A store in which palms are enrolled under these users' numbers, as the engine leaves it.
    void enrol(std::initializer_list<int> users) {
        {
            TemplateStore store(config);
            store.runStartupPass();
            for (const int user : users) {
                PvaUserKey key{};
                key.userid = user;
                std::vector<std::uint8_t> row(kTemplateBytes, static_cast<std::uint8_t>(user));
                ASSERT_TRUE(store.insertPalm(key, row));
            }
        }
        std::filesystem::remove(cache() + ".changed");
    }

    void overwrite(const std::string& path, long offset, const std::string& bytes) const {
        std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(offset) << bytes;
    }

    Findings found() const { return examineStore(config); }

    TemporaryFolder folder;
    ConfigDocument config;
};

TEST_F(StoreExamination, AStoreInOrder) {
    enrol({1, 2});
    EXPECT_THAT(found(), says(Level::fine, "SQLite finds it whole"));
    EXPECT_THAT(found(), says(Level::fine, "2 palms enrolled"));
    EXPECT_THAT(found(), says(Level::fine, "agrees with the database"));
}

TEST_F(StoreExamination, ChangesNoFile) {
    enrol({1});
    const std::string databaseBefore = readFile(database());
    const std::string cacheBefore = readFile(cache());
    found();
    EXPECT_EQ(readFile(database()), databaseBefore);
    EXPECT_EQ(readFile(cache()), cacheBefore);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 2);
}

TEST_F(StoreExamination, NoStoreYet) {
    EXPECT_THAT(found(), says(Level::note, database() + " is not there yet"));
    EXPECT_FALSE(std::filesystem::exists(database()));
}

TEST_F(StoreExamination, NoFolderForAStore) {
    config["database"]["database_path"] = folder.file("missing/palms.db");
    EXPECT_THAT(found(), says(Level::fault, folder.file("missing") + ", is not there"));
}

TEST_F(StoreExamination, ADatabaseThatIsNone) {
    folder.write("palms.db", std::string(2000, 'x'));
    EXPECT_THAT(found(), says(Level::fault, "file is not a database"));
}

TEST_F(StoreExamination, ADamagedPage) {
    enrol({1, 2, 3, 4, 5, 6, 7, 8});
    overwrite(database(), 4096 + 8, std::string(400, '\xa5'));
    EXPECT_THAT(found(), Contains(Field(&Finding::level, Level::fault)));
}

TEST_F(StoreExamination, ADatabaseWithoutTheTable) {
    folder.write("palms.db", "");
    EXPECT_THAT(found(), says(Level::note, "it has no table of palms yet"));
}

TEST_F(StoreExamination, TemplatesOfAnotherNumber) {
    enrol({1});
    config["database"]["regis_center_count"] = 2;
    EXPECT_THAT(found(),
                says(Level::warning, "1 palm with templates of another size than 3092 bytes"));
    EXPECT_THAT(found(), says(Level::note, "has not the size that regis_center_count asks for"));
}

TEST_F(StoreExamination, ANumberThatIsEnrolledTwice) {
    enrol({1, 1});
    EXPECT_THAT(found(),
                says(Level::warning, "1 palm enrolled again under a number that is in use"));
}

TEST_F(StoreExamination, TemplatesOfZeros) {
    enrol({0});
    EXPECT_THAT(found(), says(Level::warning, "1 palm with templates of zeros"));
}

TEST_F(StoreExamination, NoCache) {
    enrol({1});
    std::filesystem::remove(cache());
    EXPECT_THAT(found(), says(Level::note, cache() + " is not there"));
    EXPECT_FALSE(std::filesystem::exists(cache()));
}

TEST_F(StoreExamination, ACacheOfAnotherSize) {
    enrol({1});
    std::filesystem::resize_file(cache(), 1000);
    EXPECT_THAT(found(), says(Level::note, "has not the size that regis_center_count asks for"));
    EXPECT_EQ(std::filesystem::file_size(cache()), 1000U);
}

TEST_F(StoreExamination, ACacheWithAnotherNumberOfTemplates) {
    enrol({1, 2});
    overwrite(cache(), 1, std::string(1, '\0'));
    EXPECT_THAT(found(), says(Level::note, "holds 1 templates, the database 2"));
}

TEST_F(StoreExamination, ACacheWithOtherTemplatesIsAFaultThatTheEngineMisses) {
    enrol({1, 2});
    overwrite(cache(), 10000 + 512 + 7, "x");
    EXPECT_THAT(found(), says(Level::fault, "holds other templates than the database for 1 palm"));
}

TEST_F(StoreExamination, ACacheThatAProcessLeftHalfDoneIsRebuilt) {
    enrol({1, 2});
    overwrite(cache(), 10000 + 512 + 7, "x");
    folder.write("palms.bin.changed", "");
    EXPECT_THAT(found(), says(Level::note, "holds other templates than the database for 1 palm"));
}

TEST_F(StoreExamination, ACacheWhoseMarkSaysThatItIsInDoubtIsRebuilt) {
    enrol({1, 2});
    overwrite(cache(), 10000 + 512 + 7, "x");
    overwrite(cache(), 9999, "\2");
    EXPECT_THAT(found(), says(Level::note, "holds other templates than the database for 1 palm"));
}

TEST_F(StoreExamination, ACacheNamedByAnOlderIndexFormat) {
    enrol({1});
    config["database"]["search_index_path"] = folder.file("palms.usearch");
    EXPECT_THAT(found(), says(Level::fine, cache() + " agrees with the database"));
}

TEST_F(StoreExamination, AJournalThatIsLeft) {
    enrol({1});
    folder.write("palms.db-journal", "not a hot one");
    EXPECT_THAT(found(), says(Level::note, "palms.db-journal is there"));
}

TEST_F(StoreExamination, RightsOfOthers) {
    enrol({1});
    std::filesystem::permissions(database(), std::filesystem::perms(0666));
    EXPECT_THAT(found(), says(Level::warning, database() + " can be changed by other users"));
    std::filesystem::permissions(database(), std::filesystem::perms(0644));
    EXPECT_THAT(found(), says(Level::note, database() + " can be read by other users"));
    std::filesystem::permissions(database(), std::filesystem::perms(0600));
    EXPECT_THAT(found(), Not(says(Level::note, database() + " can be read by other users")));
}

TEST_F(StoreExamination, AFolderThatIsEverybodys) {
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0777));
    EXPECT_THAT(found(), says(Level::warning, "everybody can put files into the folder"));
}

}  // namespace
}  // namespace brairu::tool
