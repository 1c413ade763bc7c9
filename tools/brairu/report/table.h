// A table in plain text and in Markdown.
#pragma once

#include <string>
#include <vector>

namespace brairu::tool {

struct Table {
    std::vector<std::string> head;
    std::vector<std::vector<std::string>> rows;  // cells may be missing at the end
};

// Cells may hold anything: what would break a line is written out.

// Columns two spaces apart, the first to the left, the others to the right.
std::vector<std::string> linesOf(const Table& table);

std::vector<std::string> markdownOf(const Table& table);

}  // namespace brairu::tool
