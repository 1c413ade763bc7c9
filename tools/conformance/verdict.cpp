#include "verdict.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
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
constexpr char kEnd = '.';

// Whether something can be read, or the end, before patience is lost.
bool awaitNote(int descriptor, std::chrono::milliseconds patience) {
    pollfd note{descriptor, POLLIN, 0};
    int ready = 0;
    do {
        ready = ::poll(&note, 1, static_cast<int>(patience.count()));
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

struct Notes {
    std::string content;
    bool stalled = false;
};

Notes readNotes(int descriptor, std::chrono::milliseconds patience) {
    Notes notes;
    std::array<char, 4096> piece{};
    while (awaitNote(descriptor, patience)) {
        const ssize_t read = ::read(descriptor, piece.data(), piece.size());
        if (read > 0) {
            notes.content.append(piece.data(), static_cast<std::size_t>(read));
        } else if (read == 0 || errno != EINTR) {
            return notes;
        }
    }
    notes.stalled = true;
    return notes;
}

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
    return "ended the process with status " + std::to_string(WEXITSTATUS(status));
}

std::string stallOf(std::chrono::milliseconds patience) {
    return "did not return within " + std::to_string(patience.count() / 1000) + " s";
}

// _exit: what the stack does when a process ends is not examined.
[[noreturn]] void runChild(const std::function<void(Journal&)>& examination, int descriptor) {
    Journal journal(descriptor);
    try {
        examination(journal);
        journal.ends();
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

void Journal::ends() {
    write(kEnd, "", "");
}

void Journal::write(char kind, std::string_view operation, const std::string& text) const {
    const std::string line = kind + std::string(operation) + "\t" + text + "\n";
    if (::write(descriptor_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        throw std::runtime_error("a note was lost");
    }
}

Verdicts::Verdicts(std::chrono::seconds patience) : patience_(patience) {
    for (const char* const operation : kOperations) {
        verdicts_.push_back({operation, 0, {}});
    }
}

void Verdicts::examine(const std::function<void(Journal&)>& examination) {
    std::array<int, 2> notes{};
    (void)std::fflush(nullptr);
    if (::pipe2(notes.data(), O_CLOEXEC) != 0) {
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
    const Notes read = readNotes(notes[0], patience_);
    ::close(notes[0]);
    if (read.stalled) {
        ::kill(child, SIGKILL);
    }
    const std::string ending = endingOf(child);
    add(read.content, read.stalled ? stallOf(patience_) : ending);
}

bool Verdicts::areAllKept() const {
    return std::ranges::all_of(verdicts_, &Verdict::isKept);
}

void Verdicts::add(const std::string& notes, const std::string& ending) {
    std::istringstream lines(notes);
    std::string last;
    bool ended = false;
    for (std::string line; std::getline(lines, line);) {
        if (line[0] == kEnd) {
            ended = true;
            continue;
        }
        const std::size_t tab = line.find('\t');
        last = line.substr(1, tab - 1);
        if (line[0] == kHeld) {
            ++of(last).held;
        } else if (line[0] == kBreach) {
            of(last).breaches.push_back(line.substr(tab + 1));
        }
    }
    if (!ended) {
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
