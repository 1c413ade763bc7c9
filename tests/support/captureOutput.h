#pragma once

#include <functional>
#include <string>

namespace brairu::test {

// What an action writes to the standard streams, through stdio, iostreams or the descriptors alike.
std::string stdoutOf(const std::function<void()>& action);
std::string stderrOf(const std::function<void()>& action);

}  // namespace brairu::test
