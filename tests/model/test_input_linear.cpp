// The measured input function: interpolation, the closed-form convolutions
// against an independent numerical integral, the incremental chain, the
// warnings and the t = 0 adjustment.
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "mexhost.h"
#include "model_support.h"

using namespace model_test;

namespace {

// X x 1 x Z voxels, one frame per start time, values value(frame, voxel number).
std::unique_ptr<Dataset4D<double>> makeData(const std::vector<double>& starts, const std::vector<double>& lengths,
                                            bool midframe, unsigned X, unsigned Z,
                                            const std::function<double(unsigned, unsigned)>& value) {
    std::unique_ptr<Dataset4D<double>> d(new Dataset4D<double>(static_cast<unsigned>(starts.size()), X, 1, Z, 0.0));
    for (unsigned i = 0; i < starts.size(); ++i) {
        d->setTime(i, starts[i]);
        d->setFrameLength(i, lengths[i]);
        for (unsigned x = 0; x < X; ++x)
            for (unsigned z = 0; z < Z; ++z) d->setValue4D(i, x, 0, z, value(i, x * Z + z));
    }
    d->setMidframeApprox(midframe);
    return d;
}

// A typical dynamic scan, 6x10 s, 8x30 s, 6x60 s, 5x300 s, 5x600 s, of a blood
// curve times (1 + v) plus 0.1 v sqrt(start) in voxel v.
std::unique_ptr<Dataset4D<double>> scan(unsigned X, unsigned Z) {
    std::vector<double> starts, lengths;
    double t = 0;
    for (auto [count, length] : {std::pair{6, 10.0}, {8, 30.0}, {6, 60.0}, {5, 300.0}, {5, 600.0}})
        for (int i = 0; i < count; ++i, t += length) starts.push_back(t), lengths.push_back(length);
    return makeData(starts, lengths, true, X, Z, [=](unsigned i, unsigned v) {
        const double m = starts[i] + lengths[i] / 2;
        return (50 * (m / 30) * (m / 30) * std::exp(-m / 25) + 3 * std::exp(-m / 2000) + 1) * (1 + v) +
               0.1 * v * std::sqrt(starts[i]);
    });
}

std::unique_ptr<Dataset4D<double>> threeFrames(std::function<double(unsigned, unsigned)> value,
                                               std::vector<double> starts = {5, 15, 25}) {
    return makeData(starts, {10, 10, 10}, false, 1, 1, value);
}

}  // namespace

TEST(LinearInterpolation, ValuesAndPlainAreas) {
    Verbosity quiet(0);
    auto d = makeData({10, 20}, {10, 10}, false, 1, 1, [](unsigned i, unsigned) { return i == 0 ? 5.0 : 15.0; });
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
// random order (full sums) and off the grid, one curve per voxel walked in
// frame order as a fit does; rates near 0 must not cancel.
TEST(LinearInterpolation, ClosedFormsMatchNumericalIntegral) {
    Verbosity quiet(1);
    auto d = scan(2, 2);
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
                std::vector<size_t> order(n);
                for (size_t i = 0; i < n; ++i) {
                    c[i] = f.convExp(k, T[i], x, 0, z);
                    ct[i] = f.convTimeExp(k, T[i], x, 0, z);
                    order[i] = i;
                }
                std::shuffle(order.begin(), order.end(), random);
                for (size_t i : order) {
                    EXPECT_NEAR(f.convExp(k, T[i], x, 0, z), c[i], 1e-12 * c[i]) << "k=" << k << " t=" << T[i];
                    EXPECT_NEAR(f.convTimeExp(k, T[i], x, 0, z), ct[i], 1e-12 * ct[i]);
                }
                std::vector<double> times(T);
                times.insert(times.end(), {0.0, 1.0, 4.999, 7.5, 33.3, 100.0, 1234.5, T[n - 1] + 700});
                for (size_t i = 0; i < times.size(); ++i) {
                    const double t = times[i], r = referenceConv(curve, k, t), rt = referenceConv(curve, k, t, true);
                    EXPECT_NEAR(i < n ? c[i] : f.convExp(k, t, x, 0, z), r, 1e-10 * r + 1e-300) << "k=" << k << " t=" << t;
                    EXPECT_NEAR(i < n ? ct[i] : f.convTimeExp(k, t, x, 0, z), rt, 1e-10 * rt + 1e-300) << "k=" << k;
                }
            }
        }
}

