// The topics of the set command, one function each. They take the call as
// commandSet got it (prhs[0] the command word, prhs[1] the topic) and answer
// as commandSet does: true if the call was accepted, false to make the
// dispatcher print the unknown-command line.
#ifndef KINETRA_INTERFACES_MATLABINTERFACE_SET_H
#define KINETRA_INTERFACES_MATLABINTERFACE_SET_H

#include <string>

#include "interfaces/MatlabInterface.h"

class Optimizable;

namespace setcommand {

bool data(MatlabInterface& w, int nrhs, const mxArray** prhs);
bool input(MatlabInterface& w, int nrhs, const mxArray** prhs);
bool model(MatlabInterface& w, int nrhs, const mxArray** prhs);
bool logfile(MatlabInterface& w, int nrhs, const mxArray** prhs);
bool optimizer(MatlabInterface& w, int nrhs, const mxArray** prhs);
bool protocol(MatlabInterface& w, int nrhs, const mxArray** prhs);
bool seed(MatlabInterface& w, int nrhs, const mxArray** prhs);
bool tac(MatlabInterface& w, int nrhs, const mxArray** prhs);
bool verbosity(MatlabInterface& w, int nrhs, const mxArray** prhs);
bool voi(MatlabInterface& w, int nrhs, const mxArray** prhs);

// ('set', 'input'|'model', par, key, value) on an object o that has the
// parameter par; the value is prhs[4].
bool parameter(MatlabInterface& w, Optimizable* o, const std::string& par, int nrhs, const mxArray** prhs);

}  // namespace setcommand

#endif
