// A double of the board's log call that remembers what was logged. Linked in place of the real one.
#pragma once

#include <string>
#include <vector>

namespace brairu::test {

struct LogLine {
    int priority;
    std::string tag;
    std::string text;

    bool operator==(const LogLine&) const = default;
};

class ScriptedLog {
public:
    static std::vector<LogLine>& lines();
    static void clear() { lines().clear(); }

    // Also writes every line to standard output, to tell the order of the two; off unless set.
    static void echo(bool on);

    // The texts of one tag, in order.
    static std::vector<std::string> texts(const std::string& tag);
};

}  // namespace brairu::test
