// Error models against hand-computed values: the formulas, the floor with its
// sign, decay and frame length in the Poisson forms, the VOI, the messages.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

#include "Dataset4D.h"
#include "ErrorModel.h"
#include "Tracer.h"
#include "VOI.h"
#include "data_support.h"
#include "util/NumUtil.h"

using datatest::Verbosity;
using Errors = std::unique_ptr<Dataset4D<double>>;

namespace {

// nT frames of X voxels, frame t starting at 100 t with length len, holding value(t, x).
template <class T, class F>
std::unique_ptr<Dataset4D<T>> series(unsigned nT, unsigned X, double len, F value) {
    std::unique_ptr<Dataset4D<T>> d(new Dataset4D<T>(nT, X, 1, 1, T(0)));
    d->setName("scan");
    d->setUnit(Unit("Bq/ml"));
    for (unsigned t = 0; t < nT; ++t) {
        d->setTime(t, 100.0 * t);
        d->setFrameLength(t, len);
        for (unsigned x = 0; x < X; ++x) (*d)(t, x, 0, 0) = static_cast<T>(value(t, x));
    }
    return d;
}

ErrorModel model(const char* name, double sigma = 0.0, const char* tracer = "FDG") {
    ErrorModel m(name);
    m.setTracer(Tracer(tracer));
    if (sigma > 0.0) m.setSigma(sigma);
    return m;
}

}  // namespace

TEST(ErrorModel, UniformIsOneAndCopiesTheFrameTables) {
    auto data = series<short>(3, 4, 10.0, [](unsigned t, unsigned x) { return 7.0 * t - 5.0 * x; });
    data->setMidframeApprox(true);
    mexhost::clearOutput();
    Errors e(model("Uniform").create(data.get(), nullptr));
    ASSERT_TRUE(e);
    EXPECT_EQ(e->getName(), "scan_error");
    EXPECT_TRUE(e->getMidframeApprox());
    EXPECT_EQ(e->getTime(2) + e->getFrameLength(2), 210.0);
    for (unsigned i = 0; i < 12; ++i) EXPECT_EQ((*e)(i / 4, i % 4, 0, 0), 1.0);
    EXPECT_EQ(mexhost::takeOutput(), "");
}

TEST(ErrorModel, SimpleIsProportionalAndTheFloorKeepsTheSign) {
    const double values[] = {2.0, -2.0, 10.0, 0.0};
    auto data = series<double>(1, 4, 1.0, [&](unsigned, unsigned x) { return values[x]; });
    ErrorModel m = model("Simple", 0.1);
    Errors plain(m.create(data.get(), nullptr));
    EXPECT_DOUBLE_EQ((*plain)(0, 1, 0, 0), -0.2);
    mexhost::clearOutput();
    m.setFloor(0.5);
    Errors floored(m.create(data.get(), nullptr));
    const double expected[] = {0.5, -0.5, 1.0, 0.5};  // an error of 0 is raised to +floor
    for (unsigned x = 0; x < 4; ++x) EXPECT_DOUBLE_EQ((*floored)(0, x, 0, 0), expected[x]) << x;
    EXPECT_EQ(mexhost::takeOutput(), "3 of 4 error values floored\n");
}

TEST(ErrorModel, PoissonUsesUnitFactorDecayAndFrameLength) {
    // 40 Bq/ml over 10 s: 400 counts, sd 20 counts = 2 Bq/ml; after one F-18
    // half-life half the counts.
    auto data = series<float>(2, 2, 10.0, [](unsigned, unsigned x) { return x == 0 ? 40.0 : -40.0; });
    data->setTime(1, 6588.0);
    ErrorModel m = model("Poisson", 0.0, "F-18");
    Errors e(m.create(data.get(), nullptr));
    EXPECT_DOUBLE_EQ((*e)(0, 0, 0, 0), 2.0);
    EXPECT_DOUBLE_EQ((*e)(0, 1, 0, 0), -2.0);
    EXPECT_NEAR((*e)(1, 0, 0, 0), std::sqrt(8.0), 1e-12);
    Errors weighted(model("WeightedPoisson", 3.0, "F-18").create(data.get(), nullptr));
    EXPECT_DOUBLE_EQ((*weighted)(0, 1, 0, 0), -6.0);
    // In kBq/ml the same number stands for 1000 times the counts.
    data->setUnit(Unit("kBq/ml"));
    Errors k(m.create(data.get(), nullptr));
    EXPECT_NEAR((*k)(0, 0, 0, 0), std::sqrt(40.0 / 10000.0), 1e-12);
    // Mid-frame: a 246 s O-15 frame decays by 1/2 at its middle.
    auto mid = series<double>(1, 1, 246.0, [](unsigned, unsigned) { return 24.6; });
    mid->setMidframeApprox(true);
    Errors o(model("Poisson", 0.0, "O-15").create(mid.get(), nullptr));
    EXPECT_NEAR((*o)(0, 0, 0, 0), std::sqrt(24.6 / (0.5 * 246.0)), 1e-12);
}

