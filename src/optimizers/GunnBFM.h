// GunnBFM: the basis function method, a non-iterative fit of the simplified
// reference tissue model (Neuro_SLAM) and of no other. For a fixed apparent
// efflux k2a the tissue curve R1 ref(t) + theta (ref (*) exp(-k2a t))(t) is
// linear in R1 and theta: the method lays a grid of k2a values, convolves
// the reference curve once per grid point, solves a 2 x 2 least-squares
// problem per grid point and voxel, and keeps the grid point of the lowest
// residual. It ignores the error dataset.
#ifndef KINETRA_OPTIMIZERS_GUNNBFM_H
#define KINETRA_OPTIMIZERS_GUNNBFM_H

#include "Optimizer.h"

class GunnBFM : public Optimizer {
public:
    GunnBFM();
    ~GunnBFM() override;

    using Optimizer::run;

protected:
    void run(Voxel& voxel) override;
};

#endif
