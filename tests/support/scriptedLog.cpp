#include "support/scriptedLog.h"

#include <cstdarg>
#include <cstdio>

#include "platformLog.h"

namespace brairu::test {
namespace {

bool echoes = false;

std::string formatted(const char* format, va_list arguments) {
    va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    return text;
}

int remember(const LogLine& line) {
    ScriptedLog::lines().push_back(line);
    if (echoes) {
        std::fputs(line.text.c_str(), stdout);
    }
    return static_cast<int>(line.text.size());
}

}  // namespace

void ScriptedLog::echo(bool on) {
    echoes = on;
}

// Never destroyed: objects log while the process exits.
std::vector<LogLine>& ScriptedLog::lines() {
    static auto& lines = *new std::vector<LogLine>;
    return lines;
}

std::vector<std::string> ScriptedLog::texts(const std::string& tag) {
    std::vector<std::string> texts;
    for (const LogLine& line : lines()) {
        if (line.tag == tag) {
            texts.push_back(line.text);
        }
    }
    return texts;
}

}  // namespace brairu::test

extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string text = brairu::test::formatted(format, arguments);
    va_end(arguments);
    return brairu::test::remember({priority, tag, text});
}
