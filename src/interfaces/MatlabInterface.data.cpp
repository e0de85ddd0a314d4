// The data life-cycle commands: create, delete, read and write.
#include "interfaces/MatlabInterface.h"

bool MatlabInterface::commandCreate(int, mxArray**, int, const mxArray**) { return false; }
bool MatlabInterface::commandDelete(int, mxArray**, int, const mxArray**) { return false; }
bool MatlabInterface::commandRead(int, mxArray**, int, const mxArray**) { return false; }
bool MatlabInterface::commandWrite(int, mxArray**, int, const mxArray**) { return false; }
