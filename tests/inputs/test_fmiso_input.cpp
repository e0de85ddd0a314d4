// The hypoxia tracer's parametric plasma curve: convolutions against
// quadrature of its value, derivatives against central differences (tau's
// deliberately 0), refused parameter counts and the start values taken from
// a measured curve.
#include <gtest/gtest.h>

#include "inputs/FMISO_InputFunction.h"
#include "model/model_support.h"

using namespace model_test;

namespace {

// tau (s), A0, c0, then (A, c1, c2) for two terms.
const std::vector<double> kParams = {60.0, 30.0, 2.0, 4.0, 0.05, 0.9, 1.5, 0.01, 0.3};

FMISO_InputFunction make() {
    const std::vector<double>& p = kParams;
    return FMISO_InputFunction("fmiso", Unit("kBq/ml"), p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], p[8]);
}

TEST(FmisoInput, ConvolutionsMatchQuadratureOfTheCurve) {
    FMISO_InputFunction f = make();
    // k ordinary, zero, and equal to the rates c0/tau and c2/tau of the terms.
    for (double k : {0.004, 0.0, 2.0 / 60, 0.3 / 60, 0.08})
        for (double t : {5.0, 120.0, 1800.0}) {
            const double ce = integrate([&](double s) { return std::exp(-k * s) * f(t - s, 0, 0, 0); }, 0, t);
            const double ct = integrate([&](double s) { return std::exp(-k * s) * (t - s) * f(t - s, 0, 0, 0); }, 0, t);
            EXPECT_NEAR(f.convExp(k, t, 0, 0, 0), ce, 1e-7 * std::fabs(ce)) << "k=" << k << " t=" << t;
            EXPECT_NEAR(f.convTimeExp(k, t, 0, 0, 0), ct, 1e-7 * std::fabs(ct)) << "k=" << k << " t=" << t;
        }
}

TEST(FmisoInput, DerivativesMatchCentralDifferencesButTauIsPinnedToZero) {
    FMISO_InputFunction f = make();
    for (unsigned i = 0; i < kParams.size(); ++i) {
        const std::string name = f.getParameterByIndex(i).getName();
        for (double t : {20.0, 90.0, 1500.0}) {
            const double numeric = centralDifference(
                [&](double v) { return f.setParameterValue(name, v), f(t, 0, 0, 0); }, kParams[i], 1e-5 * kParams[i]);
            f.setParameterValue(name, kParams[i]);
            const double analytic = f.der(name, t, 0, 0, 0);
            if (i > 0) {
                EXPECT_NEAR(analytic, numeric, 1e-6 * std::max(1.0, std::fabs(numeric))) << name << " t=" << t;
                continue;
            }
            // No analytic derivative by the time scale: a fit with tau free
            // must use numder, which gives the true one.
            EXPECT_EQ(analytic, 0.0);
            EXPECT_GT(std::fabs(numeric), 1e-6);
            f.setNumDer(true);
            EXPECT_NEAR(f.der(name, t, 0, 0, 0), numeric, 1e-3 * std::fabs(numeric)) << t;
            f.setNumDer(false);
        }
    }
    Verbosity quiet(0);
    for (long n : {3L, 6L, 9L}) EXPECT_TRUE(f.checkSize(n)) << n;  // whole terms only
    for (long n : {0L, 1L, 5L, 8L}) EXPECT_FALSE(f.checkSize(n)) << n;
}

// The rise A0 x e^(-c0 x) peaks at t = tau / c0 with A0 / (c0 e): it is put on
// the measured peak (frame 2, 20 to 30 s, 9.0); later terms take A = y / ln 2
// and c2 = f c1 with f = 0.1, then 0.01. A peak in the first or last frame
// leaves the start values.
TEST(FmisoInput, StartValuesPutTheRiseOnTheMeasuredPeak) {
    Verbosity quiet(0);
    auto curve = [](const std::vector<double>& values) {
        Dataset4D<double> data(static_cast<unsigned>(values.size()), 1, 1, 1, 0.0);
        for (unsigned i = 0; i < values.size(); ++i) {
            data.setTime(i, 10.0 * i);
            data.setFrameLength(i, 10.0);
            data(i, 0, 0, 0) = values[i];
        }
        data.setUnit(Unit("kBq/ml"));
        return data;
    };
    FMISO_InputFunction f = make();
    const Dataset4D<double> data = curve({0.0, 3.0, 9.0, 6.0, 4.0, 3.0, 2.5, 2.0, 1.8, 1.6});
    f.initParameters(&data, nullptr);
    auto init = [&](const char* name) { return f.getParameterInitValue(name, 0, 0, 0); };
    EXPECT_GE(60.0 / init("c0"), 20.0);
    EXPECT_LE(60.0 / init("c0"), 30.0);
    EXPECT_NEAR(init("A0") / (init("c0") * std::exp(1.0)), 9.0, 1e-12);
    EXPECT_NEAR(init("c21"), 0.1 * init("c11"), 1e-15);
    EXPECT_NEAR(init("c22"), 0.01 * init("c12"), 1e-15);
    EXPECT_GT(init("A1"), 0.0);
    EXPECT_DOUBLE_EQ(f(100.0, 0, 0, 0), make()(100.0, 0, 0, 0));  // the values in use stay
    for (const std::vector<double>& values : {std::vector<double>{9, 3, 2, 1}, std::vector<double>{1, 2, 3, 9}}) {
        FMISO_InputFunction g = make();
        const double before = g.getParameterInitValue("c0", 0, 0, 0);
        const Dataset4D<double> edge = curve(values);
        g.initParameters(&edge, nullptr);
        EXPECT_EQ(g.getParameterInitValue("c0", 0, 0, 0), before);
    }
}

}  // namespace
