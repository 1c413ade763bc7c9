// A part of a longer report: told on the terminal, and written into a file.
#pragma once

#include <string>
#include <vector>

#include "report/report.h"
#include "report/table.h"

namespace brairu::tool {

struct Section {
    std::string title;
    std::vector<std::string> before;  // sentences, a line each
    Table table;                      // without a head there is none
    std::vector<std::string> after;
};

void say(Report& report, const Section& section);

std::string markdownOf(const Section& section);

}  // namespace brairu::tool
