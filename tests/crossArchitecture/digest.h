#pragma once

#include <sodium.h>

#include <array>
#include <cstdint>
#include <opencv2/core.hpp>
#include <span>
#include <string>
#include <type_traits>

namespace brairu::test {

// SHA-256 of values in the order in which they were added. Numbers count with their bits.
class Digest {
public:
    Digest() { crypto_hash_sha256_init(&state_); }

    void add(std::span<const std::uint8_t> bytes) {
        crypto_hash_sha256_update(&state_, bytes.data(), bytes.size());
    }
    void add(std::span<const std::int8_t> bytes) {
        add(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
    }
    void add(const std::string& text) {
        add(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
    }
    template <class Number>
    requires std::is_arithmetic_v<Number>
    void add(Number number) {
        add(std::span(reinterpret_cast<const std::uint8_t*>(&number), sizeof number));
    }
    // A continuous image of bytes.
    void add(const cv::Mat& image) {
        add(image.cols);
        add(image.rows);
        add(std::span<const std::uint8_t>(image.data, image.total() * image.elemSize()));
    }

    std::string hex() {
        std::array<unsigned char, crypto_hash_sha256_BYTES> hash{};
        crypto_hash_sha256_final(&state_, hash.data());
        std::array<char, 2 * crypto_hash_sha256_BYTES + 1> text{};
        return sodium_bin2hex(text.data(), text.size(), hash.data(), hash.size());
    }

private:
    crypto_hash_sha256_state state_{};
};

}  // namespace brairu::test
