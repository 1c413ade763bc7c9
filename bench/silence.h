#pragma once

#include "utils/fileDescriptor.h"

namespace brairu::bench {

// Sends to nowhere what the process writes on standard output and standard error while it is alive.
class Silence {
public:
    // Throws std::system_error.
    Silence();
    ~Silence();
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

private:
    FileDescriptor output_;
    FileDescriptor error_;
};

}  // namespace brairu::bench
