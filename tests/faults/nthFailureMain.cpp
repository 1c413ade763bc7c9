#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

#include "faultInjection.h"
#include "jsonDestructor.h"

// The files are written over and over: where there is one, on a disk of memory.
int main(int argc, char** argv) {
    if (::access("/dev/shm", W_OK) == 0) {
        ::setenv("TMPDIR", "/dev/shm", 0);
    }
    brairu::test::learnJsonDestructor();
    brairu::test::interposeSqlite();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
