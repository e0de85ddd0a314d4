// Error models against hand-computed values: the eight formulas, the floor
// with its sign, decay and frame length in the Poisson forms, the VOI, the
// graded messages and the refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

#include "Dataset3D.h"
#include "Dataset4D.h"
#include "ErrorModel.h"
#include "Tracer.h"
#include "VOI.h"
#include "mexhost.h"
#include "util/Message.h"
#include "util/NumUtil.h"

namespace {

class ErrorModelTest : public ::testing::Test {
protected:
    void SetUp() override {
        _MessageHelper::verbosity_ = 1;
        mexhost::clearOutput();
    }
    void TearDown() override {
        _MessageHelper::verbosity_ = 1;
        mexhost::clearOutput();
    }
};

// nT frames of X voxels, frame t starting at 100 t with length len, holding value(t, x).
template <class T, class F>
std::unique_ptr<Dataset4D<T>> series(unsigned nT, unsigned X, double len, F value, const char* unit = "Bq/ml") {
    std::unique_ptr<Dataset4D<T>> d(new Dataset4D<T>(nT, X, 1, 1, T(0)));
    d->setName("scan");
    d->setUnit(Unit(unit));
    for (unsigned t = 0; t < nT; ++t) {
        d->setTime(t, 100.0 * t);
        d->setFrameLength(t, len);
        for (unsigned x = 0; x < X; ++x) (*d)(t, x, 0, 0) = static_cast<T>(value(t, x));
    }
    return d;
}

}  // namespace

TEST_F(ErrorModelTest, UniformIsOneEverywhereAndCopiesTheFrameTables) {
    auto data = series<short>(3, 4, 10.0, [](unsigned t, unsigned x) { return 7.0 * t - 5.0 * x; });
    data->setMidframeApprox(true);
    ErrorModel m("Uniform");
    std::unique_ptr<Dataset4D<double>> e(m.create(data.get(), nullptr));
    ASSERT_TRUE(e);
    EXPECT_EQ(e->getName(), "scan_error");
    EXPECT_TRUE(e->getMidframeApprox());
    for (unsigned t = 0; t < 3; ++t) {
        EXPECT_EQ(e->getTime(t), 100.0 * t);
        EXPECT_EQ(e->getFrameLength(t), 10.0);
        for (unsigned x = 0; x < 4; ++x) EXPECT_EQ((*e)(t, x, 0, 0), 1.0);
    }
    EXPECT_EQ(mexhost::takeOutput(), "");
}

TEST_F(ErrorModelTest, SimpleIsProportionalAndTheFloorKeepsTheSign) {
    const double values[] = {2.0, -2.0, 10.0, 0.0};
    auto data = series<double>(1, 4, 1.0, [&](unsigned, unsigned x) { return values[x]; });
    ErrorModel m("Simple");
    m.setSigma(0.1);
    std::unique_ptr<Dataset4D<double>> plain(m.create(data.get(), nullptr));
    ASSERT_TRUE(plain);
    EXPECT_DOUBLE_EQ((*plain)(0, 0, 0, 0), 0.2);
    EXPECT_DOUBLE_EQ((*plain)(0, 1, 0, 0), -0.2);
    mexhost::clearOutput();

    m.setFloor(0.5);
    std::unique_ptr<Dataset4D<double>> floored(m.create(data.get(), nullptr));
    ASSERT_TRUE(floored);
    EXPECT_EQ((*floored)(0, 0, 0, 0), 0.5);
    EXPECT_EQ((*floored)(0, 1, 0, 0), -0.5);
    EXPECT_DOUBLE_EQ((*floored)(0, 2, 0, 0), 1.0);
    EXPECT_EQ((*floored)(0, 3, 0, 0), 0.5);  // an error of 0 is raised to +floor
    EXPECT_EQ(mexhost::takeOutput(), "3 of 4 error values floored\n");
}

