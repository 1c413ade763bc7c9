#include "store/starts.h"

#include <benchmark/benchmark.h>

#include <fstream>
#include <optional>
#include <stdexcept>

#include "match/registration.h"
#include "match/search.h"
#include "store/bareSqlite.h"
#include "store/palmTemplate.h"
#include "store/plainCache.h"
#include "store/startedStore.h"

namespace brairu::bench {
namespace {

std::size_t slotsOf(const StoredPalms& palms) {
    return static_cast<std::size_t>(kMirroredPalms * palms.centres());
}

std::string nameOf(const char* what, const StoredPalms& palms) {
    return std::string(what) + "/" + std::to_string(palms.palms()) + "/" +
           std::to_string(palms.centres());
}

// Starts a store over the palms whenever it is asked to.
class Starter {
public:
    Starter(PalmsPointer palms, Before before) : palms_(std::move(palms)), before_(before) {}

    // The files as they have to be for the next start.
    void makeReady() {
        store_.reset();
        std::filesystem::remove(palms_->changeNote());
        if (before_ == Before::changes) {
            std::ofstream(palms_->changeNote()).flush();
        } else if (before_ == Before::noCache) {
            std::filesystem::remove(palms_->cache());
        }
    }

    void start() { store_.emplace(*palms_); }

    TemplateStore& started() { return store_->get(); }

private:
    PalmsPointer palms_;
    Before before_;
    std::optional<StartedStore> store_;
};

using StarterPointer = std::shared_ptr<Starter>;

StarterPointer starterOf(const PalmsPointer& palms, Before before) {
    return std::make_shared<Starter>(palms, before);
}

// A capture of the palm in the middle.
class Probe {
public:
    explicit Probe(const StoredPalms& palms)
        : id_(palms.palms() / 2), blocks_(splitFeature(palms.row(id_).data(), kBlockBytes)) {}

    // The best hits among all templates.
    void search(TemplateStore& store) const {
        const auto hits = searchTopK(*store.cache(), bytesOf(blocks_[0]), kHits);
        require(!hits.empty() && hits.front().slot == (id_ - 1) * store.centreCount());
    }

    // ... of which the first one's row is read and compared.
    void identify(TemplateStore& store) const {
        PvaAuthResult result{};
        int templateIndex = 0;
        const ProbeBlocks blocks{blocks_[0], blocks_[1], blocks_[2]};
        require(matchProbe(store, blocks, result, templateIndex) && result.rowId == id_);
    }

private:
    static constexpr int kHits = 25;

    static void require(bool found) {
        if (!found) {
            throw std::runtime_error("the search missed a palm");
        }
    }

    int id_;
    CaptureBlocks blocks_;
};

using ProbeUse = void (Probe::*)(TemplateStore&) const;

Measurement afterStart(const char* name, const PalmsPointer& palms, ProbeUse use) {
    const StarterPointer starter = starterOf(palms, Before::orderlyEnd);
    const Probe probe(*palms);
    return {nameOf(name, *palms), [=] { (probe.*use)(starter->started()); }, "", Clock::cpu,
            [starter] {
                starter->makeReady();
                starter->start();
            }};
}

Measurement warm(const char* name, const PalmsPointer& palms, ProbeUse use) {
    const StarterPointer starter = starterOf(palms, Before::orderlyEnd);
    const Probe probe(*palms);
    starter->start();
    return {nameOf(name, *palms), [=] { (probe.*use)(starter->started()); }, ""};
}

const char* nameOf(Before before) {
    switch (before) {
        case Before::orderlyEnd: return "start";
        case Before::changes: return "start after changes";
        case Before::noCache: return "start without cache";
    }
    return "";
}

void copyRecords(std::span<const std::uint8_t> row, std::size_t firstSlot, PlainCache& cache) {
    for (std::size_t start = 0; start < row.size(); start += kTemplateBytes) {
        cache.put(firstSlot++, row.data() + start);
    }
}

// What a start reads and writes, by SQLite alone. Like a store's, its files stay open.
class BareReader {
public:
    explicit BareReader(PalmsPointer palms) : palms_(std::move(palms)) {}

    void close() {
        sqlite_.reset();
        cache_.reset();
    }

    void scan() {
        sqlite_.emplace(palms_->database());
        readRows();
    }

    void countAndScan() {
        sqlite_.emplace(palms_->database()).run("SELECT COUNT(*) FROM userInfo;");
        readRows();
    }

    void scanWithCopy() {
        const auto centres = static_cast<std::size_t>(palms_->centres());
        cache_.emplace(palms_->cache() + ".plain", slotsOf(*palms_));
        sqlite_.emplace(palms_->database()).scan([&](int id, auto row) {
            copyRecords(row, static_cast<std::size_t>(id - 1) * centres, *cache_);
        });
    }

private:
    void readRows() {
        std::size_t bytes = 0;
        sqlite_->scan([&](int, auto row) { bytes += row.size(); });
        benchmark::DoNotOptimize(bytes);
        benchmark::DoNotOptimize(countFlags(palms_->cache(), slotsOf(*palms_)));
    }

    PalmsPointer palms_;
    std::optional<BareSqlite> sqlite_;
    std::optional<PlainCache> cache_;
};

}  // namespace

Measurement storeStart(const PalmsPointer& palms, Before before) {
    const StarterPointer starter = starterOf(palms, before);
    return {nameOf(nameOf(before), *palms), [starter] { starter->start(); }, "", Clock::cpu,
            [starter] { starter->makeReady(); }};
}

Measurement bareScan(const PalmsPointer& palms) {
    const auto reader = std::make_shared<BareReader>(palms);
    return {nameOf("bare scan", *palms), [reader] { reader->scan(); }, "", Clock::cpu,
            [reader] { reader->close(); }};
}

Measurement bareCountAndScan(const PalmsPointer& palms) {
    const auto reader = std::make_shared<BareReader>(palms);
    return {nameOf("bare count and scan", *palms), [reader] { reader->countAndScan(); }, "",
            Clock::cpu, [reader] { reader->close(); }};
}

Measurement bareScanWithCopy(const PalmsPointer& palms) {
    const auto reader = std::make_shared<BareReader>(palms);
    return {nameOf("bare scan with copy", *palms), [reader] { reader->scanWithCopy(); }, "",
            Clock::cpu, [reader] { reader->close(); }};
}

Measurement firstSearch(const PalmsPointer& palms) {
    return afterStart("first search", palms, &Probe::search);
}

Measurement warmSearch(const PalmsPointer& palms) {
    return warm("warm search", palms, &Probe::search);
}

Measurement firstIdentification(const PalmsPointer& palms) {
    return afterStart("first identification", palms, &Probe::identify);
}

Measurement warmIdentification(const PalmsPointer& palms) {
    return warm("warm identification", palms, &Probe::identify);
}

}  // namespace brairu::bench
