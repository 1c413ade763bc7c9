#include "support/childProcess.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>

namespace brairu::test {
namespace {

constexpr int kFailedExpectation = 97;
constexpr int kStrayException = 98;

struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

Stream temporaryStream() {
    Stream stream(std::tmpfile());
    if (!stream) {
        throw std::runtime_error("no temporary file");
    }
    return stream;
}

std::string contentOf(std::FILE* stream) {
    std::rewind(stream);
    std::string content;
    std::array<char, 4096> piece;
    while (const std::size_t read = std::fread(piece.data(), 1, piece.size(), stream)) {
        content.append(piece.data(), read);
    }
    return content;
}

void flushAll() {
    std::cout.flush();
    std::cerr.flush();
    std::fflush(nullptr);
}

int statusOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::exception& stray) {
        std::cerr << stray.what() << std::flush;
        return kStrayException;
    }
    return testing::Test::HasFailure() ? kFailedExpectation : 0;
}

[[noreturn]] void runChild(const std::function<void()>& action, std::FILE* out, std::FILE* err) {
    ::dup2(::fileno(out), STDOUT_FILENO);
    ::dup2(::fileno(err), STDERR_FILENO);
    std::exit(statusOf(action));
}

// As waitpid tells it.
int waitFor(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            throw std::runtime_error("lost a child process");
        }
    }
    return status;
}

}  // namespace

ChildResult inChild(const std::function<void()>& action) {
    const Stream out = temporaryStream();
    const Stream err = temporaryStream();
    flushAll();
    const pid_t child = ::fork();
    if (child < 0) {
        throw std::runtime_error("cannot fork");
    }
    if (child == 0) {
        runChild(action, out.get(), err.get());
    }
    const int status = waitFor(child);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1,
            WIFSIGNALED(status) ? WTERMSIG(status) : 0, contentOf(out.get()), contentOf(err.get())};
}

}  // namespace brairu::test
