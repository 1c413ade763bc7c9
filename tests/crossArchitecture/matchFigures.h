// The figures of matching, store, model files and configuration.
#pragma once

#include <string>

namespace brairu::test {

std::string similarities();
std::string meansAndBlends();
std::string registrationCentres();
std::string searchResults();
std::string cacheFile();
std::string templateRows();
std::string modelContainers();
std::string configurationText();

}  // namespace brairu::test
