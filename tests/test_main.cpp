// Test entry point: every test runs with its configuration root in a private
// temporary directory, so nothing touches the user's home.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "test_util.h"

int main(int argc, char** argv) {
    static quelvari::test::TempDir configRoot;
    ::setenv("QUELVARI_CONFIG_ROOT", (configRoot.path() + "/config").c_str(), 1);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