TEST(ErrorModel, SmallErrorsWarnOnlyFromVerbosityTwo) {
    auto data = series<int>(1, 2, 10.0, [](unsigned, unsigned x) { return x == 0 ? 0.0 : 40.0; });
    ErrorModel m = model("Poisson");
    mexhost::clearOutput();
    Errors quiet(m.create(data.get(), nullptr));
    EXPECT_EQ((*quiet)(0, 0, 0, 0), 0.0);
    EXPECT_EQ(mexhost::takeOutput(), "");
    {
        Verbosity two(2);
        Errors loud(m.create(data.get(), nullptr));
        EXPECT_EQ(mexhost::takeOutput(), "WARNING: |e(0,0)| = 0 < 0.001!\n");
    }
    Verbosity four(4);
    m.setFloor(0.5);
    Errors traced(m.create(data.get(), nullptr));
    EXPECT_EQ(mexhost::takeOutput(),
              "flooring error 0.00000 to 0.50000 at t=0 \n  frame 0: len=10 decay=1 min=0.5 max=2\n"
              "1 of 2 error values floored\n");
}

TEST(ErrorModel, OnlyVoxelsOfTheVOIGetErrors) {
    auto data = series<unsigned char>(2, 3, 1.0, [](unsigned, unsigned x) { return 10.0 * (x + 1); });
    VOI voi(3, 1, 1, 0);
    voi(1u) = 1;
    voi(2u) = 5;  // any non-zero value is active
    ErrorModel m = model("Simple", 0.01);
    m.setFloor(0.25);
    mexhost::clearOutput();
    Errors e(m.create(data.get(), &voi));
    for (unsigned t = 0; t < 2; ++t) {
        EXPECT_EQ((*e)(t, 0, 0, 0), 0.0);
        EXPECT_EQ((*e)(t, 1, 0, 0), 0.25);
        EXPECT_DOUBLE_EQ((*e)(t, 2, 0, 0), 0.3);
    }
    EXPECT_EQ(mexhost::takeOutput(), "2 of 4 error values floored\n");  // of T x active voxels
    VOI other(2, 1, 1, 1);
    EXPECT_EQ(m.create(data.get(), &other), nullptr);
    EXPECT_NE(mexhost::takeOutput().find("ERROR ErrorModel("), std::string::npos);
}

TEST(ErrorModel, RandomModelsHaveTheRightSpread) {
    random_init(4711);
    const unsigned n = 20000;
    auto data = series<double>(1, n, 10.0, [](unsigned, unsigned) { return 40.0; });
    // Uniform on [-4, 4): sd 8 / sqrt(12); 400 counts per voxel: Poisson sd 2.
    const struct {
        const char* name;
        double sigma, sd, maxAbs;
    } cases[] = {{"SimpleRandom", 0.1, 8.0 / std::sqrt(12.0), 4.0},
                 {"GaussRandom", 0.1, 4.0, 1e9},
                 {"PoissonRandom", 0.0, 2.0, 1e9},
                 {"WeightedPoissonRandom", 2.0, 4.0, 1e9}};
    for (const auto& c : cases) {
        Errors e(model(c.name, c.sigma).create(data.get(), nullptr));
        double s = 0.0, s2 = 0.0, top = 0.0;
        for (unsigned x = 0; x < n; ++x) {
            const double v = (*e)(0, x, 0, 0);
            s += v, s2 += v * v, top = std::max(top, std::fabs(v));
        }
        EXPECT_NEAR(s / n, 0.0, 0.1) << c.name;
        EXPECT_NEAR(std::sqrt(s2 / n - s * s / n / n), c.sd, 0.025 * c.sd) << c.name;
        EXPECT_LE(top, c.maxAbs) << c.name;
    }
}

TEST(ErrorModel, RefusalsAndUnknownNames) {
    Dataset3D<double> volume(2, 2, 2, 1.0);
    volume.setName("v");
    mexhost::clearOutput();
    EXPECT_EQ(model("Uniform").create(&volume, nullptr), nullptr);
    EXPECT_EQ(datatest::takeText(), "ERROR ErrorModel: data 'v' has 3 instead of 4 dimensions \n");
    // One report per voxel.
    auto data = series<double>(1, 2, 1.0, [](unsigned, unsigned) { return 3.0; });
    Errors e(model("Cauchy").create(data.get(), nullptr));
    EXPECT_EQ((*e)(0, 0, 0, 0) + (*e)(0, 1, 0, 0), 0.0);
    const std::string once = "ERROR ErrorModel: unknown error model name: Cauchy\n \n";
    EXPECT_EQ(datatest::takeText(), once + once);
}
