// What doctor says of the library beside the tool.
#include <gmock/gmock.h>

#include <filesystem>

#include "examination/systemExamination.h"
#include "support/temporaryFolder.h"

namespace brairu::tool {
namespace {

using testing::StartsWith;

TEST(Versions, OfALibraryAndAToolThatDifferAreAWarning) {
    const test::TemporaryFolder folder;
    const std::string library = folder.write("libbrairu.so.9.8.7", "");
    std::filesystem::create_symlink(library, folder.file("libbrairu.so.9"));
    const Finding finding = examineVersions(folder.file("libbrairu.so.9"));
    EXPECT_EQ(finding.level, Level::warning);
    EXPECT_THAT(finding.what, StartsWith("libbrairu 9.8.7 in " + library + ", this tool "));
    EXPECT_THAT(finding.advice, StartsWith("Install library and tool of one version"));
}

TEST(Versions, OfALibraryWithoutOneInItsNameAreNotKnown) {
    const test::TemporaryFolder folder;
    const std::string library = folder.write("libbrairu.so", "");
    const Finding finding = examineVersions(library);
    EXPECT_EQ(finding.level, Level::warning);
    EXPECT_THAT(finding.what, StartsWith("libbrairu of no version in " + library));
}

}  // namespace
}  // namespace brairu::tool