// Two rates walked together in frame order, as the two-tissue models ask:
// each keeps its own chain (one interval per call, reported at verbosity 5)
// and its results are those of a walk with that rate alone, to the bit.
TEST(LinearInterpolation, TwoRatesWalkTheirOwnChains) {
    auto d = scan(1, 1);
    LinearInterpolation both("blood"), alone("blood");
    Verbosity quiet(1);
    both.initParameters(d.get(), nullptr);
    alone.initParameters(d.get(), nullptr);
    const std::vector<double> T = both.getTimes();
    const double rates[2] = {2e-4, 0.03};
    std::vector<double> c[2], ct[2];
    {
        Verbosity loud(5);
        mexhost::clearOutput();
        for (double t : T) {
            for (int r = 0; r < 2; ++r) c[r].push_back(both.convExp(rates[r], t, 0, 0, 0));
            for (int r = 0; r < 2; ++r) ct[r].push_back(both.convTimeExp(rates[r], t, 0, 0, 0));
        }
        EXPECT_EQ(occurrences(mexhost::takeOutput(), "using conv"), 4 * (T.size() - 1));
    }
    for (int r = 0; r < 2; ++r)
        for (size_t i = 0; i < T.size(); ++i) {
            EXPECT_EQ(alone.convExp(rates[r], T[i], 0, 0, 0), c[r][i]);
            EXPECT_EQ(alone.convTimeExp(rates[r], T[i], 0, 0, 0), ct[r][i]);
        }
}

// A first sample at t = 0 above 0 keeps T[0] = 0; a full sum ending inside the
// first segment uses the line from (0, 0) to the second sample. A first sample
// of 0 at t = 0 moves to t = eps; silent at verbosity 0, the midframe times.
TEST(LinearInterpolation, CurveStartingAtTimeZero) {
    Verbosity normal(1);
    auto d = threeFrames([](unsigned i, unsigned) { return 4.0 + 2 * i; }, {0, 10, 20});
    LinearInterpolation f("blood");
    mexhost::clearOutput();
    f.initParameters(d.get(), nullptr);
    EXPECT_EQ(mexhost::takeOutput(), "WARNING: Linear Interpolation only tested for MidFrameApprox!\n");
    EXPECT_EQ(f.getTimes()[0], 0.0);
    EXPECT_DOUBLE_EQ(f(5, 0, 0, 0), 5.0);
    // Full sums, then the chain from T[0] summing the real first segment.
    for (auto [t, area] : {std::pair{20.0, 120.0}, {5.0, 7.5}, {10.0, 30.0}, {0.0, 0.0}, {10.0, 50.0}, {20.0, 120.0}})
        EXPECT_DOUBLE_EQ(f.convExp(0, t, 0, 0, 0), area) << t;

    const Unit kBq("kBq/ml");
    auto e = threeFrames([](unsigned i, unsigned) { return i * 5.0; }, {0, 10, 20});
    e->setUnit(kBq);
    LinearInterpolation g("blood");
    g.initParameters(e.get(), nullptr);
    EXPECT_EQ(mexhost::takeOutput(),
              "WARNING: Linear Interpolation only tested for MidFrameApprox!\n"
              "WARNING: LinearInterpolation: data(t=0)=0.0, setting t=eps to avoid division by zero!\n");
    EXPECT_EQ(g.getTimes(), (std::vector<double>{1e-10, 10, 20}));
    EXPECT_TRUE(std::isfinite(g.convExp(0.1, 5, 0, 0, 0)) && std::isfinite(g(1e-11, 0, 0, 0)));
    EXPECT_EQ(g.getUnit().getName(), "kBq/ml");
    EXPECT_DOUBLE_EQ(g.getScale(), 1.0 / kBq.getFactor());
    EXPECT_EQ(g.getParameterNames(), (std::vector<std::string>{"y0", "y1", "y2"}));
    EXPECT_TRUE(g.isParameterConst("y1"));
    EXPECT_EQ(g.getParameterValue("y2", 0, 0, 0), 10.0);
    Verbosity silent(0);
    e->setMidframeApprox(true);
    e->setTime(0, -5);
    LinearInterpolation h("blood");
    h.initParameters(e.get(), nullptr);
    EXPECT_EQ(mexhost::takeOutput(), "");
    EXPECT_EQ(h.getTimes(), (std::vector<double>{1e-10, 15, 25}));
}

