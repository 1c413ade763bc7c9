#pragma once

#include <string>
#include <string_view>

namespace brairu::npu {

/// SHA-256 as 64 lower-case hexadecimal digits.
std::string sha256Hex(std::string_view bytes);

/// Throws Refusal unless the last 64 bytes of the description are the digest of all before them.
void checkSeal(std::string_view net);

}  // namespace brairu::npu
