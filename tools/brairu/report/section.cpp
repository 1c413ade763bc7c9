#include "report/section.h"

#include "report/printable.h"

namespace brairu::tool {

void say(Report& report, const Section& section) {
    report.say("");
    report.say(section.title);
    for (const std::string& line : section.before) {
        report.say("  " + line);
    }
    if (!section.table.head.empty()) {
        for (const std::string& line : linesOf(section.table)) {
            report.say("  " + line);
        }
    }
    for (const std::string& line : section.after) {
        report.say("  " + line);
    }
}

std::string markdownOf(const Section& section) {
    std::string text = "## " + section.title + "\n\n";
    for (const std::string& line : section.before) {
        text += printable(line) + "\n";
    }
    if (!section.table.head.empty()) {
        text += section.before.empty() ? "" : "\n";
        for (const std::string& line : markdownOf(section.table)) {
            text += line + "\n";
        }
        text += section.after.empty() ? "" : "\n";
    }
    for (const std::string& line : section.after) {
        text += printable(line) + "\n";
    }
    return text + "\n";
}

}  // namespace brairu::tool
