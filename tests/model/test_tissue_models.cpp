// The one- and two-tissue models beyond the shared contract: the coefficients'
// stable forms and unbound limit, degenerate sets, rows kept although they are
// not derivatives, voxels, caches and the myocardial blood flow.
#include <gtest/gtest.h>

#include <cstdio>

#include "compartments.h"
#include "mexhost.h"
#include "models/Cardiac_2TC_Model.h"
#include "models/Cardiac_HutchinsII_Model.h"
#include "models/Cardiac_HutchinsI_Model.h"
#include "models/Generic_1TC_Model.h"
#include "models/Generic_2TC_Model.h"
#include "models/Water_1TC_Model.h"

using namespace model_test;

namespace {

// The line of the coefficients, rates in 1/s.
std::string line(double k2, double k3, double k4, const TwoTissueCoefficients& c) {
    char text[256];
    std::snprintf(text, sizeof text, "  k2=%g, k3=%g, k4=%g, lambda1=%g, lambda2=%g\n", k2 / 60, k3 / 60, k4 / 60,
                  c.lambda1, c.lambda2);
    return text;
}

// The input's calls so far: values, convolutions, time-weighted convolutions.
void expectCalls(const RampInput& ramp, int v, int c, int ct) {
    EXPECT_EQ(ramp.values, v);
    EXPECT_EQ(ramp.convs, c);
    EXPECT_EQ(ramp.convTs, ct);
}

}  // namespace

// Without binding (k3 = k4 = 0; the curve itself is in the contract) the slow
// rate is exactly +0, so that the input integrates C itself, and nothing is bound.
TEST(TwoTissue, WithoutBindingTheSlowRateIsPlusZero) {
    RampInput ramp;
    for (const std::vector<double>& p : std::vector<std::vector<double>>{{0.6, 0.3}, {1.5, 0.05}, {0.2, 3.0}}) {
        Generic_2TC_Model two(Unit("kBq/ml"), p[0], p[1], 0.0, 0.0, 0.9, 0.1);
        two.addInput(&ramp);
        EXPECT_EQ(two.computeAll(95.0, 0, 0, 0)[2], 0.0);
        const TwoTissueCoefficients& c = two.coefficients();
        EXPECT_TRUE(c.lambda1 == 0.0 && !std::signbit(c.lambda1));
        EXPECT_DOUBLE_EQ(c.lambda2, -p[1] / 60);
        EXPECT_TRUE(c.c11 == 0.0 && c.c21 == 0.0);
        EXPECT_TRUE(std::isfinite(c.E));  // the k3 row stays a number at k3 = 0
    }
}

// The written forms against the stable ones where both are accurate; the
// eigenvalues' sum and product where the written slow rate loses its digits.
TEST(TwoTissue, StableFormsAgreeWithTheWrittenOnes) {
    const double sets[][4] = {{0.6, 0.3, 0.1, 0.05}, {1.5, 0.2, 0.4, 0.02}, {0.5, 0.05, 0.3, 0.6},
                              {0.2, 0.1, 0.05, 0.001}, {0.4, 0.7, 0.6, 1.3}};
    for (const auto& k : sets) {
        TwoTissueCoefficients c;
        ASSERT_TRUE(c.compute(k[0], k[1], k[2], k[3]));
        const double S = k[1] + k[2] + k[3], u = k[3] - k[1] - k[2];
        const double r = std::sqrt(0.25 * u * u + k[2] * k[3]), A = k[0] * k[2] / (8 * r * r * r);
        const std::string at = "k = " + std::to_string(k[1]) + " " + std::to_string(k[2]) + " " + std::to_string(k[3]);
        expectRelative(c.lambda1, r - S / 2, 1e-11, "lambda1 " + at);
        expectRelative(c.lambda2, -S / 2 - r, 1e-15, "lambda2 " + at);
        expectRelative(c.c11, k[0] * (u / 2 + r) / (2 * r), 1e-11, "c11 " + at);
        expectRelative(c.c12, k[0] * (r - u / 2) / (2 * r), 1e-11, "c12 " + at);
        expectRelative(c.c21, k[0] * k[2] / (2 * r), 1e-15, "c21 " + at);
        EXPECT_EQ(c.c22, -c.c21);
        expectRelative(c.E, A * k[1] * (k[1] + k[2] - k[3]) / k[2], 1e-13, "E " + at);
    }
    // k2 k4 << S^2 and k3 k4 << u^2: lambda1 = (S/2)(sqrt(1 - 4 k2 k4 / S^2) - 1)
    // and u/2 + r = (|u|/2)(sqrt(1 + 4 k3 k4 / u^2) - 1), through expm1 and log1p.
    for (double k4 = 1e-12; k4 < 0.1; k4 *= 100) {
        TwoTissueCoefficients c;
        c.compute(0.5, 0.3, 0.2, k4);
        const double S = 0.5 + k4, u = k4 - 0.5;
        const std::string at = "k4 " + std::to_string(k4);
        expectRelative(c.lambda1, S / 2 * std::expm1(0.5 * std::log1p(-4 * 0.3 * k4 / (S * S))), 1e-14, at);
        const double p = std::fabs(u) / 2 * std::expm1(0.5 * std::log1p(4 * 0.2 * k4 / (u * u)));
        expectRelative(c.c11, 0.5 * p / (2 * c.r), 1e-14, at);
    }
}

