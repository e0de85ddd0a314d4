// The voxel loop of the Levenberg-Marquardt method and its stop rules. The
// step itself (mrqmin, mrqcof, covsrt) is in LevenbergMarquardt.step.cpp.
#include "optimizers/LevenbergMarquardt.h"

#include <cmath>

#include "Dataset.h"
#include "Optimizable.h"
#include "optimizers/LevenbergMarquardt.work.h"
#include "util/Message.h"

LevenbergMarquardt::LevenbergMarquardt() : Optimizer("Levenberg-Marquardt"), rampLimit_(20) {
    reasons_ = {"unknown",
                "singular matrix-1",
                "singular matrix-2",
                "number of iterations",
                "relative fitting error",
                "absolute fitting error",
                "lambda upward ramp",
                "absolute parameter change",
                "relative parameter change"};
}

LevenbergMarquardt::LevenbergMarquardt(const LevenbergMarquardt& master, Optimizable* model)
    : Optimizer(master, model), rampLimit_(master.rampLimit_) {}

LevenbergMarquardt::~LevenbergMarquardt() {}

Optimizer* LevenbergMarquardt::makeWorker(Optimizable* model) const { return new LevenbergMarquardt(*this, model); }

// What the stop rules look at: lambda of this step and of the last one, the
// relative fall of chi-square, the largest parameter changes and the ramp.
struct LevenbergMarquardt::Progress {
    double lambda = -1.0;  // -1: mrqmin has not started the voxel yet
    double lastLambda = -1.0;
    double lastChi = 0.0;
    double delta = 1.0;
    double dAbs = 1.0;
    double dRel = 1.0;
    int ramp = 0;
};

void LevenbergMarquardt::run(Voxel& voxel) {
    Work& w = voxel.state<Work>();
    for (unsigned j = 0; j < w.P; ++j) w.index[j] = fitted_[j].index;
    const StopSettings& s = voxel.settings;
    const double dof = static_cast<double>(w.T) - w.P;
    MESSAGE(3, "absTol=%g relTol=%g absTolX=%g relTolX=%g\n", s.abs_chisquare, s.delta_chisquare, s.abs_delta_argument,
            s.rel_delta_argument);
    if (!beginVoxel(voxel)) return;
    w.load();
    startTimer();

    // The first pass reports tolerances that cannot stop anything.
    Progress p;
    p.delta = s.delta_chisquare > 0.0 ? 2.0 * s.delta_chisquare : 1.0;
    p.dAbs = s.abs_delta_argument > 0.0 ? 2.0 * s.abs_delta_argument : 1.0;
    p.dRel = s.rel_delta_argument > 0.0 ? 2.0 * s.rel_delta_argument : 1.0;
    for (;;) {
        MESSAGE(4, "ITERATION %d:\n", w.iteration);
        _MessageHelper::indent(2);
        if (!statusfile.empty()) status(w, w.iteration);
        w.stopCode = mrqmin(w, p.lambda);
        if (_MessageHelper::enabled(4)) printParameters("");
        if (w.iteration != 0) {
            p.delta = (p.lastChi - w.chisquare) / w.chisquare;
            measureChange(w, p);
        }
        countRamp(p);
        MESSAGE(4, "chi^2/d.o.f. = %lg lambda = %lg (%d) delta = %lg absTolX=%g relTolX=%g\n", w.chisquare / dof,
                p.lambda, p.ramp, p.delta, p.dAbs, p.dRel);
        _MessageHelper::outdent(2);
        if (w.stopCode != RUNNING) break;  // singular system
        w.stopCode = stopRule(w, p);
        if (w.stopCode != RUNNING) break;
        if (p.lambda < p.lastLambda || w.iteration == 0) {  // the step was taken: the new reference
            w.aold = w.a;
            p.lastChi = w.chisquare;
        }
        p.lastLambda = p.lambda;
        ++w.iteration;
    }
    double closing = 0.0;  // lambda 0: the call that ends the fit
    mrqmin(w, closing);
    incrementTimer(1);
    if (!statusfile.empty()) status(w, w.iteration + 1);  // the last file carries the next number

    voxel.iterations = w.iteration;
    voxel.chisquare = w.chisquare;
    voxel.unweightedChisquare = w.unweightedChisquare;
    voxel.exitFlag = w.stopCode;
    voxel.signChanges = w.signChanges;
    // When the last step was taken, the model was last evaluated at the final
    // parameters: the covariance takes those values instead of evaluating
    // once more. From verbosity 4 on it evaluates anyway, so that the traces
    // of the model and its input (and the counts of the input's caches that
    // they print) are those of the evaluation.
    if (!_MessageHelper::enabled(4) && w.evaluatedAt(w.a)) finishVoxel(voxel, w.values.data(), w.derivatives.data());
    else finishVoxel(voxel);
    MESSAGE(3, "FINISHED after %d iterations (%.3lfs): chi^2/d.o.f. = %lg due to '%s'\n", w.iteration, totalTime_,
            w.chisquare / dof, reasons_[static_cast<size_t>(w.stopCode)].c_str());
    MESSAGE(3, "unweighted chi^2 = %lg , #sign changes =  %d\n", w.unweightedChisquare, w.signChanges);
}

