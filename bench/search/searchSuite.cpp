#include "search/searchSuite.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string_view>

#include "match/kernels/chosenKernel.h"
#include "search/contenders.h"
#include "search/streamRead.h"

namespace brairu::bench {
namespace {

constexpr double kFull = 1.0;
constexpr double kTenth = 0.1;
constexpr double kHundredth = 0.01;

// Stands for the kernel that searches of this process use.
constexpr std::string_view kOurs = "ours";
constexpr std::string_view kStream = "stream";
constexpr std::string_view kThreeSums = "three sums";

struct SearchRow {
    std::string_view title;
    double occupied;
    std::string_view ours;
    std::string_view peer;
    double goal;
};

constexpr SearchRow kRows[] = {
    {"reading the same bytes, VNNI", kFull, "avx512vnni", kStream, 0.80},
    {"reading the same bytes, AVX2", kFull, "avx2", kStream, 0.65},
    {"three sums a record at -O2, VNNI", kFull, "avx512vnni", kThreeSums, 8.0},
    {"three sums a record at -O2, AVX2", kFull, "avx2", kThreeSums, 6.0},
    {"FAISS, 8-bit scalar quantiser", kFull, kOurs, "FAISS", 12.0},
    {"USearch, exact search, int8 cosine", kFull, kOurs, "USearch", 1.7},
    {"SimSIMD, int8 cosine of each record", kFull, kOurs, "SimSIMD", 1.6},
    {"flag by flag, 1 % occupied", kHundredth, kOurs, "flag by flag", 2.0},
    {"flag by flag, 10 % occupied", kTenth, kOurs, "flag by flag", 0.0},
};

// As many as a store has templates with one and with five centres a palm.
constexpr int kGallerySizes[] = {10'000, 50'000};

constexpr int kGrowthSizes[] = {1'000, 3'000, 10'000, 30'000, 100'000, 300'000, 1'000'000};

using Hits = std::vector<SearchHit>;

std::vector<std::int32_t> slotsOf(const Hits& hits) {
    std::vector<std::int32_t> slots;
    std::ranges::transform(hits, std::back_inserter(slots), &SearchHit::slot);
    return slots;
}

// The same records in the same order, with the same similarities.
bool isExact(const Hits& found, const Hits& expected) {
    return std::ranges::equal(found, expected, [](const SearchHit& a, const SearchHit& b) {
        return a.slot == b.slot && a.similarity == b.similarity;
    });
}

// The same records in any order, for arithmetic of its own.
bool isSameSet(const Hits& found, const Hits& expected) {
    return std::ranges::is_permutation(slotsOf(found), slotsOf(expected));
}

// For quantised records.
bool hasSameBest(const Hits& found, const Hits& expected) {
    return found.size() == expected.size() && found.front().slot == expected.front().slot;
}

struct Contender {
    std::string_view name;
    Search (*prepare)(const GalleryPointer&);
    bool (*agrees)(const Hits& found, const Hits& expected);
};

const Contender kContenders[] = {
    {kThreeSums, threeSumsSearch, isExact}, {"flag by flag", flagByFlagSearch, isExact},
    {"FAISS", faissSearch, hasSameBest},    {"USearch", usearchSearch, isSameSet},
    {"SimSIMD", simsimdSearch, isSameSet},
};

std::string withCommas(int number) {
    std::string text = std::to_string(number);
    for (std::size_t i = text.size(); i > 3; i -= 3) {
        text.insert(i - 3, 1, ',');
    }
    return text;
}

class SearchSuite {
public:
    SearchSuite(Suite& suite, std::filesystem::path folder)
        : suite_(suite), folder_(std::move(folder)) {}

    void addRow(const SearchRow& row, int records) {
        suite_.rows.push_back({std::string(row.title) + ", " + withCommas(records) + " records",
                               measurement(row.ours, records, row.occupied),
                               measurement(row.peer, records, row.occupied), row.goal});
    }

    void addGrowthPoint(int records) {
        suite_.growth.push_back({records, measurement(kOurs, records, kFull),
                                 measurement(kThreeSums, records, kFull),
                                 measurement(kStream, records, kFull)});
    }

private:
    // The name of the measurement of one contender, which is added if it is new.
    std::string measurement(std::string_view contender, int records, double occupied) {
        const std::string_view actual = contender == kOurs ? chosenKernel().name : contender;
        const GalleryPointer searched = gallery(records, occupied);
        const std::string name = std::string(actual) + "/" + std::to_string(records) + "/" +
                                 std::to_string(searched->cache().count());
        if (std::ranges::find(suite_.measurements, name, &Measurement::name) ==
            suite_.measurements.end()) {
            suite_.measurements.push_back(prepared(name, actual, searched));
        }
        return name;
    }

    static Measurement prepared(const std::string& name, std::string_view contender,
                                const GalleryPointer& gallery) {
        if (contender == kStream) {
            return {name,
                    [gallery] {
                        benchmark::DoNotOptimize(
                            streamRead(gallery->bytes().data(), gallery->bytes().size()));
                    },
                    ""};
        }
        const auto found = std::ranges::find(kContenders, contender, &Contender::name);
        if (found == std::end(kContenders)) {
            const SearchKernel* const kernel = usableKernel(contender);
            return kernel != nullptr ? checked(name, ownSearch(gallery, *kernel), gallery, isExact)
                                     : Measurement{name, nullptr, "not on this CPU"};
        }
        return found->prepare != nullptr
                   ? checked(name, found->prepare(gallery), gallery, found->agrees)
                   : Measurement{name, nullptr, "not installed"};
    }

    static Measurement checked(const std::string& name, const Search& search,
                               const GalleryPointer& gallery,
                               bool (*agrees)(const Hits&, const Hits&)) {
        if (!agrees(search(), ownSearch(gallery, kScalarKernel)())) {
            throw std::runtime_error(name + " does not find the same records");
        }
        return {name, [search] { benchmark::DoNotOptimize(search()); }, ""};
    }

    GalleryPointer gallery(int records, double occupied) {
        GalleryPointer& gallery = galleries_[{records, occupied}];
        if (gallery == nullptr) {
            gallery =
                std::make_shared<Gallery>(folder_, static_cast<std::uint32_t>(records), occupied);
        }
        return gallery;
    }

    Suite& suite_;
    std::filesystem::path folder_;
    std::map<std::pair<int, double>, GalleryPointer> galleries_;
};

}  // namespace

void addSearch(Suite& suite, const std::filesystem::path& folder) {
    SearchSuite search(suite, folder);
    for (const int records : kGallerySizes) {
        for (const SearchRow& row : kRows) {
            search.addRow(row, records);
        }
    }
    for (const int records : kGrowthSizes) {
        search.addGrowthPoint(records);
    }
}

}  // namespace brairu::bench
