// The measured input function: interpolation, the closed-form convolutions
// against an independent numerical integral of the same piecewise linear
// curve, the incremental chain, the warnings and the t = 0 adjustment.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Dataset4D.h"
#include "inputs/LinearInterpolation.h"
#include "mexhost.h"
#include "util/Message.h"

namespace {

struct Verbosity {
    explicit Verbosity(unsigned level) : saved(_MessageHelper::verbosity_) { _MessageHelper::verbosity_ = level; }
    ~Verbosity() { _MessageHelper::verbosity_ = saved; }
    unsigned saved;
};

size_t countOf(const std::string& text, const std::string& word) {
    size_t count = 0;
    for (size_t pos = text.find(word); pos != std::string::npos; pos = text.find(word, pos + 1)) ++count;
    return count;
}

// The piecewise linear curve as the input defines it, written independently:
// the line from (0, 0) to the first sample, straight segments between the
// samples, the last segment continued beyond the last sample.
struct Curve {
    std::vector<double> T, Y;
    double operator()(double u) const {
        const size_t n = T.size();
        if (u <= T[0]) return T[0] > 0 ? u * Y[0] / T[0] : Y[0];
        size_t i = std::upper_bound(T.begin(), T.end(), u) - T.begin();
        if (i >= n) i = n - 1;
        return Y[i - 1] + (u - T[i - 1]) * (Y[i] - Y[i - 1]) / (T[i] - T[i - 1]);
    }
};

// Gauss-Legendre nodes and weights on [-1, 1] (Newton's method on P_n).
struct GaussLegendre {
    std::vector<double> x, w;
    explicit GaussLegendre(int n) : x(n), w(n) {
        for (int i = 0; i < n; ++i) {
            double z = std::cos(M_PI * (i + 0.75) / (n + 0.5)), dp = 0;
            for (int iter = 0; iter < 100; ++iter) {
                double p0 = 1, p1 = 0;
                for (int j = 1; j <= n; ++j) {
                    const double p2 = p1;
                    p1 = p0;
                    p0 = ((2 * j - 1) * z * p1 - (j - 1) * p2) / j;
                }
                dp = n * (z * p0 - p1) / (z * z - 1);
                const double dz = p0 / dp;
                z -= dz;
                if (std::fabs(dz) < 1e-16) break;
            }
            x[i] = z;
            w[i] = 2 / ((1 - z * z) * dp * dp);
        }
    }
    // Integral of f over [a, b], composite over pieces of at most `width`.
    double integrate(const std::function<double(double)>& f, double a, double b, double width = 10.0) const {
        const int pieces = std::max(1, static_cast<int>(std::ceil((b - a) / width)));
        const double h = (b - a) / pieces;
        double sum = 0;
        for (int p = 0; p < pieces; ++p) {
            const double c = a + (p + 0.5) * h;
            for (size_t i = 0; i < x.size(); ++i) sum += w[i] * f(c + 0.5 * h * x[i]);
        }
        return sum * 0.5 * h;
    }
};

// int_0^t exp(-k (t - u)) [u] C(u) du, split at the samples so that every
// piece is smooth.
double reference(const Curve& c, double k, double t, bool timed) {
    static const GaussLegendre gauss(12);
    std::vector<double> cuts{0.0};
    for (double T : c.T)
        if (T > 0 && T < t) cuts.push_back(T);
    cuts.push_back(t);
    double sum = 0;
    for (size_t i = 0; i + 1 < cuts.size(); ++i)
        sum += gauss.integrate([&](double u) { return std::exp(-k * (t - u)) * (timed ? u : 1.0) * c(u); }, cuts[i],
                               cuts[i + 1]);
    return sum;
}

// A 4D dataset of X x 1 x Z voxels, one frame per start time, with values
// value(frame, voxel number).
Dataset4D<double>* makeData(const std::vector<double>& starts, const std::vector<double>& lengths, bool midframe,
                            unsigned X, unsigned Z, const std::function<double(unsigned, unsigned)>& value) {
    auto* d = new Dataset4D<double>(static_cast<unsigned>(starts.size()), X, 1, Z, 0.0);
    for (unsigned i = 0; i < starts.size(); ++i) {
        d->setTime(i, starts[i]);
        d->setFrameLength(i, lengths[i]);
        for (unsigned x = 0; x < X; ++x)
            for (unsigned z = 0; z < Z; ++z) d->setValue4D(i, x, 0, z, value(i, x * Z + z));
    }
    d->setMidframeApprox(midframe);
    return d;
}

// The frames of a typical dynamic scan: 6x10 s, 8x30 s, 6x60 s, 5x300 s, 5x600 s.
void scanFrames(std::vector<double>& starts, std::vector<double>& lengths) {
    starts.clear();
    lengths.clear();
    double t = 0;
    for (auto [count, length] : {std::pair{6, 10.0}, {8, 30.0}, {6, 60.0}, {5, 300.0}, {5, 600.0}})
        for (int i = 0; i < count; ++i) {
            starts.push_back(t);
            lengths.push_back(length);
            t += length;
        }
}

// A blood curve: a sharp peak and a slow tail.
double blood(double t) { return 50 * (t / 30) * (t / 30) * std::exp(-t / 25) + 3 * std::exp(-t / 2000) + 1; }

Curve curveOf(const LinearInterpolation& f) { return Curve{f.getTimes(), f.getValues()}; }

}  // namespace

