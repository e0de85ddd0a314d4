// The measured input function: interpolation, the closed-form convolutions
// against an independent numerical integral, the incremental chain, the
// warnings and the t = 0 adjustment.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "model_support.h"
#include "mexhost.h"

using namespace model_test;

namespace {

size_t countOf(const std::string& text, const std::string& word) {
    size_t count = 0;
    for (size_t pos = text.find(word); pos != std::string::npos; pos = text.find(word, pos + 1)) ++count;
    return count;
}

// X x 1 x Z voxels, one frame per start time, values value(frame, voxel number).
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

// A typical dynamic scan: 6x10 s, 8x30 s, 6x60 s, 5x300 s, 5x600 s.
void scanFrames(std::vector<double>& starts, std::vector<double>& lengths) {
    double t = 0;
    for (auto [count, length] : {std::pair{6, 10.0}, {8, 30.0}, {6, 60.0}, {5, 300.0}, {5, 600.0}})
        for (int i = 0; i < count; ++i, t += length) starts.push_back(t), lengths.push_back(length);
}

double scanBlood(double t) { return 50 * (t / 30) * (t / 30) * std::exp(-t / 25) + 3 * std::exp(-t / 2000) + 1; }

Dataset4D<double>* threeFrames(std::function<double(unsigned, unsigned)> value, std::vector<double> starts = {5, 15, 25}) {
    return makeData(starts, {10, 10, 10}, false, 1, 1, value);
}

}  // namespace

TEST(LinearInterpolation, ValuesAndPlainAreas) {
    Verbosity quiet(0);
    std::unique_ptr<Dataset4D<double>> d(
        makeData({10, 20}, {10, 10}, false, 1, 1, [](unsigned i, unsigned) { return i == 0 ? 5.0 : 15.0; }));
    LinearInterpolation f("blood");
    f.initParameters(d.get(), nullptr);
    EXPECT_EQ(f.getType(), "LinearInterpolation");
    for (auto [t, v] : {std::pair{5.0, 2.5}, {10.0, 5.0}, {15.0, 10.0}, {30.0, 25.0}}) EXPECT_DOUBLE_EQ(f(t, 0, 0, 0), v);
    EXPECT_DOUBLE_EQ(f.convExp(0, 20, 0, 0, 0), 125);
    // int_0^20 u C(u) du = int_0^10 u^2/2 du + int_10^20 u (u - 5) du
    EXPECT_NEAR(f.convTimeExp(0, 20, 0, 0, 0), 1000.0 / 6 + 7000.0 / 3 - 750, 1e-10);
    EXPECT_NEAR(f.convExp(0, 30, 0, 0, 0), 125 + 200, 1e-10);
    EXPECT_DOUBLE_EQ(f.convExp(0, 4, 0, 0, 0), 4.0);
}

// Both convolutions at every frame in frame order (the incremental chain), in
// random order (full sums) and off the grid; rates near 0 must not cancel.
// One curve per voxel, walked in frame order per voxel as a fit does.
TEST(LinearInterpolation, ClosedFormsMatchNumericalIntegral) {
    Verbosity quiet(1);
    std::vector<double> starts, lengths;
    scanFrames(starts, lengths);
    std::unique_ptr<Dataset4D<double>> d(makeData(starts, lengths, true, 2, 2, [&](unsigned i, unsigned v) {
        return scanBlood(starts[i] + lengths[i] / 2) * (1 + v) + 0.1 * v * std::sqrt(starts[i]);
    }));
    LinearInterpolation f("blood");
    f.initParameters(d.get(), nullptr);
    EXPECT_EQ(f.getParameterByIndex(4).getValueVolume()->getVolumeSize(), 4u);
    const std::vector<double> T = f.getTimes();
    const size_t n = T.size();
    ASSERT_EQ(n, 30u);
    EXPECT_EQ(T[0], 5.0);
    std::mt19937 random(7);
    for (unsigned x = 0; x < 2; ++x)
        for (unsigned z = 0; z < 2; ++z) {
            Polyline curve{T, {}};
            for (unsigned i = 0; i < n; ++i) curve.Y.push_back(d->getValue4D(i, x, 0, z));
            for (double t : T) EXPECT_DOUBLE_EQ(f(t, x, 0, z), curve(t));
            for (double k : {0.0, 1e-4, 2e-3, 0.02, 0.1, -1e-3, 1e-7, -1e-9}) {
                std::vector<double> c(n), ct(n);
                for (size_t i = 0; i < n; ++i) {
                    c[i] = f.convExp(k, T[i], x, 0, z);
                    ct[i] = f.convTimeExp(k, T[i], x, 0, z);
                    const double r = referenceConv(curve, k, T[i]), rt = referenceConv(curve, k, T[i], true);
                    EXPECT_NEAR(c[i], r, 1e-10 * r) << "k=" << k << " t=" << T[i] << " voxel " << x << z;
                    EXPECT_NEAR(ct[i], rt, 1e-10 * rt) << "k=" << k << " t=" << T[i] << " voxel " << x << z;
                }
                std::vector<size_t> order(n);
                for (size_t i = 0; i < n; ++i) order[i] = i;
                std::shuffle(order.begin(), order.end(), random);
                for (size_t i : order) {
                    EXPECT_NEAR(f.convExp(k, T[i], x, 0, z), c[i], 1e-12 * c[i]) << "k=" << k << " t=" << T[i];
                    EXPECT_NEAR(f.convTimeExp(k, T[i], x, 0, z), ct[i], 1e-12 * ct[i]);
                }
                for (double t : {0.0, 1.0, 4.999, 7.5, 33.3, 100.0, 1234.5, T[n - 1], T[n - 1] + 700}) {
                    const double r = referenceConv(curve, k, t), rt = referenceConv(curve, k, t, true);
                    EXPECT_NEAR(f.convExp(k, t, x, 0, z), r, 1e-10 * r + 1e-300) << "k=" << k << " t=" << t;
                    EXPECT_NEAR(f.convTimeExp(k, t, x, 0, z), rt, 1e-10 * rt + 1e-300) << "k=" << k << " t=" << t;
                }
            }
        }
}

