// The manual pages that are made of the public header.
#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

using testing::HasSubstr;
using testing::Not;

std::vector<std::string> exportedCalls() {
    std::istringstream list(readFile(BRAIRU_SOURCE_DIR "/tests/interface/exports.txt"));
    std::vector<std::string> calls;
    for (std::string call; std::getline(list, call);) {
        calls.push_back(call);
    }
    return calls;
}

class Manual : public testing::Test {
protected:
    Manual() {
        const std::string command = "awk -v folder='" + folder_.path().string() +
                                    "' -v version=1.2.3 -f '" BRAIRU_SOURCE_DIR
                                    "/docs/reference/manPages.awk' '" BRAIRU_SOURCE_DIR
                                    "/include/brairu.h'";
        EXPECT_EQ(std::system(command.c_str()), 0);
    }
    std::string page(const std::string& name) const { return readFile(folder_.file(name + ".3")); }

    TemporaryFolder folder_;
};

TEST_F(Manual, HasAPageForEachExportedCall) {
    const std::vector<std::string> calls = exportedCalls();
    EXPECT_EQ(calls.size(), 40U);
    for (const std::string& call : calls) {
        const std::string text = page(call);
        EXPECT_THAT(text, HasSubstr(".TH " + call + " 3 \"\" \"brairu 1.2.3\""));
        EXPECT_THAT(text, HasSubstr("\n" + call + " \\- "));
        EXPECT_THAT(text, HasSubstr(' ' + call + '('));
        EXPECT_THAT(text, Not(HasSubstr(" \\- \n"))) << call;
        EXPECT_THAT(page("brairu"), HasSubstr('\n' + call + "(3)\n"));
    }
}

TEST_F(Manual, TellsWhatACallDoesAndWhatHoldsForAllOfItsKind) {
    EXPECT_EQ(page("pvaGetRegisterBufferCapacity"),
              ".TH pvaGetRegisterBufferCapacity 3 \"\" \"brairu 1.2.3\" \"Library calls\"\n"
              ".SH NAME\npvaGetRegisterBufferCapacity \\- Captures that an enrolment takes\n"
              ".SH SYNOPSIS\n.nf\n#include <brairu.h>\n\n"
              "int pvaGetRegisterBufferCapacity(void);\n.fi\n"
              ".SH DESCRIPTION\nCaptures that an enrolment takes. Throws: Config.\n"
              ".SH ALL OF ITS KIND\nA null pointer is logged and gives 0.\n"
              ".SH SEE ALSO\nbrairu(3)\n");
}

TEST_F(Manual, HasCodesAndRecords) {
    EXPECT_THAT(page("brairu"), HasSubstr("    PVA_REGISTER_COMMITTED = 11, /* the palm is "
                                          "enrolled */\n"));
    EXPECT_THAT(page("brairu"), HasSubstr("} PvaAuthResult;\n"));
}

}  // namespace
}  // namespace brairu::test
