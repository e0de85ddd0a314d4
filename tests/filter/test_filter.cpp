// Filters: geometry on index-coded volumes, the time windows against brute
// force, Savitzky-Golay coefficients and polynomial reproduction, the lag
// correlation, the eigen analysis and the principal components.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>

#include "VOI.h"
#include "data/data_support.h"
#include "util/Filter.h"

using datatest::takeText;
using datatest::Verbosity;

namespace {

// value = x + 10 y + 100 z
Dataset3D<double> indexCoded(unsigned X, unsigned Y, unsigned Z) {
    Dataset3D<double> v(X, Y, Z);
    for (unsigned z = 0; z < Z; ++z)
        for (unsigned y = 0; y < Y; ++y)
            for (unsigned x = 0; x < X; ++x) v(x, y, z) = x + 10.0 * y + 100.0 * z;
    return v;
}

std::unique_ptr<Dataset> run(const std::string& name, Dataset& in, VOI* voi = nullptr) {
    Filter filter(name);
    return std::unique_ptr<Dataset>(filter.compute(&in, voi));
}

// A series of T frames of 2 voxels with a deterministic, irregular curve.
Dataset4D<double> series(unsigned T) {
    Dataset4D<double> d(T, 2, 1, 1);
    for (unsigned t = 0; t < T; ++t) {
        d(t, 0, 0, 0) = std::sin(1.7 * t + 0.3) * 10 + t;
        d(t, 1, 0, 0) = std::cos(0.9 * t * t) * 5;
    }
    return d;
}

}  // namespace

TEST(Filter, VolumeGeometry) {
    Dataset3D<double> in = indexCoded(4, 4, 4);
    auto pad = run("pad8", in);
    ASSERT_EQ(pad->getDimensions(), (std::vector<unsigned>{8, 8, 8}));
    for (unsigned z = 0; z < 8; ++z)
        for (unsigned y = 0; y < 8; ++y)
            for (unsigned x = 0; x < 8; ++x) {
                const bool inside = x >= 2 && x < 6 && y >= 2 && y < 6 && z >= 2 && z < 6;
                EXPECT_EQ(pad->getValue3D(x, y, z), inside ? in(x - 2, y - 2, z - 2) : 0.0);
            }

    Dataset3D<double> five = indexCoded(5, 5, 5);
    auto down = run("down2", five);
    ASSERT_EQ(down->getDimensions(), (std::vector<unsigned>{2, 2, 2}));
    for (unsigned i = 0; i < 8; ++i) {
        const unsigned x = i & 1, y = (i >> 1) & 1, z = i >> 2;
        // The block mean of an affine code is the code at the block centre.
        EXPECT_DOUBLE_EQ(down->getValue3D(x, y, z), (2 * x + 0.5) + 10 * (2 * y + 0.5) + 100 * (2 * z + 0.5));
    }

    auto crop2 = run("crop1:3,2:4,3:3", five);
    ASSERT_EQ(crop2->getDimensions(), (std::vector<unsigned>{3, 3, 1}));
    EXPECT_EQ(crop2->getValue3D(2, 1, 0), 3 + 30 + 300.0);

    // Without a target the result replaces the input.
    Dataset3D<double> replaced = indexCoded(4, 4, 4);
    Filter("pad6").compute(&replaced, nullptr, nullptr);
    ASSERT_EQ(replaced.getDimensions(), (std::vector<unsigned>{6, 6, 6}));
    EXPECT_EQ(replaced(2, 1, 1), 1.0);

    // Integer images: the block mean truncates toward zero.
    Dataset3D<short> neg(2, 2, 2, -1);
    neg(0) = -2;  // mean -9/8
    auto downShort = run("down2", neg);
    EXPECT_EQ(downShort->getValue3D(0, 0, 0), -1.0);
    EXPECT_EQ(downShort->getType(), "short");
    EXPECT_EQ(takeText(), "");
}