TEST(LinearInterpolation, ValuesAndPlainAreas) {
    Verbosity quiet(0);
    std::unique_ptr<Dataset4D<double>> d(
        makeData({10, 20}, {10, 10}, false, 1, 1, [](unsigned i, unsigned) { return i == 0 ? 5.0 : 15.0; }));
    LinearInterpolation f("blood");
    f.initParameters(d.get(), nullptr);
    EXPECT_EQ(f.getType(), "LinearInterpolation");
    EXPECT_DOUBLE_EQ(f(5, 0, 0, 0), 2.5);  // the line from (0, 0)
    EXPECT_DOUBLE_EQ(f(10, 0, 0, 0), 5);
    EXPECT_DOUBLE_EQ(f(15, 0, 0, 0), 10);
    EXPECT_DOUBLE_EQ(f(30, 0, 0, 0), 25);  // the last slope goes on
    EXPECT_DOUBLE_EQ(f.convExp(0, 20, 0, 0, 0), 125);
    // int_0^20 u C(u) du = int_0^10 u^2/2 du + int_10^20 u (u - 5) du
    EXPECT_NEAR(f.convTimeExp(0, 20, 0, 0, 0), 1000.0 / 6 + 7000.0 / 3 - 750, 1e-10);
    EXPECT_NEAR(f.convExp(0, 30, 0, 0, 0), 125 + 200, 1e-10);  // beyond the last sample
    EXPECT_DOUBLE_EQ(f.convExp(0, 4, 0, 0, 0), 4.0);          // before the first sample
}

// Both convolutions, k = 0 included, at every frame in frame order (the
// incremental chain), in random order (full sums) and off the grid, against a
// Gauss-Legendre integral of the curve. Rate constants near 0 are included:
// the closed forms must not cancel there.
TEST(LinearInterpolation, ClosedFormsMatchNumericalIntegral) {
    Verbosity quiet(1);
    std::vector<double> starts, lengths;
    scanFrames(starts, lengths);
    std::unique_ptr<Dataset4D<double>> d(
        makeData(starts, lengths, true, 1, 1, [&](unsigned i, unsigned) { return blood(starts[i] + lengths[i] / 2); }));
    LinearInterpolation f("blood");
    f.initParameters(d.get(), nullptr);
    const std::vector<double> T = f.getTimes();
    const size_t n = T.size();
    ASSERT_EQ(n, 30u);
    EXPECT_EQ(T[0], 5.0);
    f(0, 0, 0, 0);
    const Curve curve = curveOf(f);
    std::mt19937 random(7);

    for (double k : {0.0, 1e-4, 2e-3, 0.02, 0.1, -1e-3, 1e-7, -1e-9}) {
        std::vector<double> inOrder(n), timedInOrder(n);
        for (size_t i = 0; i < n; ++i) {
            inOrder[i] = f.convExp(k, T[i], 0, 0, 0);
            timedInOrder[i] = f.convTimeExp(k, T[i], 0, 0, 0);
            const double c = reference(curve, k, T[i], false), ct = reference(curve, k, T[i], true);
            EXPECT_NEAR(inOrder[i], c, 1e-10 * c) << "k=" << k << " t=" << T[i];
            EXPECT_NEAR(timedInOrder[i], ct, 1e-10 * ct) << "k=" << k << " t=" << T[i];
        }
        std::vector<size_t> order(n);
        for (size_t i = 0; i < n; ++i) order[i] = i;
        std::shuffle(order.begin(), order.end(), random);
        for (size_t i : order) {
            EXPECT_NEAR(f.convExp(k, T[i], 0, 0, 0), inOrder[i], 1e-12 * inOrder[i]) << "k=" << k << " t=" << T[i];
            EXPECT_NEAR(f.convTimeExp(k, T[i], 0, 0, 0), timedInOrder[i], 1e-12 * timedInOrder[i]);
        }
        for (double t : {0.0, 1.0, 4.999, 7.5, 33.3, 100.0, 1234.5, T[n - 1], T[n - 1] + 700}) {
            const double c = reference(curve, k, t, false), ct = reference(curve, k, t, true);
            EXPECT_NEAR(f.convExp(k, t, 0, 0, 0), c, 1e-10 * c + 1e-300) << "k=" << k << " t=" << t;
            EXPECT_NEAR(f.convTimeExp(k, t, 0, 0, 0), ct, 1e-10 * ct + 1e-300) << "k=" << k << " t=" << t;
        }
    }
}

