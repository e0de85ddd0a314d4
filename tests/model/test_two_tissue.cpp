// The two-tissue models beyond the shared contract: the one-tissue limit, the
// stable forms of the coefficients, degenerate parameter sets, the rows kept
// although they are not derivatives, inputs, voxels, caches and the
// myocardial blood flow.
#include <gtest/gtest.h>

#include <cstdio>

#include "Dataset4D.h"
#include "compartments.h"
#include "model_support.h"
#include "models/Cardiac_2TC_Model.h"
#include "models/Cardiac_HutchinsII_Model.h"
#include "models/Generic_1TC_Model.h"
#include "models/Generic_2TC_Model.h"
#include "mexhost.h"

using namespace model_test;

namespace {

std::string format(const char* f, double a, double b, double c, double d, double e) {
    char text[256];
    std::snprintf(text, sizeof text, f, a, b, c, d, e);
    return text;
}

}  // namespace

TEST(TwoTissue, WithoutBindingItIsTheOneTissueModel) {
    Blood b;
    for (const std::vector<double>& p : std::vector<std::vector<double>>{{0.6, 0.3}, {1.5, 0.05}, {0.2, 3.0}}) {
        Generic_2TC_Model two(Unit("kBq/ml"), p[0], p[1], 0.0, 0.0, 0.9, 0.1);
        Generic_1TC_Model one(Unit("kBq/ml"), p[0], p[1], 0.9, 0.1);
        two.addInput(b.input.get());
        one.addInput(b.input.get());
        for (double t : {1.0, 13.5, 95.0, 1200.0}) {
            const std::vector<double> all = two.computeAll(t, 0, 0, 0);
            expectRelative(all[0], one(t, 0, 0, 0), 1e-13, "value");
            expectRelative(all[1], one.computeAll(t, 0, 0, 0)[1], 1e-13, "free compartment");
            EXPECT_EQ(all[2], 0.0);  // nothing bound
        }
        // The slow rate is exactly +0, so that the input integrates C itself.
        const TwoTissueCoefficients& c = two.coefficients();
        EXPECT_EQ(c.lambda1, 0.0);
        EXPECT_FALSE(std::signbit(c.lambda1));
        EXPECT_DOUBLE_EQ(c.lambda2, -p[1] / 60);
        EXPECT_EQ(c.c11, 0.0);
        EXPECT_EQ(c.c21, 0.0);
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
    // k2 k4 << S^2 and k3 k4 << u^2, where r - S/2 and u/2 + r cancel:
    //   lambda1 = (S/2)(sqrt(1 - 4 k2 k4 / S^2) - 1),
    //   u/2 + r = (|u|/2)(sqrt(1 + 4 k3 k4 / u^2) - 1),
    // each taken through expm1 and log1p.
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
    m.addInput(&ramp);
    Generic_2TC_Model fresh(Unit("kBq/ml"), 0.5, 0.2, 0.1, 0.05, 0.9, 0.1);
    fresh.addInput(&ramp);
    m(60.0, 0, 0, 0);
    const double negative[] = {0.5, -1.5, 1.0, -0.5};  // u = 0, k3 k4 < 0
    for (unsigned i = 0; i < 4; ++i) m.setParameterValue(m.getParameterNames()[i], negative[i]);
    mexhost::clearOutput();
    EXPECT_TRUE(std::isnan(m(60.0, 0, 0, 0)));
    EXPECT_TRUE(m.getChanged());
    EXPECT_TRUE(std::isnan(m.der("k2", 60.0, 0, 0, 0)));
    EXPECT_EQ(mexhost::takeOutput(), "");
    m.setParameterValue("k1", 0.5);
    m.setParameterValue("k2", 0.2);
    m.setParameterValue("k4", 0.05);
    m.setParameterValue("k3", 0.1);
    EXPECT_EQ(m(60.0, 0, 0, 0), fresh(60.0, 0, 0, 0));

    // lambda1 > 0 (k2 k4 < 0): the warning once per parameter set, with the
    // normal-unit rates; otherwise the same line as a message at verbosity 4.
    const std::string normal = format("  k2=%g, k3=%g, k4=%g, lambda1=%g, lambda2=%g\n", 0.2 / 60, 0.1 / 60,
                                      0.05 / 60, m.coefficients().lambda1, m.coefficients().lambda2);
    m.setParameterValue("k4", -0.1);
    mexhost::clearOutput();
    for (double t : {10.0, 20.0}) m(t, 0, 0, 0), m.der("k3", t, 0, 0, 0);
    const TwoTissueCoefficients& c = m.coefficients();
    EXPECT_GT(c.lambda1, 0.0);
    EXPECT_EQ(mexhost::takeOutput(), "WARNING: " + format("  k2=%g, k3=%g, k4=%g, lambda1=%g, lambda2=%g\n", 0.2 / 60,
                                                         0.1 / 60, -0.1 / 60, c.lambda1, c.lambda2));
    m.setParameterValue("k4", 0.05);
    m(10.0, 0, 0, 0);
    EXPECT_EQ(mexhost::takeOutput(), normal);
    {
        Verbosity quiet(3);
        m.setParameterValue("k4", 0.06);
        m(10.0, 0, 0, 0);
        EXPECT_EQ(mexhost::takeOutput(), "");
    }

    // Hutchins II with k2 = k3 = 0: D = 0, undefined coefficients, no crash;
    // its line has no k4.
    Cardiac_HutchinsII_Model h(Unit("kBq/ml"), 0.6, 0.0, 0.0, 0.2);
    h.addInput(&ramp);
    EXPECT_TRUE(std::isnan(h(30.0, 0, 0, 0)));
    EXPECT_EQ(mexhost::takeOutput(), "  k2=0, k3=0, lambda1=0, lambda2=-0\n");

    // k1 = 0: no tissue, a derivative by k1 of 0.0, and the convolutions are
    // still fetched (both plain ones, then with the time-weighted ones).
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
    const double n1 = k1 / 60, S = (k1 + k3 + k4) / 60;
    const double mu1 = -c.lambda1, mu2 = -c.lambda2;
    const double conv1 = ramp.convExp(mu1, t, 0, 0, 0), conv2 = ramp.convExp(mu2, t, 0, 0, 0);
    const double convT1 = ramp.convTimeExp(mu1, t, 0, 0, 0), convT2 = ramp.convTimeExp(mu2, t, 0, 0, 0);
    const double C = c.c11 * conv1 + c.c12 * conv2 + c.c21 * conv1 + c.c22 * conv2;
    const double P1 = (c.c11 + c.c21) * c.c11 / n1, P2 = (c.c12 + c.c22) * c.c12 / n1;
    const double written =
        alpha * (C / n1 + (-c.A * S - P1 * t) * conv1 + P1 * convT1 + (S * c.A - t * P2) * conv2 + P2 * convT2);
    expectRelative(analytic, written / 60, 1e-12, "k1 row");
    // ... which is not the derivative at V = 2.
    const double h = 1e-5;
    m.setParameterValue("k1", k1 + h);
    const double up = m(t, 0, 0, 0);
    m.setParameterValue("k1", k1 - h);
    const double difference = (up - m(t, 0, 0, 0)) / (2 * h);
    EXPECT_GT(std::fabs(difference - analytic), 1e-3 * std::fabs(difference));
}

// Generic_2TC asks the input at the voxel and converts further inputs by their
// own unit factors; the cardiac classes ask at (0, 0, 0) and scale further
// inputs like the first. The input's unit stands inside Ca and the
// convolutions (scale_).
TEST(TwoTissue, InputsVoxelsAndUnits) {
    TwoInputs in;
    const Blood& b = in.b;
    const Polyline& secondLine = in.secondLine;
    Generic_2TC_Model generic(Unit("kBq/ml"), 0.6, 0.3, 0.1, 0.05, 0.9, 0.1);
    Cardiac_2TC_Model cardiac(Unit("kBq/ml"), 0.6, 0.1, 0.05, 2.0, 0.9, 0.1);
    Cardiac_HutchinsII_Model hutchins(Unit("kBq/ml"), 0.6, 0.3, 0.1, 0.1);
    for (Model* m : std::vector<Model*>{&generic, &cardiac, &hutchins}) in.addTo(*m);
    for (double t : {5.0, 60.0, 400.0}) {
        const double ca = b.line(t) / 1000, s = secondLine(t);
        expectRelative(generic(t, 0, 0, 0),
                       0.1 * ca + 0.9 * TwoTissue(0.3, 0.1, 0.05).tissue(b.line, 0.6, t) / 1000 + s * 1000, 1e-9,
                       "generic");
        expectRelative(cardiac(t, 0, 0, 0),
                       0.1 * ca + 0.9 * TwoTissue(0.3, 0.1, 0.05).tissue(b.line, 0.6, t) / 1000 + s / 1000, 1e-9,
                       "cardiac");
        expectRelative(hutchins(t, 0, 0, 0),
                       0.1 * ca + 0.9 * TwoTissue(0.3, 0.1, 0.0).tissue(b.line, 0.6, t) / 1000 + s / 1000, 1e-9,
                       "hutchins");
    }
    RampInput ramp;
    const std::vector<unsigned> voxel{2, 1, 0}, origin{0, 0, 0};
    for (Model* m : std::vector<Model*>{&generic, &cardiac, &hutchins}) {
        m->clearInputs();
        m->addInput(&ramp);
        m->resizeParameters(3, 2, 1);
        for (bool withTime : {false, true}) {
            withTime ? m->der("k3", 30.0, 2, 1, 0) : (*m)(30.0, 2, 1, 0);
            EXPECT_EQ(ramp.voxel, m == &generic ? voxel : origin) << m->getName();
        }
    }
}

// Cardiac classes read their parameters on a change of parameters or voxel
// only, Generic_2TC on every call. The input is asked again for a new time,
// voxel, rate set or input, and for the time-weighted convolutions only when
// a derivative needs them: the value and the derivatives of one frame share
// one fetch.
TEST(TwoTissue, CachesFollowTheFlagPattern) {
    RampInput ramp;
    Cardiac_HutchinsII_Model h(Unit("kBq/ml"), 0.6, 0.3, 0.1, 0.1);
    Generic_2TC_Model g(Unit("kBq/ml"), 0.6, 0.3, 0.1, 0.05, 0.9, 0.1);
    h.addInput(&ramp);
    g.addInput(&ramp);
    auto calls = [&ramp](int v, int c, int ct) {
        EXPECT_EQ(ramp.values, v);
        EXPECT_EQ(ramp.convs, c);
        EXPECT_EQ(ramp.convTs, ct);
    };
    h(30.0, 0, 0, 0);
    h(30.0, 0, 0, 0);
    calls(1, 2, 0);
    h.der("k2", 30.0, 0, 0, 0);
    h.der("k3", 30.0, 0, 0, 0);
    h(30.0, 0, 0, 0);
    calls(2, 4, 2);
    h(31.0, 0, 0, 0);
    calls(3, 6, 2);
    h.setParameterValue("k3", 0.2);
    h(31.0, 0, 0, 0);
    calls(4, 8, 2);
    h.setParameterValue("tbv", 0.2);  // the same rates: the same convolutions
    const double before = h(31.0, 0, 0, 0);
    calls(4, 8, 2);
    RampInput steeper(4.0);
    h.clearInputs();
    h.addInput(&steeper);
    EXPECT_NEAR(h(31.0, 0, 0, 0), 2 * before, 1e-14 * before);
    h.clearInputs();
    h.addInput(&ramp);
    EXPECT_EQ(h(31.0, 0, 0, 0), before);

    const double gBefore = g(30.0, 0, 0, 0);
    (*h.getParameter("tbv").getValueVolume())(0) = 0.5;
    (*g.getParameter("beta").getValueVolume())(0) = 0.5;
    EXPECT_EQ(h(31.0, 0, 0, 0), before);  // not seen until changed_ is set
    EXPECT_NE(g(30.0, 0, 0, 0), gBefore);  // Generic reads on every call
    h.setChanged(true);
    EXPECT_NE(h(31.0, 0, 0, 0), before);
}

TEST(TwoTissue, MyocardialBloodFlowAndNoInput) {
    Cardiac_2TC_Model c(Unit("kBq/ml"), 1.042 * 60, 0.1, 0.05, 1.0, 0.9, 0.1);
    Cardiac_HutchinsII_Model h(Unit("kBq/ml"), 2.084, 0.3, 0.1, 0.1);
    EXPECT_DOUBLE_EQ(c.getMBF(0, 0, 0), 1.0);  // with k1's unit factor (1/min)
    EXPECT_DOUBLE_EQ(h.getMBF(0, 0, 0), 2.0);  // without
    h.resizeParameters(2, 1, 1);
    h.setParameterValue("k1", 1, 0, 0, 3.126);
    std::unique_ptr<Dataset3D<double>> map(h.getMBF());
    EXPECT_DOUBLE_EQ((*map)(1, 0, 0), 3.0);
    EXPECT_DOUBLE_EQ(h.getParameter("k1").valueAt(1, 0, 0), 3.126);

    // Without an input every evaluation reports and nothing is dereferenced.
    Generic_2TC_Model g;
    for (Model* m : std::vector<Model*>{&c, &h, &g}) {
        mexhost::clearOutput();
        (*m)(10.0, 0, 0, 0);
        m->der("k1", 10.0, 0, 0, 0);
        m->computeAll(10.0, 0, 0, 0);
        const std::string out = mexhost::takeOutput();
        size_t count = 0;
        for (size_t at = out.find("): no input function \n"); at != std::string::npos; at = out.find("): no input", at + 1))
            ++count;
        EXPECT_EQ(count, 3u) << m->getName() << ": " << out;
        EXPECT_EQ(m->createData(0.0, 60.0, 5), nullptr);
    }
}