// Two rates walked together in frame order, as the two-tissue models ask:
// each keeps its own chain (one interval per call, reported at verbosity 5)
// and its results are those of a walk with that rate alone, to the bit.
TEST(LinearInterpolation, TwoRatesWalkTheirOwnChains) {
    std::vector<double> starts, lengths;
    scanFrames(starts, lengths);
    std::unique_ptr<Dataset4D<double>> d(
        makeData(starts, lengths, true, 1, 1, [&](unsigned i, unsigned) { return scanBlood(starts[i] + lengths[i] / 2); }));
    LinearInterpolation both("blood"), alone("blood");
    {
        Verbosity quiet(1);
        both.initParameters(d.get(), nullptr);
        alone.initParameters(d.get(), nullptr);
    }
    const std::vector<double> T = both.getTimes();
    const double k1 = 2e-4, k2 = 0.03;
    std::vector<double> c1, c2, ct1, ct2;
    {
        Verbosity loud(5);
        mexhost::clearOutput();
        for (double t : T) {
            c1.push_back(both.convExp(k1, t, 0, 0, 0));
            c2.push_back(both.convExp(k2, t, 0, 0, 0));
            ct1.push_back(both.convTimeExp(k1, t, 0, 0, 0));
            ct2.push_back(both.convTimeExp(k2, t, 0, 0, 0));
        }
        const std::string out = mexhost::takeOutput();
        size_t chained = 0;
        for (size_t at = out.find("using conv"); at != std::string::npos; at = out.find("using conv", at + 1)) ++chained;
        EXPECT_EQ(chained, 4 * (T.size() - 1));
    }
    Verbosity quiet(1);
    for (size_t i = 0; i < T.size(); ++i) {
        EXPECT_EQ(alone.convExp(k1, T[i], 0, 0, 0), c1[i]);
        EXPECT_EQ(alone.convTimeExp(k1, T[i], 0, 0, 0), ct1[i]);
    }
    for (size_t i = 0; i < T.size(); ++i) {
        EXPECT_EQ(alone.convExp(k2, T[i], 0, 0, 0), c2[i]);
        EXPECT_EQ(alone.convTimeExp(k2, T[i], 0, 0, 0), ct2[i]);
    }
}

// A first sample at t = 0 above 0 keeps T[0] = 0; a full sum ending inside the
// first segment uses the line from (0, 0) to the second sample.
TEST(LinearInterpolation, CurveStartingAtTimeZero) {
    Verbosity quiet(1);
    std::unique_ptr<Dataset4D<double>> d(threeFrames([](unsigned i, unsigned) { return 4.0 + 2 * i; }, {0, 10, 20}));
    LinearInterpolation f("blood");
    mexhost::clearOutput();
    f.initParameters(d.get(), nullptr);
    EXPECT_EQ(mexhost::takeOutput(), "WARNING: Linear Interpolation only tested for MidFrameApprox!\n");
    EXPECT_EQ(f.getTimes()[0], 0.0);
    EXPECT_DOUBLE_EQ(f(5, 0, 0, 0), 5.0);
    // Full sums, then the chain from T[0] summing the real first segment.
    const double areas[][2] = {{20, 120}, {5, 7.5}, {10, 30}, {0, 0}, {10, 50}, {20, 120}};
    for (const auto& a : areas) EXPECT_DOUBLE_EQ(f.convExp(0, a[0], 0, 0, 0), a[1]) << a[0];
}

