// The voxel loop of the Levenberg-Marquardt method and its stop rules. The
// step itself (mrqmin, mrqcof, covsrt) is in LevenbergMarquardt.step.cpp.
#include "optimizers/LevenbergMarquardt.h"

#include <cmath>

#include "Dataset.h"
#include "Optimizable.h"
#include "optimizers/LevenbergMarquardt.work.h"
#include "util/Message.h"

LevenbergMarquardt::LevenbergMarquardt()
    : Optimizer("Levenberg-Marquardt"),
      iteration_(0),
      stopCode_(RUNNING),
      unweightedChisquare_(0.0),
      signChanges_(0),
      rampLimit_(20) {
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

LevenbergMarquardt::~LevenbergMarquardt() {}

// ---------------------------------------------------------------------------
// The voxel loop

void LevenbergMarquardt::run() {
    if (!prepare()) return;
    const unsigned X = data_->getDimensionX(), Y = data_->getDimensionY(), Z = data_->getDimensionZ();
    const unsigned T = data_->getDimensionT();
    const unsigned numActive = static_cast<unsigned>(parameters_.size());
    // Everything the run allocates lives in w and goes with it, on every way out.
    Work w(T, getNumFitted(), error_ != nullptr);
    for (unsigned t = 0; t < T; ++t) w.t[t + 1] = modelTimes()[t];

    unsigned record = 0;
    for (x_ = 0; x_ < X; ++x_)
        for (y_ = 0; y_ < Y; ++y_)
            for (z_ = 0; z_ < Z; ++z_) {
                if (!isActive(x_, y_, z_) || record >= numActive) continue;
                fitVoxel(w, parameters_[record], record, numActive);
                ++record;
                if (!update(UpdateAction(1))) stopByUser();
            }
    finish();
}

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

void LevenbergMarquardt::fitVoxel(Work& w, OptimizerParameters& record, unsigned number, unsigned numActive) {
    const unsigned P = getNumFitted();
    const double dof = static_cast<double>(w.T) - P;
    loadSettings(record);
    chisquare_ = abs_chisquare > 0.0 ? 2.0 * abs_chisquare : 1.0;
    stopCode_ = RUNNING;
    MESSAGE(3, "VOXEL %d,%d,%d (%d of %d)\n", static_cast<int>(x_), static_cast<int>(y_), static_cast<int>(z_),
            static_cast<int>(number + 1), static_cast<int>(numActive));
    _MessageHelper::indent(2);
    MESSAGE(3, "absTol=%g relTol=%g absTolX=%g relTolX=%g\n", abs_chisquare, delta_chisquare, abs_delta_argument,
            rel_delta_argument);
    const bool finite = loadCurves(w);
    initParameters();
    if (_MessageHelper::enabled(3)) printParameters("INITIAL: ");
    if (!finite) {
        skipVoxel(record);
        _MessageHelper::outdent(2);
        return;
    }
    loadStart(w);
    startTimer();

    // The first pass reports tolerances that cannot stop anything.
    Progress p;
    p.delta = delta_chisquare > 0.0 ? 2.0 * delta_chisquare : 1.0;
    p.dAbs = abs_delta_argument > 0.0 ? 2.0 * abs_delta_argument : 1.0;
    p.dRel = rel_delta_argument > 0.0 ? 2.0 * rel_delta_argument : 1.0;
    iteration_ = 0;
    for (;;) {
        MESSAGE(4, "ITERATION %d:\n", iteration_);
        _MessageHelper::indent(2);
        if (!statusfile.empty()) status(w.t.data(), w.y.data(), static_cast<int>(w.T));
        stopCode_ = mrqmin(w, p.lambda);
        if (_MessageHelper::enabled(4)) printParameters("");
        if (iteration_ != 0) {
            p.delta = (p.lastChi - chisquare_) / chisquare_;
            measureChange(w, p);
        }
        countRamp(p);
        MESSAGE(4, "chi^2/d.o.f. = %lg lambda = %lg (%d) delta = %lg absTolX=%g relTolX=%g\n", chisquare_ / dof,
                p.lambda, p.ramp, p.delta, p.dAbs, p.dRel);
        _MessageHelper::outdent(2);
        if (stopCode_ != RUNNING) break;  // singular system
        stopCode_ = stopRule(p);
        if (stopCode_ != RUNNING) break;
        if (p.lambda < p.lastLambda || iteration_ == 0) {  // the step was taken: the new reference
            w.aold = w.a;
            p.lastChi = chisquare_;
        }
        p.lastLambda = p.lambda;
        ++iteration_;
    }
    double closing = 0.0;  // lambda 0: the call that ends the fit
    mrqmin(w, closing);
    incrementTimer(1);
    if (!statusfile.empty()) {  // the last file carries the next number
        ++iteration_;
        status(w.t.data(), w.y.data(), static_cast<int>(w.T));
        --iteration_;
    }

    record.x_ = x_;
    record.y_ = y_;
    record.z_ = z_;
    record.numiter = iteration_;
    record.chisquare_ = chisquare_;
    record.unweightedChisquare_ = unweightedChisquare_;
    record.exitFlag_ = stopCode_;
    record.rsc_ = signChanges_;
    record.time_ = totalTime_;
    // When the last step was taken, the model was last evaluated at the final
    // parameters: the covariance takes those values instead of evaluating
    // once more. From verbosity 4 on it evaluates anyway, so that the traces
    // of the model and its input (and the counts of the input's caches that
    // they print) are those of the evaluation.
    if (!_MessageHelper::enabled(4) && w.evaluatedAt(w.a))
        finishParameters(w.values.data(), w.derivatives.data());
    else
        finishParameters();
    MESSAGE(3, "FINISHED after %d iterations (%.3lfs): chi^2/d.o.f. = %lg due to '%s'\n", iteration_, totalTime_,
            chisquare_ / dof, reasons_[static_cast<size_t>(stopCode_)].c_str());
    MESSAGE(3, "unweighted chi^2 = %lg , #sign changes =  %d\n", unweightedChisquare_, signChanges_);
    if (_MessageHelper::enabled(3)) printParameters("FINAL ");
    _MessageHelper::outdent(2);
}

bool LevenbergMarquardt::loadCurves(Work& w) {
    bool finite = true;
    for (unsigned t = 0; t < w.T; ++t) {
        w.y[t + 1] = getData(data_, t);
        w.sig[t + 1] = error_ != nullptr ? getData(error_, t) : 0.0;
        finite = finite && std::isfinite(w.y[t + 1]) && std::isfinite(w.sig[t + 1]);
    }
    return finite;
}

void LevenbergMarquardt::loadStart(Work& w) {
    for (unsigned i = 0; i < w.P; ++i) {
        const unsigned index = fitted_[i].index;
        const Parameter& p = model_->getParameterByIndex(index);
        w.a[i + 1] = model_->getParameterValueByIndex(index, x_, y_, z_);
        w.lower[i + 1] = p.getMin();
        w.upper[i + 1] = p.getMax();
    }
}

// Not-a-number or infinite data would make every step meaningless: the voxel
// keeps its start values, its errors and chi-square are not a number and its
// record says that no rule ended it.
void LevenbergMarquardt::skipVoxel(OptimizerParameters& record) {
    WARNING("voxel %d,%d,%d has data or errors that are not finite: not fitted\n", static_cast<int>(x_),
            static_cast<int>(y_), static_cast<int>(z_));
    const double nan = std::nan("");
    for (const Fitted& f : fitted_) model_->setParameterError(f.name, x_, y_, z_, nan);
    iteration_ = 0;
    stopCode_ = RUNNING;
    chisquare_ = nan;
    unweightedChisquare_ = nan;
    signChanges_ = 0;
    record.x_ = x_;
    record.y_ = y_;
    record.z_ = z_;
    record.numiter = 0;
    record.chisquare_ = nan;
    record.unweightedChisquare_ = nan;
    record.exitFlag_ = RUNNING;
    record.rsc_ = 0;
    record.time_ = totalTime_;
}

void LevenbergMarquardt::measureChange(const Work& w, Progress& p) const {
    p.dAbs = 0.0;
    p.dRel = 0.0;
    if (!(abs_delta_argument > 0.0 || rel_delta_argument > 0.0)) return;
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

bool LevenbergMarquardt::iterationLimitReached() const { return iteration_ == maxiter; }

bool LevenbergMarquardt::chiSquareSettled(const Progress& p) const {
    return delta_chisquare > 0.0 && p.delta <= delta_chisquare && p.lambda < p.lastLambda;
}

bool LevenbergMarquardt::chiSquareSmall() const { return abs_chisquare > 0.0 && chisquare_ < abs_chisquare; }

bool LevenbergMarquardt::lambdaRamped(const Progress& p) const { return p.ramp >= rampLimit_; }

bool LevenbergMarquardt::argumentSettledAbsolute(const Progress& p) const {
    return abs_delta_argument > 0.0 && p.dAbs < abs_delta_argument && p.lambda < p.lastLambda;
}

bool LevenbergMarquardt::argumentSettledRelative(const Progress& p) const {
    return rel_delta_argument > 0.0 && p.dRel < rel_delta_argument && p.lambda < p.lastLambda;
}

int LevenbergMarquardt::stopRule(const Progress& p) const {
    int code = RUNNING;
    if (iterationLimitReached()) code = ITERATIONS;
    if (chiSquareSettled(p)) code = RELATIVE_CHISQUARE;
    if (chiSquareSmall()) code = ABSOLUTE_CHISQUARE;
    if (lambdaRamped(p)) code = LAMBDA_RAMP;
    if (argumentSettledAbsolute(p)) code = ABSOLUTE_ARGUMENT;
    if (argumentSettledRelative(p)) code = RELATIVE_ARGUMENT;
    return code;
}

void LevenbergMarquardt::status(const double* t, const double* y, int T) const {
    writeStatus(iteration_, t + 1, y + 1, static_cast<unsigned>(T));
}
