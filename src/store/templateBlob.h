// Pure steps over the bytes of a row's templates.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace brairu {

// data brought to size bytes. What is longer is cut. What is shorter is followed by as many whole
// copies of its first template as fit, then by zeros; data shorter than one template counts as one
// filled up with zeros.
std::vector<std::uint8_t> fittedTemplates(std::span<const std::uint8_t> data, std::size_t size);

// The length bytes of data from offset on, or as many of them as there are.
std::span<const std::int8_t> signedBytesAt(std::span<const std::uint8_t> data, std::size_t offset,
                                           std::size_t length);

}  // namespace brairu
