// A feature cache file of any size and content beside a database with palms: start, search, changes,
// a start with another number of centres.
//
// Input: choices (centres before and after, palms, size of the file), then runs of bytes that are
// written into the file: two bytes of place, one of area (flags or records), one of length.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>

#include "byteSource.h"
#include "claim.h"
#include "match/search.h"
#include "store/templateBlob.h"
#include "store/templateStore.h"
#include "storeFiles.h"
#include "support/scriptedLog.h"

namespace {

using namespace brairu;
using fuzz::ByteSource;
using fuzz::claim;

constexpr int kMostPalms = 4;
constexpr int kMostHits = 25;

std::vector<std::uint8_t> rowOf(int centres, int palm) {
    std::vector<std::uint8_t> row(static_cast<std::size_t>(centres) * kTemplateBytes);
    for (std::size_t i = 0; i < row.size(); ++i) {
        row[i] = static_cast<std::uint8_t>(i % kTemplateBytes * 31 +
                                           static_cast<std::size_t>(palm) * 57);
    }
    return row;
}

void enrol(const ConfigDocument& settings, int palms) {
    fuzz::ShortLivedStore shortLived(settings);
    TemplateStore& store = *shortLived;
    store.runStartupPass();
    for (int palm = 0; palm < palms; ++palm) {
        claim(store.insertPalm({palm, 1, {}}, rowOf(store.centreCount(), palm)), "an enrolment");
    }
}

std::size_t anyFileSize(ByteSource& source, int centres) {
    const std::size_t slots =
        static_cast<std::size_t>(kMirroredPalms) * static_cast<std::size_t>(centres);
    const std::size_t whole = slots * (1 + kBlockBytes);
    const auto small = static_cast<std::size_t>(source.number<std::uint16_t>());
    return source.oneOf({whole, whole, whole, whole - 1, whole + 1, small, slots, whole / 2,
                         whole + 1'000'000, std::size_t{0}});
}

// Where a run of bytes goes. Places near the end of an area are as likely as near its beginning.
std::size_t anyPlace(ByteSource& source, int centres) {
    const std::size_t slots =
        static_cast<std::size_t>(kMirroredPalms) * static_cast<std::size_t>(centres);
    const std::size_t place = source.number<std::uint16_t>() % slots;
    const std::uint8_t area = source.number<std::uint8_t>();
    return area % 2 == 0 ? place : slots + place * kBlockBytes + area;
}

void damage(const std::string& path, ByteSource& source, int centres) {
    const std::size_t size = anyFileSize(source, centres);
    std::filesystem::resize_file(path, size);
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    while (!source.isEmpty()) {
        const std::size_t place = anyPlace(source, centres);
        const std::string bytes = fuzz::textOf(source.take(source.number<std::uint8_t>()));
        if (place < size) {
            file.seekp(static_cast<std::streamoff>(place));
            file << bytes.substr(0, size - place);
        }
    }
}

// All slots, one by one, in the order in which hits have to come.
std::vector<SearchHit> expectedHits(const FeatureCacheFile& cache,
                                    std::span<const std::int8_t> probe, std::size_t k) {
    std::vector<SearchHit> hits;
    std::vector<std::int8_t> record;
    for (int slot = 0; slot < static_cast<int>(cache.capacity()); ++slot) {
        if (cache.get(slot, record)) {
            hits.push_back({slot, indexSimilarity(probe.data(), record.data(), record.size())});
        }
    }
    std::ranges::stable_sort(
        hits, [](const SearchHit& a, const SearchHit& b) { return a.similarity > b.similarity; });
    hits.resize(std::min(hits.size(), k));
    return hits;
}

void compareSearch(const FeatureCacheFile& cache, std::span<const std::int8_t> probe) {
    const std::vector<SearchHit> hits = searchTopK(cache, probe, kMostHits);
    const std::vector<SearchHit> expected = expectedHits(cache, probe, kMostHits);
    claim(std::ranges::equal(hits, expected,
                             [](const SearchHit& a, const SearchHit& b) {
                                 return a.slot == b.slot && a.similarity == b.similarity;
                             }),
          "the search finds what a walk over the slots finds");
}

void match(TemplateStore& store, std::span<const std::int8_t> probe) {
    const FeatureBlock block = blockOf(probe);
    PvaAuthResult result{};
    int index = 0;
    const bool found = matchProbe(store, {block, block, block}, result, index);
    claim(!found || (index >= 0 && index < store.centreCount()), "a match names its template");
}

// Whatever the file held: the enrolments left word that it was about to change, so that the start
// looks at every slot.
void claimRestored(const TemplateStore& store, int palms) {
    const int centres = store.centreCount();
    for (int palm = 0; palm < palms; ++palm) {
        const std::vector<std::uint8_t> row = rowOf(centres, palm);
        for (int index = 0; index < centres; ++index) {
            const std::size_t offset = static_cast<std::size_t>(index) * kTemplateBytes;
            claim(store.cache()->holds(palm * centres + index,
                                       signedBytesAt(row, offset, kBlockBytes)),
                  "the start restores every slot");
        }
    }
}

void startAndUse(const ConfigDocument& settings, std::span<const std::int8_t> probe, int palms) {
    fuzz::ShortLivedStore shortLived(settings);
    TemplateStore& store = *shortLived;
    store.runStartupPass();
    claim(store.featureCount() == store.cache()->count(), "the start counts the slots");
    claim(store.featureCount() == palms * store.centreCount(),
          "the start repairs a cache of another count");
    claimRestored(store, palms);
    compareSearch(*store.cache(), probe);
    match(store, probe);
    store.insertPalm({100, 1, {}}, rowOf(store.centreCount(), 100));
    compareSearch(*store.cache(), probe);
    store.removePalm(100, 1);
    claim(!store.existsKey({100, 1, {}}), "a removed palm is gone");
    store.enrolPalm({101, 1, {}}, rowOf(store.centreCount(), 101));
    store.removePalm(101, 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::StoreFiles files;
    ByteSource source(data, size);
    const int centres = source.between(1, 2);
    const int later = source.between(1, 2);
    const int palms = source.between(0, kMostPalms);
    const std::uint8_t probeSeed = source.number<std::uint8_t>();
    std::vector<std::int8_t> probe(kBlockBytes);
    for (std::size_t i = 0; i < probe.size(); ++i) {
        probe[i] = static_cast<std::int8_t>(i * 31 + probeSeed);
    }
    enrol(files.settings(centres), palms);
    damage(files.cachePath(), source, centres);
    startAndUse(files.settings(centres), probe, palms);
    startAndUse(files.settings(later), probe, palms);
    files.remove();
    test::ScriptedLog::clear();
    return 0;
}
