// Handlers that the fitting and command-surface work fills in.
#include "interfaces/MatlabInterface.h"

bool MatlabInterface::commandGet(int, mxArray**, int, const mxArray**) { return false; }
bool MatlabInterface::commandSet(int, mxArray**, int, const mxArray**) { return false; }
