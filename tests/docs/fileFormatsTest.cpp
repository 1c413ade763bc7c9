// The bytes that the page on the files shows are those that a store writes.
#include <gmock/gmock.h>

#include <cstdint>
#include <fstream>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

#include "config/configStore.h"
#include "store/palmTemplate.h"
#include "store/sqlite.h"
#include "store/templateStore.h"
#include "support/modelContainer.h"
#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

using testing::HasSubstr;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kLine = 16;

std::string page() {
    return readFile(BRAIRU_SOURCE_DIR "/docs/fileFormats.md");
}

// A line of a hex dump: the offset in decimal, then sixteen bytes.
std::string dumpLine(const std::string& bytes, std::size_t offset) {
    std::ostringstream line;
    line << std::setw(6) << offset << ' ' << std::hex << std::setfill('0');
    for (const char byte : bytes.substr(offset, kLine)) {
        line << ' ' << std::setw(2) << int{static_cast<std::uint8_t>(byte)};
    }
    return line.str();
}

// The palm of the page: two templates whose bytes count on, from 0 and from 128.
Bytes palmOfThePage() {
    Bytes templates(2 * kTemplateBytes);
    for (std::size_t i = 0; i < templates.size(); ++i) {
        const std::size_t start = i < kTemplateBytes ? 0 : 128;
        templates[i] = static_cast<std::uint8_t>(start + i % kTemplateBytes);
    }
    return templates;
}

class FileFormatsPage : public testing::Test {
protected:
    // The store of the page: two centres, user 7, palm 1.
    FileFormatsPage() {
        ConfigDocument config;
        std::ifstream(BRAIRU_SOURCE_DIR "/config/brairu.json") >> config;
        config["database"]["database_path"] = database_;
        config["database"]["search_index_path"] = cache_;
        config["database"]["regis_center_count"] = 2;
        TemplateStore store(config);
        store.runStartupPass();
        EXPECT_TRUE(store.insertPalm({7, 1, {}}, palmOfThePage()));
    }

    TemporaryFolder folder_;
    std::string database_ = folder_.file("palms.db");
    std::string cache_ = folder_.file("palms.bin");
};

TEST_F(FileFormatsPage, ShowsTheCache) {
    const std::string cache = readFile(cache_);
    EXPECT_EQ(cache.size(), 10'260'000U);
    EXPECT_THAT(page(), HasSubstr("10,260,000 bytes"));
    for (const std::size_t offset : {0, 20'000, 20'496, 20'512}) {
        EXPECT_THAT(page(), HasSubstr(dumpLine(cache, offset)));
    }
}

TEST_F(FileFormatsPage, ShowsTheRowOfThePalm) {
    SqliteConnection connection;
    ASSERT_EQ(connection.open(database_), SQLITE_OK);
    SqliteStatement row(connection, "SELECT * FROM userInfo;");
    ASSERT_TRUE(row.stepToRow());
    std::ostringstream values;
    values << "id = " << row.int64At(0) << ", userid = " << row.int64At(1)
           << ", palmindex = " << row.int64At(2) << ", learn_count = " << row.int64At(4);
    EXPECT_THAT(page(), HasSubstr(values.str()));
    const auto blob = row.blobAt(3);
    const std::string bytes(blob.begin(), blob.end());
    EXPECT_EQ(bytes.size(), 3'092U);
    EXPECT_THAT(page(), HasSubstr("3,092 bytes"));
    for (const std::size_t offset : {0, 512, 1024, 1536, 1552}) {
        EXPECT_THAT(page(), HasSubstr(dumpLine(bytes, offset)));
    }
}

TEST_F(FileFormatsPage, ShowsTheTable) {
    SqliteConnection connection;
    ASSERT_EQ(connection.open(database_), SQLITE_OK);
    SqliteStatement schema(connection, "SELECT sql FROM sqlite_master WHERE name = 'userInfo';");
    ASSERT_TRUE(schema.stepToRow());
    const auto sql = schema.blobAt(0);
    EXPECT_THAT(page(), HasSubstr(std::string(sql.begin(), sql.end())));
}

TEST(FileFormats, ShowTheContainerOfAModel) {
    std::string model(2048, '\0');
    std::iota(model.begin(), model.end(), '\0');
    const std::string container = sealedModel(model, {0, 1, 2, 3, 4, 5, 6, 7});
    for (const std::size_t offset : {0, 16, 1024}) {
        EXPECT_THAT(page(), HasSubstr(dumpLine(container, offset)));
    }
}

TEST(FileFormats, ShowAConfigurationAsItIsSaved) {
    const TemporaryFolder folder;
    const std::string path =
        folder.write("brairu.json", R"({"feature":{"auth_threshold":0.7},"debug":false})");
    ConfigStore config;
    ASSERT_TRUE(config.load(path));
    config.save();
    EXPECT_THAT(page(), HasSubstr("```json\n" + readFile(path) + "\n```"));
}

}  // namespace
}  // namespace brairu::test