void LevenbergMarquardt::measureChange(const Work& w, Progress& p) {
    p.dAbs = 0.0;
    p.dRel = 0.0;
    if (!(w.settings().abs_delta_argument > 0.0 || w.settings().rel_delta_argument > 0.0)) return;
    for (unsigned i = 1; i <= w.P; ++i) {
        const double change = std::fabs(w.a[i] - w.aold[i]);
        if (change > p.dAbs) p.dAbs = change;
        const double relative = change / std::fabs(w.aold[i]);
        if (relative > p.dRel) p.dRel = relative;
    }
}

void LevenbergMarquardt::countRamp(Progress& p) {
    if (p.lambda > p.lastLambda) {
        if (p.ramp < 0) p.ramp = 0;
        ++p.ramp;
    } else {
        if (p.ramp > 0) p.ramp = 0;
        --p.ramp;
    }
}

// ---------------------------------------------------------------------------
// Stop rules. A fall of lambda (lambda < lastLambda) means that the step was
// taken; the rules on small changes only count after a taken step.

bool LevenbergMarquardt::iterationLimitReached(const Work& w) { return w.iteration == w.settings().maxiter; }

bool LevenbergMarquardt::chiSquareSettled(const Work& w, const Progress& p) {
    const double limit = w.settings().delta_chisquare;
    return limit > 0.0 && p.delta <= limit && p.lambda < p.lastLambda;
}

bool LevenbergMarquardt::chiSquareSmall(const Work& w) {
    const double limit = w.settings().abs_chisquare;
    return limit > 0.0 && w.chisquare < limit;
}

bool LevenbergMarquardt::lambdaRamped(const Progress& p) const { return p.ramp >= rampLimit_; }

bool LevenbergMarquardt::argumentSettledAbsolute(const Work& w, const Progress& p) {
    const double limit = w.settings().abs_delta_argument;
    return limit > 0.0 && p.dAbs < limit && p.lambda < p.lastLambda;
}

bool LevenbergMarquardt::argumentSettledRelative(const Work& w, const Progress& p) {
    const double limit = w.settings().rel_delta_argument;
    return limit > 0.0 && p.dRel < limit && p.lambda < p.lastLambda;
}

int LevenbergMarquardt::stopRule(const Work& w, const Progress& p) const {
    int code = RUNNING;
    if (iterationLimitReached(w)) code = ITERATIONS;
    if (chiSquareSettled(w, p)) code = RELATIVE_CHISQUARE;
    if (chiSquareSmall(w)) code = ABSOLUTE_CHISQUARE;
    if (lambdaRamped(p)) code = LAMBDA_RAMP;
    if (argumentSettledAbsolute(w, p)) code = ABSOLUTE_ARGUMENT;
    if (argumentSettledRelative(w, p)) code = RELATIVE_ARGUMENT;
    return code;
}

void LevenbergMarquardt::status(const Work& w, int iteration) const {
    writeStatus(iteration, w.t.data() + 1, w.y.data() + 1, w.T);
}
