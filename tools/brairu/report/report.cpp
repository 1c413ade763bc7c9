#include "report/report.h"

#include <fcntl.h>
#include <unistd.h>

#include "report/printable.h"

namespace brairu::tool {
namespace {

constexpr int kIndent = 4;
constexpr char kEraseLine[] = "\r\x1b[K";

// File names may hold any bytes.
std::string textOf(const Json& document, int indent) {
    return document.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

Report::Stream Report::copyOf(int descriptor) {
    constexpr int kAboveStandardStreams = 3;
    const int copy = ::fcntl(descriptor, F_DUPFD_CLOEXEC, kAboveStandardStreams);
    Stream stream(copy < 0 ? std::fopen("/dev/null", "w") : ::fdopen(copy, "w"));
    if (!stream) {
        throw EngineFault("no file descriptor is left", "Raise the limit of open files.");
    }
    return stream;
}

Report::Report(const Settings& settings)
    : out_(copyOf(STDOUT_FILENO)),
      error_(copyOf(STDERR_FILENO)),
      json_(settings.json),
      showsProgress_(::isatty(STDERR_FILENO) == 1 && !settings.verbose) {}

int Report::errorDescriptor() const {
    return ::fileno(error_.get());
}

void Report::say(const std::string& line) {
    if (!json_) {
        endProgress();
        (void)std::fprintf(out_.get(), "%s\n", printable(line).c_str());
        flush();
    }
}

void Report::conclude(const Json& document) {
    if (json_) {
        endProgress();
        (void)std::fprintf(out_.get(), "%s\n", textOf(document, kIndent).c_str());
        flush();
    }
}

void Report::event(const std::string& line, const Json& document) {
    say(line);
    printLine(document);
}

void Report::printLine(const Json& document) {
    constexpr int kOneLine = -1;
    if (json_) {
        (void)std::fprintf(out_.get(), "%s\n", textOf(document, kOneLine).c_str());
        flush();
    }
}

void Report::progress(const std::string& text) {
    if (showsProgress_) {
        (void)std::fprintf(error_.get(), "%s%s", kEraseLine, printable(text).c_str());
        (void)std::fflush(error_.get());
        inProgress_ = true;
    }
}

void Report::endProgress() {
    if (inProgress_) {
        (void)std::fputs(kEraseLine, error_.get());
        (void)std::fflush(error_.get());
        inProgress_ = false;
    }
}

void Report::fail(const Fault& fault) {
    endProgress();
    (void)std::fprintf(error_.get(), "brairu: %s\n%s\n", printable(fault.what()).c_str(),
                       printable(fault.advice()).c_str());
    // On one line, since it may follow events.
    printLine({{"error", fault.what()}, {"advice", fault.advice()}});
    flush();
}

void Report::flush() {
    (void)std::fflush(out_.get());
    (void)std::fflush(error_.get());
}

}  // namespace brairu::tool