TEST(LinearInterpolation, FrameOrderAddsOneIntervalPerCall) {
    std::vector<double> starts, lengths;
    scanFrames(starts, lengths);
    std::unique_ptr<Dataset4D<double>> d(
        makeData(starts, lengths, true, 1, 1, [&](unsigned i, unsigned) { return blood(starts[i]); }));
    LinearInterpolation f("blood");
    {
        Verbosity quiet(1);
        f.initParameters(d.get(), nullptr);
    }
    const std::vector<double> T = f.getTimes();
    Verbosity verbose(5);
    mexhost::clearOutput();
    for (double t : T) f.convExp(0.01, t, 0, 0, 0);
    std::string out = mexhost::takeOutput();
    EXPECT_EQ(countOf(out, "LinearInterpolation: using convExp() cache...\n"), T.size() - 1);
    EXPECT_EQ(countOf(out, "LinearInterpolation:convExp(k=0.01,t=5) = "), 1u);

    // A new k, a skipped frame or a repeated time restart the sum.
    for (double t : {T[0], T[1], T[3], T[3]}) f.convTimeExp(0.01, t, 0, 0, 0);
    f.convTimeExp(0.02, T[4], 0, 0, 0);
    out = mexhost::takeOutput();
    EXPECT_EQ(countOf(out, "using convTExp() cache...\n"), 1u);
    EXPECT_EQ(countOf(out, "LinearInterpolation:convTimeExp(k=0.02,t=45) = "), 1u);
}

// A curve whose first sample lies at t = 0 with a value above 0 keeps
// T[0] = 0. A full sum ending inside the first segment then starts its
// remainder from 0.0, not from Y[0]: the partial segment is the line from
// (0, 0) to the second sample.
TEST(LinearInterpolation, CurveStartingAtTimeZero) {
    Verbosity quiet(1);
    std::unique_ptr<Dataset4D<double>> d(
        makeData({0, 10, 20}, {10, 10, 10}, false, 1, 1, [](unsigned i, unsigned) { return 4.0 + 2 * i; }));
    LinearInterpolation f("blood");
    mexhost::clearOutput();
    f.initParameters(d.get(), nullptr);
    EXPECT_EQ(mexhost::takeOutput(), "WARNING: Linear Interpolation only tested for MidFrameApprox!\n");
    EXPECT_EQ(f.getTimes()[0], 0.0);
    EXPECT_DOUBLE_EQ(f(5, 0, 0, 0), 5.0);
    EXPECT_DOUBLE_EQ(f.convExp(0, 20, 0, 0, 0), 120);  // whole segments: 50 + 70
    EXPECT_DOUBLE_EQ(f.convExp(0, 5, 0, 0, 0), 7.5);   // int_0^5 0.6 u du
    EXPECT_DOUBLE_EQ(f.convExp(0, 10, 0, 0, 0), 30);   // full sum: int_0^10 0.6 u du
    // The chain from T[0] sums the real first segment.
    EXPECT_EQ(f.convExp(0, 0, 0, 0, 0), 0.0);
    EXPECT_DOUBLE_EQ(f.convExp(0, 10, 0, 0, 0), 50);
    EXPECT_DOUBLE_EQ(f.convExp(0, 20, 0, 0, 0), 120);
}

