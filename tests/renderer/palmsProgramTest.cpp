// brairu-palms, the program.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>

#include "support/temporaryFolder.h"

namespace brairu {
namespace {

using test::readFile;
using test::TemporaryFolder;

class PalmsProgram : public testing::Test {
protected:
    // Its exit status. What it says goes to the file "said".
    int run(const std::string& arguments) const {
        const std::string command = "\"" PALMS "\" \"" + album() + "\" " + arguments + " >" +
                                    folder_.file("said") + " 2>&1";
        const int status = std::system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string album() const { return folder_.file("album"); }
    // The first line of what it said.
    std::string said() const {
        const std::string text = readFile(folder_.file("said"));
        return text.substr(0, text.find('\n'));
    }

    TemporaryFolder folder_;
};

TEST_F(PalmsProgram, DrawsFramesOfASize) {
    EXPECT_EQ(run("--people 1 --captures 1 --format raw --size 20x16"), 0) << said();
    EXPECT_EQ(readFile(album() + "/0L_0.raw").size(), 320U);
}

TEST_F(PalmsProgram, RefusesFramesTooSmallToDrawIn) {
    for (const char* const size : {"1x1", "15x480", "640x15"}) {
        EXPECT_EQ(run(std::string("--size ") + size), 1);
        EXPECT_EQ(said(), std::string("brairu-palms: frames of ") + size +
                              " are too small to draw a palm in: at least 16x16");
        EXPECT_FALSE(std::filesystem::exists(album()));
    }
}

TEST_F(PalmsProgram, RefusesWhatIsNoSize) {
    for (const char* const size : {"big", "640x", "-1x480", "640x480p", "99999x480"}) {
        EXPECT_EQ(run(std::string("--size ") + size), 1);
        EXPECT_EQ(said(), std::string("brairu-palms: a size is written like 640x480, not ") + size);
    }
}

TEST_F(PalmsProgram, RefusesWhatIsNoNumber) {
    for (const char* const people : {"many", "-1", "2.5", "1000001"}) {
        EXPECT_EQ(run(std::string("--people ") + people), 1);
        EXPECT_EQ(
            said(),
            std::string("brairu-palms: a whole number from 0 to 1000000 is wanted, not ") + people);
    }
}

}  // namespace
}  // namespace brairu