TEST(LinearInterpolation, TimesMustIncreaseAndReinitialisation) {
    Verbosity normal(1);
    auto d = makeData({5, 20, 10}, {1, 1, 1}, true, 1, 1, [](unsigned i, unsigned) { return 1.0 + i; });
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
    auto e = threeFrames([](unsigned i, unsigned) { return 1.0 + i; });
    LinearInterpolation g("blood");
    g.initParameters(e.get(), nullptr);
    g(5, 0, 0, 0);
    e->setValue4D(1, 0, 0, 0, 9.0);
    mexhost::clearOutput();
    g.initParameters(e.get(), nullptr);
    EXPECT_EQ(occurrences(mexhost::takeOutput(), "exists already"), 1u);  // once, not per sample
    EXPECT_EQ(g.getNumParameters(), 3u);
    EXPECT_DOUBLE_EQ(g(15, 0, 0, 0), 9.0);
}

// numconv: the base class integrates numerically (Romberg, ~1e-4 on kinks).
// Refused: clone, average, derivatives; without samples 0.0 and one report.
TEST(LinearInterpolation, NumericalSwitchAndRefusedOperations) {
    Verbosity normal(1);
    auto d = makeData({10, 30, 60, 120}, {20, 30, 60, 120}, false, 1, 1,
                      [](unsigned i, unsigned) { return (i == 1 ? 20.0 : 6.0) + i; });
    LinearInterpolation f("blood", Unit("kBq/ml"));
    f.initParameters(d.get(), nullptr);
    for (double t : {10.0, 45.0, 130.0}) {
        f.setNumConv(false);
        const double c = f.convExp(0.02, t, 0, 0, 0), ct = f.convTimeExp(0.02, t, 0, 0, 0);
        f.setNumConv(true);
        EXPECT_NEAR(f.convExp(0.02, t, 0, 0, 0), c, 1e-3 * c);
        EXPECT_NEAR(f.convTimeExp(0.02, t, 0, 0, 0), ct, 1e-3 * ct);
    }
    f.setNumConv(false);
    EXPECT_EQ(f.clone(), nullptr);
    EXPECT_EQ(f.createAverage(nullptr), nullptr);
    mexhost::clearOutput();
    EXPECT_EQ(f.der("y0", 1.0, 0, 0, 0), 0.0);
    EXPECT_EQ(f.derByIndex(0, 1.0, 0, 0, 0), 0.0);
    EXPECT_EQ(occurrences(mexhost::takeOutput(), "LinearInterpolation::der() should never be called! \n"), 2u);
    // Resizing drops the sample parameters (init adds none): reported, 0.0.
    f.resize(2);
    EXPECT_EQ(f.getNumParameters(), 0u);
    EXPECT_EQ(f.convExp(0.1, 15.0, 0, 0, 0), 0.0);
    EXPECT_GE(occurrences(mexhost::takeOutput(), "ASSERT FAILED: "), 1u);
    LinearInterpolation none("blood");  // never initialised: one report for the one cause
    for (double v : {none(1.0, 0, 0, 0), none.convExp(0.1, 1.0, 0, 0, 0), none.convTimeExp(0.1, 1.0, 0, 0, 0)})
        EXPECT_EQ(v, 0.0);
    EXPECT_EQ(occurrences(mexhost::takeOutput(), "ASSERT FAILED: "), 1u);
}
