#include "OptimizerParameters.h"

OptimizerParameters::~OptimizerParameters() {}
