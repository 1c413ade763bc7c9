#pragma once

#include <cstddef>
#include <fstream>
#include <span>
#include <string>
#include <vector>

namespace brairu {

// Writes a numpy array file row by row. The number of rows is promised at the start.
class NpyFile {
public:
    // `type` is numpy's name of the element type, such as "|u1" or "<f4"; `shape` begins with the
    // rows.
    NpyFile(const std::string& path, const std::string& type, const std::vector<int>& shape);

    void append(const void* bytes, std::size_t length);

    // Throws unless everything reached the file.
    void close();

private:
    std::string path_;
    std::ofstream stream_;
};

}  // namespace brairu
