#include "support/leak_check.h"

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    installLeakCheck();
    return RUN_ALL_TESTS();
}
