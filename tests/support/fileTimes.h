#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

namespace brairu::test {

// Gives a file the times of a day in 2040, as a board's clock that was never set may do. Seconds of
// 32 bits end in January 2038.
inline void stampIn2040(const std::string& path) {
    static_assert(sizeof(time_t) == 8, "files of 2038 and later could not be looked at");
    constexpr timespec kDay{2'208'988'800, 0};
    const timespec times[] = {kDay, kDay};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

}  // namespace brairu::test