TEST(Filter, BlockKernelReachesOnlyTheCorner) {
    // centre 0: out(x, y, z) = 0.125 * sum over a <= x, b <= y, c <= z, all
    // below 2, of in(a, b, c).
    Dataset3D<double> in = indexCoded(3, 3, 3);
    auto out = run("block2", in);
    for (unsigned z = 0; z < 3; ++z)
        for (unsigned y = 0; y < 3; ++y)
            for (unsigned x = 0; x < 3; ++x) {
                double expected = 0;
                for (unsigned c = 0; c < 2; ++c)
                    for (unsigned b = 0; b < 2; ++b)
                        for (unsigned a = 0; a < 2; ++a)
                            if (x - a <= 1 && y - b <= 1 && z - c <= 1 && a <= x && b <= y && c <= z)
                                expected += 0.125 * in(a, b, c);
                EXPECT_DOUBLE_EQ(out->getValue3D(x, y, z), expected) << x << y << z;
            }
    // Outside the VOI the value stays.
    VOI voi(3, 3, 3, 1);
    voi(2, 2, 2) = 0;
    auto masked = run("block2", in, &voi);
    EXPECT_EQ(masked->getValue3D(2, 2, 2), in(2, 2, 2));
    EXPECT_EQ(masked->getValue3D(1, 1, 1), out->getValue3D(1, 1, 1));

    // An image thinner than the kernel is never read past its end.
    Dataset3D<double> thin = indexCoded(3, 3, 1);
    auto flat = run("block2", thin);
    EXPECT_DOUBLE_EQ(flat->getValue3D(1, 1, 0), 0.125 * (0 + 1 + 10 + 11));
    EXPECT_EQ(takeText(),
              "WARNING: kernel 2x2x2 is larger than the 3x3x1 data: terms outside the data are left out\n");

    // Series: the volumes' results were never kept; the input stays as it was.
    Dataset4D<double> s(2, 2, 2, 2, 3.0);
    auto zero = run("block2", s);
    EXPECT_EQ(zero->getDimensions(), (std::vector<unsigned>{2, 2, 2, 2}));
    for (unsigned i = 0; i < 8; ++i) EXPECT_EQ(zero->getValue4D(1, i & 1, (i >> 1) & 1, i >> 2), 0.0);
    EXPECT_EQ(s(1, 1, 1, 1), 3.0);
}

// The Octave filter test pins the other refusal texts.
TEST(Filter, RefusedNumbersLeaveZeros) {
    struct Case {
        const char* name;
        const char* text;
    };
    const Case cases[] = {
        {"crop2:1,0:0,0:0", "WARNING: invalid crop region (2:1,0:0,0:0) on 4x4x4 data"},
        {"crop1:2", "WARNING: invalid crop region '1:2'\n"},
        {"pad5000", "WARNING: invalid pad size 5000x5000x5000 on 4x4x4 data\n"},
        {"tmean3", "WARNING: Filter::compute () no kernel specified\n"},
    };
    Dataset3D<double> in = indexCoded(4, 4, 4);
    for (const Case& c : cases) {
        auto out = run(c.name, in);
        EXPECT_EQ(takeText(), c.text) << c.name;
        EXPECT_EQ(out->getDimensions(), (std::vector<unsigned>{4, 4, 4})) << c.name;
        EXPECT_EQ(out->getValue3D(3, 3, 3), 0.0) << c.name;
    }
    // Volume operations on a series: one zero per frame.
    Dataset4D<float> s(3, 2, 2, 2, 1.0f);
    auto crop = run("crop0:0,0:0,0:0", s);
    EXPECT_EQ(crop->getDimensions(), (std::vector<unsigned>{1, 1, 1, 3}));
    // A VOI of another grid is refused.
    VOI small(1, 2, 2, 1);
    auto refused = run("tmean2", s, &small);
    EXPECT_EQ(takeText(), "ERROR util/Filter: VOI grid 1x2x2 differs from the data's 2x2x2 \n");
    EXPECT_EQ(refused->getValue4D(0, 0, 0, 0), 0.0);
}

