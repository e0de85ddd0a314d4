// Handlers that the fitting and command-surface work fills in.
#include "interfaces/MatlabInterface.h"