TEST(LinearInterpolation, InitialisationWarningsAndTimeZeroAdjustment) {
    Verbosity normal(1);
    const Unit kBq("kBq/ml");
    std::unique_ptr<Dataset4D<double>> d(
        makeData({0, 10, 20}, {10, 10, 10}, false, 1, 1, [](unsigned i, unsigned) { return i * 5.0; }));
    d->setUnit(kBq);
    LinearInterpolation f("blood");
    mexhost::clearOutput();
    f.initParameters(d.get(), nullptr);
    EXPECT_EQ(mexhost::takeOutput(),
              "WARNING: Linear Interpolation only tested for MidFrameApprox!\n"
              "WARNING: LinearInterpolation: data(t=0)=0.0, setting t=eps to avoid division by zero!\n");
    EXPECT_EQ(f.getTimes(), (std::vector<double>{1e-10, 10, 20}));
    EXPECT_TRUE(std::isfinite(f.convExp(0.1, 5, 0, 0, 0)));
    EXPECT_TRUE(std::isfinite(f(1e-11, 0, 0, 0)));
    EXPECT_EQ(f.getUnit().getName(), "kBq/ml");
    EXPECT_DOUBLE_EQ(f.getScale(), 1.0 / kBq.getFactor());
    EXPECT_EQ(f.getParameterNames(), (std::vector<std::string>{"y0", "y1", "y2"}));
    EXPECT_TRUE(f.isParameterConst("y1"));
    EXPECT_EQ(f.getParameterValue("y2", 0, 0, 0), 10.0);

    // Silent at verbosity 0, and the adjustment still happens; with the
    // midframe approximation the frame middles are the sample times.
    Verbosity silent(0);
    d->setMidframeApprox(true);
    d->setTime(0, -5);  // middle at 0
    LinearInterpolation g("blood");
    g.initParameters(d.get(), nullptr);
    EXPECT_EQ(mexhost::takeOutput(), "");
    EXPECT_EQ(g.getTimes(), (std::vector<double>{1e-10, 15, 25}));
}

TEST(LinearInterpolation, TimesMustIncrease) {
    Verbosity normal(1);
    std::unique_ptr<Dataset4D<double>> d(
        makeData({5, 20, 10}, {1, 1, 1}, true, 1, 1, [](unsigned i, unsigned) { return 1.0 + i; }));
    LinearInterpolation f("blood");
    mexhost::clearOutput();
    f.initParameters(d.get(), nullptr);
    const std::string out = mexhost::takeOutput();
    EXPECT_NE(out.find("): LinearInterpolation needs increasing times! Found t(1)=20.5000 >= t(2)=10.5000\n \n"),
              std::string::npos)
        << out;
    EXPECT_EQ(f.getTimes(), (std::vector<double>{5.5, 20.5, 10.5}));  // kept as they are
    // Evaluation goes on without reading outside the samples.
    for (double t : {1.0, 7.0, 15.0, 30.0}) {
        f(t, 0, 0, 0);
        f.convExp(0.01, t, 0, 0, 0);
        f.convTimeExp(0.0, t, 0, 0, 0);
    }
}

TEST(LinearInterpolation, SecondInitialisationWritesIntoOldParameters) {
    Verbosity normal(1);
    std::unique_ptr<Dataset4D<double>> d(
        makeData({5, 15, 25}, {10, 10, 10}, false, 1, 1, [](unsigned i, unsigned) { return 1.0 + i; }));
    LinearInterpolation f("blood");
    f.initParameters(d.get(), nullptr);
    f(5, 0, 0, 0);
    d->setValue4D(1, 0, 0, 0, 9.0);
    mexhost::clearOutput();
    f.initParameters(d.get(), nullptr);
    EXPECT_EQ(countOf(mexhost::takeOutput(), "exists already"), 3u);
    EXPECT_EQ(f.getNumParameters(), 3u);
    EXPECT_DOUBLE_EQ(f(15, 0, 0, 0), 9.0);
}

