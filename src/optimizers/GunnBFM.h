// GunnBFM: the basis function method, a non-iterative fit of the simplified
// reference tissue model (Neuro_SLAM) and of no other. For a fixed apparent
// efflux k2a the tissue curve R1 ref(t) + theta (ref (*) exp(-k2a t))(t) is
// linear in R1 and theta: the method lays a grid of N = maxiter k2a values,
// convolves the reference curve once per grid point, solves a 2 x 2
// least-squares problem per grid point and voxel, and keeps the grid point of
// the lowest residual. It ignores the error dataset (except in the errors).
//
// The voxel-independent part (grid, reference curve, basis, Srr and the
// per-grid sums Sbb and Srb) is built once per run, before the first voxel,
// in the run's working set; a voxel only solves on the grid.
#ifndef KINETRA_OPTIMIZERS_GUNNBFM_H
#define KINETRA_OPTIMIZERS_GUNNBFM_H

#include "Optimizer.h"

class GunnBFM : public Optimizer {
public:
    GunnBFM();
    ~GunnBFM() override;

    using Optimizer::run;

protected:
    bool beginRun(Voxel& voxel) override;
    void run(Voxel& voxel) override;
    void endRun(Voxel& voxel) override;
    Optimizer* makeWorker(Optimizable* model) const override;

private:
    GunnBFM(const GunnBFM& master, Optimizable* model) : Optimizer(master, model) {}

    struct Work;  // the run's grid, basis and sums, and the voxel's scratch

    // The status file of the voxel in work: "# t y fit" and one line a frame.
    void status(const Work& w, const Voxel& voxel) const;
    // The model's derivatives at the voxel's result (grid point `best`) by
    // fit index, from the basis, into the working set.
    void derivatives(Work& w, const Voxel& voxel, unsigned best, double r1, double k2, double bp) const;
};

#endif