TEST(Filter, TimeWindowsAgainstBruteForce) {
    for (unsigned T = 1; T <= 7; ++T)
        for (unsigned n = 0; n <= 8; ++n) {
            Dataset4D<double> in = series(T);
            auto mean = run("tmean" + std::to_string(n), in);
            auto median = run("tmedian" + std::to_string(n), in);
            for (unsigned v = 0; v < 2; ++v) {
                for (unsigned t = 0; t < T; ++t) {
                    // tmean: from max(t - n/2, 0), n + 1 frames, cut at the end.
                    const unsigned lo = t > n / 2 ? t - n / 2 : 0, hi = std::min(lo + n, T - 1);
                    double sum = 0;
                    for (unsigned i = lo; i <= hi; ++i) sum += in(i, v, 0, 0);
                    EXPECT_EQ(mean->getValue4D(t, v, 0, 0), sum / (hi - lo + 1)) << T << " " << n << " " << t;
                }
                // tmedian as a window pushed and popped frame by frame.
                Median window;
                const unsigned h = n / 2;
                for (unsigned i = 0; i < h && i < T; ++i) window.push(in(i, v, 0, 0));
                for (unsigned t = 0; t < T; ++t) {
                    if (t + h < T) window.push(in(t + h, v, 0, 0));
                    std::vector<double> w;
                    for (unsigned i = (t > h ? t - h : 0); i <= std::min(t + h, T - 1); ++i) w.push_back(in(i, v, 0, 0));
                    std::sort(w.begin(), w.end());
                    const size_t k = w.size() / 2;
                    const double expected = w.size() % 2 ? w[k] : 0.5 * (w[k] + w[k - 1]);
                    EXPECT_EQ(window.compute(), expected);
                    EXPECT_EQ(median->getValue4D(t, v, 0, 0), expected) << T << " " << n << " " << t;
                    if (t >= h) window.pop();
                }
            }
        }
    EXPECT_EQ(Median().compute(), 0.0);

    // Integer series truncate toward zero; voxels outside the VOI keep theirs.
    Dataset4D<int> ints(2, 2, 1, 1);
    ints(0, 0, 0, 0) = -1, ints(1, 0, 0, 0) = -2, ints(0, 1, 0, 0) = 1, ints(1, 1, 0, 0) = 4;
    VOI first(2, 1, 1, 0);
    first(0) = 1;
    auto mean = run("tmean1", ints, &first);
    EXPECT_EQ(mean->getValue4D(0, 0, 0, 0), -1.0);  // -1.5
    EXPECT_EQ(mean->getValue4D(1, 0, 0, 0), -2.0);  // frame 1 alone
    EXPECT_EQ(mean->getValue4D(1, 1, 0, 0), 4.0);   // outside: copied
    EXPECT_EQ(mean->getType(), "int");
    EXPECT_EQ(takeText(), "");
}

TEST(Filter, SavitzkyGolay) {
    const std::vector<double> seven = Filter::savgolCoefficients(3, 3, 3);
    const double known7[] = {-2, 3, 6, 7, 6, 3, -2};
    ASSERT_EQ(seven.size(), 7u);
    for (int i = 0; i < 7; ++i) EXPECT_NEAR(seven[i], known7[i] / 21, 1e-12);
    EXPECT_TRUE(Filter::savgolCoefficients(1, 0, 2).empty());

    // Any window shape reproduces a polynomial of its order wherever the
    // window lies inside the series.
    const unsigned T = 14;
    for (unsigned nl = 0; nl <= 4; ++nl)
        for (unsigned nr = 0; nr <= 4; ++nr)
            for (unsigned m = 0; m <= std::min(nl + nr, 3u); ++m) {
                Dataset4D<double> in(T, 1, 1, 1);
                for (unsigned t = 0; t < T; ++t) {
                    const double x = t * 0.5 - 2;
                    in(t, 0, 0, 0) = 1.5 - 0.7 * x + (m >= 2 ? 0.3 * x * x : 0) + (m >= 3 ? -0.05 * x * x * x : 0);
                    if (m == 0) in(t, 0, 0, 0) = 2.5;
                }
                const std::string name = "savgol" + std::to_string(nl) + "," + std::to_string(nr) + "," + std::to_string(m);
                auto out = run(name, in);
                for (unsigned t = nl; t + nr < T; ++t)
                    EXPECT_NEAR(out->getValue4D(t, 0, 0, 0), in(t, 0, 0, 0), 1e-9) << name << " t=" << t;
            }

    // Next to the ends the missing frames count as 0.
    Dataset4D<double> ones(4, 1, 1, 1, 1.0);
    auto edge = run("savgol2,2,2", ones);
    EXPECT_NEAR(edge->getValue4D(0, 0, 0, 0), (17 + 12 - 3) / 35.0, 1e-12);
    auto refused = run("savgol0,0,1", ones);
    EXPECT_EQ(takeText(), "WARNING: invalid Savitzky-Golay window 0,0 of order 1\n");
    EXPECT_EQ(refused->getValue4D(0, 0, 0, 0), 0.0);
}

