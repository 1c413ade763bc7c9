// What the parser of the command line lets pass, or says in a way of its own.
#pragma once

#include <string>

namespace brairu::tool {

// What is wrong with the number of a user; nothing of one that has 64 bits, which the parser would
// cut others to.
std::string faultOfUserNumber(const std::string& text);

// What is wrong with a time in seconds; nothing of one above 0.
std::string faultOfSeconds(const std::string& text);

}  // namespace brairu::tool
