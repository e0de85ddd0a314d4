#include "OptimizerParameters.h"

// Fields the description leaves unset start at 0, so that a record that no
// voxel filled reads as "nothing happened" rather than as garbage.
OptimizerParameters::OptimizerParameters()
    : x_(0),
      y_(0),
      z_(0),
      numiter(0),
      maxiter(100),
      exitFlag_(0),
      rsc_(0),
      chisquare_(0.0),
      unweightedChisquare_(0.0),
      abs_chisquare(1e-9),
      delta_chisquare(0.001),
      abs_delta_argument(0.0),
      rel_delta_argument(0.0),
      time_(0.0) {}

OptimizerParameters::~OptimizerParameters() {}
