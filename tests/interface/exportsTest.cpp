// What the shared library shows to the outside.
#include <gmock/gmock.h>

#include <cstdio>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

using Names = std::set<std::string>;
using testing::IsSupersetOf;

Names linesOf(const std::string& text) {
    std::istringstream stream(text);
    Names lines;
    for (std::string line; std::getline(stream, line);) {
        lines.insert(line);
    }
    return lines;
}

// The dynamic symbols of the library that the option of nm selects.
Names symbols(const std::string& option) {
    const std::string command =
        BRAIRU_NM " -D --format=just-symbols " + option + " \"" BRAIRU_LIBRARY "\"";
    FILE* const pipe = popen(command.c_str(), "r");
    std::string output;
    for (int character = std::fgetc(pipe); character != EOF; character = std::fgetc(pipe)) {
        output += static_cast<char>(character);
    }
    EXPECT_EQ(pclose(pipe), 0) << command;
    return linesOf(std::regex_replace(output, std::regex("@.*"), ""));
}

// The functions that a C header declares.
Names functionsOf(const std::string& header) {
    const std::string code =
        std::regex_replace(readFile(header), std::regex(R"(/\*[^*]*\*+([^/*][^*]*\*+)*/)"), "");
    const std::regex declaration(R"((?:^|\n)\w[\w ]*[ *](\w+)\([^;{}]*\);)");
    Names names;
    for (std::sregex_iterator match(code.begin(), code.end(), declaration), end; match != end;
         ++match) {
        names.insert((*match)[1]);
    }
    return names;
}

TEST(Exports, AreTheFortyCallsOfTheHeader) {
    const Names declared = functionsOf(BRAIRU_HEADER);
    EXPECT_EQ(declared.size(), 40u);
    EXPECT_EQ(symbols("--defined-only"), declared);
}

TEST(Exports, AreTheListThatHostsWereBuiltAgainst) {
    EXPECT_EQ(symbols("--defined-only"), linesOf(readFile(BRAIRU_EXPORT_LIST)));
}

TEST(Exports, LeaveTheNpuAndTheLogToOtherLibraries) {
    const Names npu = functionsOf(BRAIRU_NPU_HEADER);
    EXPECT_THAT(npu, testing::Contains("vxProcessGraph"));
    EXPECT_THAT(symbols("--undefined-only"), IsSupersetOf(npu));
    EXPECT_THAT(symbols("--undefined-only"), testing::Contains("__android_log_print"));
}

}  // namespace
}  // namespace brairu::test
