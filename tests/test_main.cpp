// Test entry shared by every test program. It points HOME at a fresh
// temporary folder so that no test reads or writes the seed file of a real
// home directory.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
    char pattern[] = "/tmp/kinetra-test-home-XXXXXX";
    if (const char* home = mkdtemp(pattern)) setenv("HOME", home, 1);
    ::testing::InitGoogleTest(&argc, argv);
    int result = RUN_ALL_TESTS();
    std::string cleanup = std::string("rm -rf '") + pattern + "'";
    if (std::system(cleanup.c_str()) != 0) return result ? result : 1;
    return result;
}
