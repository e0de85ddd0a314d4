#include "optimizers/GunnBFM.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>

#include "Dataset.h"
#include "InputFunction.h"
#include "Parameter.h"
#include "models/Neuro_SLAM_Model.h"
#include "models/RateConvolution.h"
#include "util/Message.h"

// The working set of one run: built by beginRun, read by every voxel.
struct GunnBFM::Work : Optimizer::Voxel::State {
    explicit Work(const Optimizer::Voxel& v) : T(v.T), tac(v.T, 0.0), fit(v.T, 0.0) {}
    const unsigned T;
    unsigned N = 0;  // grid size
    double r1Min = 0, r1Max = 0, bpMin = 0, bpMax = 0, k2Min = 0, k2Max = 0;  // k2 in normal units
    double modelScale = 1.0;  // 1 / factor of the model's unit
    std::vector<double> ref;  // reference curve, normal units [T]
    std::vector<double> k2a;  // the grid [N]
    std::vector<double> B;    // basis, frame-major: B[t * N + i], normal units
    std::vector<double> BT;   // the time-weighted convolutions, laid out as B
    // The model's own derivatives are rebuilt from the basis (see derivatives).
    bool ownDerivatives = false;
    std::vector<unsigned> fittedIndex;   // the model's index of each fit index [P]
    std::vector<double> fittedFactor;    // unit factor times modelScale [P]
    std::vector<double> dfit;            // derivatives [T * P]
    std::vector<double> Sbb, Srb;  // per grid point [N]
    // Per grid point: delta = Srr Sbb - Srb^2 and its inverse, 1 / k2a [N];
    // the voxel's solve multiplies instead of dividing.
    std::vector<double> delta, invDelta, invK2a;
    double Srr = 0.0;
    unsigned outOfBounds = 0;
    // The voxel's scratch: its curve, the fit, and sum_t B[t][i] y[t] [N].
    std::vector<double> tac, fit, sby;
};

GunnBFM::GunnBFM() : Optimizer("GunnBFM") {}

GunnBFM::~GunnBFM() {}