TEST(TwoTissue, DegenerateParameterSets) {
    RampInput ramp;
    Verbosity loud(4);
    // Negative rates with D < 0: NaN, not the previous curve; changed_ stays
    // set; the next valid set is computed in full.
    Generic_2TC_Model m(Unit("kBq/ml"), 0.6, 0.3, 0.1, 0.05, 0.9, 0.1);
    Generic_2TC_Model fresh(Unit("kBq/ml"), 0.5, 0.2, 0.1, 0.05, 0.9, 0.1);
    m.addInput(&ramp);
    fresh.addInput(&ramp);
    m(60.0, 0, 0, 0);
    const double negative[] = {0.5, -1.5, 1.0, -0.5};  // u = 0, k3 k4 < 0
    for (unsigned i = 0; i < 4; ++i) m.setParameterValue(m.getParameterNames()[i], negative[i]);
    mexhost::clearOutput();
    EXPECT_TRUE(std::isnan(m(60.0, 0, 0, 0)));
    EXPECT_TRUE(m.getChanged());
    EXPECT_TRUE(std::isnan(m.der("k2", 60.0, 0, 0, 0)));
    EXPECT_EQ(mexhost::takeOutput(), "");
    const double valid[] = {0.5, 0.2, 0.1, 0.05};
    for (unsigned i = 0; i < 4; ++i) m.setParameterValue(m.getParameterNames()[i], valid[i]);
    EXPECT_EQ(m(60.0, 0, 0, 0), fresh(60.0, 0, 0, 0));

    // lambda1 > 0 (k2 k4 < 0): the warning once per parameter set; otherwise
    // the same line as a message at verbosity 4.
    const std::string normal = line(0.2, 0.1, 0.05, m.coefficients());
    m.setParameterValue("k4", -0.1);
    mexhost::clearOutput();
    for (double t : {10.0, 20.0}) m(t, 0, 0, 0), m.der("k3", t, 0, 0, 0);
    EXPECT_GT(m.coefficients().lambda1, 0.0);
    EXPECT_EQ(mexhost::takeOutput(), "WARNING: " + line(0.2, 0.1, -0.1, m.coefficients()));
    m.setParameterValue("k4", 0.05);
    m(10.0, 0, 0, 0);
    EXPECT_EQ(mexhost::takeOutput(), normal);
    {
        Verbosity quiet(3);
        m.setParameterValue("k4", 0.06);
        m(10.0, 0, 0, 0);
        EXPECT_EQ(mexhost::takeOutput(), "");
    }

    // Hutchins II with k2 = k3 = 0: D = 0, no crash; its line has no k4.
    Cardiac_HutchinsII_Model h(Unit("kBq/ml"), 0.6, 0.0, 0.0, 0.2);
    h.addInput(&ramp);
    EXPECT_TRUE(std::isnan(h(30.0, 0, 0, 0)));
    EXPECT_EQ(mexhost::takeOutput(), "  k2=0, k3=0, lambda1=0, lambda2=-0\n");

    // k1 = 0: no tissue, derivatives 0.0, and the convolutions are still
    // fetched (both plain ones, then with the time-weighted ones).
    Generic_2TC_Model none(Unit("kBq/ml"), 0.0, 0.3, 0.1, 0.05, 0.9, 0.1);
    none.addInput(&ramp);
    const int convs = ramp.convs;
    EXPECT_DOUBLE_EQ(none(30.0, 0, 0, 0), 0.1 * 60.0);
    EXPECT_EQ(none.der("k1", 30.0, 0, 0, 0), 0.0);
    EXPECT_EQ(none.der("k2", 30.0, 0, 0, 0), 0.0);
    EXPECT_EQ(ramp.convs, convs + 4);
}