TEST_F(ErrorModelTest, PoissonUsesUnitFactorDecayAndFrameLength) {
    // d = 40 in Bq/ml over 10 s at t = 0: 400 counts, sd 20 counts = 2 Bq/ml.
    auto data = series<float>(2, 2, 10.0, [](unsigned, unsigned x) { return x == 0 ? 40.0 : -40.0; });
    data->setTime(1, 6588.0);  // one F-18 half-life: half the counts
    ErrorModel m("Poisson");
    m.setTracer(Tracer("F-18"));
    std::unique_ptr<Dataset4D<double>> e(m.create(data.get(), nullptr));
    ASSERT_TRUE(e);
    EXPECT_DOUBLE_EQ((*e)(0, 0, 0, 0), 2.0);
    EXPECT_DOUBLE_EQ((*e)(0, 1, 0, 0), -2.0);
    EXPECT_NEAR((*e)(1, 0, 0, 0), std::sqrt(8.0), 1e-12);

    // In kBq/ml the same number stands for 1000 times the counts.
    data->setUnit(Unit("kBq/ml"));
    std::unique_ptr<Dataset4D<double>> k(m.create(data.get(), nullptr));
    EXPECT_NEAR((*k)(0, 0, 0, 0), std::sqrt(40.0 / 10000.0), 1e-12);

    // The weighted form scales the same error.
    ErrorModel w("WeightedPoisson");
    w.setTracer(Tracer("F-18"));
    w.setSigma(3.0);
    data->setUnit(Unit("Bq/ml"));
    std::unique_ptr<Dataset4D<double>> we(w.create(data.get(), nullptr));
    EXPECT_DOUBLE_EQ((*we)(0, 0, 0, 0), 6.0);
    EXPECT_DOUBLE_EQ((*we)(0, 1, 0, 0), -6.0);
}

TEST_F(ErrorModelTest, MidframeApproximationMovesTheDecayTime) {
    // Frame from 0 s, 2 * 123 s long, O-15: decay at its middle is 1/2.
    auto data = series<double>(1, 1, 246.0, [](unsigned, unsigned) { return 24.6; });
    data->setMidframeApprox(true);
    ErrorModel m("Poisson");
    m.setTracer(Tracer("O-15"));
    std::unique_ptr<Dataset4D<double>> e(m.create(data.get(), nullptr));
    EXPECT_NEAR((*e)(0, 0, 0, 0), std::sqrt(24.6 / (0.5 * 246.0)), 1e-12);
}

TEST_F(ErrorModelTest, SmallErrorsWarnOnlyFromVerbosityTwo) {
    auto data = series<int>(1, 2, 10.0, [](unsigned, unsigned x) { return x == 0 ? 0.0 : 40.0; });
    ErrorModel m("Poisson");
    m.setTracer(Tracer("FDG"));
    std::unique_ptr<Dataset4D<double>> quiet(m.create(data.get(), nullptr));
    EXPECT_EQ((*quiet)(0, 0, 0, 0), 0.0);
    EXPECT_EQ(mexhost::takeOutput(), "");

    _MessageHelper::verbosity_ = 2;
    std::unique_ptr<Dataset4D<double>> loud(m.create(data.get(), nullptr));
    EXPECT_EQ(mexhost::takeOutput(), "WARNING: |e(0,0)| = 0 < 0.001!\n");

    _MessageHelper::verbosity_ = 4;
    m.setFloor(0.5);
    std::unique_ptr<Dataset4D<double>> traced(m.create(data.get(), nullptr));
    EXPECT_EQ(mexhost::takeOutput(),
              "flooring error 0.00000 to 0.50000 at t=0 \n"
              "  frame 0: len=10 decay=1 min=0.5 max=2\n"
              "1 of 2 error values floored\n");
}

