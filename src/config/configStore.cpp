#include "config/configStore.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "utils/absolutePath.h"
#include "utils/convert.h"
#include "utils/fileReplacement.h"

namespace brairu {
namespace {

constexpr int kIndent = 4;
// Far longer than any configuration; a device in its place would be read without end.
constexpr std::size_t kLongestText = std::size_t{1} << 20;

std::string textOf(std::istream& stream) {
    std::string text(kLongestText + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    if (text.size() > kLongestText) {
        throw std::runtime_error("longer than 1 MiB");
    }
    return text;
}

// Far deeper than any configuration: copying and writing a document takes stack for every level.
constexpr int kDeepestNesting = 64;

// Throws unless the brackets outside of strings stay within the deepest nesting.
void requireShallow(const std::string& text) {
    int depth = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char character = text[i];
        if (inString && character == '\\') {
            ++i;
        } else if (character == '"') {
            inString = !inString;
        } else if (!inString && (character == '{' || character == '[')) {
            ++depth;
        } else if (!inString && (character == '}' || character == ']')) {
            --depth;
        }
        if (depth > kDeepestNesting) {
            throw std::runtime_error("nested too deeply");
        }
    }
}

// The first pass fills the document in place, so that a fault leaves what was read up to it; the
// second is strict and also refuses what follows the document.
void parseInto(ConfigDocument& document, const std::string& text) {
    requireShallow(text);
    std::istringstream stream(text);
    stream >> document;
    [[maybe_unused]] const ConfigDocument whole = ConfigDocument::parse(text);
}

// document[name]. Without memory, the JSON library's own way from null to an object leaves a value
// that ends the process when it is touched.
ConfigDocument& member(ConfigDocument& document, std::string_view name) {
    if (document.is_null()) {
        document = ConfigDocument::object();
    }
    return document[name];
}

ConfigDocument& member(ConfigDocument& document, std::string_view section, std::string_view key) {
    return member(member(document, section), key);
}

}  // namespace

bool ConfigStore::load(const std::string& path) {
    path_ = absolutePath(path);
    std::ifstream file(path);
    if (!file.is_open()) {
        std::printf("Failed to open config file: %s\n", path.c_str());
        return false;
    }
    try {
        parseInto(document_, textOf(file));
    } catch (const std::exception& fault) {
        std::printf("Error parsing config file: %s\n", fault.what());
        return false;
    }
    return true;
}

void ConfigStore::save() const {
    replaceFile(path_, document_.dump(kIndent));
}

bool ConfigStore::has(const std::string& section, const std::string& key) const {
    if (!document_.is_object() || !document_.contains(section)) {
        return false;
    }
    return key.empty() || document_[section].contains(key);
}

void ConfigStore::set(const std::string& section, const std::string& key, ConfigDocument value) {
    if (key.empty()) {
        member(document_, section) = std::move(value);
    } else {
        member(document_, section, key) = std::move(value);
    }
    save();
}

int readInt(ConfigDocument& document, const char* section, const char* key) {
    const ConfigDocument& value = member(document, section, key);
    if (value.is_number_float()) {
        return truncatedInt(value.get<double>());
    }
    return value.get<int>();
}

float readFloat(ConfigDocument& document, const char* section, const char* key) {
    return member(document, section, key).get<float>();
}

std::string readText(ConfigDocument& document, const char* section, const char* key) {
    return member(document, section, key).get<std::string>();
}

}  // namespace brairu
