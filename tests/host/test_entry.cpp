// The module's entry as the host calls it: nothing escapes mexFunction, and
// unloading closes the log file.
#include <gtest/gtest.h>

#include <dirent.h>

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "interfaces/MatlabCommand.h"
#include "interfaces/MatlabInterface.h"
#include "mexhost.h"
#include "util/Message.h"

extern MatlabInterface* Matlab;
extern "C" void mexFunction(int nlhs, mxArray* plhs[], int nrhs, const mxArray* prhs[]);

namespace {

// A command that fails the way only the runtime fails: by throwing.
struct Thrower {
    int kind = 0;
    bool run(int, mxArray** plhs, int, const mxArray**) {
        mxDestroyArray(plhs[0]);  // a handler that had dropped its result
        plhs[0] = nullptr;
        if (kind == 0) throw std::bad_alloc();
        if (kind == 1) throw std::runtime_error("vector::_M_range_check");
        throw 42;
    }
};

// kinetra(args...) through the entry: the printed text, and whether plhs[0]
// held an array afterwards.
std::string call(const std::vector<std::string>& args, bool* filled = nullptr) {
    std::vector<const mxArray*> prhs;
    for (const std::string& a : args) prhs.push_back(mxCreateString(a.c_str()));
    mxArray* plhs[4] = {nullptr, nullptr, nullptr, nullptr};
    mexhost::clearOutput();
    mexFunction(1, plhs, static_cast<int>(prhs.size()), prhs.data());
    if (filled) *filled = plhs[0] != nullptr;
    for (mxArray* a : plhs)
        if (a) mxDestroyArray(a);
    for (const mxArray* a : prhs) mxDestroyArray(const_cast<mxArray*>(a));
    return mexhost::takeOutput();
}

int openDescriptors() {
    int n = 0;
    if (DIR* dir = opendir("/proc/self/fd")) {
        while (readdir(dir)) ++n;
        closedir(dir);
    }
    return n;
}

}  // namespace

TEST(Entry, ExceptionsOfAHandlerBecomeOneLine) {
    call({"status"});  // loads the workspace
    ASSERT_NE(Matlab, nullptr);
    Thrower thrower;
    Matlab->commands_["throw"] = new ArrayCommand<Thrower>("", "", &thrower, &Thrower::run);
    const struct {
        int kind;
        const char* line;
    } cases[] = {
        {0, "KINETRA: out of memory in command 'throw'\n"},
        {1, "KINETRA: internal error in command 'throw': vector::_M_range_check\n"},
        {2, "KINETRA: internal error in command 'throw': unknown exception\n"},
    };
    for (const auto& c : cases) {
        thrower.kind = c.kind;
        bool filled = false;
        EXPECT_EQ(call({"throw", "x"}, &filled), c.line);
        EXPECT_TRUE(filled);
    }
    // The workspace goes on.
    EXPECT_EQ(call({"nosuch"}), "KINETRA: unknown or invalid command 'nosuch'\n");
    EXPECT_TRUE(mexhost::runAtExit());
    EXPECT_EQ(Matlab, nullptr);
}

TEST(Entry, UnloadingClosesTheLogFile) {
    const std::string log = std::string(getenv("HOME")) + "/entry.log";
    call({"status"});
    mexhost::runAtExit();
    const int before = openDescriptors();
    for (int cycle = 0; cycle < 5; ++cycle) {
        call({"set", "logfile", log});
        EXPECT_TRUE(_MessageHelper::logging());
        EXPECT_TRUE(mexhost::runAtExit());  // clear kinetra
        EXPECT_FALSE(_MessageHelper::logging());
    }
    EXPECT_EQ(openDescriptors(), before);
}