TEST(LinearInterpolation, InitialisationWarningsAndTimeZeroAdjustment) {
    Verbosity normal(1);
    const Unit kBq("kBq/ml");
    std::unique_ptr<Dataset4D<double>> d(threeFrames([](unsigned i, unsigned) { return i * 5.0; }, {0, 10, 20}));
    d->setUnit(kBq);
    LinearInterpolation f("blood");
    mexhost::clearOutput();
    f.initParameters(d.get(), nullptr);
    EXPECT_EQ(mexhost::takeOutput(),
              "WARNING: Linear Interpolation only tested for MidFrameApprox!\n"
              "WARNING: LinearInterpolation: data(t=0)=0.0, setting t=eps to avoid division by zero!\n");
    EXPECT_EQ(f.getTimes(), (std::vector<double>{1e-10, 10, 20}));
    EXPECT_TRUE(std::isfinite(f.convExp(0.1, 5, 0, 0, 0)) && std::isfinite(f(1e-11, 0, 0, 0)));
    EXPECT_EQ(f.getUnit().getName(), "kBq/ml");
    EXPECT_DOUBLE_EQ(f.getScale(), 1.0 / kBq.getFactor());
    EXPECT_EQ(f.getParameterNames(), (std::vector<std::string>{"y0", "y1", "y2"}));
    EXPECT_TRUE(f.isParameterConst("y1"));
    EXPECT_EQ(f.getParameterValue("y2", 0, 0, 0), 10.0);
    // Silent at verbosity 0, still adjusted; midframe: the frame middles.
    Verbosity silent(0);
    d->setMidframeApprox(true);
    d->setTime(0, -5);
    LinearInterpolation g("blood");
    g.initParameters(d.get(), nullptr);
    EXPECT_EQ(mexhost::takeOutput(), "");
    EXPECT_EQ(g.getTimes(), (std::vector<double>{1e-10, 15, 25}));
}

TEST(LinearInterpolation, TimesMustIncreaseAndReinitialisation) {
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
    EXPECT_EQ(f.getTimes(), (std::vector<double>{5.5, 20.5, 10.5}));
    for (double t : {1.0, 7.0, 15.0, 30.0})  // nothing read outside the samples
        f(t, 0, 0, 0), f.convExp(0.01, t, 0, 0, 0), f.convTimeExp(0.0, t, 0, 0, 0);

    // A second initialisation writes into the old parameters.
    std::unique_ptr<Dataset4D<double>> e(threeFrames([](unsigned i, unsigned) { return 1.0 + i; }));
    LinearInterpolation g("blood");
    g.initParameters(e.get(), nullptr);
    g(5, 0, 0, 0);
    e->setValue4D(1, 0, 0, 0, 9.0);
    mexhost::clearOutput();
    g.initParameters(e.get(), nullptr);
    EXPECT_EQ(countOf(mexhost::takeOutput(), "exists already"), 1u);  // once, not per sample
    EXPECT_EQ(g.getNumParameters(), 3u);
    EXPECT_DOUBLE_EQ(g(15, 0, 0, 0), 9.0);
}

// With numconv the base class integrates numerically (Romberg, ~1e-4 on kinks).
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
    // Without samples: 0.0, and one assertion report for the one cause.
    for (double v : {f(1.0, 0, 0, 0), f.convExp(0.1, 1.0, 0, 0, 0), f.convTimeExp(0.1, 1.0, 0, 0, 0)}) EXPECT_EQ(v, 0.0);
    EXPECT_EQ(countOf(mexhost::takeOutput(), "ASSERT FAILED: "), 1u);
    // Resizing drops the sample parameters (init adds none): reported, 0.0.
    std::unique_ptr<Dataset4D<double>> d(threeFrames([](unsigned i, unsigned) { return 1.0 + i; }));
    f.initParameters(d.get(), nullptr);
    f.resize(2);
    EXPECT_EQ(f.getNumParameters(), 0u);
    mexhost::clearOutput();
    EXPECT_EQ(f.convExp(0.1, 15.0, 0, 0, 0), 0.0);
    EXPECT_GE(countOf(mexhost::takeOutput(), "ASSERT FAILED: "), 1u);
}
