// The working set of one Simplex run. It is made at the first voxel and
// lives in the run's voxel working set, so a voxel's search changes nothing
// in the optimizer object: the simplex, its sums and values, the trial point,
// and what the voxel's search reached. Arrays are addressed from 0.
#ifndef KINETRA_OPTIMIZERS_SIMPLEX_WORK_H
#define KINETRA_OPTIMIZERS_SIMPLEX_WORK_H

#include <algorithm>
#include <climits>
#include <vector>

#include "optimizers/Simplex.h"

struct Simplex::Work : Optimizer::Voxel::State {
    explicit Work(const Optimizer::Voxel& v)
        : voxel(v),
          P(v.P),
          block(static_cast<size_t>(P + 1) * P, 0.0),
          values(P + 1, 0.0),
          psum(P, 0.0),
          trial(P, 0.0),
          kept(P, 0.0),
          a(P, 0.0),
          model(v.T, 0.0) {}

    // Starts a voxel's search at the voxel's start values.
    void load() {
        a = voxel.start;
        iteration = 0;
        stopCode = RUNNING;
        chisquare = 0.0;
        signChanges = 0;
    }

    // Vertex i of the simplex [P], i from 0 to P.
    double* row(unsigned i) { return block.data() + static_cast<size_t>(i) * P; }
    const double* row(unsigned i) const { return block.data() + static_cast<size_t>(i) * P; }
    const StopSettings& settings() const { return voxel.settings; }
    // The step budget of a voxel, P * maxiter, kept below INT_MAX - P so
    // that neither the product nor the count, which a pass raises by at
    // most P + 1 past it, overflows.
    int budget() const {
        const long long steps = static_cast<long long>(P) * settings().maxiter;
        return static_cast<int>(std::min<long long>(steps, static_cast<long long>(INT_MAX) - P - 1));
    }

    const Optimizer::Voxel& voxel;
    const unsigned P;  // fitted parameters
    std::vector<double> block;   // the P + 1 vertices, one after the other
    std::vector<double> values;  // the objective at each vertex [P + 1]
    std::vector<double> psum;    // the sum of the vertices [P]
    std::vector<double> trial;   // the point a move tries [P]
    std::vector<double> kept;    // the best vertex of the last pass [P]
    std::vector<double> a;       // the start, then the best vertex [P]
    std::vector<double> model;   // the model at the best vertex [T]
    unsigned ilo = 0, ihi = 0, inhi = 0;  // best, worst and second worst vertex

    // What the voxel's search reached.
    int iteration = 0;
    int stopCode = RUNNING;
    double chisquare = 0.0;  // the lowest objective value
    int signChanges = 0;     // along the residual curve at the best vertex
};

#endif
