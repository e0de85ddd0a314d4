// Commands whose handlers arrive with the file, filter and clustering
// subsystems. Until then they accept nothing, so the dispatcher prints the
// unknown-command line.
#include "interfaces/MatlabInterface.h"

bool MatlabInterface::commandCluster(int, mxArray**, int, const mxArray**) { return false; }
bool MatlabInterface::commandCreate(int, mxArray**, int, const mxArray**) { return false; }
bool MatlabInterface::commandDelete(int, mxArray**, int, const mxArray**) { return false; }
bool MatlabInterface::commandFilter(int, mxArray**, int, const mxArray**) { return false; }
bool MatlabInterface::commandRead(int, mxArray**, int, const mxArray**) { return false; }
bool MatlabInterface::commandWrite(int, mxArray**, int, const mxArray**) { return false; }
