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
#include "optimizers/GunnBFM.grid.h"
#include "util/Message.h"

// The working set of one run: the grid (built by beginRun, read by every
// voxel) and the voxel's scratch.
struct GunnBFM::Work : Optimizer::Voxel::State, bfm::Grid {
    explicit Work(const Optimizer::Voxel& v) : T(v.T), tac(v.T, 0.0), fit(v.T, 0.0) {}
    const unsigned T;
    std::vector<double> ref;  // reference curve, normal units [T]
    std::vector<double> B;    // basis, frame-major: B[t * N + i], normal units
    // The basis again in blocks of G grid points, frame-major within a block
    // (block b, frame t, point k at (b T + t) G + k), for blockSums.
    std::vector<double> blocked;
    std::vector<double> BT;   // the time-weighted convolutions, laid out as B
    // The model's own derivatives are rebuilt from the basis (see derivatives).
    bool ownDerivatives = false;
    std::vector<unsigned> fittedIndex;   // the model's index of each fit index [P]
    std::vector<double> fittedFactor;    // unit factor times modelScale [P]
    std::vector<double> dfit;            // derivatives [T * P]
    double k2Factor = 1.0;  // of k2's unit
    // The voxel's scratch: its curve, the fit, sum_t B[t][i] y[t] in model
    // units, and every grid point's solve [padded].
    std::vector<double> tac, fit, sby, r1, k2, BP, chi;
    std::vector<double> conv, D;  // the best point's basis and t conv - convT [T]
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
    w.conv.assign(T, 0.0);
    w.D.assign(T, 0.0);
    w.padded = (w.N + bfm::G - 1) / bfm::G * bfm::G;
    for (std::vector<double>* a : {&w.k2a, &w.invK2a, &w.Sbb, &w.Srb, &w.delta, &w.invDelta, &w.sby, &w.r1, &w.k2,
                                   &w.BP, &w.chi})
        a->assign(w.padded, 0.0);
    w.blocked.assign(static_cast<size_t>(w.padded) * T, 0.0);
    w.k2Factor = k2.getUnit().getFactor();
    w.Srr = 0.0;
    for (unsigned i = 0; i < w.N; ++i) w.k2a[i] = k2aMin + i * (k2aMax - k2aMin) / (w.N - 1);
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
            w.blocked[(static_cast<size_t>(i / bfm::G) * T + t) * bfm::G + i % bfm::G] = b;
            if (w.ownDerivatives)
                w.BT[static_cast<size_t>(t) * w.N + i] = convTimeExpAt(*input, w.k2a[i], tm, 0, 0, 0) * inputScale;
            w.Sbb[i] += b * b;
            w.Srb[i] += w.ref[t] * b;
        }
        MESSAGE(4, "convExpK2a[%u,0]=%lg\n", t, w.B[static_cast<size_t>(t) * w.N]);
    }
    for (unsigned i = 0; i < w.N; ++i) {
        w.delta[i] = w.Srr * w.Sbb[i] - w.Srb[i] * w.Srb[i];
        w.invDelta[i] = 1.0 / w.delta[i];
    }
    // The padding points repeat the last one, so that every lane computes
    // finite numbers; the pick never looks at them.
    for (unsigned i = w.N; i < w.padded; ++i) {
        for (std::vector<double>* a : {&w.k2a, &w.invK2a, &w.Sbb, &w.Srb, &w.delta, &w.invDelta}) (*a)[i] = (*a)[w.N - 1];
        for (unsigned t = 0; t < T; ++t)
            w.blocked[(static_cast<size_t>(i / bfm::G) * T + t) * bfm::G + i % bfm::G] =
                w.B[static_cast<size_t>(t) * w.N + w.N - 1];
    }
    return true;
}


