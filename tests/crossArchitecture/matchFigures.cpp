#include "crossArchitecture/matchFigures.h"

#include <algorithm>
#include <array>

#include "config/configStore.h"
#include "crossArchitecture/digest.h"
#include "crossArchitecture/fixedRandom.h"
#include "match/authentication.h"
#include "match/registration.h"
#include "match/search.h"
#include "match/similarity.h"
#include "npu/modelFile.h"
#include "store/templateStore.h"
#include "support/captureOutput.h"
#include "support/modelContainer.h"
#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kCaptureBytes = kBlocks * kBlockBytes;
constexpr int kCentres = 2;

// Bytes over the whole range, or, in every fourth case, ones so small that sums are.
Bytes someBytes(FixedRandom& random, std::size_t count) {
    Bytes bytes = random.bytes(count);
    if (random.between(0, 3) == 0) {
        std::ranges::transform(bytes, bytes.begin(),
                               [](std::uint8_t byte) { return byte % 3 - 1; });
    }
    return bytes;
}

FeatureBlock someBlock(FixedRandom& random) {
    const Bytes bytes = someBytes(random, kBlockBytes);
    return blockOf(bytes.data(), bytes.size());
}

// Pairs from unrelated to equal, and the extremes of the value range.
std::array<FeatureBlock, 2> somePair(FixedRandom& random, int round) {
    std::array<FeatureBlock, 2> pair{someBlock(random), someBlock(random)};
    if (round % 4 != 0) {
        for (Eigen::Index place = 0; place < pair[1].size(); ++place) {
            if (random.between(0, 127) < round % 128) {
                pair[1][place] = pair[0][place];
            }
        }
    }
    if (round == 0) {
        pair[0].setConstant(-128);
        pair[1].setConstant(-128);
    }
    return pair;
}

std::span<const std::uint8_t> unsignedBytes(const FeatureBlock& block) {
    return {reinterpret_cast<const std::uint8_t*>(block.data()),
            static_cast<std::size_t>(block.size())};
}

// A store with 60 palms of two centres each, some of which were replaced, removed or written to.
class FilledStore {
public:
    FilledStore() {
        ConfigDocument document;
        document["feature"]["feature_len"] = 512;
        document["database"] = {{"regis_center_count", kCentres},
                                {"database_path", folder_.file("palms.db")},
                                {"search_index_path", folder_.file("palms.bin")}};
        stdoutOf([&] {
            store_ = std::make_unique<TemplateStore>(document);
            store_->runStartupPass();
            fill();
        });
    }

    TemplateStore& store() { return *store_; }
    std::string cacheBytes() const { return readFile(folder_.file("palms.bin")); }

private:
    void fill() {
        FixedRandom random(20);
        for (int palm = 0; palm < 60; ++palm) {
            store_->enrolPalm({palm, palm % 2, {}}, someBytes(random, kCentres * kTemplateBytes));
        }
        for (int palm = 0; palm < 60; palm += 7) {
            store_->replaceByKey({palm, palm % 2, {}},
                                 someBytes(random, kCentres * kTemplateBytes));
            store_->removePalm(palm + 3, (palm + 3) % 2);
        }
        std::array<std::uint8_t, kTemplateBytes> learned{};
        std::ranges::copy(random.bytes(kTemplateBytes), learned.begin());
        store_->writeTemplate(2, 1, learned);
    }

    TemporaryFolder folder_;
    std::unique_ptr<TemplateStore> store_;
};

}  // namespace

std::string similarities() {
    FixedRandom random(10);
    Digest digest;
    for (int round = 0; round < 600; ++round) {
        const auto [a, b] = somePair(random, round);
        const auto length = static_cast<std::size_t>(random.between(0, 512));
        digest.add(indexSimilarity(a.data(), b.data(), length));
        digest.add(indexSimilarity(a.data(), b.data(), kBlockBytes));
        digest.add(cosineDistance(a, b));
        digest.add(cosineSimilarity(a, b));
    }
    const Bytes probe = random.bytes(kCaptureBytes);
    const Bytes reference = random.bytes(kCaptureBytes);
    const BlockSimilarities compared = compareCaptures(probe.data(), reference.data());
    std::ranges::for_each(compared, [&](float similarity) { digest.add(similarity); });
    digest.add(reportedSimilarity(compared));
    return digest.hex();
}

