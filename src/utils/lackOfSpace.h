#pragma once

#include <cerrno>

namespace brairu {

// Whether a call that failed with this errno did so for want of disk space.
constexpr bool isLackOfSpace(int error) {
    return error == ENOSPC || error == EDQUOT;
}

}  // namespace brairu
