// The result record of one fitted voxel: where it is, how the fit went and
// with which stop settings it ran. An optimizer keeps one record per active
// voxel of its VOI, in the order in which it visits the voxels (x outermost,
// then y, z innermost); the goodness-of-fit maps read them back in that order.
#ifndef KINETRA_OPTIMIZERPARAMETERS_H
#define KINETRA_OPTIMIZERPARAMETERS_H

#include <string>

class OptimizerParameters {
public:
    OptimizerParameters();
    OptimizerParameters(const OptimizerParameters& other) = default;
    OptimizerParameters& operator=(const OptimizerParameters& other) = default;
    virtual ~OptimizerParameters();

    std::string name_;  // not used by any method
    unsigned x_, y_, z_;
    int numiter;        // iterations taken
    int maxiter;        // iteration limit for this voxel
    int exitFlag_;      // index into the optimizer's stop reasons
    int rsc_;           // sign changes along the residual curve
    double chisquare_;  // final weighted chi-square
    double unweightedChisquare_;  // final sum of squared residuals
    double abs_chisquare;
    double delta_chisquare;
    double abs_delta_argument;
    double rel_delta_argument;
    double time_;       // the run's accumulated CPU time when the voxel ended
};

#endif
