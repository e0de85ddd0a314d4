// The module's entry points. Matlab (or Octave) calls mexFunction for every
// kinetra(...) call; the one workspace lives from the first call until the
// module is unloaded, when the exit hook destroys it.
#include "interfaces/MatlabInterface.h"
#include "mex.h"

MatlabInterface* Matlab = nullptr;

static void atExit() {
    if (Matlab != nullptr) delete Matlab;
    // A host that runs the hook without unloading the module must not reach
    // the freed workspace: the next call builds a fresh one.
    Matlab = nullptr;
}

extern "C" {

void mexFunction(int nlhs, mxArray* plhs[], int nrhs, const mxArray* prhs[]) {
    mexAtExit(atExit);
    if (Matlab == nullptr) Matlab = new MatlabInterface();
    Matlab->processCommand(nlhs, plhs, nrhs, prhs);
}

const char* mexVersion() { return "MATLAB R14 native"; }

}