TEST(Filter, CorrelationEigenAndComponents) {
    Dataset4D<double> d(5, 3, 2, 1);
    for (unsigned t = 0; t < 5; ++t)
        for (unsigned i = 0; i < 6; ++i) d(t, i) = std::sin(1.3 * t * (i + 1) + i) + 0.1 * i;
    VOI voi(3, 2, 1, 1);
    voi(4) = 0;
    std::unique_ptr<Dataset2D<double>> C(corr(d, &voi));
    for (unsigned i = 0; i < 5; ++i)
        for (unsigned j = 0; j < 5; ++j) {
            const unsigned lag = i > j ? i - j : j - i;
            double sum = 0;
            for (unsigned v = 0; v < 6; ++v)
                if (v != 4)
                    for (unsigned t = 0; t + lag < 5; ++t) sum += d(t, v) * d(t + lag, v);
            EXPECT_NEAR((*C)(i, j), sum / 5, 1e-12);
        }

    std::vector<double> values;
    Dataset2D<double> V;
    ASSERT_TRUE(eigen(*C, &values, &V));
    ASSERT_EQ(values.size(), 5u);
    for (unsigned k = 0; k + 1 < 5; ++k) EXPECT_GE(values[k], values[k + 1]);
    for (unsigned i = 0; i < 5; ++i)
        for (unsigned j = 0; j < 5; ++j) {
            double av = 0, vtv = 0;
            for (unsigned k = 0; k < 5; ++k) {
                av += (*C)(i, k) * V(k, j);
                vtv += V(k, i) * V(k, j);
            }
            EXPECT_NEAR(av, V(i, j) * values[j], 1e-9);  // A V = V Lambda
            EXPECT_NEAR(vtv, i == j ? 1.0 : 0.0, 1e-9);  // V^T V = I
        }
    EXPECT_FALSE(eigen(Dataset2D<double>(2, 3), &values, nullptr));
    EXPECT_EQ(takeText(), "ERROR util/Filter: EigenvaluesAndVectors (): input data matrix not square \n");

    // The components: each curve, its mean removed, on the eigenvectors of
    // the lag correlation of the mean-removed curves, E^T (x - m); the Octave
    // test checks that tpca7 equals tpca0 and keeps the curves' length.
    Verbosity quiet(0);
    // With a VOI on integers: curves inside lose their mean as stored
    // (truncated), curves outside are projected as they are; the result is
    // truncated again.
    Dataset4D<short> s(5, 3, 2, 1, 0);
    for (unsigned t = 0; t < 5; ++t)
        for (unsigned i = 0; i < 6; ++i) s(t, i) = short(100 * i + 7 * t * t - 13 * t * i % 5);
    VOI inner(3, 2, 1, 1);
    inner(0) = 0;
    auto spca = run("tpca0", s, &inner);
    Dataset4D<double> stored(5, 3, 2, 1, 0.0);
    for (unsigned i = 0; i < 6; ++i) {
        double m = 0;
        for (unsigned t = 0; t < 5; ++t) m += s(t, i);
        m /= 5;
        for (unsigned t = 0; t < 5; ++t) stored(t, i) = i == 0 ? s(t, i) : double(short(s(t, i) - m));
    }
    std::unique_ptr<Dataset2D<double>> Cs(corr(stored, &inner));
    ASSERT_TRUE(eigen(*Cs, &values, &V));
    for (unsigned i = 0; i < 6; ++i)
        for (unsigned k = 0; k < 5; ++k) {
            double p = 0;
            for (unsigned t = 0; t < 5; ++t) p += V(t, k) * stored(t, i);
            EXPECT_EQ(spca->getValue4D(k, i % 3, i / 3, 0), double(short(p))) << i << " " << k;
        }
    // The projection shared among threads gives the same bits as one thread.
    Dataset4D<double> big(6, 50, 7, 3, 0.0);
    for (unsigned t = 0; t < 6; ++t)
        for (unsigned i = 0; i < big.getVolumeSize(); ++i) big(t, i) = std::sin(0.37 * i + t) * (1 + t * (i % 11));
    setenv("KINETRA_THREADS", "1", 1);
    auto one = run("tpca0", big);
    setenv("KINETRA_THREADS", "3", 1);
    auto three = run("tpca0", big);
    unsetenv("KINETRA_THREADS");
    for (unsigned t = 0; t < 6; ++t)
        for (unsigned i = 0; i < big.getVolumeSize(); ++i)
            ASSERT_EQ(one->getValue4D(t, i % 50, (i / 50) % 7, i / 350), three->getValue4D(t, i % 50, (i / 50) % 7, i / 350));

    // normalizeT with scale: mean 0 and population deviation 1; flat curves 0.
    Dataset4D<double> n(4, 2, 1, 1, 3.0);
    for (unsigned t = 0; t < 4; ++t) n(t, 0) = t;
    normalizeT(n, nullptr, true);
    EXPECT_NEAR(n(0, 0), -1.5 / std::sqrt(1.25), 1e-12);
    EXPECT_EQ(n(2, 1), 0.0);
}