bool GunnBFM::beginRun(Voxel& voxel) {
    const int N = parameters_.empty() ? maxiter : parameters_[0].maxiter;
    // The grid step divides by N - 1: fewer than two grid points is no grid.
    if (N < 2) {
        ERROR("GunnBFM needs at least 2 basis functions (maxiter), not %d", N);
        return false;
    }
    Neuro_SLAM_Model* model = dynamic_cast<Neuro_SLAM_Model*>(model_);
    if (model == nullptr) {
        // Nothing useful can follow on another model: the run ends here.
        ERROR("GunnBFM method only works for model Neuro_SLAM, not %s", model_->getName().c_str());
        return false;
    }
    Work& w = voxel.state<Work>();
    w.N = static_cast<unsigned>(N);
    const Parameter& R1 = model->getParameter("R1");
    const Parameter& k2 = model->getParameter("k2");
    const Parameter& BP = model->getParameter("BPstar");
    w.r1Min = R1.getMin();
    w.r1Max = R1.getMax();
    w.bpMin = BP.getMin();
    w.bpMax = BP.getMax();
    w.k2Min = k2.getMin() * k2.getUnit().getFactor();
    w.k2Max = k2.getMax() * k2.getUnit().getFactor();
    const double k2aMin = w.k2Min / (1.0 + w.bpMax);
    const double k2aMax = w.k2Max;
    MESSAGE(2, "parameter bounds: %lg<k2<%lg, BPstar<%lg => %lg<k2a<%lg\n", w.k2Min, w.k2Max, w.bpMax, k2aMin,
            k2aMax);
    // A BPstar maximum at or below -1 makes the lower limit infinite or negative
    // and the convolutions meaningless: refused rather than evaluated.
    if (!(std::isfinite(k2aMin) && std::isfinite(k2aMax))) {
        ERROR("GunnBFM: the bounds of k2 and BPstar give no finite k2a grid");
        return false;
    }
    InputFunction* input = model->getInput(0u);
    const double inputScale = input->getUnit().getFactor();
    w.modelScale = 1.0 / model->getUnit().getFactor();
    MESSAGE(4, "inputScale=%lg, modelScale=%lg\n", inputScale, w.modelScale);

    // The reference curve and the basis both in normal units (the input's
    // value times its unit's factor), so that they agree whatever the units.
    const unsigned T = voxel.T;
    w.ref.assign(T, 0.0);
    w.k2a.assign(w.N, 0.0);
    w.B.assign(static_cast<size_t>(T) * w.N, 0.0);
    w.BT.assign(static_cast<size_t>(T) * w.N, 0.0);
    // With the model's analytic derivatives and no further input, the errors
    // take the fit's values and derivatives from the basis instead of
    // evaluating the model again at every frame.
    w.ownDerivatives = !model->getNumDer() && model->getNumInputs() == 1;
    w.fittedIndex.clear();
    w.fittedFactor.clear();
    for (const Fitted& f : fitted_) {
        w.fittedIndex.push_back(f.index);
        w.fittedFactor.push_back(model->getParameterByIndex(f.index).getUnit().getFactor() * w.modelScale);
    }
    w.dfit.assign(static_cast<size_t>(T) * fitted_.size(), 0.0);
    w.Sbb.assign(w.N, 0.0);
    w.Srb.assign(w.N, 0.0);
    w.sby.assign(w.N, 0.0);
    w.Srr = 0.0;
    w.outOfBounds = 0;
    for (unsigned i = 0; i < w.N; ++i) w.k2a[i] = k2aMin + i * (k2aMax - k2aMin) / (w.N - 1);
    w.invK2a.assign(w.N, 0.0);
    for (unsigned i = 0; i < w.N; ++i) w.invK2a[i] = 1.0 / w.k2a[i];
    for (unsigned t = 0; t < T; ++t) {
        const double tm = voxel.times[t];
        w.ref[t] = (*input)(tm, 0, 0, 0) * inputScale;
        w.Srr += w.ref[t] * w.ref[t];
        MESSAGE(4, "ref[%u]=%lg\n", t, w.ref[t]);
        MESSAGE(4, "time[%u]=%lg\n", t, tm);
        for (unsigned i = 0; i < w.N; ++i) {
            const double b = convExpAt(*input, w.k2a[i], tm, 0, 0, 0) * inputScale;
            w.B[static_cast<size_t>(t) * w.N + i] = b;
            if (w.ownDerivatives)
                w.BT[static_cast<size_t>(t) * w.N + i] = convTimeExpAt(*input, w.k2a[i], tm, 0, 0, 0) * inputScale;
            w.Sbb[i] += b * b;
            w.Srb[i] += w.ref[t] * b;
        }
        MESSAGE(4, "convExpK2a[%u,0]=%lg\n", t, w.B[static_cast<size_t>(t) * w.N]);
    }
    w.delta.assign(w.N, 0.0);
    w.invDelta.assign(w.N, 0.0);
    for (unsigned i = 0; i < w.N; ++i) {
        w.delta[i] = w.Srr * w.Sbb[i] - w.Srb[i] * w.Srb[i];
        w.invDelta[i] = 1.0 / w.delta[i];
    }
    return true;
}

namespace {

// x clamped to [lo, hi] when the bounds are set (hi > lo); as it is otherwise.
double clampSet(double x, double lo, double hi) {
    if (!(hi > lo)) return x;
    return x < lo ? lo : (x > hi ? hi : x);
}

}  // namespace

