#include <gtest/gtest.h>

#include "faultInjection.h"
#include "jsonDestructor.h"
#include "support/preferMemory.h"

int main(int argc, char** argv) {
    brairu::test::preferMemory();
    brairu::test::learnJsonDestructor();
    brairu::test::interposeSqlite();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
