// A pipe between two processes.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>

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

}  // namespace brairu::tool
