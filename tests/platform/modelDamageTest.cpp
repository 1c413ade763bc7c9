#include <gmock/gmock.h>

#include <cstdint>

#include "handles.h"
#include "npuSession.h"
#include "onnx/seal.h"

namespace brairu::test {
namespace {

/// A small generator of its own, so that every machine tries the same damage.
class Dice {
public:
    explicit Dice(std::uint64_t seed) : state_(seed) {}

    std::size_t below(std::size_t limit) {
        state_ += 0x9e3779b97f4a7c15;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
        z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
        return static_cast<std::size_t>((z ^ (z >> 31)) % limit);
    }

private:
    std::uint64_t state_;
};

class ModelDamage : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(npu::Handles::all().live(), 0U); }
};

std::uint32_t inputCount(const std::string& net) {
    const NetModel model = loadModel(net);
    NetInputBlobList inputs = {nullptr, 7};
    const vx_status status = GetNetInputBlobs(model, &inputs);
    EXPECT_EQ(status == VX_SUCCESS, inputs.count != 0);
    UnLoadNetModel(model);
    return inputs.count;
}

TEST_F(ModelDamage, LeavesAnUndamagedPairUsable) {
    const ModelPair pair = convolutionModel().build();
    EXPECT_EQ(inputCount(pair.net), 1U);
    EXPECT_EQ(verifyPair(pair), VX_SUCCESS);
}

TEST_F(ModelDamage, OfAnyByteOfTheDescriptionIsFound) {
    const ModelPair pair = convolutionModel().build();
    for (std::size_t i = 0; i < pair.net.size(); ++i) {
        for (const int flip : {0x01, 0x20, 0x80}) {
            ModelPair damaged = pair;
            damaged.net[i] = static_cast<char>(damaged.net[i] ^ flip);
            EXPECT_EQ(inputCount(damaged.net), 0U) << i;
            ASSERT_EQ(verifyPair(damaged), VX_FAILURE) << i;
        }
    }
}

TEST_F(ModelDamage, OfAnyByteOfTheWeightsIsFound) {
    const ModelPair pair = convolutionModel().build();
    for (std::size_t i = 0; i < pair.blobs.size(); ++i) {
        ModelPair damaged = pair;
        damaged.blobs[i] = static_cast<char>(damaged.blobs[i] ^ 0x10);
        ASSERT_EQ(verifyPair(damaged), VX_FAILURE) << i;
    }
}

TEST_F(ModelDamage, ByTruncationIsFound) {
    const ModelPair pair = convolutionModel().build();
    for (std::size_t length = 0; length < pair.net.size(); ++length) {
        ASSERT_EQ(verifyPair({pair.net.substr(0, length), pair.blobs}), VX_FAILURE) << length;
    }
    for (std::size_t length = 0; length < pair.blobs.size(); ++length) {
        ASSERT_EQ(verifyPair({pair.net, pair.blobs.substr(0, length)}), VX_FAILURE) << length;
    }
}

TEST_F(ModelDamage, ByTrailingBytesIsFound) {
    const ModelPair pair = convolutionModel().build();
    EXPECT_EQ(verifyPair({pair.net + '\0', pair.blobs}), VX_FAILURE);
    EXPECT_EQ(verifyPair({pair.net, pair.blobs + '\0'}), VX_FAILURE);
}

TEST_F(ModelDamage, ByMixingFilesIsFound) {
    const ModelPair one = convolutionModel().build();
    const ModelPair other = everyOperatorModel().build();
    EXPECT_EQ(verifyPair({one.net, other.blobs}), VX_FAILURE);
    EXPECT_EQ(verifyPair({one.blobs, one.net}), VX_FAILURE);
    EXPECT_EQ(verifyPair({one.net, one.net}), VX_FAILURE);
    EXPECT_EQ(verifyPair({std::string(2000, 'x'), std::string(2000, 'y')}), VX_FAILURE);
}

/// Someone who seals what he spoilt gets past the digests: the checks behind them must hold too.
TEST_F(ModelDamage, UnderAGoodSealNeverEndsTheProcess) {
    const ModelPair pair = everyOperatorModel().build();
    const std::string body = unsealed(pair.net);
    Dice dice(20240611);
    int accepted = 0;
    for (int attempt = 0; attempt < 2000; ++attempt) {
        std::string spoilt = body;
        for (std::size_t flips = 1 + dice.below(3); flips > 0; --flips) {
            spoilt[dice.below(spoilt.size())] = static_cast<char>(dice.below(256));
        }
        accepted += verifyPair({sealed(spoilt), pair.blobs}) == VX_SUCCESS ? 1 : 0;
    }
    EXPECT_LT(accepted, 1000) << "most of the description matters";
}

TEST_F(ModelDamage, ByTruncationUnderAGoodSealNeverEndsTheProcess) {
    const ModelPair pair = convolutionModel().build();
    const std::string body = unsealed(pair.net);
    for (std::size_t length = 0; length < body.size(); ++length) {
        ASSERT_EQ(verifyPair({sealed(body.substr(0, length)), pair.blobs}), VX_FAILURE) << length;
    }
}

TEST_F(ModelDamage, OfEveryByteUnderAGoodSealNeverEndsTheProcess) {
    const ModelPair pair = convolutionModel().build();
    const std::string body = unsealed(pair.net);
    for (std::size_t i = 0; i < body.size(); ++i) {
        for (const int flip : {0x01, 0x04, 0x80, 0xff}) {
            std::string spoilt = body;
            spoilt[i] = static_cast<char>(spoilt[i] ^ flip);
            const vx_status status = verifyPair({sealed(spoilt), pair.blobs});
            ASSERT_TRUE(status == VX_SUCCESS || status == VX_FAILURE);
        }
    }
}

}  // namespace
}  // namespace brairu::test
