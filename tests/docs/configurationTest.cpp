// The page on the configuration has each setting of the shipped file, with its value.
#include <gmock/gmock.h>

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>

#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

using Settings = std::map<std::string, std::string>;

std::string plainText(const nlohmann::json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

Settings shippedSettings() {
    nlohmann::json document;
    std::ifstream(BRAIRU_SOURCE_DIR "/config/brairu.json") >> document;
    Settings settings;
    for (const auto& [section, content] : document.items()) {
        if (!content.is_object()) {
            settings[section] = plainText(content);
            continue;
        }
        for (const auto& [key, value] : content.items()) {
            settings[section + '.' + key] = plainText(value);
        }
    }
    return settings;
}

Settings pageSettings() {
    static const std::regex row("\\| `([^`]*)` \\| ([^|]*) \\|.*");
    std::istringstream page(readFile(BRAIRU_SOURCE_DIR "/docs/configuration.md"));
    Settings settings;
    for (std::string line; std::getline(page, line);) {
        if (std::smatch found; std::regex_match(line, found, row)) {
            settings[found[1]] = found[2];
        }
    }
    return settings;
}

TEST(ConfigurationPage, HasEverySettingWithTheShippedValue) {
    EXPECT_EQ(pageSettings(), shippedSettings());
}

}  // namespace
}  // namespace brairu::test
