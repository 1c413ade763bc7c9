// Every setting of the configuration: its type, its range, what it does.
#pragma once

#include <span>
#include <string>

namespace brairu::tool {

enum class ValueKind { integer, real, fraction, path, text, truth };

// What the engine makes of a value that is missing or out of its range.
enum class Need {
    strict,    // works with neither
    loose,     // takes any number, and some are of no use
    optional,  // needs none
};

struct ConfigKey {
    const char* section;  // empty for the top level
    const char* key;
    ValueKind kind;
    double least;  // of numbers; both inclusive
    double most;
    Need need;
    const char* meaning;
};

std::span<const ConfigKey> configKeys();

// "handpose.input_w"
std::string nameOf(const ConfigKey& key);

// "a whole number from 0 to 255"
std::string rangeOf(const ConfigKey& key);

}  // namespace brairu::tool