void GunnBFM::run(Voxel& voxel) {
    Work& w = voxel.state<Work>();
    const unsigned T = voxel.T, N = w.N;
    const double invS = 1.0 / w.modelScale;
    startTimer();
    getCurve(data_, w.tac.data(), T);
    std::copy(w.tac.begin(), w.tac.end(), voxel.data.begin());
    if (_MessageHelper::enabled(4))
        for (unsigned t = 0; t < T; ++t) MESSAGE(4, "tac[%u]=%lg\n", t, w.tac[t]);
    // The data's sums with the reference and with every basis function, each
    // summed over the frames in order; G basis functions at a time.
    double Sry = 0.0, Syy = 0.0;
    for (unsigned t = 0; t < T; ++t) {
        const double y = w.tac[t];
        Sry += w.ref[t] * y;
        Syy += y * y;
    }
    Sry *= invS;
    bfm::blockSums(w.blocked.data(), w.tac.data(), T, w.padded / bfm::G, w.sby.data());
    for (unsigned i = 0; i < N; ++i) w.sby[i] *= invS;
    // The grid point of the lowest residual among those with BPstar in its
    // bounds; if there is none, the last one.
    bool kept = false, good = true;
    unsigned best = 0;
    double bestR1 = 0.0, bestK2 = 0.0, bestChi = 0.0;
    auto keep = [&](unsigned i, double r1, double k2, double chi) {
        if (chi < bestChi || !kept) {
            bestChi = chi;
            kept = true;
            best = i;
            bestR1 = r1;
            bestK2 = k2;
        }
    };
    if (!_MessageHelper::enabled(2)) {
        // Quiet: every grid point solved in one pass, lane by lane, then the pick.
        for (unsigned i = 0; i < w.padded; i += bfm::L) {
            const bfm::Solved<bfm::Lane> p = w.solve(i, bfm::load(&w.sby[i]), Sry, Syy);
            bfm::store(&w.r1[i], p.R1);
            bfm::store(&w.k2[i], p.k2);
            bfm::store(&w.BP[i], p.BP);
            bfm::store(&w.chi[i], p.chi);
        }
        for (unsigned i = 0; i < N; ++i)
            if (w.inBounds(w.BP[i])) keep(i, w.r1[i], w.k2[i], w.chi[i]);
        if (!kept) {
            keep(N - 1, w.r1[N - 1], w.k2[N - 1], w.chi[N - 1]);
            good = false;
        }
    } else {
        for (unsigned i = 0; i < N; ++i) {
            if (std::fabs(w.delta[i]) < 1e-8) MESSAGE(2, "close to singular BFM matrix; delta=%lg\n", w.delta[i]);
            const bfm::Solved<double> p = w.solve(i, w.sby[i], Sry, Syy);
            if (!w.inBounds(p.BP)) {
                MESSAGE(4, "BP out of bounds with basis function %d: %lg\n", static_cast<int>(i), p.BP);
                if (!(i == N - 1 && !kept)) continue;
                MESSAGE(2, "VOXEL %d,%d,%d (%d of %d): all estimates out of bounds, keeping last!\n",
                        static_cast<int>(voxel.x), static_cast<int>(voxel.y), static_cast<int>(voxel.z),
                        static_cast<int>(voxel.number + 1), static_cast<int>(voxel.count));
                good = false;
            }
            if (_MessageHelper::enabled(5))
                for (unsigned t = 0; t < T; ++t) {
                    const double f = p.R1 * w.ref[t] + p.th * w.B[static_cast<size_t>(t) * N + i];
                    MESSAGE(5, "fit=%lg, fit*modelScale=%lg \n", f, f * w.modelScale);
                }
            MESSAGE(4, "chi[%u]=%lg \n", i, p.chi);
            keep(i, p.R1, p.k2, p.chi);
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
    model_->setParameterValueByIndex(Neuro_SLAM_Model::R1, voxel.x, voxel.y, voxel.z, bestR1);
    model_->setParameterValueByIndex(Neuro_SLAM_Model::K2, voxel.x, voxel.y, voxel.z, bestK2 / w.k2Factor);
    model_->setParameterValueByIndex(Neuro_SLAM_Model::BPSTAR, voxel.x, voxel.y, voxel.z, BP);
    if (!statusfile.empty()) status(w, voxel);
    voxel.chisquare = chi;
    voxel.unweightedChisquare = chi;
    voxel.signChanges = changes;
    // Out of bounds everywhere: the last grid point was kept, and the
    // record's exit flag says so (endRun counts these).
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
    const unsigned N = w.N, T = w.T, P = static_cast<unsigned>(w.fittedIndex.size());
    const double bp1 = 1.0 + bp, k2a = w.k2a[best];
    for (unsigned t = 0; t < T; ++t) {
        w.conv[t] = w.B[static_cast<size_t>(t) * N + best];
        w.D[t] = voxel.times[t] * w.conv[t] - w.BT[static_cast<size_t>(t) * N + best];
    }
    for (unsigned j = 0; j < P; ++j) {
        const double f = w.fittedFactor[j];
        double* d = &w.dfit[j];
        switch (w.fittedIndex[j]) {
            case Neuro_SLAM_Model::R1:
                for (unsigned t = 0; t < T; ++t) d[t * P] = (w.ref[t] - k2a * w.conv[t]) * f;
                break;
            case Neuro_SLAM_Model::K2:
                for (unsigned t = 0; t < T; ++t) d[t * P] = (1.0 - r1 / bp1) * (w.conv[t] - w.D[t] * k2a) * f;
                break;
            case Neuro_SLAM_Model::BPSTAR:
                for (unsigned t = 0; t < T; ++t)
                    d[t * P] = (r1 * w.conv[t] + (k2 - r1 * k2a) * w.D[t]) * k2 / (bp1 * bp1) * f;
                break;
            default:
                for (unsigned t = 0; t < T; ++t) d[t * P] = 0.0 * f;
                break;
        }
    }
}

void GunnBFM::endRun(Voxel&) {
    unsigned outOfBounds = 0;
    for (unsigned i = 0; i < voxelsWalked_ && i < parameters_.size(); ++i)
        if (parameters_[i].exitFlag_ == 0) ++outOfBounds;
    MESSAGE(2, "%u final estimates out of bounds.\n", outOfBounds);
}

Optimizer* GunnBFM::makeWorker(Optimizable* model) const { return new GunnBFM(*this, model); }

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
