#pragma once

#include <cerrno>

namespace brairu {

// Whether a call that failed with this errno did so because the disk is full or broken: the next one
// would fail as well.
constexpr bool isDiskFault(int error) {
    return error == ENOSPC || error == EDQUOT || error == EIO;
}

}  // namespace brairu
