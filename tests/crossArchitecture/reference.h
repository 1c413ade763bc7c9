#pragma once

#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>

namespace brairu::test {

// What an x86 machine computed; no file gives an empty document.
inline nlohmann::ordered_json readReference(const std::string& path) {
    nlohmann::ordered_json reference;
    if (std::ifstream file(path); file) {
        file >> reference;
    }
    return reference;
}

// True when a test program is called to print its reference instead of testing.
inline bool wantsReference(int argc, char** argv) {
    return argc == 2 && std::string(argv[1]) == "--print-reference";
}

// Lines that a diff can show: one for every member of the document.
inline void printReference(const nlohmann::ordered_json& reference) {
    const char* separator = "{\n";
    for (const auto& [name, value] : reference.items()) {
        std::cout << separator << nlohmann::ordered_json(name) << ": " << value;
        separator = ",\n";
    }
    std::cout << "\n}\n";
}

}  // namespace brairu::test