std::string meansAndBlends() {
    FixedRandom random(11);
    Digest digest;
    for (int round = 0; round < 60; ++round) {
        std::vector<FeatureBlock> blocks;
        for (int count = random.between(1, 60); count > 0; --count) {
            blocks.push_back(someBlock(random));
        }
        const FeatureBlock mean = meanFeature(blocks);
        digest.add(unsignedBytes(mean));
        digest.add(unsignedBytes(blendFeature(mean, blocks.front(), 0.15f)));
        digest.add(unsignedBytes(
            blendFeature(blocks.back(), blocks.front(), random.fraction(0.0f, 1.0f))));
    }
    return digest.hex();
}

std::string registrationCentres() {
    FixedRandom random(12);
    Digest digest;
    for (int centres = 1; centres <= 4; ++centres) {
        RegisterBuffer buffer;
        for (int capture = 0; capture < 6; ++capture) {
            buffer.add(splitFeature(random.bytes(kCaptureBytes).data(), 512));
        }
        computeCentres(buffer, centres);
        for (const auto& list : buffer.lists()) {
            for (const FeatureBlock& block : list) {
                digest.add(unsignedBytes(block));
            }
        }
    }
    return digest.hex();
}

std::string searchResults() {
    FilledStore filled;
    FixedRandom random(13);
    Digest digest;
    for (int round = 0; round < 40; ++round) {
        const FeatureBlock probe = someBlock(random);
        for (const SearchHit& hit :
             searchTopK(*filled.store().cache(), bytesOf(probe), 1 + round % 25)) {
            digest.add(hit.slot);
            digest.add(hit.similarity);
        }
    }
    return digest.hex();
}

std::string cacheFile() {
    const FilledStore filled;
    Digest digest;
    digest.add(filled.cacheBytes());
    return digest.hex();
}

std::string templateRows() {
    FilledStore filled;
    Digest digest;
    for (int id = 1; id <= 60; ++id) {
        Bytes row(kCentres * kTemplateBytes);
        digest.add(filled.store().readBlob(id, row));
        digest.add(std::span<const std::uint8_t>(row));
    }
    digest.add(filled.store().featureCount());
    return digest.hex();
}

std::string modelContainers() {
    FixedRandom random(14);
    const TemporaryFolder folder;
    Digest digest;
    for (const std::size_t size : {0, 1, 1023, 1024, 1025, 70'001}) {
        const Bytes bytes = random.bytes(size);
        const std::string container = sealedModel(std::string(bytes.begin(), bytes.end()));
        digest.add(container);
        ModelBuffer model;
        digest.add(readModelFile(folder.write("model", container), model));
        digest.add(std::span<const std::uint8_t>(model.data.get(), model.size));
    }
    return digest.hex();
}

std::string configurationText() {
    FixedRandom random(15);
    const TemporaryFolder folder;
    const std::string path = folder.write("config.json", R"({"b": {"x": [1, -2.5, "päd"]}})");
    ConfigStore config;
    config.load(path);
    for (int round = 0; round < 40; ++round) {
        const std::string key = "key" + std::to_string(round);
        config.set("fractions", key, random.fraction(-1.0f, 1.0f));
        config.set("percents", key, static_cast<float>(random.between(0, 100)) / 100.0f);
        config.set("counts", key, static_cast<std::uint32_t>(random.between(0, 1 << 30)) * 4u);
    }
    Digest digest;
    digest.add(readFile(path));
    return digest.hex();
}

}  // namespace brairu::test
