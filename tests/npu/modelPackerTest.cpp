#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>

#include "npu/modelFile.h"
#include "support/modelContainer.h"
#include "support/temporaryFolder.h"

namespace brairu {
namespace {

using test::readFile;
using test::sealedModel;
using test::TemporaryFolder;

constexpr std::size_t kNonce = 8;

class ModelPacker : public testing::Test {
protected:
    // Runs the packer; its exit status. What it says goes to the file "said".
    int run(const std::string& arguments) const {
        const std::string command =
            std::string("\"" MODEL_PACKER "\" ") + arguments + " >" + file("said") + " 2>&1";
        const int status = std::system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    int pack(const std::string& model, const std::string& container) const {
        return run("pack " + file(model) + " " + file(container));
    }
    int unpack(const std::string& container, const std::string& model) const {
        return run("unpack " + file(container) + " " + file(model));
    }
    std::string file(const std::string& name) const { return folder_.file(name); }
    std::string said() const { return readFile(file("said")); }

    TemporaryFolder folder_;
};

class PackedSize : public ModelPacker, public testing::WithParamInterface<std::size_t> {};

TEST_P(PackedSize, UnpacksToTheSameBytes) {
    std::string model;
    for (std::size_t i = 0; i < GetParam(); ++i) {
        model += static_cast<char>(i % 241);
    }
    folder_.write("model", model);
    ASSERT_EQ(pack("model", "container"), 0);
    ASSERT_EQ(unpack("container", "again"), 0);
    EXPECT_EQ(readFile(file("container")).size(), model.size() + kNonce);
    EXPECT_EQ(readFile(file("again")), model);
    EXPECT_EQ(said(), "");
}

INSTANTIATE_TEST_SUITE_P(Bytes, PackedSize, testing::Values(0, 1, 1024, 1500, 2048, 70'001));

TEST_F(ModelPacker, MakesContainersThatTheLibraryReads) {
    const std::string model(3000, 'm');
    folder_.write("model", model);
    ASSERT_EQ(pack("model", "container"), 0);
    ModelBuffer read;
    ASSERT_TRUE(readModelFile(file("container"), read));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(read.data.get()), read.size), model);
}

TEST_F(ModelPacker, OpensContainersThatWereMadeElsewhere) {
    folder_.write("container", sealedModel("a model"));
    ASSERT_EQ(unpack("container", "model"), 0);
    EXPECT_EQ(readFile(file("model")), "a model");
}

TEST_F(ModelPacker, TakesAFreshNonceEveryTime) {
    folder_.write("model", std::string(100, 'm'));
    ASSERT_EQ(pack("model", "first"), 0);
    ASSERT_EQ(pack("model", "second"), 0);
    EXPECT_NE(readFile(file("first")).substr(0, kNonce),
              readFile(file("second")).substr(0, kNonce));
    EXPECT_NE(readFile(file("first")).substr(kNonce), readFile(file("second")).substr(kNonce));
}

TEST_F(ModelPacker, FailsForAModelThatIsNotThere) {
    EXPECT_EQ(pack("missing", "container"), 1);
    EXPECT_EQ(said(), "brairu-models: cannot read " + file("missing") + "\n");
}

TEST_F(ModelPacker, FailsWhereItCannotWrite) {
    folder_.write("model", "model");
    EXPECT_EQ(pack("model", "no/such/folder"), 1);
    EXPECT_EQ(said(), "brairu-models: cannot write " + file("no/such/folder") + "\n");
}

TEST_F(ModelPacker, FailsForAFileThatIsNoContainer) {
    folder_.write("short", "1234567");
    EXPECT_EQ(unpack("short", "model"), 1);
    EXPECT_EQ(said(), "brairu-models: " + file("short") + " is no model container\n");
}

TEST_F(ModelPacker, FailsForAFolder) {
    EXPECT_EQ(run("pack " + folder_.path().string() + " " + file("container")), 1);
    EXPECT_EQ(said(), "brairu-models: cannot read " + folder_.path().string() + "\n");
}

TEST_F(ModelPacker, SaysHowItIsUsed) {
    EXPECT_EQ(run(""), 2);
    EXPECT_EQ(run("pack " + file("model")), 2);
    EXPECT_EQ(run("paint a b"), 2);
    EXPECT_EQ(said(),
              "usage: brairu-models pack MODEL CONTAINER     encrypt a model file\n"
              "       brairu-models unpack CONTAINER MODEL   decrypt it again\n");
}

}  // namespace
}  // namespace brairu
