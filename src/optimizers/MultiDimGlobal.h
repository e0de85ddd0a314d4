// MultiDimGlobal: the global optimizer. Each voxel's least-squares problem
// (unweighted: the error dataset plays no part) goes to the box search
// (boxsearch/MDGS) over the box of the fitted parameters' bounds, in the
// scale the optimizers see (log10 for a logarithmic parameter). The search
// runs for `max_time` seconds of wall time per voxel, measured on a
// monotonic clock; with the default of 5 s a whole image takes days, so
// image fits want a small max_time.
//
// The voxel ends with the best point found written into the parameter
// maps, so that the maps, the errors and the chi-square describe one point.
//
// Its own settings: "delta", the count of steps (the first trust radius is
// 1/delta of the distance to the nearest face), and "max_time".
#ifndef KINETRA_OPTIMIZERS_MULTIDIMGLOBAL_H
#define KINETRA_OPTIMIZERS_MULTIDIMGLOBAL_H

#include "Optimizer.h"
#include "boxsearch/MDGS.h"

class MultiDimGlobal : public Optimizer {
public:
    MultiDimGlobal();
    ~MultiDimGlobal() override;

    using Optimizer::run;

    // False at the first fitted parameter (in name order) whose maximum is
    // not above its minimum.
    bool checkBounds() const;

    // The clock of the searches (a monotonic one unless a test sets another).
    void setClock(MDGS::Clock clock) { clock_ = std::move(clock); }

    double max_time = 5.0;  // seconds of search per voxel
    double delta_ = 0.5;    // the reciprocal of the user's "delta"

protected:
    void run(Voxel& voxel) override;
    Optimizer* makeWorker(Optimizable* model) const override;

private:
    MultiDimGlobal(const MultiDimGlobal& master, Optimizable* model);

    struct Work;  // the run's bridge, box and scratch

    // Prepares the run's working set at its first voxel: the bounds test,
    // the search box and the coordinates searched.
    void setUp(Work& w, const Voxel& voxel) const;

    MDGS::Clock clock_;
};

#endif
