#include "search/gallery.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <stdexcept>

namespace brairu::bench {
namespace {

constexpr std::uint64_t kSeed = 20230817;

std::vector<std::int8_t> randomRecord(std::mt19937_64& random) {
    std::vector<std::int8_t> record(kRecordBytes);
    for (std::size_t i = 0; i < record.size(); i += sizeof(std::uint64_t)) {
        const std::uint64_t bytes = random();
        std::memcpy(record.data() + i, &bytes, sizeof bytes);
    }
    return record;
}

// The same palm once more: half of every value, and noise.
std::vector<std::int8_t> nextCapture(const std::vector<std::int8_t>& record,
                                     std::mt19937_64& random) {
    std::vector<std::int8_t> capture = randomRecord(random);
    std::ranges::transform(record, capture, capture.begin(),
                           [](std::int8_t value, std::int8_t noise) {
                               return static_cast<std::int8_t>(value / 2 + noise / 4);
                           });
    return capture;
}

std::vector<std::int8_t> fill(FeatureCacheFile& cache, double occupied) {
    std::mt19937_64 random(kSeed);
    std::uniform_real_distribution<double> chance;
    const std::uint32_t wanted = cache.capacity() / 2;
    std::vector<std::int8_t> probe;
    for (std::uint32_t slot = 0; slot < cache.capacity(); ++slot) {
        const std::vector<std::int8_t> record = randomRecord(random);
        if (slot == wanted) {
            probe = nextCapture(record, random);
        }
        if ((slot == wanted || chance(random) < occupied) && !cache.put(slot, record)) {
            throw std::runtime_error("cannot fill a gallery");
        }
    }
    return probe;
}

void removeFiles(const std::filesystem::path& file) {
    std::filesystem::remove(file);
    std::filesystem::remove(file.string() + ".changed");
}

std::filesystem::path freshFile(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    const std::filesystem::path file = folder / "gallery.bin";
    removeFiles(file);
    return file;
}

}  // namespace

Gallery::Gallery(const std::filesystem::path& folder, std::uint32_t slots, double occupied)
    : cache_(freshFile(folder), slots, kRecordBytes), probe_(fill(cache_, occupied)) {
    removeFiles(folder / "gallery.bin");
}

}  // namespace brairu::bench