void GunnBFM::run(Voxel& voxel) {
    Work& w = voxel.state<Work>();
    const unsigned T = voxel.T, N = w.N;
    const double s = w.modelScale, invS = 1.0 / s;
    startTimer();
    // The data's sums with the reference and with every basis function, the
    // basis read row by row (frame-major) in one pass.
    double Sry = 0.0, Syy = 0.0;
    std::fill(w.sby.begin(), w.sby.end(), 0.0);
    for (unsigned t = 0; t < T; ++t) {
        const double y = getData(data_, t);
        w.tac[t] = y;
        voxel.data[t] = y;
        MESSAGE(4, "tac[%u]=%lg\n", t, y);
        Sry += w.ref[t] * y;
        Syy += y * y;
        const double* b = &w.B[static_cast<size_t>(t) * N];
        for (unsigned i = 0; i < N; ++i) w.sby[i] += b[i] * y;
    }
    Sry *= invS;
    bool kept = false;
    bool good = true;
    unsigned best = 0;
    double bestR1 = 0.0, bestK2 = 0.0, bestChi = 0.0;
    const bool boundsBP = w.bpMax > w.bpMin;
    for (unsigned i = 0; i < N; ++i) {
        const double sby = w.sby[i] * invS;
        const double Sbb = w.Sbb[i], Srb = w.Srb[i];
        if (std::fabs(w.delta[i]) < 1e-8) MESSAGE(2, "close to singular BFM matrix; delta=%lg\n", w.delta[i]);
        double R1 = (Sbb * Sry - Srb * sby) * w.invDelta[i];
        const double theta = (w.Srr * sby - Srb * Sry) * w.invDelta[i];
        double k2 = theta + w.k2a[i] * R1;
        const double BP = k2 * w.invK2a[i] - 1.0;
        // Not a number counts as out of bounds; unset BPstar bounds bound nothing.
        if (boundsBP && !(BP >= w.bpMin && BP <= w.bpMax)) {
            MESSAGE(4, "BP out of bounds with basis function %d: %lg\n", static_cast<int>(i), BP);
            if (!(i == N - 1 && !kept)) continue;
            MESSAGE(2, "VOXEL %d,%d,%d (%d of %d): all estimates out of bounds, keeping last!\n",
                    static_cast<int>(voxel.x), static_cast<int>(voxel.y), static_cast<int>(voxel.z),
                    static_cast<int>(voxel.number + 1), static_cast<int>(voxel.count));
            ++w.outOfBounds;
            good = false;
        }
        R1 = clampSet(R1, w.r1Min, w.r1Max);
        k2 = clampSet(k2, w.k2Min, w.k2Max);
        // The residual sum of squares of y - s (R1 ref + th b) from the sums:
        //   Syy - 2 s (R1 Sry' + th Sby') + s^2 (R1^2 Srr + 2 R1 th Srb + th^2 Sbb),
        // Sry' and Sby' the data's sums in model units; no pass over the frames.
        const double th = k2 - w.k2a[i] * R1;
        const double chi = Syy - 2.0 * s * s * (R1 * Sry + th * sby) +
                           s * s * (R1 * R1 * w.Srr + 2.0 * R1 * th * Srb + th * th * Sbb);
        if (_MessageHelper::enabled(5))
            for (unsigned t = 0; t < T; ++t) {
                const double f = R1 * w.ref[t] + th * w.B[static_cast<size_t>(t) * N + i];
                MESSAGE(5, "fit=%lg, fit*modelScale=%lg \n", f, f * s);
            }
        MESSAGE(4, "chi[%u]=%lg \n", i, chi);
        if (chi < bestChi || !kept) {
            bestChi = chi;
            kept = true;
            best = i;
            bestR1 = R1;
            bestK2 = k2;
        }
    }
    const double k2a = w.k2a[best];
    const double BP = bestK2 / k2a - 1.0;
    MESSAGE(3, "estimated: R1=%lg, k2=%lg, BPstar=%lg,(k2a=%lg, BF=%u), \n", bestR1, bestK2, BP, k2a, best);
    // The record's chi-square is the residual itself, not the sums' form.
    double chi = 0.0;
    int changes = 0;
    bool lastNonNegative = true;
    for (unsigned t = 0; t < T; ++t) {
        w.fit[t] = (bestR1 * w.ref[t] + (bestK2 - k2a * bestR1) * w.B[static_cast<size_t>(t) * N + best]) *
                   w.modelScale;
        const double r = w.tac[t] - w.fit[t];
        chi += r * r;
        const bool nonNegative = r >= 0.0;
        if (t > 0 && nonNegative != lastNonNegative) ++changes;
        lastNonNegative = nonNegative;
    }
    incrementTimer(1);
    const Parameter& k2p = model_->getParameter("k2");
    model_->setParameterValue("R1", voxel.x, voxel.y, voxel.z, bestR1);
    model_->setParameterValue("k2", voxel.x, voxel.y, voxel.z, bestK2 / k2p.getUnit().getFactor());
    model_->setParameterValue("BPstar", voxel.x, voxel.y, voxel.z, BP);
    if (!statusfile.empty()) status(w, voxel);
    voxel.chisquare = chi;
    voxel.unweightedChisquare = chi;
    voxel.signChanges = changes;
    voxel.exitFlag = good ? 1 : 0;
    if (w.ownDerivatives) {
        derivatives(w, voxel, best, bestR1, bestK2, BP);
        finishVoxel(voxel, w.fit.data(), w.dfit.data());
    } else {
        finishVoxel(voxel);
    }
    MESSAGE(3, "FINISHED (%.3lfs): chi^2/d.o.f. = %lg, #sign changes = %d\n", totalTime_,
            chi / (static_cast<double>(T) - voxel.P), changes);
}

