// Test entry shared by every test program. It points HOME at a fresh
// temporary folder so that no test reads or writes the seed file of a real
// home directory, and sends every message to the console of the stand-alone
// host, where the tests read it, as the module's entry does with the real one.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "interfaces/MatlabInterface.h"

int main(int argc, char** argv) {
    char pattern[] = "/tmp/kinetra-test-home-XXXXXX";
    if (const char* home = mkdtemp(pattern)) setenv("HOME", home, 1);
    MatlabInterface::useHostConsole();
    ::testing::InitGoogleTest(&argc, argv);
    int result = RUN_ALL_TESTS();
    std::string cleanup = std::string("rm -rf '") + pattern + "'";
    if (std::system(cleanup.c_str()) != 0) return result ? result : 1;
    return result;
}