TEST_F(ErrorModelTest, OnlyVoxelsOfTheVOIGetErrors) {
    auto data = series<unsigned char>(2, 3, 1.0, [](unsigned, unsigned x) { return 10.0 * (x + 1); });
    VOI voi(3, 1, 1, 0);
    voi(1u) = 1;
    voi(2u) = 5;  // any non-zero value is active
    ErrorModel m("Simple");
    m.setSigma(0.01);
    m.setFloor(0.25);
    std::unique_ptr<Dataset4D<double>> e(m.create(data.get(), &voi));
    ASSERT_TRUE(e);
    for (unsigned t = 0; t < 2; ++t) {
        EXPECT_EQ((*e)(t, 0, 0, 0), 0.0);
        EXPECT_EQ((*e)(t, 1, 0, 0), 0.25);
        EXPECT_DOUBLE_EQ((*e)(t, 2, 0, 0), 0.3);
    }
    // Two floored values out of T times the active voxels.
    EXPECT_EQ(mexhost::takeOutput(), "2 of 4 error values floored\n");

    VOI other(2, 1, 1, 1);
    EXPECT_EQ(m.create(data.get(), &other), nullptr);
    EXPECT_NE(mexhost::takeOutput().find("ERROR ErrorModel("), std::string::npos);
}

TEST_F(ErrorModelTest, RandomModelsHaveTheRightSpread) {
    random_init(4711);
    const unsigned n = 20000;
    auto data = series<double>(1, n, 10.0, [](unsigned, unsigned) { return 40.0; });
    auto moments = [&](const char* name, double sigma, double* mean, double* sd, double* maxAbs) {
        ErrorModel m(name);
        m.setTracer(Tracer("FDG"));
        if (sigma > 0.0) m.setSigma(sigma);
        std::unique_ptr<Dataset4D<double>> e(m.create(data.get(), nullptr));
        double s = 0.0, s2 = 0.0;
        *maxAbs = 0.0;
        for (unsigned x = 0; x < n; ++x) {
            double v = (*e)(0, x, 0, 0);
            s += v;
            s2 += v * v;
            *maxAbs = std::max(*maxAbs, std::fabs(v));
        }
        *mean = s / n;
        *sd = std::sqrt(s2 / n - *mean * *mean);
    };
    double mean, sd, maxAbs;
    // Uniform on [-4, 4): sd 8 / sqrt(12).
    moments("SimpleRandom", 0.1, &mean, &sd, &maxAbs);
    EXPECT_NEAR(mean, 0.0, 0.05);
    EXPECT_NEAR(sd, 8.0 / std::sqrt(12.0), 0.05);
    EXPECT_LE(maxAbs, 4.0);
    moments("GaussRandom", 0.1, &mean, &sd, &maxAbs);
    EXPECT_NEAR(mean, 0.0, 0.1);
    EXPECT_NEAR(sd, 4.0, 0.1);
    // 400 counts per voxel: the deviation of the value has sd 2.
    moments("PoissonRandom", 0.0, &mean, &sd, &maxAbs);
    EXPECT_NEAR(mean, 0.0, 0.05);
    EXPECT_NEAR(sd, 2.0, 0.05);
    moments("WeightedPoissonRandom", 2.0, &mean, &sd, &maxAbs);
    EXPECT_NEAR(sd, 4.0, 0.1);
}

TEST_F(ErrorModelTest, RefusalsAndUnknownNames) {
    std::unique_ptr<Dataset3D<double>> volume(new Dataset3D<double>(2, 2, 2, 1.0));
    volume->setName("v");
    ErrorModel m("Uniform");
    EXPECT_EQ(m.create(volume.get(), nullptr), nullptr);
    std::string text = mexhost::takeOutput();
    EXPECT_EQ(text.find("ERROR ErrorModel("), 0u);
    EXPECT_NE(text.find("): data 'v' has 3 instead of 4 dimensions \n"), std::string::npos);

    auto data = series<double>(1, 2, 1.0, [](unsigned, unsigned) { return 3.0; });
    ErrorModel odd("Cauchy");
    std::unique_ptr<Dataset4D<double>> e(odd.create(data.get(), nullptr));
    ASSERT_TRUE(e);
    EXPECT_EQ((*e)(0, 0, 0, 0), 0.0);
    EXPECT_EQ((*e)(0, 1, 0, 0), 0.0);
    text = mexhost::takeOutput();
    // One report per voxel.
    size_t first = text.find("unknown error model name: Cauchy\n");
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(text.find("unknown error model name: Cauchy\n", first + 1), std::string::npos);
}
