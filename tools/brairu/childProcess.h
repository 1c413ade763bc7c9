// A process that another one starts: the pipe between the two, and its end.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "fault.h"
#include "utils/fileDescriptor.h"

namespace brairu::tool {

// Neither end outlives an exec. Throws EngineFault when the process has no descriptors left.
struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw EngineFault("no pipe can be made", "Raise the limit of open files.");
        }
        read.reset(ends[0]);
        write.reset(ends[1]);
    }

    FileDescriptor read;
    FileDescriptor write;
};

// The status with which the child ends, as waitpid has it.
inline int waitFor(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

}  // namespace brairu::tool
