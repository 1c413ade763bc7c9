// How much memory a backup takes, beside that of a sanitizer.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>

#include "store/privateFile.h"
#include "store/readOnlyDatabase.h"
#include "store/sqlite.h"
#include "support/childProcess.h"
#include "support/temporaryFolder.h"

namespace brairu::tool {
namespace {

// The most memory that this process ever held.
long mostKilobytes() {
    rusage used{};
    ::getrusage(RUSAGE_SELF, &used);
    return used.ru_maxrss;
}

TEST(Backup, HoldsTheDatabaseTwiceInMemoryAtMost) {
    constexpr long kKilobytes = 67108864 / 1024;
    const test::TemporaryFolder folder;
    const std::string path = folder.file("large.db");
    {
        SqliteConnection large;
        ASSERT_EQ(large.open(path), SQLITE_OK);
        large.execute("CREATE TABLE t(x); INSERT INTO t VALUES (zeroblob(67108864));");
    }
    const test::ChildResult copying = test::inChild([&] {
        const ReadOnlyDatabase database(path);
        PrivateFile file(folder.file("backup.db"));
        const long before = mostKilobytes();
        database.copyInMemory().visitFileContent(
            [&](std::string_view content) { file.write(content); });
        EXPECT_GE(mostKilobytes() - before, kKilobytes);
        EXPECT_LT(mostKilobytes() - before, kKilobytes * 5 / 2);
        file.keep();
    });
    EXPECT_EQ(copying.exitStatus, 0) << copying.out << copying.err;
    EXPECT_EQ(std::filesystem::file_size(folder.file("backup.db")),
              std::filesystem::file_size(path));
}

}  // namespace
}  // namespace brairu::tool
