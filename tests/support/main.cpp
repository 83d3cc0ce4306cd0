#include "support/leak_check.h"
#include "support/platform_hooks.h"

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    const SystemSession session;
    testing::InitGoogleTest(&argc, argv);
    installLeakCheck();
    return RUN_ALL_TESTS();
}
