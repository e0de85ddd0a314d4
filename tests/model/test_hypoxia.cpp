// The hypoxia models against independent solutions of their compartment
// equations, their analytic derivatives against central differences, and
// the degenerate rates where the closed forms divide by zero.
#include <gtest/gtest.h>

#include <functional>

#include "compartments.h"
#include "models/Casciari_Model.h"
#include "models/FMISO_2TC_Model.h"
#include "models/FMISO_3TC_Model.h"

using namespace model_test;

namespace {

const double kTimes[] = {20.0, 95.0, 400.0};

// Parameter sets in user units, by the models' parameter order.
struct Set {
    const char* what;
    std::vector<double> p;
};
const std::vector<Set> k2TC = {
    {"ordinary", {0.3, 0.2, 0.05, 0.6, 0.1, 0.3, 0.9}},
    {"kappa = 0 (k2 = 0, eta = 1)", {0.3, 0.0, 0.05, 0.6, 0.1, 1.0, 0.9}},
    {"kappa tiny", {0.3, 1e-9, 1e-9, 0.6, 0.1, 0.3, 0.9}},
    {"alpha = 0, k3 = 0", {0.3, 0.2, 0.0, 0.0, 0.1, 0.3, 0.9}},
};
const std::vector<Set> k3TC = {
    {"ordinary", {0.3, 0.1, 0.08, 0.02, 0.4, 0.1, 0.2, 0.9}},
    {"kappa = k4", {0.3, 0.02, 0.05, 0.06, 0.4, 0.1, 0.2, 0.9}},
    {"kappa near k4", {0.3, 0.02, 0.05, 0.06 + 1e-9, 0.4, 0.1, 0.2, 0.9}},
    {"k4 = 0, kappa tiny", {0.3, 1e-10, 1e-10, 0.0, 0.4, 0.1, 0.2, 0.9}},
    {"alpha = 1, k3 = 0", {0.3, 0.1, 0.0, 0.02, 1.0, 0.1, 0.2, 0.9}},
};
const std::vector<Set> kCasciari = {
    {"ordinary", {0.4, 0.05, 0.03, 0.5, 0.05, 0.8, 0.3, 0.9}},
    {"kappa = kb", {0.405, 0.05, 0.485, 0.5, 0.05, 0.8, 0.3, 0.9}},
    {"kappa = m", {0.18, 0.4, 0.03, 0.5, 0.05, 0.8, 0.5, 0.9}},
    {"kappa = kb = m", {0.18, 0.4, 0.4, 0.5, 0.05, 0.8, 0.5, 0.9}},
};

void set(Model& m, const std::vector<double>& p) {
    for (unsigned i = 0; i < p.size(); ++i) m.setParameterValueByIndex(i, 0, 0, 0, p[i]);
}

// (y, C1, C2[, C3]) from the compartment equations.
std::vector<double> fmisoOracle(const Blood& b, const std::vector<double>& p, bool three, double t) {
    const unsigned o = three ? 1 : 0;  // the index shift after k3
    const double k1 = p[0], k4 = three ? p[3] : 0.0, alpha = p[3 + o], beta = p[4 + o], eta = p[5 + o], V = p[6 + o];
    const MatN<3> M = fmiso(p[1], p[2], k4, alpha, eta, three);
    std::vector<double> c(3);
    for (int i = 0; i < 3; ++i) c[i] = compartment(M, k1 / 60, b.line, t, i);
    const double y = V * (beta * b.line(t) + (1 - beta) * (c[0] + (1 - eta) * c[1] + c[2]));
    if (three) return {y, c[0], c[1], c[2]};
    return {y, c[0], c[1]};
}

std::vector<double> casciariOracle(const Blood& b, const std::vector<double>& p, double t) {
    const double F = p[0], eta = p[6], V = p[7];
    const MatN<4> M = casciari(F, p[1], p[2], p[3], eta, V);
    std::vector<double> c(4);
    for (int i = 0; i < 4; ++i) c[i] = compartment(M, F / V / 60, b.line, t, i);
    const double y = p[4] * b.line(t) + p[5] * V * (c[0] + (1 - eta) * (c[1] + c[2]) + eta * c[3]);
    return {y, c[0], c[1], c[2], c[3]};
}

using Oracle = std::function<std::vector<double>(const std::vector<double>&, double)>;

void expectCurves(Model& m, const std::vector<Set>& sets, const Oracle& oracle) {
    for (const Set& s : sets) {
        set(m, s.p);
        for (double t : kTimes) {
            const std::vector<double> all = m.computeAll(t, 0, 0, 0), want = oracle(s.p, t);
            ASSERT_EQ(all.size(), want.size());
            EXPECT_EQ(m(t, 0, 0, 0), all[0]) << s.what;
            for (size_t i = 0; i < all.size(); ++i)
                EXPECT_NEAR(all[i], want[i], 1e-7 * std::fabs(want[0]) + 1e-12) << s.what << " t=" << t << " C" << i;
        }
    }
}

// Every row but eta's against central differences in user units.
void expectDerivatives(Model& m, const std::vector<Set>& sets) {
    for (const Set& s : sets)
        for (unsigned i = 0; i < s.p.size(); ++i) {
            const std::string name = m.getParameterNames()[i];
            if (name == "eta") continue;
            for (double t : kTimes) {
                set(m, s.p);
                const double analytic = m.der(name, t, 0, 0, 0), y = m(t, 0, 0, 0);
                std::vector<double> p = s.p;
                const double numeric = centralDifference(
                    [&](double v) { return p[i] = v, set(m, p), m(t, 0, 0, 0); }, s.p[i],
                    1e-5 * std::max(std::fabs(s.p[i]), 0.1));
                EXPECT_TRUE(std::isfinite(analytic)) << s.what << " " << name;
                EXPECT_NEAR(analytic, numeric, 1e-5 * std::fabs(numeric) + 1e-7 * std::fabs(y) + 1e-12)
                    << s.what << " d/d" << name << " t=" << t;
            }
        }
}

}  // namespace