void GunnBFM::derivatives(Work& w, const Voxel& voxel, unsigned best, double r1, double k2, double bp) const {
    // The model's analytic derivatives, with conv the basis, convT its
    // time-weighted form and D = t conv - convT (d conv / d k2a = -D):
    //   dR1 = Cr - k2a conv, dk2 = (1 - R1 / (1 + BP)) (conv - D k2a),
    //   dBP = (R1 conv + (k2 - R1 k2a) D) k2 / (1 + BP)^2,
    // each times the parameter's unit factor and the model's scale.
    const unsigned N = w.N, P = static_cast<unsigned>(w.fittedIndex.size());
    const double bp1 = 1.0 + bp, k2a = w.k2a[best];
    for (unsigned t = 0; t < w.T; ++t) {
        const double conv = w.B[static_cast<size_t>(t) * N + best];
        const double D = voxel.times[t] * conv - w.BT[static_cast<size_t>(t) * N + best];
        for (unsigned j = 0; j < P; ++j) {
            double d = 0.0;
            switch (w.fittedIndex[j]) {
                case Neuro_SLAM_Model::R1: d = w.ref[t] - k2a * conv; break;
                case Neuro_SLAM_Model::K2: d = (1.0 - r1 / bp1) * (conv - D * k2a); break;
                case Neuro_SLAM_Model::BPSTAR: d = (r1 * conv + (k2 - r1 * k2a) * D) * k2 / (bp1 * bp1); break;
                default: break;
            }
            w.dfit[static_cast<size_t>(t) * P + j] = d * w.fittedFactor[j];
        }
    }
}

void GunnBFM::endRun(Voxel& voxel) {
    Work& w = voxel.state<Work>();
    MESSAGE(2, "%u final estimates out of bounds.\n", w.outOfBounds);
}

void GunnBFM::status(const Work& w, const Voxel& voxel) const {
    char buffer[1024];
    std::snprintf(buffer, sizeof buffer, "%s_%s_%d,%d,%d", statusfile.c_str(), model_->getName().c_str(),
                  static_cast<int>(voxel.x), static_cast<int>(voxel.y), static_cast<int>(voxel.z));
    std::string fileName(buffer);
    for (char& c : fileName)
        if (c == ' ') c = '_';
    std::ofstream out(fileName.c_str(), std::ios::out | std::ios::trunc);
    if (!out) return;
    out << "# t y fit\n";
    for (unsigned t = 0; t < w.T; ++t) out << voxel.times[t] << " " << w.tac[t] << " " << w.fit[t] << " \n";
}
