#include "engine/engineProcess.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <sstream>

#include "childProcess.h"

namespace brairu::tool {
namespace {

constexpr std::size_t kKeptBytes = 64 * 1024;
constexpr char kAskDoctor[] =
    "Run \"brairu doctor\": it looks at every file and says which one is at fault.";

// Asks the child to stop when this process is asked to.
class SignalForwarding {
public:
    explicit SignalForwarding(pid_t child) {
        target = child;
        struct sigaction forwarding {};
        forwarding.sa_handler = forward;
        ::sigaction(SIGINT, &forwarding, &oldInterrupt_);
        ::sigaction(SIGTERM, &forwarding, &oldTerminate_);
    }
    ~SignalForwarding() {
        ::sigaction(SIGINT, &oldInterrupt_, nullptr);
        ::sigaction(SIGTERM, &oldTerminate_, nullptr);
    }
    SignalForwarding(const SignalForwarding&) = delete;
    SignalForwarding& operator=(const SignalForwarding&) = delete;

private:
    static void forward(int) { ::kill(target, SIGTERM); }

    static inline volatile pid_t target = 0;
    struct sigaction oldInterrupt_ {};
    struct sigaction oldTerminate_ {};
};

Ending reported(Report& report, const Fault& fault) {
    report.fail(fault);
    return fault.ending();
}

// What the work came to; its faults are reported here, where their type is still known.
Ending verdictOf(const EngineWork& work, Report& report) {
    try {
        return work();
    } catch (const Fault& fault) {
        return reported(report, fault);
    } catch (const nlohmann::json::exception& fault) {
        return reported(report, EngineFault(std::string("the engine could not use its "
                                                        "configuration: ") +
                                                fault.what(),
                                            kAskDoctor));
    } catch (const std::bad_alloc&) {
        return reported(report, EngineFault("there is not enough memory",
                                            "Close other programs, or enrol fewer palms."));
    } catch (const std::exception& fault) {
        return reported(report,
                        EngineFault(std::string("the engine failed: ") + fault.what(), kAskDoctor));
    }
}

// The engine's destructors run: they give the NPU's memory back.
[[noreturn]] void runChild(const EngineWork& work, Report& report, const Pipe& lines,
                           const Pipe& verdict) {
    ::dup2(lines.write.get(), STDOUT_FILENO);
    ::dup2(lines.write.get(), STDERR_FILENO);
    (void)std::setvbuf(stdout, nullptr, _IOLBF, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    const auto ending = static_cast<unsigned char>(verdictOf(work, report));
    report.flush();
    (void)!::write(verdict.write.get(), &ending, 1);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the child has this thread alone
    std::exit(EXIT_SUCCESS);
}

// Reads to the end; keeps what came last.
std::string collected(int descriptor, int shownOn) {
    std::string lines;
    std::array<char, 4096> piece{};
    for (;;) {
        const ssize_t bytes = ::read(descriptor, piece.data(), piece.size());
        if (bytes < 0 && errno == EINTR) {
            continue;
        }
        if (bytes <= 0) {
            return lines;
        }
        if (shownOn >= 0) {
            (void)!::write(shownOn, piece.data(), static_cast<std::size_t>(bytes));
        }
        lines.append(piece.data(), static_cast<std::size_t>(bytes));
        lines.erase(0, lines.size() > kKeptBytes ? lines.size() - kKeptBytes : 0);
    }
}

std::optional<Ending> readVerdict(int descriptor) {
    unsigned char ending = 0;
    if (::read(descriptor, &ending, 1) != 1) {
        return std::nullopt;
    }
    return static_cast<Ending>(ending);
}

// The rest of the first line that has text in it, from there on.
std::string lineWith(const std::string& lines, const std::string& text) {
    const std::size_t start = lines.find(text);
    if (start == std::string::npos) {
        return {};
    }
    const std::string line = lines.substr(start, lines.find_first_of("\r\n", start) - start);
    return line;
}

std::string refusalIn(const std::string& lines) {
    constexpr char kRefused[] = "model refused: ";
    const std::string line = lineWith(lines, kRefused);
    return line.empty() ? line : line.substr(std::strlen(kRefused));
}

std::string nameOf(int signal) {
    const char* const name = ::sigdescr_np(signal);
    return name == nullptr ? "signal " + std::to_string(signal) : name;
}

}  // namespace

EngineEnd runApart(const EngineWork& work, Report& report, bool showLines) {
    Pipe lines;
    Pipe verdict;
    report.flush();
    (void)std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0) {
        throw EngineFault("no process can be started", "Close other programs.");
    }
    if (child == 0) {
        runChild(work, report, lines, verdict);
    }
    const SignalForwarding forwarding(child);
    lines.write.reset();
    verdict.write.reset();
    EngineEnd end;
    end.lines = collected(lines.read.get(), showLines ? report.errorDescriptor() : -1);
    end.waitStatus = waitFor(child);
    end.verdict = readVerdict(verdict.read.get());
    return end;
}

EngineFault explainedEnd(const EngineEnd& end) {
    if (WIFSIGNALED(end.waitStatus)) {
        const int signal = WTERMSIG(end.waitStatus);
        if (signal == SIGINT || signal == SIGTERM) {
            return {"stopped before the work was done", "Run the command again."};
        }
        return {
            std::string("the engine's process crashed: ") + nameOf(signal),
            "Run the command again with --verbose to see its last lines; \"brairu doctor\" looks "
            "at the networks and the store one by one."};
    }
    if (const std::string refusal = refusalIn(end.lines); !refusal.empty()) {
        return {"the NPU stack refused a network: " + refusal, kAskDoctor};
    }
    if (!lineWith(end.lines, "load handpose model").empty()) {
        return {"a model file cannot be read", kAskDoctor};
    }
    if (const std::string line = lineWith(end.lines, "ERROR: failed with status"); !line.empty()) {
        return {"the NPU stack failed and ended the engine: " + line, kAskDoctor};
    }
    return {"the engine ended its process without a reason",
            "Run the command again with --verbose to see its last lines, or \"brairu doctor\"."};
}

Ending runEngine(const EngineWork& work, Report& report, bool showLines) {
    const EngineEnd end = runApart(work, report, showLines);
    if (end.verdict) {
        return *end.verdict;
    }
    if (WIFSIGNALED(end.waitStatus) && WTERMSIG(end.waitStatus) == SIGPIPE) {
        return Ending::done;  // whoever read the results has had enough
    }
    return reported(report, explainedEnd(end));
}

}  // namespace brairu::tool
