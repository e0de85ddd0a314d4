// GunnBFM against an independent solve on the same grid, on noiseless
// Neuro_SLAM data whose k2a lies on a grid node, and with BPstar bounds that
// exclude every estimate. (Its refusals are pinned by the Octave tests.)
#include <gtest/gtest.h>

#include <algorithm>

#include "RunOn.h"
#include "models/Neuro_SLAM_Model.h"
#include "optimizers/GunnBFM.h"

namespace {

using fit::Scene;

// Bounds k2 in [0.05, 0.5]/min and BPstar in [0, 4] give the grid
// k2a = 0.01 + i * 0.01 /min for N = 50.
struct BFMScene : Scene {
    GunnBFM bfm;
    void slam(double r1, double k2, double bp) {
        setModel(new Neuro_SLAM_Model(Unit("kBq/ml"), r1, k2, bp), 2, 1, 1);
        makeData();
        slamBounds();
    }
    void slamBounds() {
        model->setParameterMin("R1", 0.0);
        model->setParameterMax("R1", 3.0);
        model->setParameterMin("k2", 0.05);
        model->setParameterMax("k2", 0.5);
        model->setParameterMin("BPstar", 0.0);
        model->setParameterMax("BPstar", 4.0);
        bfm.maxiter = 50;
    }
    std::string runBFM(bool weighted = false) { return fit::runOn(bfm, *this, weighted); }
};

// The reference curve is linear between its samples, so its convolution with
// exp(-k t) at a sample time is a closed form: over a segment [a, b] of
// length h where it goes from fa to fb, with E(s) = exp(-k (t - s)),
//   fa (Eb - Ea) / k + (fb - fa) / h (h Eb / k - (Eb - Ea) / k^2).
double convolvedAt(const std::vector<double>& s, const std::vector<double>& f, double k, unsigned n) {
    double sum = 0.0;
    for (unsigned j = 0; j < n; ++j) {
        const double h = s[j + 1] - s[j];
        const double Ea = std::exp(-k * (s[n] - s[j])), Eb = std::exp(-k * (s[n] - s[j + 1]));
        sum += f[j] * (Eb - Ea) / k + (f[j + 1] - f[j]) / h * (h * Eb / k - (Eb - Ea) / (k * k));
    }
    return sum;
}

// Every voxel of a noisy 3 x 2 image against all grid points at once: the
// basis by the closed form, per grid point the 2 x 2 normal equations of
// y = R1 ref + theta b, BPstar outside its bounds rejected, R1 and k2
// clamped, the lowest residual kept.
TEST(GunnBFM, AgreesWithAnIndependentSolveOnTheSameGrid) {
    BFMScene s;
    s.setModel(new Neuro_SLAM_Model(Unit("kBq/ml"), 1.0, 0.2, 1.5), 3, 2, 1);
    s.setValues("R1", [](unsigned x, unsigned y, unsigned) { return 0.7 + 0.2 * x + 0.1 * y; });
    s.setValues("k2", [](unsigned x, unsigned y, unsigned) { return 0.12 + 0.07 * x + 0.05 * y; });
    s.setValues("BPstar", [](unsigned x, unsigned y, unsigned) { return 0.4 + 0.9 * x + 0.5 * y; });
    s.makeData();
    s.addNoise(0.3, 5);
    s.slamBounds();
    s.bfm.maxiter = 37;
    s.runBFM();

    const std::vector<double>& t = s.times;  // s, the reference sampled at the frame times
    const unsigned T = static_cast<unsigned>(t.size()), N = 37;
    std::vector<double> ref(T), k2a(N), B(N * T), y(T);
    for (unsigned n = 0; n < T; ++n) ref[n] = fit::plasma(t[n]);
    for (unsigned i = 0; i < N; ++i) {
        k2a[i] = (0.01 + i * (0.5 - 0.01) / (N - 1)) / 60.0;  // k2min / (1 + BPmax) .. k2max, per s
        for (unsigned n = 0; n < T; ++n) B[i * T + n] = convolvedAt(t, ref, k2a[i], n);
    }
    s.forEach([&](unsigned x, unsigned yy, unsigned z) {
        for (unsigned n = 0; n < T; ++n) y[n] = (*s.data)(n, x, yy, z);
        double best = HUGE_VAL, R1best = 0, k2best = 0, BPbest = 0;
        for (unsigned i = 0; i < N; ++i) {
            const double* b = &B[i * T];
            double rr = 0, rb = 0, bb = 0, ry = 0, by = 0;
            for (unsigned n = 0; n < T; ++n)
                rr += ref[n] * ref[n], rb += ref[n] * b[n], bb += b[n] * b[n], ry += ref[n] * y[n], by += b[n] * y[n];
            const double det = rr * bb - rb * rb;
            double R1 = (bb * ry - rb * by) / det;
            const double theta = (rr * by - rb * ry) / det;
            double k2 = theta + k2a[i] * R1;
            if (k2 / k2a[i] - 1.0 < 0.0 || k2 / k2a[i] - 1.0 > 4.0) continue;
            R1 = std::min(std::max(R1, 0.0), 3.0);
            k2 = std::min(std::max(k2, 0.05 / 60), 0.5 / 60);
            double chi = 0;
            for (unsigned n = 0; n < T; ++n) {
                const double r = y[n] - R1 * ref[n] - (k2 - k2a[i] * R1) * b[n];
                chi += r * r;
            }
            if (chi < best) best = chi, R1best = R1, k2best = k2 * 60, BPbest = k2 / k2a[i] - 1.0;
        }
        ASSERT_LT(best, HUGE_VAL);
        EXPECT_NEAR(s.model->getParameterValue("R1", x, yy, z), R1best, 1e-6 * R1best) << x << "," << yy;
        EXPECT_NEAR(s.model->getParameterValue("k2", x, yy, z), k2best, 1e-6 * k2best) << x << "," << yy;
        EXPECT_NEAR(s.model->getParameterValue("BPstar", x, yy, z), BPbest, 1e-6 * (1 + BPbest)) << x << "," << yy;
    });
}

// The errors come from the basis without evaluating the model: the same as
// the covariance the model's own evaluations give. An error dataset changes
// no value; being uniform, it cancels from the errors too.
TEST(GunnBFM, ErrorsMatchTheModelsOwnCovariance) {
    BFMScene s;
    s.slam(1.1, 0.25, 1.5);
    s.addNoise(0.05, 3);
    std::vector<double> unweighted;  // value and error of each voxel and parameter, without the error dataset
    double chisquare = 0.0;
    for (bool weighted : {false, true}) {
        s.runBFM(weighted);
        size_t k = 0;
        for (unsigned x = 0; x < 2; ++x) {
            const Dataset2D<double> c = s.bfm.computeCovariance(x, 0, 0);
            for (const auto& entry : s.bfm.getParameterIndex()) {
                const double e = std::sqrt(c(entry.second, entry.second)), v = s.model->getParameterValue(entry.first, x, 0, 0);
                EXPECT_GT(e, 0.0);
                EXPECT_NEAR(s.model->getParameterError(entry.first, x, 0, 0), e, 1e-9 * e) << entry.first;
                if (!weighted) {
                    unweighted.insert(unweighted.end(), {v, e});
                    continue;
                }
                EXPECT_EQ(v, unweighted[k++]) << entry.first;
                EXPECT_NEAR(e, unweighted[k], 1e-9 * unweighted[k]) << entry.first;
                ++k;
            }
        }
        if (weighted) {
            EXPECT_EQ(s.bfm.getParameters()[1].chisquare_, chisquare);
        }
        chisquare = s.bfm.getParameters()[1].chisquare_;
    }
}

// Noiseless data whose k2a = 0.1/min is grid node 9 are recovered. BPstar
// bounds that exclude the truth: every voxel keeps the last grid point
// (k2a = k2max), flags 0 and is counted at the end.
TEST(GunnBFM, RecoversTheTruthOnAGridNodeAndKeepsTheLastPointOutOfBounds) {
    fit::Verbosity v(2);
    BFMScene s;
    s.slam(1.2, 0.3, 2.0);
    s.runBFM();
    for (unsigned x = 0; x < 2; ++x)
        for (auto [name, truth] : {std::pair{"R1", 1.2}, {"k2", 0.3}, {"BPstar", 2.0}})
            EXPECT_NEAR(s.model->getParameterValue(name, x, 0, 0), truth, 1e-5) << name;
    ASSERT_EQ(s.bfm.getParameters().size(), 2u);
    EXPECT_EQ(s.bfm.getParameters()[0].exitFlag_, 1);
    EXPECT_LT(s.bfm.getParameters()[0].chisquare_, 1e-12);

    s.model->setParameterMin("BPstar", 5.0);
    s.model->setParameterMax("BPstar", 6.0);
    const std::string out = s.runBFM();
    EXPECT_TRUE(fit::contains(out, "VOXEL 1,0,0 (2 of 2): all estimates out of bounds, keeping last!\n")) << out;
    EXPECT_TRUE(fit::endsWith(out, "2 final estimates out of bounds.\n")) << out;
    for (unsigned x = 0; x < 2; ++x) {
        EXPECT_EQ(s.bfm.getParameters()[x].exitFlag_, 0);
        const double k2 = s.model->getParameterValue("k2", x, 0, 0);
        EXPECT_NEAR(s.model->getParameterValue("BPstar", x, 0, 0), k2 / 0.5 - 1.0, 1e-9);
    }
}

}  // namespace
