#include "platformLog.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

constexpr int kVerbose = 2;
constexpr int kSilent = 8;
constexpr std::array<std::string_view, 7> kPriorityNames = {"verbose", "debug", "info",  "warn",
                                                            "error",   "fatal", "silent"};
constexpr std::string_view kPriorityLetters = "VDIWEFS";

// Short enough that one write to a pipe stays in one piece (4096 is the least that is promised).
constexpr std::size_t kLineBytesMax = 4096;

/// The least priority that is written: a number or a name; everything when it is neither.
int leastPriority() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): hosts set their environment before they start threads
    const char* text = std::getenv("BRAIRU_LOG_LEVEL");
    if (text == nullptr)
        return kVerbose;
    const std::string_view level(text);
    for (int i = 0; i < static_cast<int>(kPriorityNames.size()); ++i) {
        const bool isNumber = level.size() == 1 && level[0] == '0' + kVerbose + i;
        if (isNumber || level == kPriorityNames[static_cast<std::size_t>(i)])
            return kVerbose + i;
    }
    return kVerbose;
}

bool isWritten(int priority) {
    const int least = leastPriority();
    return least < kSilent && priority >= least;
}

char letterOf(int priority) {
    const bool known = priority >= kVerbose && priority <= kSilent;
    return known ? kPriorityLetters[static_cast<std::size_t>(priority - kVerbose)] : '?';
}

/// One line under construction; what does not fit is cut off.
class Line {
public:
    void append(std::string_view text) {
        const std::string_view fitting = text.substr(0, room());
        std::memcpy(bytes_.data() + size_, fitting.data(), fitting.size());
        size_ += fitting.size();
    }

    void appendFormatted(const char* format, va_list arguments) {
        // The terminator may take the place that is kept for the line end.
        const int length = std::vsnprintf(bytes_.data() + size_, room() + 1, format, arguments);
        if (length < 0)
            return;
        const auto wanted = static_cast<std::size_t>(length);
        size_ += wanted < room() ? wanted : room();
    }

    /// Ends the line, unless the message did; its own line end stays as it is.
    void finish() {
        if (size_ == 0 || bytes_[size_ - 1] != '\n')
            bytes_[size_++] = '\n';
    }

    std::string_view text() const { return {bytes_.data(), size_}; }

private:
    std::size_t room() const { return bytes_.size() - 1 - size_; }

    std::array<char, kLineBytesMax> bytes_{};
    std::size_t size_ = 0;
};

int writeToStandardError(std::string_view text) {
    const int callersError = errno;
    ssize_t written = 0;
    do {
        written = ::write(STDERR_FILENO, text.data(), text.size());
    } while (written < 0 && errno == EINTR);
    errno = callersError;
    return static_cast<int>(written);
}

}  // namespace

int __android_log_print(int priority, const char* tag, const char* format, ...) {
    if (!isWritten(priority))
        return 0;
    Line line;
    const char prefix[] = {letterOf(priority), '/', '\0'};
    line.append(prefix);
    line.append(tag == nullptr ? "" : tag);
    line.append(": ");
    if (format != nullptr) {
        va_list arguments;
        va_start(arguments, format);
        line.appendFormatted(format, arguments);
        va_end(arguments);
    }
    line.finish();
    return writeToStandardError(line.text());
}
