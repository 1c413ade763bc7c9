// Text that may hold anything, such as the name of a file, for a line of a terminal or of a file.
#pragma once

#include <string>
#include <string_view>

namespace brairu::tool {

// Characters that would break the line or command a terminal, and bytes that are no UTF-8, written
// out: \n, \t, \x1b.
std::string printable(std::string_view text);

}  // namespace brairu::tool
