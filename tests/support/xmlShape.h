#pragma once

#include <string>

namespace brairu::test {

// What is wrong with the tags of an XML text, or nothing: each is closed in its turn, and attributes
// are quoted.
std::string xmlFault(const std::string& text);

}  // namespace brairu::test
