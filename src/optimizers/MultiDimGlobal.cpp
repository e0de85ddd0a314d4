// The global optimizer's voxel: the box of the bounds, the search on the
// voxel's least-squares problem, and the best point as the voxel's result.
#include "optimizers/MultiDimGlobal.h"

#include <algorithm>
#include <cmath>

#include "Optimizable.h"
#include "Parameter.h"
#include "optimizers/MultiDimGlobal.work.h"
#include "util/Message.h"

namespace {

MultiDimGlobal& global(Optimizer& o) { return static_cast<MultiDimGlobal&>(o); }

// The method's keys: set only, neither read by get nor shown.
const OptimizerSetting kGlobalSettings[] = {
    {"delta", OptimizerSetting::RECIPROCAL, [](Optimizer& o) -> void* { return &global(o).delta_; }, false, nullptr},
    {"max_time", OptimizerSetting::SECONDS, [](Optimizer& o) -> void* { return &global(o).max_time; }, false, nullptr},
};

// The search's settings for a voxel of n searched parameters.
const double kCloseTol = 0.1;
const double kSpread = 0.3;

}  // namespace

MultiDimGlobal::MultiDimGlobal(const MultiDimGlobal& master, Optimizable* model)
    : Optimizer(master, model), max_time(master.max_time), delta_(master.delta_), clock_(master.clock_) {}

Optimizer* MultiDimGlobal::makeWorker(Optimizable* model) const { return new MultiDimGlobal(*this, model); }

MultiDimGlobal::MultiDimGlobal() : Optimizer("MultiDimGlobal"), clock_(MDGS::steadySeconds) {
    for (const OptimizerSetting& setting : kGlobalSettings) addSetting(setting);
}

MultiDimGlobal::~MultiDimGlobal() {}

bool MultiDimGlobal::checkBounds() const {
    for (const auto& entry : parameterIndex_) {
        const Parameter& p = model_->getParameterByIndex(fitted_[entry.second].index);
        if (!(p.getMax() > p.getMin())) return false;
    }
    return true;
}

// Missing bounds are reported and the run goes on with the box they give: a
// parameter whose bounds are equal stays at them. Bounds whose range is not
// finite in the search's scale (a width of 1e308 - -1e308, the logarithm of
// a bound that is not positive) give no box at all: the voxels then keep
// their start values.
void MultiDimGlobal::setUp(Work& w, const Voxel& voxel) const {
    w.ready = true;
    if (!checkBounds()) ERROR("bounds MUST be set for all free parameters when using the MultiDimGlobal optimizer");
    std::vector<unsigned> indices;
    std::vector<std::string> names;
    for (const Fitted& f : fitted_) {
        indices.push_back(f.index);
        names.push_back(f.name);
    }
    w.bridge.reset(new GlobalBridge(*model_, indices, names, voxel.times, voxel.data));
    w.lower.assign(voxel.P, 0.0);
    w.upper.assign(voxel.P, 0.0);
    w.searched.clear();
    for (unsigned i = 0; i < voxel.P; ++i) {
        const bool log = model_->getParameterByIndex(fitted_[i].index).getLog();
        const double lo = log ? std::log10(voxel.lower[i]) : voxel.lower[i];
        const double hi = log ? std::log10(voxel.upper[i]) : voxel.upper[i];
        if (!(std::isfinite(lo) && std::isfinite(hi) && lo <= hi && std::isfinite(hi - lo))) {
            ERROR("the bounds [%g, %g] of '%s' give no finite range to search: the voxels keep their start values",
                  voxel.lower[i], voxel.upper[i], fitted_[i].name.c_str());
            w.refused = true;
        }
        w.lower[i] = lo;
        w.upper[i] = hi;
        if (hi > lo) w.searched.push_back(i);
    }
    if (w.refused) {
        w.bridge->setCoordinates(std::vector<unsigned>());
        return;
    }
    const int n = static_cast<int>(w.searched.size());
    w.box = TBox(n);
    for (int j = 0; j < n; ++j) {
        w.box.lb_[j] = w.lower[w.searched[static_cast<size_t>(j)]];
        w.box.ub_[j] = w.upper[w.searched[static_cast<size_t>(j)]];
    }
    w.bridge->setCoordinates(w.searched);
    w.point = RVector(n);
    if (n == 0) WARNING("no fitted parameter has a range to search: each voxel is evaluated at its bounds\n");
}

void MultiDimGlobal::run(Voxel& voxel) {
    Work& w = voxel.state<Work>();
    if (!beginVoxel(voxel)) return;
    if (!w.ready) setUp(w, voxel);
    startTimer();
    GlobalBridge& bridge = *w.bridge;
    bridge.setVoxel(voxel.x, voxel.y, voxel.z);

    // The start, moved into the box, is the first candidate: a search that
    // finds nothing lower (no time, no converged local search) still ends
    // on a finite point inside the bounds.
    for (unsigned i = 0; i < voxel.P; ++i) {
        double& v = w.start[i];
        v = voxel.start[i];
        if (w.refused) continue;
        // A start that is not a number (the logarithm of a start of 0) begins at the middle.
        v = std::isfinite(v) ? std::min(std::max(v, w.lower[i]), w.upper[i])
                             : w.lower[i] + (w.upper[i] - w.lower[i]) / 2;
    }
    bridge.setPoint(w.start);
    RVector& point = w.point;
    for (int j = 0; j < point.size(); ++j) point[j] = w.start[w.searched[static_cast<size_t>(j)]];
    double chisquare = bridge.objective(point);

    int iterations = 0;
    if (!w.refused && point.size() > 0) {
        const StopSettings& s = voxel.settings;
        MDGSParams params;
        params.tlimit = max_time;
        params.closeTol = kCloseTol;
        params.ftol = s.abs_chisquare;
        params.spread = kSpread;
        params.det_pnts = 2 * point.size() + 1;
        params.rnd_pnts = 0;
        MDGS search(
            w.box, [&bridge](const RVector& p) { return bridge.objective(p); },
            [&bridge](const RVector& p, RVector& g) { bridge.gradient(p, g); }, params, clock_);
        search.SetDelta(delta_);
        search.SetTol(s.delta_chisquare);
        search.SetMaxIter(s.maxiter);
        RVector unused(point.size());
        search.Search(-1, unused);
        iterations = search.GetInnerIterations();
        const double best = search.GetBestValue();
        if (best < DBL_MAX && !(chisquare <= best)) {
            chisquare = best;
            point = search.GetBestPoint();
        }
    }
    // The search leaves in the parameters the last point it tried; the
    // voxel's result is the best one, so that the maps, the errors and the
    // chi-square all describe the same point.
    bridge.write(point);
    incrementTimer(1);

    voxel.iterations = iterations;
    voxel.chisquare = chisquare;
    voxel.unweightedChisquare = 0.0;
    voxel.signChanges = 0;
    voxel.exitFlag = 0;
    finishVoxel(voxel);
    MESSAGE(3, "FINISHED after %d iterations (%.3lfs): chi^2/d.o.f. = %lg with status %d\n", iterations, totalTime_,
            chisquare / (static_cast<double>(voxel.T) - voxel.P), 0);
}
