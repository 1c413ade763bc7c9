#include "silence.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace brairu::bench {
namespace {

int required(int descriptor, const char* what) {
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return descriptor;
}

}  // namespace

Silence::Silence()
    : output_(required(::dup(STDOUT_FILENO), "dup")),
      error_(required(::dup(STDERR_FILENO), "dup")) {
    std::fflush(stdout);
    const FileDescriptor nowhere(required(::open("/dev/null", O_WRONLY | O_CLOEXEC), "/dev/null"));
    required(::dup2(nowhere.get(), STDOUT_FILENO), "dup2");
    required(::dup2(nowhere.get(), STDERR_FILENO), "dup2");
}

Silence::~Silence() {
    std::fflush(stdout);
    ::dup2(output_.get(), STDOUT_FILENO);
    ::dup2(error_.get(), STDERR_FILENO);
}

}  // namespace brairu::bench
