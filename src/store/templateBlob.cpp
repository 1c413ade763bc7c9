#include "store/templateBlob.h"

#include <algorithm>
#include <array>

#include "store/palmTemplate.h"

namespace brairu {
namespace {

using OneTemplate = std::array<std::uint8_t, kTemplateBytes>;

// A copy, because the place that it is repeated to may begin inside the original.
OneTemplate firstTemplateOf(std::span<const std::uint8_t> data) {
    OneTemplate first{};
    std::copy_n(data.begin(), std::min(data.size(), first.size()), first.begin());
    return first;
}

}  // namespace

std::vector<std::uint8_t> fittedTemplates(std::span<const std::uint8_t> data, std::size_t size) {
    std::vector<std::uint8_t> fitted(size);
    const std::size_t kept = std::min(data.size(), size);
    auto end = std::copy_n(data.begin(), kept, fitted.begin());
    const OneTemplate first = firstTemplateOf(data);
    for (std::size_t copies = (size - kept) / kTemplateBytes; copies > 0; --copies) {
        end = std::copy(first.begin(), first.end(), end);
    }
    return fitted;
}

std::span<const std::int8_t> signedBytesAt(std::span<const std::uint8_t> data, std::size_t offset,
                                           std::size_t length) {
    if (offset > data.size()) {
        return {};
    }
    const auto bytes = data.subspan(offset, std::min(length, data.size() - offset));
    return {reinterpret_cast<const std::int8_t*>(bytes.data()), bytes.size()};
}

}  // namespace brairu
