// The working set of one Levenberg-Marquardt run. It is made when the run
// starts and goes with it, so nothing outlives a run and no way out of it
// leaks: the curves and parameter arrays of the method, and the state that
// mrqmin keeps between its calls for one voxel (one fit at a time).
//
// All arrays are addressed from 1, as the classic formulation of the method
// (and gaussj) has them; element 0 is unused.
#ifndef KINETRA_OPTIMIZERS_LEVENBERGMARQUARDT_WORK_H
#define KINETRA_OPTIMIZERS_LEVENBERGMARQUARDT_WORK_H

#include <cmath>
#include <vector>

#include "optimizers/LevenbergMarquardt.h"

struct LevenbergMarquardt::Work {
    Work(unsigned frames, unsigned fitted, bool withErrors)
        : T(frames),
          P(fitted),
          weighted(withErrors),
          t(T + 1, 0.0),
          y(T + 1, 0.0),
          sig(T + 1, 0.0),
          a(P + 1, 0.0),
          aold(P + 1, 0.0),
          lower(P + 1, 0.0),
          upper(P + 1, 0.0),
          ia(P + 1, 1),
          atry(P + 1, 0.0),
          beta(P + 1, 0.0),
          da(P + 1, 0.0),
          mfit(0),
          ochisq(0.0),
          dyda(P + 1, 0.0),
          bd(P + 1, 0.0),
          evaluated(P + 1, 0.0),
          values(T, 0.0),
          derivatives(static_cast<size_t>(T) * P, 0.0) {
        covar.resize(P, P);
        alpha.resize(P, P);
        oneda.resize(P, 1);
    }

    // The sigma curve for mrqcof: null for an unweighted fit.
    const double* sigma() const { return weighted ? sig.data() : nullptr; }

    const unsigned T;  // frames
    const unsigned P;  // fitted parameters
    const bool weighted;
    std::vector<double> t, y, sig;            // model times, data, errors [1..T]
    std::vector<double> a, aold, lower, upper;  // parameters and bounds [1..P]
    std::vector<int> ia;                      // fit mask [1..P], all 1
    Matrix1 covar, alpha;                     // P x P

    // mrqmin's state between its calls for one voxel.
    std::vector<double> atry, beta, da;  // trial parameters, J^T W r, the step
    Matrix1 oneda;                       // the right-hand side of gaussj, P x 1
    int mfit;                            // number of fitted parameters
    double ochisq;                       // chi-square of the last taken step

    // mrqcof's scratch: derivatives at one frame, excess over the bounds.
    std::vector<double> dyda, bd;

    // The last evaluation: the parameters it was made at [1..P], the model
    // values [T] and derivatives [T * P, frame-major] it gave.
    std::vector<double> evaluated;
    std::vector<double> values, derivatives;
    // True if the last evaluation was made at exactly these parameters.
    bool evaluatedAt(const std::vector<double>& parameters) const {
        for (unsigned j = 1; j <= P; ++j)
            if (!(evaluated[j] == parameters[j]) || std::signbit(evaluated[j]) != std::signbit(parameters[j]))
                return false;
        return true;
    }
};

#endif
