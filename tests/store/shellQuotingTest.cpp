#include "store/shellQuoting.h"

#include <gtest/gtest.h>

namespace brairu::test {
namespace {

TEST(ShellQuoting, LeavesPlainPathsAsTheyAre) {
    for (const char* path : {"index.usearch", "/data/palm-1/x_2.bin", "../a+b=c@d%e,f:g"}) {
        EXPECT_EQ(quotedForShell(path), path);
    }
}

TEST(ShellQuoting, QuotesWhatTheShellWouldSplitOrExpand) {
    EXPECT_EQ(quotedForShell("my palms.bin"), "'my palms.bin'");
    EXPECT_EQ(quotedForShell("$HOME;ls*`x`\"\\"), "'$HOME;ls*`x`\"\\'");
    EXPECT_EQ(quotedForShell("~root"), "'~root'");
    EXPECT_EQ(quotedForShell("a\nb"), "'a\nb'");
    EXPECT_EQ(quotedForShell("掌.bin"), "'掌.bin'");
}

TEST(ShellQuoting, QuotesQuotes) {
    EXPECT_EQ(quotedForShell("it's"), "'it'\\''s'");
}

TEST(ShellQuoting, KeepsALeadingDashFromBeingAnOption) {
    EXPECT_EQ(quotedForShell("-rf"), "'./-rf'");
}

TEST(ShellQuoting, QuotesNothingAsAnEmptyWord) {
    EXPECT_EQ(quotedForShell(""), "''");
}

}  // namespace
}  // namespace brairu::test
