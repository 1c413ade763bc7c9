#include "report/table.h"

#include <algorithm>

#include "report/printable.h"

namespace brairu::tool {
namespace {

using Cells = std::vector<std::string>;

std::vector<std::size_t> widthsOf(const Table& table) {
    std::vector<std::size_t> widths(table.head.size());
    const auto widen = [&](const Cells& cells) {
        for (std::size_t i = 0; i < std::min(cells.size(), widths.size()); ++i) {
            widths[i] = std::max(widths[i], cells[i].size());
        }
    };
    widen(table.head);
    std::ranges::for_each(table.rows, widen);
    return widths;
}

Cells printableCells(const Cells& cells) {
    Cells harmless(cells.size());
    std::ranges::transform(cells, harmless.begin(), printable);
    return harmless;
}

Table printableTable(const Table& table) {
    Table harmless{printableCells(table.head), {}};
    for (const Cells& row : table.rows) {
        harmless.rows.push_back(printableCells(row));
    }
    return harmless;
}

std::string aligned(const Cells& cells, const std::vector<std::size_t>& widths) {
    std::string line;
    for (std::size_t i = 0; i < std::min(cells.size(), widths.size()); ++i) {
        const std::string gap(widths[i] - cells[i].size(), ' ');
        line += i == 0 ? cells[i] + gap : "  " + gap + cells[i];
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

// A bar would end the cell.
std::string markdownCell(const std::string& text) {
    std::string cell;
    for (const char letter : printable(text)) {
        cell += letter == '|' || letter == '\\' ? "\\" : "";
        cell += letter;
    }
    return cell;
}

std::string markdownRow(const Cells& cells, std::size_t columns) {
    std::string line = "|";
    for (std::size_t i = 0; i < columns; ++i) {
        line += " ";
        line += i < cells.size() ? markdownCell(cells[i]) : std::string();
        line += " |";
    }
    return line;
}

}  // namespace

std::vector<std::string> linesOf(const Table& original) {
    const Table table = printableTable(original);
    const std::vector<std::size_t> widths = widthsOf(table);
    std::vector<std::string> lines{aligned(table.head, widths)};
    for (const Cells& row : table.rows) {
        lines.push_back(aligned(row, widths));
    }
    return lines;
}

std::vector<std::string> markdownOf(const Table& table) {
    const std::size_t columns = table.head.size();
    std::string rule = "|---|";
    for (std::size_t i = 1; i < columns; ++i) {
        rule += "---:|";
    }
    std::vector<std::string> lines{markdownRow(table.head, columns), rule};
    for (const Cells& row : table.rows) {
        lines.push_back(markdownRow(row, columns));
    }
    return lines;
}

}  // namespace brairu::tool
