// The Simplex voxel: the downhill simplex search on the voxel's sum of
// squared residuals, the best vertex written back, the record and report.
#include "optimizers/Simplex.h"

#include <algorithm>
#include <cmath>

#include "Optimizable.h"
#include "optimizers/Simplex.work.h"
#include "util/Message.h"

Simplex::Simplex() : Optimizer("Simplex") {
    reasons_ = {"", "", "", "number of iterations", "relative fitting error", "absolute fitting error"};
}

Simplex::~Simplex() {}

Optimizer* Simplex::makeWorker(Optimizable* model) const { return new Simplex(*this, model); }

void Simplex::run(Voxel& voxel) {
    Work& w = voxel.state<Work>();
    if (!beginVoxel(voxel)) return;
    w.load();
    startTimer();
    const double spread = nelderMead(w);

    // The best vertex goes back into the parameters (a search leaves there
    // the last point it tried), so that the maps, the errors and the
    // chi-square all describe this one point.
    w.chisquare = func(w, w.a.data());
    w.stopCode = stopRule(w, spread);
    w.signChanges = 0;
    for (unsigned t = 1; t < voxel.T; ++t)
        if ((voxel.data[t] - w.model[t] >= 0.0) != (voxel.data[t - 1] - w.model[t - 1] >= 0.0)) ++w.signChanges;
    incrementTimer(1);
    if (!statusfile.empty()) status(voxel, w.iteration + 1);  // the last file carries the next number

    voxel.iterations = w.iteration;
    voxel.chisquare = w.chisquare;
    voxel.unweightedChisquare = w.chisquare;  // the objective is the unweighted sum itself
    voxel.exitFlag = w.stopCode;
    voxel.signChanges = w.signChanges;
    // The model values at the best vertex are at hand; from verbosity 4 on
    // the errors evaluate anyway, so that the traces show the evaluation.
    finishVoxel(voxel, _MessageHelper::enabled(4) ? nullptr : w.model.data());
    MESSAGE(3, "FINISHED after %d iterations (%.3lfs): chi^2/d.o.f. = %lg due to %s\n", w.iteration, totalTime_,
            w.chisquare / (static_cast<double>(voxel.T) - voxel.P), reasons_[static_cast<size_t>(w.stopCode)].c_str());
    MESSAGE(3, "unweighted chi^2 = %lg , #sign changes =  %d\n", w.chisquare, w.signChanges);
}

// sum_t (f(t; p) - y_t)^2, with the model values kept for the record.
double Simplex::func(Work& w, const double* p) {
    for (unsigned i = 0; i < w.P; ++i) {
        const Fitted& f = fitted_[i];
        model_->setParameterValueByIndex(f.index, x_, y_, z_, p[i]);
        MESSAGE(5, "  %s = %lg\n", f.name.c_str(), p[i]);
    }
    const Voxel& v = w.voxel;
    model_->evaluate(v.times.data(), v.T, x_, y_, z_, nullptr, 0, w.model.data(), nullptr);
    double sum = 0.0;
    for (unsigned t = 0; t < v.T; ++t) {
        const double r = w.model[t] - v.data[t];
        sum += r * r;
    }
    return std::isnan(sum) ? HUGE_VAL : sum;
}

void Simplex::checkBounds(double* p, const double* lower, const double* upper, unsigned P) {
    for (unsigned i = 0; i < P; ++i) {
        if (!(upper[i] > lower[i])) continue;
        if (p[i] < lower[i]) p[i] = lower[i];
        if (p[i] > upper[i]) p[i] = upper[i];
    }
}

// Vertex i < P is the start moved along parameter i by 5 % of its value
// (0.00025 for a value of 0), in single precision; vertex P is the start.
// A step that would leave the bounds goes the other way, and is cut to the
// bounds if the range is narrower than the step: every vertex lies inside,
// as the best one may never be replaced.
void Simplex::nelderMeadInit(Work& w) {
    const unsigned P = w.P;
    const double* lower = w.voxel.lower.data();
    const double* upper = w.voxel.upper.data();
    checkBounds(w.a.data(), lower, upper, P);
    for (unsigned i = 0; i <= P; ++i) std::copy(w.a.begin(), w.a.end(), w.row(i));
    for (unsigned i = 0; i < P; ++i) {
        const double start = w.a[i];
        double step = start != 0.0 ? static_cast<double>(static_cast<float>(0.05 * start))
                                   : static_cast<double>(0.00025f);
        const bool ranged = upper[i] > lower[i];
        if (ranged && (start + step > upper[i] || start + step < lower[i])) step = -step;
        double* row = w.row(i);
        row[i] = start + step;
        checkBounds(row, lower, upper, P);
        if (row[i] != start + step) step = row[i] - start;
        w.psum[i] = (P + 1) * start + step;
        w.values[i] = func(w, row);
    }
    w.values[P] = func(w, w.row(P));
}