TEST(Hypoxia, CurvesSolveTheCompartmentEquations) {
    Blood b;
    FMISO_2TC_Model two;
    FMISO_3TC_Model three;
    Casciari_Model casciari;
    for (Model* m : std::vector<Model*>{&two, &three, &casciari}) m->addInput(b.input.get());
    expectCurves(two, k2TC, [&](const std::vector<double>& p, double t) { return fmisoOracle(b, p, false, t); });
    expectCurves(three, k3TC, [&](const std::vector<double>& p, double t) { return fmisoOracle(b, p, true, t); });
    expectCurves(casciari, kCasciari, [&](const std::vector<double>& p, double t) { return casciariOracle(b, p, t); });
}

TEST(Hypoxia, DerivativesAgreeWithCentralDifferences) {
    Blood b;
    FMISO_2TC_Model two;
    FMISO_3TC_Model three;
    two.addInput(b.input.get());
    three.addInput(b.input.get());
    // "kappa = 0" sits on the edge eta = 1, where the curve has no upper side.
    std::vector<Set> sets2(k2TC);
    sets2[1].p[5] = 0.999;
    sets2[1].p[1] = 1e-12;
    expectDerivatives(two, sets2);
    expectDerivatives(three, k3TC);
}

// The eta rows are not the derivative by eta: pinned to their formula, in
// the model's own components and the input's convolutions at kappa.
TEST(Hypoxia, EtaRowsKeptAsWritten) {
    Blood b;
    FMISO_2TC_Model two;
    FMISO_3TC_Model three;
    two.addInput(b.input.get());
    three.addInput(b.input.get());
    const std::vector<double> p2 = k2TC[0].p, p3 = k3TC[0].p;
    set(two, p2);
    set(three, p3);
    auto tc = [&](double kappa, double t) {  // int (t - u) e^(-kappa (t - u)) Ca(u) du
        return t * b.input->convExp(kappa, t, 0, 0, 0) - b.input->convTimeExp(kappa, t, 0, 0, 0);
    };
    for (double t : kTimes) {
        const std::vector<double> c = two.computeAll(t, 0, 0, 0);
        double e = 1 - p2[5], k1 = p2[0] / 60, k3 = p2[2] / 60, a = p2[3], W = (1 - p2[4]) * p2[6];
        double kappa = p2[1] / 60 + e * a * k3;
        const double written2 =
            ((e * a * k3 / kappa + 1) * a * k1 * k3 * tc(kappa, t) + (e * a * k3 / kappa - 1) * c[2]) * W;
        EXPECT_NEAR(two.der("eta", t, 0, 0, 0), written2, 1e-9 * std::fabs(written2)) << t;

        const std::vector<double> d = three.computeAll(t, 0, 0, 0);
        e = 1 - p3[6], k1 = p3[0] / 60, k3 = p3[2] / 60, a = p3[4], W = (1 - p3[5]) * p3[7];
        kappa = p3[1] / 60 + e * k3;
        const double dk = kappa - p3[3] / 60;
        const double written3 = (((1 - a) * e * k3 / dk + e * a * k3 / kappa + 1) * k1 * k3 * tc(kappa, t) +
                                 (e * k3 / kappa - 1) * d[2] + (k3 / dk - 1 / e) * d[3]) *
                                W;
        EXPECT_NEAR(three.der("eta", t, 0, 0, 0), written3, 1e-9 * std::fabs(written3)) << t;
    }
}

TEST(Hypoxia, DegenerateSetsAndVoxels) {
    Blood b;
    // beta = 1: blood only, y = V Ca.
    FMISO_2TC_Model two(Unit("kBq/ml"), 0.3, 0.2, 0.05, 0.6, 1.0, 0.3, 0.9);
    two.addInput(b.input.get());
    EXPECT_NEAR(two(95.0, 0, 0, 0), 0.9 * b.line(95.0), 1e-12);

    // Casciari at eta = 0 (m infinite): finite, the limit of small eta.
    Casciari_Model c;
    c.addInput(b.input.get());
    std::vector<double> p = kCasciari[0].p;
    p[6] = 1e-7;
    set(c, p);
    const double nearZero = c(95.0, 0, 0, 0);
    p[6] = 0.0;
    set(c, p);
    for (double v : c.computeAll(95.0, 0, 0, 0)) EXPECT_TRUE(std::isfinite(v));
    EXPECT_NEAR(c(95.0, 0, 0, 0), nearZero, 1e-6 * std::fabs(nearZero));

    // Casciari's cache across a voxel change: the input is asked at the new voxel.
    RampInput ramp;
    Casciari_Model r;
    r.addInput(&ramp);
    set(r, kCasciari[0].p);
    r(60.0, 0, 0, 0);
    const double there = r(60.0, 1, 0, 0);
    EXPECT_EQ(ramp.voxel, (std::vector<unsigned>{1, 0, 0}));
    EXPECT_EQ(there, r(60.0, 0, 0, 0));
    EXPECT_TRUE(std::isfinite(r.der("ka", 60.0, 0, 0, 0)));
}
