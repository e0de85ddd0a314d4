// The stop settings of an optimizer and the result record of one fitted voxel.
#ifndef KINETRA_OPTIMIZERPARAMETERS_H
#define KINETRA_OPTIMIZERPARAMETERS_H

#include <string>

// When a voxel's fit stops. A setting of 0 or less switches its rule off
// (maxiter has no such switch). The defaults are written here once: a new
// optimizer and a new record start from them.
struct StopSettings {
    int maxiter = 100;                // iteration limit per voxel
    double abs_chisquare = 1e-9;      // stop when chi-square falls under this
    double delta_chisquare = 0.001;   // stop when its relative change falls to this
    double abs_delta_argument = 0.0;  // stop when the largest parameter change falls under this
    double rel_delta_argument = 0.0;  // stop when the largest relative change falls under this
};

// The result record of one fitted voxel: where it is, how the fit went and
// with which stop settings it ran. An optimizer keeps one record per active
// voxel of its VOI, in the order in which it visits the voxels (x outermost,
// then y, z innermost); the goodness-of-fit maps read them back in that order.
class OptimizerParameters : public StopSettings {
public:
    OptimizerParameters() = default;
    OptimizerParameters(const OptimizerParameters& other) = default;
    OptimizerParameters& operator=(const OptimizerParameters& other) = default;
    virtual ~OptimizerParameters();

    // Fields that no fit has filled read as "nothing happened", not as garbage.
    std::string name_;  // not used by any method
    unsigned x_ = 0, y_ = 0, z_ = 0;
    int numiter = 0;     // iterations taken
    int exitFlag_ = 0;   // index into the optimizer's stop reasons
    int rsc_ = 0;        // sign changes along the residual curve
    double chisquare_ = 0.0;            // final weighted chi-square
    double unweightedChisquare_ = 0.0;  // final sum of squared residuals
    double time_ = 0.0;  // the run's accumulated CPU time when the voxel ended
};

#endif