// One curve per voxel: each voxel's convolution is its own curve's, when the
// frames are walked in order per voxel as a fit does.
TEST(LinearInterpolation, PerVoxelSamples) {
    Verbosity quiet(0);
    std::vector<double> starts, lengths;
    scanFrames(starts, lengths);
    std::unique_ptr<Dataset4D<double>> d(makeData(starts, lengths, true, 2, 2, [&](unsigned i, unsigned v) {
        return blood(starts[i] + lengths[i] / 2) * (1 + v) + 0.1 * v * std::sqrt(starts[i]);
    }));
    LinearInterpolation f("blood");
    f.initParameters(d.get(), nullptr);
    EXPECT_EQ(f.getParameterByIndex(4).getValueVolume()->getVolumeSize(), 4u);
    const std::vector<double> T = f.getTimes();
    for (unsigned x = 0; x < 2; ++x)
        for (unsigned z = 0; z < 2; ++z) {
            Curve curve{T, {}};
            for (unsigned i = 0; i < T.size(); ++i) curve.Y.push_back(d->getValue4D(i, x, 0, z));
            for (double t : T) {
                const double c = reference(curve, 0.005, t, false), ct = reference(curve, 0.005, t, true);
                EXPECT_NEAR(f.convExp(0.005, t, x, 0, z), c, 1e-10 * c);
                EXPECT_NEAR(f.convTimeExp(0.005, t, x, 0, z), ct, 1e-10 * ct);
                EXPECT_DOUBLE_EQ(f(t, x, 0, z), curve(t));
            }
        }
}

// With numconv the base class integrates numerically (Romberg, which
// converges only to about 1e-4 on the kinks of the curve).
TEST(LinearInterpolation, NumericalSwitchAgrees) {
    Verbosity quiet(1);
    std::unique_ptr<Dataset4D<double>> d(makeData({10, 30, 60, 120}, {20, 30, 60, 120}, false, 1, 1,
                                                  [](unsigned i, unsigned) { return (i == 1 ? 20.0 : 6.0) + i; }));
    LinearInterpolation f("blood");
    f.initParameters(d.get(), nullptr);
    for (double t : {10.0, 45.0, 130.0}) {
        f.setNumConv(false);
        const double c = f.convExp(0.02, t, 0, 0, 0), ct = f.convTimeExp(0.02, t, 0, 0, 0);
        f.setNumConv(true);
        EXPECT_NEAR(f.convExp(0.02, t, 0, 0, 0), c, 1e-3 * c);
        EXPECT_NEAR(f.convTimeExp(0.02, t, 0, 0, 0), ct, 1e-3 * ct);
    }
    Verbosity verbose(5);
    mexhost::clearOutput();
    f.convExp(0.02, 10.0, 0, 0, 0);
    EXPECT_NE(mexhost::takeOutput().find("numerical convolution: convExp(k=0.02,t=10) = "), std::string::npos);
}

TEST(LinearInterpolation, RefusedOperations) {
    Verbosity normal(1);
    LinearInterpolation f("blood", Unit("kBq/ml"));
    mexhost::clearOutput();
    EXPECT_EQ(f.clone(), nullptr);
    EXPECT_NE(mexhost::takeOutput().find("unknown input function type 'LinearInterpolation' \n"), std::string::npos);
    EXPECT_EQ(f.createAverage(nullptr), nullptr);
    mexhost::clearOutput();
    EXPECT_EQ(f.der("y0", 1.0, 0, 0, 0), 0.0);
    EXPECT_EQ(f.derByIndex(0, 1.0, 0, 0, 0), 0.0);
    EXPECT_EQ(countOf(mexhost::takeOutput(), "LinearInterpolation::der() should never be called! \n"), 2u);

    // Without samples: assertion reports, 0.0, and nothing read out of range.
    EXPECT_EQ(f(1.0, 0, 0, 0), 0.0);
    EXPECT_EQ(f.convExp(0.1, 1.0, 0, 0, 0), 0.0);
    EXPECT_EQ(f.convTimeExp(0.1, 1.0, 0, 0, 0), 0.0);
    EXPECT_GE(countOf(mexhost::takeOutput(), "ASSERT FAILED: "), 3u);

    // Resizing a measured input drops its sample parameters (its init adds
    // none): the samples read as 0.0 and the mismatch is reported.
    std::unique_ptr<Dataset4D<double>> d(
        makeData({5, 15, 25}, {10, 10, 10}, false, 1, 1, [](unsigned i, unsigned) { return 1.0 + i; }));
    f.initParameters(d.get(), nullptr);
    f.resize(2);
    EXPECT_EQ(f.getNumParameters(), 0u);
    mexhost::clearOutput();
    EXPECT_EQ(f.convExp(0.1, 15.0, 0, 0, 0), 0.0);
    EXPECT_GE(countOf(mexhost::takeOutput(), "ASSERT FAILED: "), 1u);
}
