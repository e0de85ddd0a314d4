// The working set of one Levenberg-Marquardt run. It is made at the first
// voxel and lives in the run's voxel working set, so nothing outlives a run
// and no way out of it leaks: the curves and parameter arrays of the method,
// the state that mrqmin keeps between its calls for one voxel, and what the
// voxel's iterations reached.
//
// All arrays are addressed from 1, as the classic formulation of the method
// (and gaussj) has them; element 0 is unused.
#ifndef KINETRA_OPTIMIZERS_LEVENBERGMARQUARDT_WORK_H
#define KINETRA_OPTIMIZERS_LEVENBERGMARQUARDT_WORK_H

#include <cmath>
#include <vector>

#include "optimizers/LevenbergMarquardt.h"

struct LevenbergMarquardt::Work : Optimizer::Voxel::State {
    explicit Work(const Optimizer::Voxel& v)
        : voxel(v),
          T(v.T),
          P(v.P),
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
          bd(P + 1, 0.0),
          evaluated(P + 1, 0.0),
          index(P, 0u),
          values(T, 0.0),
          derivatives(static_cast<size_t>(T) * P, 0.0) {
        covar.resize(P, P);
        alpha.resize(P, P);
        oneda.resize(P, 1);
        for (unsigned i = 0; i < T; ++i) t[i + 1] = v.times[i];
    }

    // Takes the voxel's curves, start values and bounds into the arrays
    // from 1, and starts its iterations.
    void load() {
        for (unsigned i = 0; i < T; ++i) {
            y[i + 1] = voxel.data[i];
            sig[i + 1] = voxel.error[i];
        }
        for (unsigned i = 0; i < P; ++i) {
            a[i + 1] = voxel.start[i];
            lower[i + 1] = voxel.lower[i];
            upper[i + 1] = voxel.upper[i];
        }
        const StopSettings& s = voxel.settings;
        chisquare = s.abs_chisquare > 0.0 ? 2.0 * s.abs_chisquare : 1.0;
        stopCode = RUNNING;
        iteration = 0;
    }

    // The sigma curve for mrqcof: null for an unweighted fit.
    const double* sigma() const { return voxel.weighted ? sig.data() : nullptr; }
    const StopSettings& settings() const { return voxel.settings; }

    const Optimizer::Voxel& voxel;
    const unsigned T;  // frames
    const unsigned P;  // fitted parameters
    std::vector<double> t, y, sig;              // model times, data, errors [1..T]
    std::vector<double> a, aold, lower, upper;  // parameters and bounds [1..P]
    std::vector<int> ia;                        // fit mask [1..P], all 1
    Matrix1 covar, alpha;                       // P x P

    // mrqmin's state between its calls for one voxel.
    std::vector<double> atry, beta, da;  // trial parameters, J^T W r, the step
    Matrix1 oneda;                       // the right-hand side of gaussj, P x 1
    int mfit = 0;                        // number of fitted parameters
    double ochisq = 0.0;                 // chi-square of the last taken step

    // mrqcof's scratch: derivatives at one frame, excess over the bounds.
    std::vector<double> bd;

    // What the voxel's iterations reached.
    int iteration = 0;
    int stopCode = RUNNING;
    double chisquare = 0.0;
    double unweightedChisquare = 0.0;
    int signChanges = 0;

    // The last evaluation: the parameters it was made at [1..P], the model
    // values [T] and derivatives [T * P, frame-major] it gave.
    std::vector<double> evaluated;
    // The optimizable's parameter index of each fitted parameter [0..P-1].
    std::vector<unsigned> index;
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
