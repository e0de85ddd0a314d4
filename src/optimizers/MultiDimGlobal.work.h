// The working set of one MultiDimGlobal run: the bridge to the model, the
// search box and what the first voxel found out about the bounds. It lives
// in the run's voxel working set, so a run shares nothing with another.
#ifndef KINETRA_OPTIMIZERS_MULTIDIMGLOBAL_WORK_H
#define KINETRA_OPTIMIZERS_MULTIDIMGLOBAL_WORK_H

#include <memory>
#include <vector>

#include "boxsearch/MDGS_tools.h"
#include "optimizers/MultiDimGlobal.bridge.h"
#include "optimizers/MultiDimGlobal.h"

struct MultiDimGlobal::Work : Optimizer::Voxel::State {
    explicit Work(const Optimizer::Voxel& v) : voxel(v), start(v.P, 0.0) {}

    const Optimizer::Voxel& voxel;
    bool ready = false;  // setUp has run
    // The bounds give no finite box: the voxels keep their start values.
    bool refused = false;
    std::unique_ptr<GlobalBridge> bridge;
    // The bounds of every fitted parameter in the search's scale [P]; the
    // fit indices with a positive range are searched, over `box`, and the
    // others stay at their lower bound.
    std::vector<double> lower, upper;
    std::vector<unsigned> searched;
    TBox box;
    // Scratch: all fitted values, and the start as a search point.
    std::vector<double> start;
    RVector point;
};

#endif
