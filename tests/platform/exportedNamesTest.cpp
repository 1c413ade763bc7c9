#include <gmock/gmock.h>

#include <cstdio>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

using Names = std::set<std::string>;

std::string outputOf(const std::string& command) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return output;
    char chunk[4096];
    for (std::size_t n = 0; (n = fread(chunk, 1, sizeof chunk, pipe)) > 0;)
        output.append(chunk, n);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output;
}

Names exportsOf(const std::string& library) {
    std::istringstream lines(
        outputOf(BRAIRU_NM " -D --defined-only --format=posix \"" + library + "\""));
    Names names;
    for (std::string line; std::getline(lines, line);)
        names.insert(line.substr(0, line.find(' ')));
    return names;
}

/// Names that are followed by an argument list and are not keywords of the compiler.
Names declaredIn(const std::string& header) {
    std::ifstream file(std::string(BRAIRU_PLATFORM_FOLDER) + header);
    std::stringstream text;
    text << file.rdbuf();
    const std::string code = std::regex_replace(text.str(), std::regex(R"(/\*[^]*?\*/)"), "");
    Names names;
    const std::regex declaration(R"((?:^|\n)[a-zA-Z_][\w ]*[ *](\w+)\([^;]*\);)");
    for (std::sregex_iterator i(code.begin(), code.end(), declaration), end; i != end; ++i) {
        names.insert((*i)[1]);
    }
    return names;
}

TEST(PlatformExports, NpuLibraryExportsExactlyItsHeader) {
    const Names declared = declaredIn("/npu/include/npu.h");
    EXPECT_EQ(declared.size(), 24U);
    EXPECT_EQ(exportsOf(BRAIRU_NPU_LIBRARY), declared);
}

TEST(PlatformExports, LogLibraryExportsTheLogCallOnly) {
    EXPECT_EQ(exportsOf(BRAIRU_LOG_LIBRARY), Names{"__android_log_print"});
    EXPECT_EQ(declaredIn("/log/include/platformLog.h"), Names{"__android_log_print"});
}

}  // namespace
