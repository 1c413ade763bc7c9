#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "support/temporaryFolder.h"

namespace brairu {
namespace {

using test::readFile;
using test::TemporaryFolder;

constexpr std::size_t kSide = 128;
constexpr std::size_t kPixels = kSide * kSide;
constexpr std::size_t kLabels = 15;

class TrainingSet : public testing::Test {
protected:
    // Runs the program; its exit status. What it says goes to the file "said".
    int run(const std::string& arguments) const {
        const std::string command =
            std::string("\"" TRAINING_SET "\" ") + arguments + " >" + file("said") + " 2>&1";
        const int status = std::system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string file(const std::string& name) const { return folder_.file(name); }
    std::string said() const { return readFile(file("said")); }

    TemporaryFolder folder_;
};

bool promises(const std::string& content, const std::string& shape) {
    return content.find("'shape': " + shape) < kSide;
}

// The last `length` bytes of a file: its rows.
std::string rowsOf(const std::string& content, std::size_t length) {
    return content.size() < length ? "" : content.substr(content.size() - length);
}

float labelOf(const std::string& rows, std::size_t frame, std::size_t number) {
    float value = 0.0f;
    std::memcpy(&value, rows.data() + (frame * kLabels + number) * sizeof value, sizeof value);
    return value;
}

TEST_F(TrainingSet, WritesThreeImagesOfEachCaptureOfBothPalms) {
    ASSERT_EQ(run("palms " + file("a") + " 1 2 5 enrolment"), 0) << said();
    const std::string content = readFile(file("a/images.npy"));
    EXPECT_TRUE(promises(content, "(2,2,3,128,128,)"));
    const std::string rows = rowsOf(content, 2 * 2 * 3 * kPixels);
    ASSERT_EQ(rows.size(), 2 * 2 * 3 * kPixels);
    for (std::size_t image = 0; image < 12; ++image) {
        const std::string pixels = rows.substr(image * kPixels, kPixels);
        EXPECT_NE(pixels, std::string(kPixels, pixels[0])) << image;
    }
}

TEST_F(TrainingSet, DrawsTheSamePalmsFromTheSameSeed) {
    ASSERT_EQ(run("palms " + file("a") + " 1 1 5 mixed"), 0) << said();
    ASSERT_EQ(run("palms " + file("b") + " 1 1 5 mixed"), 0) << said();
    ASSERT_EQ(run("palms " + file("c") + " 1 1 6 mixed"), 0) << said();
    EXPECT_EQ(readFile(file("a/images.npy")), readFile(file("b/images.npy")));
    EXPECT_NE(readFile(file("a/images.npy")), readFile(file("c/images.npy")));
}

TEST_F(TrainingSet, ShowsAHandInEverySecondFrame) {
    ASSERT_EQ(run("poses " + file("p") + " 6 5"), 0) << said();
    EXPECT_TRUE(promises(readFile(file("p/images.npy")), "(6,128,128,)"));
    const std::string labels = readFile(file("p/labels.npy"));
    EXPECT_TRUE(promises(labels, "(6,15,)"));
    const std::string rows = rowsOf(labels, 6 * kLabels * sizeof(float));
    for (std::size_t frame = 0; frame < 6; ++frame) {
        const bool hand = frame % 2 == 0;
        EXPECT_EQ(labelOf(rows, frame, 0), hand ? 1.0f : 0.0f) << frame;
        for (std::size_t number = 1; number < kLabels; ++number) {
            const float coordinate = labelOf(rows, frame, number);
            EXPECT_TRUE(hand ? coordinate >= 0.0f && coordinate < 128.0f : coordinate == 0.0f)
                << frame << ' ' << number << ' ' << coordinate;
        }
    }
}

TEST_F(TrainingSet, AsksWhatToRender) {
    for (const char* arguments : {"", "palms x 1 1 5", "poses x 1 5 5", "hands x 1 5"}) {
        EXPECT_EQ(run(arguments), 1) << arguments;
        EXPECT_EQ(said().rfind("brairu-training-set: what to render?\nusage: ", 0), 0U) << said();
    }
}

TEST_F(TrainingSet, SaysWhenItCannotWrite) {
    ASSERT_EQ(run("poses " + file("p") + " 1 5"), 0);
    EXPECT_EQ(run("poses /dev/null/p 1 5"), 1);
    EXPECT_NE(said().find("/dev/null/p"), std::string::npos) << said();
}

}  // namespace
}  // namespace brairu
