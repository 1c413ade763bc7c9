#include "memoryScan.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bitset>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <tuple>

namespace brairu::test {
namespace {

constexpr std::size_t kStep = std::size_t{1} << 20;

std::uint64_t wordAt(const std::uint8_t* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

std::uint16_t pairAt(const std::uint8_t* bytes) {
    std::uint16_t pair = 0;
    std::memcpy(&pair, bytes, sizeof pair);
    return pair;
}

// Every piece of a masked secret. Kept on the stack: memory taken from the heap could be the very
// memory that the secret was left in.
class Pieces {
public:
    explicit Pieces(const MaskedKey& masked) {
        for (std::size_t i = 0; i < words_.size(); ++i) {
            words_[i] = wordAt(masked.data() + i);
            pairs_.set(pairAt(masked.data() + i));
        }
    }

    bool begins(const std::uint8_t* bytes) const {
        constexpr std::uint16_t kPairMask = kMask * 0x0101;
        constexpr std::uint64_t kWordMask = kMask * 0x0101010101010101;
        return pairs_[static_cast<std::uint16_t>(pairAt(bytes) ^ kPairMask)] &&
               std::ranges::find(words_, wordAt(bytes) ^ kWordMask) != words_.end();
    }

private:
    static_assert(kPieceBytes == sizeof(std::uint64_t));

    std::array<std::uint64_t, std::tuple_size_v<MaskedKey> - kPieceBytes + 1> words_{};
    std::bitset<65536> pairs_;
};

struct Mapping {
    std::uint64_t first = 0;
    std::uint64_t end = 0;
    bool isWritable = false;
};

// The list of mappings, taken before anything is read.
class Mappings {
public:
    Mappings() {
        const int fd = ::open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
        ssize_t read = 0;
        while (size_ < text_.size() - 1 &&
               (read = ::read(fd, text_.data() + size_, text_.size() - 1 - size_)) > 0) {
            size_ += static_cast<std::size_t>(read);
        }
        ::close(fd);
        text_[size_] = '\0';
    }

    // Hands each mapping over.
    template <class Visitor>
    void each(Visitor visit) const {
        for (const char* line = text_.data(); line != nullptr && *line != '\0';) {
            unsigned long long first = 0;
            unsigned long long end = 0;
            std::array<char, 5> rights{};
            if (std::sscanf(line, "%llx-%llx %4s", &first, &end, rights.data()) == 3) {
                visit(Mapping{first, end, rights[0] == 'r' && rights[1] == 'w'});
            }
            line = std::strchr(line, '\n');
            line = line == nullptr ? nullptr : line + 1;
        }
    }

private:
    inline static std::array<char, std::size_t{1} << 18> text_{};
    std::size_t size_ = 0;
};

class OwnMemory {
public:
    OwnMemory() : fd_(::open("/proc/self/mem", O_RDONLY | O_CLOEXEC)) {
        if (fd_ < 0) {
            throw std::runtime_error("cannot read own memory");
        }
    }
    ~OwnMemory() { ::close(fd_); }
    OwnMemory(const OwnMemory&) = delete;
    OwnMemory& operator=(const OwnMemory&) = delete;

    // Less than asked for, or nothing, where there is nothing to read.
    std::size_t read(std::uint64_t address, std::span<std::uint8_t> out) const {
        const ssize_t read = ::pread(fd_, out.data(), out.size(), static_cast<off_t>(address));
        return read > 0 ? static_cast<std::size_t>(read) : 0;
    }

private:
    int fd_;
};

}  // namespace

std::size_t piecesIn(std::span<const std::uint8_t> text, const MaskedKey& masked) {
    const Pieces pieces(masked);
    std::size_t found = 0;
    for (std::size_t i = 0; i + kPieceBytes <= text.size(); ++i) {
        found += pieces.begins(text.data() + i);
    }
    return found;
}

ScanResult scanOwnMemory(const MaskedKey& masked) {
    static std::array<std::uint8_t, kStep + kPieceBytes - 1> buffer;
    const Mappings mappings;
    const OwnMemory memory;
    ScanResult result;
    mappings.each([&](const Mapping& mapping) {
        for (std::uint64_t at = mapping.first; mapping.isWritable && at < mapping.end;
             at += kStep) {
            const auto wanted =
                static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), mapping.end - at));
            const std::span read(buffer.data(), memory.read(at, {buffer.data(), wanted}));
            result.bytesRead += std::min(read.size(), kStep);
            result.pieces += piecesIn(read, masked);
            // The copy that was searched is memory too.
            std::ranges::fill(buffer, std::uint8_t{0});
        }
    });
    return result;
}

}  // namespace brairu::test
