// Simplex: the derivative-free local optimizer, a Nelder-Mead downhill
// simplex on the parameters of one voxel at a time, with bounds enforced by
// clamping each trial point. It minimises the plain sum of squared
// residuals; an error dataset weighs only in the statistics.
#ifndef KINETRA_OPTIMIZERS_SIMPLEX_H
#define KINETRA_OPTIMIZERS_SIMPLEX_H

#include "Optimizer.h"

class Simplex : public Optimizer {
public:
    Simplex();
    ~Simplex() override;

    using Optimizer::run;

protected:
    void run(Voxel& voxel) override;
};

#endif
