// The parametric reference-tissue curve: its value as the convolution of its
// input-like curve with exp(-lambda t), its convolutions and every analytic
// derivative against quadrature and central differences, in ordinary
// regimes and at the points where the expanded form divides 0 by 0.
#include <gtest/gtest.h>

#include "inputs/McN_ReferenceFunction.h"
#include "model/model_support.h"

using namespace model_test;

namespace {

// lambda (1/min), a1, a2 (min), a3, b3, c3 (min): stored values.
const struct Case {
    const char* what;
    std::vector<double> p;
} kCases[] = {
    {"ordinary", {0.1, 5.0, 3.0, 2.0, 4.0, 1.5}},
    {"q = 0 (a2 = 1/lambda)", {0.1, 5.0, 10.0, 2.0, 4.0, 1.5}},
    {"1/b = lambda", {0.25, 5.0, 3.0, 2.0, 4.0, 1.5}},
    {"1/b + 1/c = lambda", {0.75, 5.0, 3.0, 2.0, 4.0, 4.0}},
    {"two triples", {0.05, 1.0, 0.5, 2.0, 4.0, 1.5, -1.0, 20.0, 6.0}},
};

// The input-like curve in normal units: y = u * exp(-lambda t).
double inputLike(const std::vector<double>& p, double s) {
    double u = p[1] / p[2] * s * std::exp(-s / p[2]);
    for (size_t j = 3; j + 2 < p.size(); j += 3) u += p[j] * std::exp(-s / p[j + 1]) * (1 - std::exp(-s / p[j + 2]));
    return u;
}

// The curve as written with q = 1 - a2 lambda, for parameters away from its poles.
double expandedForm(const std::vector<double>& p, double t) {
    const double l = p[0], a1 = p[1], a2 = p[2], q = 1 - a2 * l, E = std::exp(-l * t);
    double y = -(a1 / q) * t * std::exp(-t / a2) - (a1 * a2 / (q * q)) * (std::exp(-t / a2) - E);
    for (size_t j = 3; j + 2 < p.size(); j += 3) {
        const double a = p[j], b = p[j + 1], c = p[j + 2];
        y += -(a / (1 / b - l)) * (std::exp(-t / b) - E) + (a / (1 / b - l + 1 / c)) * (std::exp(-(1 / b + 1 / c) * t) - E);
    }
    return y;
}

double tolerance(double expected) { return 1e-9 * std::max(1.0, std::fabs(expected)); }

TEST(McNReference, ValueAndConvolutionsMatchQuadrature) {
    for (const Case& c : kCases) {
        McN_ReferenceFunction f("ref", Unit(), c.p);
        f(0.0, 0, 0, 0);
        const std::vector<double> p = f.values();  // normal units
        for (double t : {0.0, 7.5, 60.0, 600.0, 3600.0}) {
            const double expected =
                f.getScale() * integrate([&](double s) { return inputLike(p, s) * std::exp(-p[0] * (t - s)); }, 0, t);
            EXPECT_NEAR(f(t, 0, 0, 0), expected, tolerance(expected)) << c.what << " t=" << t;
            if (c.p == kCases[0].p) {  // away from the poles: the expanded form
                const double written = f.getScale() * expandedForm(p, t);
                EXPECT_NEAR(f(t, 0, 0, 0), written, tolerance(written)) << t;
            }
        }
        // k: ordinary, zero, equal to lambda, to 1/a2 and to 1/b.
        for (double k : {0.003, 0.0, p[0], 1 / p[2], 1 / p[4]})
            for (double t : {60.0, 900.0}) {
                const double ce = integrate([&](double s) { return std::exp(-k * s) * f(t - s, 0, 0, 0); }, 0, t);
                const double ct = integrate([&](double s) { return std::exp(-k * s) * (t - s) * f(t - s, 0, 0, 0); }, 0, t);
                EXPECT_NEAR(f.convExp(k, t, 0, 0, 0), ce, tolerance(ce)) << c.what << " k=" << k << " t=" << t;
                EXPECT_NEAR(f.convTimeExp(k, t, 0, 0, 0), ct, tolerance(ct)) << c.what << " k=" << k << " t=" << t;
            }
    }
}

TEST(McNReference, EveryDerivativeMatchesCentralDifferences) {
    for (const Case& c : kCases) {
        McN_ReferenceFunction f("ref", Unit(), c.p);
        for (unsigned i = 0; i < c.p.size(); ++i) {
            const std::string name = f.getParameterByIndex(i).getName();
            for (double t : {30.0, 300.0, 2400.0}) {
                const double analytic = f.der(name, t, 0, 0, 0);
                const double numeric = centralDifference(
                    [&](double v) { return f.setParameterValue(name, v), f(t, 0, 0, 0); }, c.p[i], 1e-5 * std::fabs(c.p[i]));
                f.setParameterValue(name, c.p[i]);
                EXPECT_NEAR(analytic, numeric, 1e-6 * std::max(1.0, std::fabs(numeric))) << c.what << " d/d" << name << " t=" << t;
            }
        }
    }
}

// Just beside q = 0 and beside a rate equal to k the expanded forms cancel to
// a few digits; the curve, its convolutions and derivatives must stay within
// round-off of their values at the point.
TEST(McNReference, ContinuousAcrossTheLimitPoints) {
    const std::vector<double> at = kCases[1].p;
    McN_ReferenceFunction f("ref", Unit(), at), g("ref", Unit(), at);
    g.setParameterValue("a2", 10.0 * (1 + 1e-10));
    f(0.0, 0, 0, 0);
    const double k = 1 / f.values()[2];
    for (double t : {60.0, 1200.0}) {
        EXPECT_NEAR(f(t, 0, 0, 0), g(t, 0, 0, 0), 1e-8 * std::fabs(f(t, 0, 0, 0)));
        EXPECT_NEAR(f.convExp(k, t, 0, 0, 0), g.convExp(k, t, 0, 0, 0), 1e-8 * f.convExp(k, t, 0, 0, 0));
        EXPECT_NEAR(f.convTimeExp(k, t, 0, 0, 0), g.convTimeExp(k, t, 0, 0, 0), 1e-8 * f.convTimeExp(k, t, 0, 0, 0));
        for (const char* name : {"lambda", "a1", "a2", "b3"})
            EXPECT_NEAR(f.der(name, t, 0, 0, 0), g.der(name, t, 0, 0, 0), 1e-7 * std::fabs(f.der(name, t, 0, 0, 0))) << name;
    }
}

// a2 = 0 has no limit: NaN until good values return. Counts that are not
// whole triples are refused; init takes the whole triples of any list.
TEST(McNReference, ZeroTimeConstantAndParameterCounts) {
    McN_ReferenceFunction f("ref", Unit(), kCases[0].p);
    const double good = f(300.0, 0, 0, 0);
    f.setParameterValue("a2", 0.0);
    EXPECT_TRUE(std::isnan(f(300.0, 0, 0, 0)));
    EXPECT_TRUE(std::isnan(f.convExp(0.01, 300.0, 0, 0, 0)));
    f.setParameterValue("a2", kCases[0].p[2]);
    EXPECT_DOUBLE_EQ(f(300.0, 0, 0, 0), good);
    Verbosity quiet(0);
    McN_ReferenceFunction g("ref", Unit());
    for (long n : {3L, 6L, 9L, 12L}) EXPECT_TRUE(g.checkSize(n)) << n;
    for (long n : {0L, 2L, 4L, 5L, 7L}) EXPECT_FALSE(g.checkSize(n)) << n;
    g.init({0.1, 5.0, 3.0, 2.0});
    EXPECT_EQ(g.getNumParameters(), 3u);
    EXPECT_TRUE(std::isfinite(g(60.0, 0, 0, 0)));
}

}  // namespace