double Simplex::nelderMead(Work& w) {
    nelderMeadInit(w);
    w.ilo = 0;
    double spread = 0.0;
    // No steps to take: the start stands, whichever vertex is lower.
    if (w.iteration >= w.budget()) return spread;
    const StopSettings& s = w.settings();
    const bool trace = _MessageHelper::enabled(4);
    bool first = true;
    do {
        MESSAGE(4, "ITERATION %d:\n", w.iteration);
        _MessageHelper::indent(2);
        if (trace) {
            printParameters("");
            std::copy(w.row(w.ilo), w.row(w.ilo) + w.P, w.kept.begin());
        }
        if (!statusfile.empty()) status(w.voxel, w.iteration);
        rank(w);
        const double hi = w.values[w.ihi], lo = w.values[w.ilo];
        spread = 2.0 * std::fabs(hi - lo) / std::fabs(hi + lo);
        if (trace) {
            // How far the best vertex moved in this pass: reported, it stops nothing.
            double relArg = 2.0 * s.rel_delta_argument;
            if (!first) {
                relArg = 0.0;
                for (unsigned j = 0; j < w.P; ++j) relArg += std::fabs(w.row(w.ilo)[j] - w.kept[j]);
            }
            MESSAGE(4, "relArg=%g relTol=%g minErr=%g\n", relArg, spread, lo);
        }
        first = false;
        // Both tolerances are compared whatever their sign; a spread of
        // 0 / 0 (every vertex fits exactly) is no number and leaves only by
        // the absolute one.
        if (s.delta_chisquare >= spread || s.abs_chisquare >= lo) {
            _MessageHelper::outdent(2);
            break;
        }
        move(w);
        _MessageHelper::outdent(2);
    } while (w.iteration < w.budget());
    const unsigned best = lowest(w);
    std::copy(w.row(best), w.row(best) + w.P, w.a.begin());
    return spread;
}

// ilo: the lowest value, ties to the later vertex; ihi: the highest; inhi:
// the highest but ihi.
void Simplex::rank(Work& w) {
    const std::vector<double>& v = w.values;
    w.ilo = 0;
    if (v[0] <= v[1]) {
        w.ihi = 1;
        w.inhi = 0;
    } else {
        w.ihi = 0;
        w.inhi = 1;
    }
    for (unsigned i = 1; i <= w.P; ++i) {
        if (v[w.ilo] >= v[i]) w.ilo = i;
        if (v[i] > v[w.ihi]) {
            w.inhi = w.ihi;
            w.ihi = i;
        } else if (i != w.ihi && v[i] > v[w.inhi]) {
            w.inhi = i;
        }
    }
}

unsigned Simplex::lowest(const Work& w) {
    unsigned best = 0;
    for (unsigned i = 1; i <= w.P; ++i)
        if (w.values[best] >= w.values[i]) best = i;
    return best;
}

// trial = c + fac (worst - c), c the centroid of the other P vertices, in
// the running sums: c = (psum - worst) / P.
double Simplex::tryPoint(Work& w, double fac) {
    const double fac1 = (1.0 - fac) / w.P;
    const double fac2 = fac1 - fac;
    double* worst = w.row(w.ihi);
    for (unsigned j = 0; j < w.P; ++j) w.trial[j] = w.psum[j] * fac1 - worst[j] * fac2;
    checkBounds(w.trial.data(), w.voxel.lower.data(), w.voxel.upper.data(), w.P);
    const double value = func(w, w.trial.data());
    if (value < w.values[w.ihi]) {
        for (unsigned j = 0; j < w.P; ++j) {
            w.psum[j] += w.trial[j] - worst[j];
            worst[j] = w.trial[j];
        }
        w.values[w.ihi] = value;
    }
    return value;
}

// Reflect; a new best expands, a point no better than the second worst
// contracts, and a failed contraction shrinks the simplex.
void Simplex::move(Work& w) {
    const double reflect = -1.0, expand = 2.0, contract = 0.5;
    const double reflected = tryPoint(w, reflect);
    if (reflected <= w.values[w.ilo]) {
        ++w.iteration;
        tryPoint(w, expand);
    } else if (reflected >= w.values[w.inhi]) {
        ++w.iteration;
        const double worst = w.values[w.ihi];
        if (!(tryPoint(w, contract) < worst)) shrink(w);
    }
}

// Every vertex but the best moves halfway towards it (inside the bounds, as
// both ends are); counts P steps.
void Simplex::shrink(Work& w) {
    w.iteration += static_cast<int>(w.P);
    const double* best = w.row(w.ilo);
    std::copy(best, best + w.P, w.psum.begin());
    for (unsigned i = 0; i <= w.P; ++i) {
        if (i == w.ilo) continue;
        double* row = w.row(i);
        for (unsigned j = 0; j < w.P; ++j) {
            row[j] = 0.5 * (row[j] + best[j]);
            w.psum[j] += row[j];
        }
        w.values[i] = func(w, row);
    }
}

int Simplex::stopRule(const Work& w, double spread) {
    const StopSettings& s = w.settings();
    int code = RUNNING;
    if (w.iteration == s.maxiter) code = ITERATIONS;
    if (s.delta_chisquare > 0.0 && spread <= s.delta_chisquare) code = RELATIVE_CHISQUARE;
    if (s.abs_chisquare > 0.0 && w.chisquare < s.abs_chisquare) code = ABSOLUTE_CHISQUARE;
    return code;
}

void Simplex::status(const Voxel& voxel, int iteration) const {
    writeStatus(iteration, voxel.times.data(), voxel.data.data(), voxel.T);
}
