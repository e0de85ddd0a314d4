// The module's entry points. Matlab (or Octave) calls mexFunction for every
// kinetra(...) call; the one workspace lives from the first call until the
// module is unloaded, when the exit hook destroys it and closes the log file.
//
// Nothing may escape into the host: an exception that passes a handler (the
// toolbox itself throws none, but the runtime does, std::bad_alloc first of
// all) is caught here, reported in one line, and the call returns with a
// value in plhs[0], so the host survives and the workspace stays usable.
#include <cstdio>
#include <exception>
#include <new>

#include "interfaces/MatlabInterface.h"
#include "mex.h"
#include "util/Message.h"

MatlabInterface* Matlab = nullptr;

static void atExit() {
    if (Matlab != nullptr) delete Matlab;
    // A host that runs the hook without unloading the module must not reach
    // the freed workspace: the next call builds a fresh one.
    Matlab = nullptr;
    // The log file belongs to the module: unloading closes it, so that loading
    // and clearing the module again and again leaks no descriptor.
    ResetMessageLogfile();
}

// The command word of a call, read into a fixed buffer (cut if longer).
static void commandWord(int nrhs, const mxArray** prhs, char* word, size_t size) {
    if (nrhs <= 0) {
        std::snprintf(word, size, "help");
        return;
    }
    if (prhs[0] != nullptr && mxIsChar(prhs[0])) mxGetString(prhs[0], word, static_cast<mwSize>(size));
}

extern "C" {

void mexFunction(int nlhs, mxArray* plhs[], int nrhs, const mxArray* prhs[]) {
    MatlabInterface::useHostConsole();
    mexAtExit(atExit);
    // Fixed buffers: the report must not need the memory that ran out.
    const char* failure = nullptr;
    char what[256] = "";
    try {
        if (Matlab == nullptr) Matlab = new MatlabInterface();
        Matlab->processCommand(nlhs, plhs, nrhs, prhs);
        return;
    } catch (const std::bad_alloc&) {
        failure = "out of memory";
    } catch (const std::exception& e) {
        failure = "internal error";
        std::snprintf(what, sizeof what, ": %s", e.what());
    } catch (...) {
        failure = "internal error";
        std::snprintf(what, sizeof what, ": %s", "unknown exception");
    }
    char word[128] = "";
    commandWord(nrhs, prhs, word, sizeof word);
    char line[512];
    std::snprintf(line, sizeof line, "KINETRA: %s in command '%s'%s\n", failure, word, what);
    getMessageSink()(line);
    if (plhs[0] == nullptr) plhs[0] = mxCreateLogicalScalar(false);
}

const char* mexVersion() { return "MATLAB R14 native"; }

}