// Cardiac_2TC keeps two rows that are not the derivatives: V gives 0.0 and
// the k1 row takes S' = k1 + k3 + k4 whatever V is. A fit holds V const.
TEST(TwoTissue, CardiacRowsKeptAsWritten) {
    RampInput ramp;
    const double k1 = 0.8, k3 = 0.2, k4 = 0.05, V = 2.0, alpha = 0.7, t = 50.0;
    Cardiac_2TC_Model m(Unit("kBq/ml"), k1, k3, k4, V, alpha, 0.1);
    m.addInput(&ramp);
    EXPECT_EQ(m.der("V", t, 0, 0, 0), 0.0);
    const double analytic = m.der("k1", t, 0, 0, 0);
    // The written row from the coefficients and the ramp's convolutions.
    const TwoTissueCoefficients& c = m.coefficients();
    EXPECT_DOUBLE_EQ(c.k[1], k1 / V / 60);
    const double n1 = k1 / 60, S = (k1 + k3 + k4) / 60, mu1 = -c.lambda1, mu2 = -c.lambda2;
    const double conv1 = ramp.convExp(mu1, t, 0, 0, 0), conv2 = ramp.convExp(mu2, t, 0, 0, 0);
    const double convT1 = ramp.convTimeExp(mu1, t, 0, 0, 0), convT2 = ramp.convTimeExp(mu2, t, 0, 0, 0);
    const double C = c.c11 * conv1 + c.c12 * conv2 + c.c21 * conv1 + c.c22 * conv2;
    const double P1 = (c.c11 + c.c21) * c.c11 / n1, P2 = (c.c12 + c.c22) * c.c12 / n1;
    const double written =
        alpha * (C / n1 + (-c.A * S - P1 * t) * conv1 + P1 * convT1 + (S * c.A - t * P2) * conv2 + P2 * convT2);
    expectRelative(analytic, written / 60, 1e-12, "k1 row");
    // ... which is not the derivative at V = 2.
    const double difference =
        centralDifference([&](double v) { return m.setParameterValue("k1", v), m(t, 0, 0, 0); }, k1, 1e-5);
    EXPECT_GT(std::fabs(difference - analytic), 1e-3 * std::fabs(difference));
}

// Generic_2TC asks the input at the voxel, the cardiac classes at (0, 0, 0);
// again only for a new time, rate set or input, and for the time-weighted
// convolutions only when a derivative needs them. A new input is never
// answered from the old one's numbers.
TEST(TwoTissue, InputVoxelsAndCaches) {
    RampInput ramp;
    Generic_2TC_Model generic(Unit("kBq/ml"), 0.6, 0.3, 0.1, 0.05, 0.9, 0.1);
    Cardiac_2TC_Model cardiac(Unit("kBq/ml"), 0.6, 0.1, 0.05, 2.0, 0.9, 0.1);
    Cardiac_HutchinsII_Model hutchins(Unit("kBq/ml"), 0.6, 0.3, 0.1, 0.1);
    for (Model* m : std::vector<Model*>{&generic, &cardiac, &hutchins}) {
        m->addInput(&ramp);
        m->resizeParameters(3, 2, 1);
        for (bool withTime : {false, true}) {
            withTime ? m->der("k3", 30.0, 2, 1, 0) : (*m)(30.0, 2, 1, 0);
            EXPECT_EQ(ramp.voxel[0], m == &generic ? 2u : 0u) << m->getName();
            EXPECT_EQ(ramp.voxel[1], m == &generic ? 1u : 0u) << m->getName();
        }
    }
    RampInput r;
    Cardiac_HutchinsII_Model h(Unit("kBq/ml"), 0.6, 0.3, 0.1, 0.1);
    h.addInput(&r);
    h(30.0, 0, 0, 0);
    h(30.0, 0, 0, 0);
    expectCalls(r, 1, 2, 0);
    h.der("k2", 30.0, 0, 0, 0);
    h.der("k3", 30.0, 0, 0, 0);
    h(30.0, 0, 0, 0);
    expectCalls(r, 2, 4, 2);
    h(31.0, 0, 0, 0);
    expectCalls(r, 3, 6, 2);
    h.setParameterValue("k3", 0.2);
    h(31.0, 0, 0, 0);
    expectCalls(r, 4, 8, 2);
    h.setParameterValue("tbv", 0.2);  // the same rates: the same convolutions
    const double before = h(31.0, 0, 0, 0);
    expectCalls(r, 4, 8, 2);
    RampInput steeper(4.0);
    h.clearInputs();
    h.addInput(&steeper);
    EXPECT_NEAR(h(31.0, 0, 0, 0), 2 * before, 1e-14 * before);
}

