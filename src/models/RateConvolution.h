// The input's two convolutions at a rate that a model derived from its
// parameters. A rate that is not a finite number (a singular parameter set:
// a division by a zero volume or binding potential) gives NaN without asking
// the input, so that the optimizer rejects the step, no curve of an earlier
// set stands in, and the input's caches receive no such key.
#ifndef KINETRA_MODELS_RATECONVOLUTION_H
#define KINETRA_MODELS_RATECONVOLUTION_H

#include <cmath>
#include <limits>

#include "InputFunction.h"

inline double convExpAt(InputFunction& input, double k, double t, unsigned x, unsigned y, unsigned z) {
    return std::isfinite(k) ? input.convExp(k, t, x, y, z) : std::numeric_limits<double>::quiet_NaN();
}

inline double convTimeExpAt(InputFunction& input, double k, double t, unsigned x, unsigned y, unsigned z) {
    return std::isfinite(k) ? input.convTimeExp(k, t, x, y, z) : std::numeric_limits<double>::quiet_NaN();
}

#endif
