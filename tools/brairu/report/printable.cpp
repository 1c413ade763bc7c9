#include "report/printable.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace brairu::tool {
namespace {

unsigned char byteAt(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

bool isContinuation(char letter) {
    constexpr unsigned kMask = 0xc0;
    constexpr unsigned kMark = 0x80;
    return (static_cast<unsigned char>(letter) & kMask) == kMark;
}

// Bytes of the UTF-8 sequence that this byte begins; 0 for one that begins none.
std::size_t lengthFrom(unsigned char first) {
    struct Lead {
        unsigned char from;
        unsigned char to;
        std::size_t length;
    };
    constexpr std::array kLeads{Lead{0x00, 0x7f, 1}, Lead{0xc2, 0xdf, 2}, Lead{0xe0, 0xef, 3},
                                Lead{0xf0, 0xf4, 4}};
    const auto* const found = std::ranges::find_if(
        kLeads, [first](const Lead& lead) { return first >= lead.from && first <= lead.to; });
    return found == kLeads.end() ? 0 : found->length;
}

// Commands of terminals: those of ASCII, and those that take two bytes in UTF-8.
bool isControl(std::string_view sequence) {
    constexpr unsigned char kDelete = 0x7f;
    constexpr unsigned char kSecondSet = 0xc2;
    constexpr unsigned char kLastOfSecondSet = 0x9f;
    const unsigned char first = byteAt(sequence, 0);
    return first < ' ' || first == kDelete ||
           (first == kSecondSet && byteAt(sequence, 1) <= kLastOfSecondSet);
}

// What is printed as it is at the beginning of a text; empty for what is not.
std::string_view harmlessStart(std::string_view text) {
    const std::string_view sequence = text.substr(0, lengthFrom(byteAt(text, 0)));
    const bool whole = !sequence.empty() && sequence.size() == lengthFrom(byteAt(text, 0)) &&
                       std::ranges::all_of(sequence.substr(1), isContinuation);
    return whole && !isControl(sequence) ? sequence : std::string_view();
}

std::string writtenOut(unsigned char byte) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    switch (byte) {
        case '\n': return "\\n";
        case '\r': return "\\r";
        case '\t': return "\\t";
        default: return {'\\', 'x', kDigits[byte / kDigits.size()], kDigits[byte % kDigits.size()]};
    }
}

}  // namespace

std::string printable(std::string_view text) {
    std::string line;
    while (!text.empty()) {
        const std::string_view harmless = harmlessStart(text);
        line += harmless.empty() ? writtenOut(byteAt(text, 0)) : std::string(harmless);
        text.remove_prefix(std::max<std::size_t>(harmless.size(), 1));
    }
    return line;
}

}  // namespace brairu::tool
