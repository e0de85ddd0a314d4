// Commands whose handlers arrive with the filter and clustering subsystems.
// Until then they accept nothing, so the dispatcher prints the unknown-command
// line.
#include "interfaces/MatlabInterface.h"

bool MatlabInterface::commandCluster(int, mxArray**, int, const mxArray**) { return false; }
bool MatlabInterface::commandFilter(int, mxArray**, int, const mxArray**) { return false; }
