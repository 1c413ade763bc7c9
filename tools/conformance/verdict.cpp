#include "verdict.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <sstream>
#include <stdexcept>

namespace brairu::conformance {
namespace {

constexpr std::array kOperations{
    "__android_log_print",
    "LoadNetModelFromMem",
    "UnLoadNetModel",
    "GetNetInputBlobs",
    "vxCreateContext",
    "vxGetStatus",
    "vxLoadKernels",
    "vxFinish",
    "vxReleaseContext",
    "vxAllocateDeviceMemory",
    "vxGetDeviceMemoryPhysicalAddress",
    "vxGetDeviceMemoryVirtualAddress",
    "vxFlushDeviceMemoryCache",
    "vxFreeDeviceMemory",
    "AllocateTensorDeviceMemory",
    "CreateTensorFromHandle",
    "vxQueryTensor",
    "vxReleaseTensor",
    "CreateNetGraph",
    "vxVerifyGraph",
    "vxReleaseGraph",
    "ImageConvertDeviceProcess",
    "SetNetInputBlobsTensor",
    "vxProcessGraph",
    "GetNetOutputBlobsTensor",
};

constexpr char kCalls = '>';
constexpr char kHeld = '+';
constexpr char kBreach = '-';

std::string contentOf(int descriptor) {
    std::string content;
    std::array<char, 4096> piece{};
    for (;;) {
        const ssize_t read = ::read(descriptor, piece.data(), piece.size());
        if (read > 0) {
            content.append(piece.data(), static_cast<std::size_t>(read));
        } else if (read == 0 || errno != EINTR) {
            return content;
        }
    }
}

// Empty when the child ended as it should.
std::string endingOf(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return "the examination was lost";
        }
    }
    if (WIFSIGNALED(status)) {
        return "ended the process with signal " + std::to_string(WTERMSIG(status));
    }
    const int exitStatus = WEXITSTATUS(status);
    return exitStatus == 0 ? "" : "ended the process with status " + std::to_string(exitStatus);
}

// _exit: what the stack does when a process ends is not examined.
[[noreturn]] void runChild(const std::function<void(Journal&)>& examination, int descriptor) {
    Journal journal(descriptor);
    try {
        examination(journal);
    } catch (const std::exception& fault) {
        (void)std::fprintf(stderr, "%s\n", fault.what());
        ::_exit(1);
    }
    ::_exit(0);
}

}  // namespace

void Journal::calls(std::string_view operation) {
    write(kCalls, operation, "");
}

bool Journal::expects(std::string_view operation, bool held, const std::string& expectation,
                      const std::string& found) {
    write(held ? kHeld : kBreach, operation,
          "expected " + expectation + (found.empty() ? "" : ", found " + found));
    return held;
}

void Journal::write(char kind, std::string_view operation, const std::string& text) const {
    const std::string line = kind + std::string(operation) + "\t" + text + "\n";
    if (::write(descriptor_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        throw std::runtime_error("a note was lost");
    }
}

Verdicts::Verdicts() {
    for (const char* const operation : kOperations) {
        verdicts_.push_back({operation, 0, {}});
    }
}

void Verdicts::examine(const std::function<void(Journal&)>& examination) {
    std::array<int, 2> notes{};
    (void)std::fflush(nullptr);
    if (::pipe(notes.data()) != 0) {
        throw std::runtime_error("no pipe");
    }
    const pid_t child = ::fork();
    if (child < 0) {
        throw std::runtime_error("no process");
    }
    if (child == 0) {
        ::close(notes[0]);
        runChild(examination, notes[1]);
    }
    ::close(notes[1]);
    const std::string content = contentOf(notes[0]);
    ::close(notes[0]);
    add(content, endingOf(child));
}

bool Verdicts::areAllKept() const {
    return std::ranges::all_of(verdicts_, &Verdict::isKept);
}

void Verdicts::add(const std::string& notes, const std::string& ending) {
    std::istringstream lines(notes);
    std::string last;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t tab = line.find('\t');
        last = line.substr(1, tab - 1);
        if (line[0] == kHeld) {
            ++of(last).held;
        } else if (line[0] == kBreach) {
            of(last).breaches.push_back(line.substr(tab + 1));
        }
    }
    if (!ending.empty()) {
        of(last.empty() ? kOperations[0] : last).breaches.push_back(ending);
    }
}

Verdict& Verdicts::of(std::string_view operation) {
    const auto found = std::ranges::find(verdicts_, operation, &Verdict::operation);
    if (found == verdicts_.end()) {
        throw std::logic_error("no operation " + std::string(operation));
    }
    return *found;
}

}  // namespace brairu::conformance