// Generic_1TC compares values and key and always takes both convolutions.
TEST(OneTissue, Caches) {
    RampInput ramp;
    Generic_1TC_Model m(Unit("kBq/ml"), 0.6, 0.3, 0.9, 0.1);
    m.addInput(&ramp);
    const double first = m(30.0, 0, 0, 0);
    EXPECT_EQ(m(30.0, 0, 0, 0), first);  // same parameters, same key
    m.der("k2", 30.0, 0, 0, 0);
    m.setParameterValue("k1", 0.6);  // the same value again
    m(30.0, 0, 0, 0);
    expectCalls(ramp, 1, 1, 1);
    m.setParameterValue("beta", 0.2);  // beta alone: both convolutions, not the value
    m(30.0, 0, 0, 0);
    expectCalls(ramp, 1, 2, 2);
    const double later = m(31.0, 0, 0, 0);  // a new time: everything
    expectCalls(ramp, 2, 3, 3);
    RampInput steeper(4.0);
    m.clearInputs();
    m.addInput(&steeper);
    EXPECT_NEAR(m(31.0, 0, 0, 0), 2 * later, 1e-12 * later);
}

// MBF = k1 / 1.042, Cardiac_2TC's k1 taken in 1/s; the map per voxel leaves
// the parameter's own map untouched.
TEST(OneTissue, MyocardialBloodFlow) {
    Water_1TC_Model w(Unit("kBq/ml"), 1.042, 2.0, 0.1);
    Cardiac_HutchinsI_Model h(Unit("kBq/ml"), 2.084, 0.3, 0.1);
    Cardiac_2TC_Model c(Unit("kBq/ml"), 1.042 * 60, 0.1, 0.05, 1.0, 0.9, 0.1);
    Cardiac_HutchinsII_Model h2(Unit("kBq/ml"), 2.084, 0.3, 0.1, 0.1);
    EXPECT_DOUBLE_EQ(w.getMBF(0, 0, 0), 1.0);
    EXPECT_DOUBLE_EQ(h.getMBF(0, 0, 0), 2.0);
    EXPECT_DOUBLE_EQ(c.getMBF(0, 0, 0), 1.0);
    EXPECT_DOUBLE_EQ(h2.getMBF(0, 0, 0), 2.0);
    h.resizeParameters(2, 1, 1);
    h.setParameterValue("k1", 1, 0, 0, 3.126);
    std::unique_ptr<Dataset3D<double>> mbf(h.getMBF()), single(w.getMBF());
    EXPECT_EQ(mbf->getDimensionX(), 2u);
    EXPECT_DOUBLE_EQ((*mbf)(0, 0, 0), 2.0);
    EXPECT_DOUBLE_EQ((*mbf)(1, 0, 0), 3.0);
    EXPECT_DOUBLE_EQ(h.getParameter("k1").valueAt(1, 0, 0), 3.126);
    EXPECT_DOUBLE_EQ((*single)(0, 0, 0), 1.0);
}
