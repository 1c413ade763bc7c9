#pragma once

#include <string_view>

namespace brairu {

// Writes the whole text, also where the system takes it in pieces; false with errno if it cannot.
bool writeAll(int fd, std::string_view text);

}  // namespace brairu
