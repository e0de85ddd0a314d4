// The one-tissue models: curves against an independent convolution, analytic
// derivatives against finite differences, caches, clones and blood flow.
#include <gtest/gtest.h>

#include "VOI.h"
#include "model_support.h"
#include "models/Cardiac_HutchinsI_Model.h"
#include "models/Generic_1TC_Model.h"
#include "models/Water_1TC_Model.h"
#include "mexhost.h"

using namespace model_test;

namespace {

struct Blood {
    std::vector<double> times = frameTimes(30), values;
    Polyline line;
    std::unique_ptr<LinearInterpolation> input;
    Blood() {
        for (double t : times) values.push_back(blood(t));
        line = Polyline{times, values};
        input = measuredInput(times, values);
    }
    // k1/min * conv with k2/min; the curve's time is in seconds.
    double c1(double k1, double k2, double t) const { return k1 / 60 * referenceConv(line, k2 / 60, t); }
};

// Times between and on the samples, before the first and past the last.
const double kTimes[] = {1.0, 2.0, 7.0, 13.5, 40.0, 95.0, 300.0, 1200.0, 1500.0};

void expectRelative(double actual, double expected, double tolerance, const std::string& what) {
    EXPECT_NEAR(actual, expected, tolerance * std::max(std::fabs(expected), 1e-300)) << what;
}

// Every parameter at every time: der against a central difference.
void checkDerivatives(Model& m, unsigned x, unsigned y, unsigned z, const std::string& label) {
    for (const std::string& name : m.getParameterNames())
        for (double t : kTimes) {
            const double analytic = m.der(name, t, x, y, z), v = m.getParameter(name).valueAt(x, y, z);
            const double h = 1e-5 * std::max(std::fabs(v), 1e-2);
            m.setParameterValue(name, x, y, z, v + h);
            const double up = m(t, x, y, z);
            m.setParameterValue(name, x, y, z, v - h);
            const double down = m(t, x, y, z);
            m.setParameterValue(name, x, y, z, v);
            const double scale = std::fabs(analytic) + std::fabs(m(t, x, y, z));
            EXPECT_NEAR(analytic, (up - down) / (2 * h), 1e-6 * scale + 1e-12) << label << " d/d" << name << " t=" << t;
            EXPECT_NEAR(m.derByIndex(static_cast<unsigned>(m.hasParameter(name)), t, x, y, z), analytic, 1e-12 * scale);
        }
}

}  // namespace

TEST(OneTissue, CurvesMatchNumericalConvolution) {
    Blood b;
    const double generic[][4] = {{0.6, 0.3, 1.0, 0.0}, {0.9, 0.05, 0.85, 0.05}, {0.1, 2.5, 0.5, 0.4}, {0.3, 0.0, 1.0, 0.1}};
    for (const auto& s : generic) {
        Generic_1TC_Model m(Unit("kBq/ml"), s[0], s[1], s[2], s[3]);
        m.addInput(b.input.get());
        for (double t : kTimes) {
            const double c1 = b.c1(s[0], s[1], t), expected = s[2] * c1 + s[3] * b.line(t);
            expectRelative(m(t, 0, 0, 0), expected, 1e-9, "y at t=" + std::to_string(t));
            const std::vector<double> all = m.computeAll(t, 0, 0, 0);
            ASSERT_EQ(all.size(), 2u);
            expectRelative(all[0], expected, 1e-9, "component 0");
            expectRelative(all[1], c1, 1e-9, "component 1");
        }
    }
    const double cardiac[][3] = {{0.9, 0.2, 0.3}, {2.0, 2.4, 0.05}, {0.4, 0.8, 0.6}};
    for (const auto& s : cardiac) {
        Cardiac_HutchinsI_Model hutchins(Unit("kBq/ml"), s[0], s[1], s[2]);
        Water_1TC_Model water(Unit("kBq/ml"), s[0], s[0] / s[1], s[2]);  // efflux k1 / Vd = k2
        hutchins.addInput(b.input.get());
        water.addInput(b.input.get());
        for (double t : kTimes) {
            const double c1 = b.c1(s[0], s[1], t), expected = s[2] * b.line(t) + (1 - s[2]) * c1;
            expectRelative(hutchins(t, 0, 0, 0), expected, 1e-9, "hutchins t=" + std::to_string(t));
            expectRelative(water(t, 0, 0, 0), expected, 1e-9, "water t=" + std::to_string(t));
            expectRelative(hutchins.computeAll(t, 0, 0, 0)[1], c1, 1e-9, "hutchins C1");
            expectRelative(water.computeAll(t, 0, 0, 0)[1], c1, 1e-9, "water C1");
        }
    }
}

TEST(OneTissue, FurtherInputsAndUnitScales) {
    Blood b;  // model in kBq/ml, first input in Bq/ml: scale_ = 1 / 1000
    auto first = measuredInput(b.times, b.values, Unit("Bq/ml"), "first");
    std::vector<double> other;
    for (double t : b.times) other.push_back(0.5 + 0.001 * t);
    auto second = measuredInput(b.times, other, Unit("MBq/ml"), "second");
    Polyline secondLine{b.times, other};
    Generic_1TC_Model generic(Unit("kBq/ml"), 0.6, 0.3, 0.9, 0.1);
    Cardiac_HutchinsI_Model hutchins(Unit("kBq/ml"), 0.6, 0.3, 0.1);
    Water_1TC_Model water(Unit("kBq/ml"), 0.6, 2.0, 0.1);
    for (Model* m : std::vector<Model*>{&generic, &hutchins, &water}) m->addInput(first.get()), m->addInput(second.get());
    for (double t : {5.0, 60.0, 400.0}) {
        const double c1 = b.c1(0.6, 0.3, t) / 1000, ca = b.line(t) / 1000;
        // Generic: further inputs by their own unit factors; Hutchins: by the
        // first input's scale; water ignores them.
        expectRelative(generic(t, 0, 0, 0), 0.9 * c1 + 0.1 * ca + secondLine(t) * 1000, 1e-9, "generic");
        expectRelative(hutchins(t, 0, 0, 0), 0.1 * ca + 0.9 * c1 + secondLine(t) / 1000, 1e-9, "hutchins");
        expectRelative(water(t, 0, 0, 0), 0.1 * ca + 0.9 * c1, 1e-9, "water");
        EXPECT_DOUBLE_EQ(generic.getScale(), 1e-3);
    }
    // tbv 0 leaves the tissue, tbv 1 the blood alone.
    Cardiac_HutchinsI_Model pure(Unit("kBq/ml"), 0.6, 0.3, 0.0);
    pure.addInput(first.get());
    expectRelative(pure(60.0, 0, 0, 0), b.c1(0.6, 0.3, 60.0) / 1000, 1e-9, "tbv 0");
    pure.setParameterValue("tbv", 1.0);
    expectRelative(pure(60.0, 0, 0, 0), b.line(60.0) / 1000, 1e-12, "tbv 1");
}

TEST(OneTissue, AnalyticDerivativesMatchFiniteDifferences) {
    Blood b;
    const double generic[][4] = {{0.6, 0.3, 0.9, 0.1}, {1.5, 0.05, 0.5, 0.4}, {0.2, 3.0, 1.2, -0.2}};
    for (const auto& s : generic) {
        Generic_1TC_Model m(Unit("kBq/ml"), s[0], s[1], s[2], s[3]);
        m.addInput(b.input.get());
        checkDerivatives(m, 0, 0, 0, "Generic_1TC");
    }
    const double cardiac[][3] = {{0.9, 0.2, 0.3}, {2.0, 2.4, 0.05}, {0.3, 0.02, 0.7}};
    for (const auto& s : cardiac) {
        Cardiac_HutchinsI_Model h(Unit("kBq/ml"), s[0], s[1], s[2]);
        Water_1TC_Model w(Unit("kBq/ml"), s[0], s[0] / s[1], s[2]);
        h.addInput(b.input.get());
        w.addInput(b.input.get());
        checkDerivatives(h, 0, 0, 0, "Cardiac_HutchinsI");
        checkDerivatives(w, 0, 0, 0, "Water_1TC");
    }
    // Parameter units other than the defaults: the chain rule by the factor.
    Generic_1TC_Model m(Unit("Bq/ml"), 0.01, 0.005, 0.9, 0.1);
    m.setParameterUnit("k1", Unit("1/s"));
    m.setParameterUnit("k2", Unit("1/s"));
    m.addInput(b.input.get());
    checkDerivatives(m, 0, 0, 0, "Generic_1TC in 1/s");
    // At a voxel of a map, which reads that voxel's parameters.
    Generic_1TC_Model g(Unit("kBq/ml"), 0.6, 0.3, 0.9, 0.1);
    Cardiac_HutchinsI_Model h(Unit("kBq/ml"), 0.9, 0.2, 0.3);
    Water_1TC_Model w(Unit("kBq/ml"), 0.9, 3.0, 0.3);
    for (Model* p : std::vector<Model*>{&g, &h, &w}) {
        p->addInput(b.input.get());
        p->resizeParameters(3, 2, 1);
        p->setParameterValue("k1", 2, 1, 0, 1.7);
        checkDerivatives(*p, 2, 1, 0, p->getName() + " at (2,1,0)");
        EXPECT_NE((*p)(100.0, 2, 1, 0), (*p)(100.0, 0, 0, 0));
    }
}

TEST(OneTissue, NumericalSwitchAndUnknownNames) {
    Blood b;
    Water_1TC_Model w(Unit("kBq/ml"), 0.9, 3.0, 0.3);
    w.addInput(b.input.get());
    const double analytic = w.der("Vd", 200.0, 0, 0, 0);
    w.setNumDer(true);
    const double numeric = w.der("Vd", 200.0, 0, 0, 0);
    EXPECT_NE(analytic, numeric);
    EXPECT_NEAR(numeric, analytic, 1e-4 * std::fabs(analytic));
    EXPECT_DOUBLE_EQ(w.getParameter("Vd").valueAt(0, 0, 0), 3.0);
    w.setNumDer(false);
    mexhost::clearOutput();
    Generic_1TC_Model g;
    Cardiac_HutchinsI_Model h;
    g.addInput(b.input.get());
    h.addInput(b.input.get());
    EXPECT_EQ(g.der("Vd", 1.0, 0, 0, 0), 0.0);
    EXPECT_EQ(w.der("k2", 1.0, 0, 0, 0), 0.0);
    EXPECT_EQ(h.der("alpha", 1.0, 0, 0, 0), 0.0);
    const std::string out = mexhost::takeOutput();
    for (const char* text : {"): Generic_1TC_Model::der() unknown parameter 'Vd' \n",
                             "): Water_1TC_Model::der() unknown parameter 'k2' \n",
                             "): Cardiac_HutchinsI_Model::der() unknown parameter 'alpha' \n"})
        EXPECT_NE(out.find(text), std::string::npos) << out;
}

TEST(OneTissue, GenericCacheComparesValuesAndKey) {
    RampInput ramp;
    Generic_1TC_Model m(Unit("kBq/ml"), 0.6, 0.3, 0.9, 0.1);
    m.addInput(&ramp);
    const double first = m(30.0, 0, 0, 0);
    auto calls = [&ramp](int v, int c, int ct) {
        EXPECT_EQ(ramp.values, v);
        EXPECT_EQ(ramp.convs, c);
        EXPECT_EQ(ramp.convTs, ct);
    };
    calls(1, 1, 1);  // this model always takes both convolutions
    EXPECT_EQ(m(30.0, 0, 0, 0), first);  // same parameters, same key
    m.der("k2", 30.0, 0, 0, 0);
    m.setParameterValue("k1", 0.6);  // the same value again
    m(30.0, 0, 0, 0);
    calls(1, 1, 1);
    m.setParameterValue("beta", 0.2);  // beta alone: both convolutions, not the value
    m(30.0, 0, 0, 0);
    calls(1, 2, 2);
    m(31.0, 0, 0, 0);  // a new time: everything
    calls(2, 3, 3);
    // A new input is never answered from the old one's numbers.
    const double withRamp = m(31.0, 0, 0, 0);
    RampInput steeper(4.0);
    m.clearInputs();
    m.addInput(&steeper);
    EXPECT_NEAR(m(31.0, 0, 0, 0), 2 * withRamp, 1e-12 * withRamp);
    EXPECT_EQ(steeper.convs, 1);
}

TEST(OneTissue, CardiacCacheReadsParametersOnChangeAndAlwaysAsksTheInput) {
    RampInput ramp;
    Cardiac_HutchinsI_Model h(Unit("kBq/ml"), 0.6, 0.3, 0.1);
    h.addInput(&ramp);
    h(30.0, 0, 0, 0);
    h(30.0, 0, 0, 0);
    EXPECT_EQ(ramp.convs, 2);
    EXPECT_EQ(ramp.convTs, 0);  // only derivatives need the time-weighted form
    h.der("k2", 30.0, 0, 0, 0);
    EXPECT_EQ(ramp.convTs, 1);
    // A value written behind the model's back is not seen until changed_ is set.
    const double before = h(30.0, 0, 0, 0);
    (*h.getParameter("k1").getValueVolume())(0) = 1.2;
    EXPECT_EQ(h(30.0, 0, 0, 0), before);
    h.setChanged(true);
    EXPECT_NE(h(30.0, 0, 0, 0), before);
}

TEST(OneTissue, ClonesAveragesAndTheWaterAsymmetry) {
    RampInput ramp;
    Generic_1TC_Model g(Unit("kBq/ml"), 0.6, 0.3, 0.9, 0.1);
    g.addInput(&ramp);
    g.resizeParameters(2, 1, 1);
    g.setParameterValue("k1", 1, 0, 0, 1.0);
    g.setParameterLog("k2", true);
    const double at1 = g(45.0, 1, 0, 0);
    std::unique_ptr<Model> copy(g.clone());
    ASSERT_NE(dynamic_cast<Generic_1TC_Model*>(copy.get()), nullptr);
    EXPECT_EQ(copy->getName(), "Generic_1TC");
    EXPECT_EQ(copy->getType(), "Model");
    EXPECT_EQ(copy->getInput(0u), &ramp);  // shared, not copied
    EXPECT_FALSE(copy->getParameterLog("k2"));
    EXPECT_EQ((*copy)(45.0, 0, 0, 0), g(45.0, 0, 0, 0));
    EXPECT_EQ((*copy)(45.0, 1, 0, 0), at1);
    Cardiac_HutchinsI_Model h(Unit("kBq/ml"), 0.6, 0.3, 0.1);
    h.addInput(&ramp);
    std::unique_ptr<Model> hc(h.clone());
    ASSERT_NE(hc, nullptr);
    EXPECT_EQ((*hc)(45.0, 0, 0, 0), h(45.0, 0, 0, 0));
    // "Water_1TC" is a name the factory does not know.
    Water_1TC_Model w(Unit("kBq/ml"), 0.6, 2.0, 0.1);
    w.addInput(&ramp);
    mexhost::clearOutput();
    EXPECT_EQ(w.clone(), nullptr);
    EXPECT_NE(mexhost::takeOutput().find("): unknown model type 'Water_1TC' \n"), std::string::npos);
    VOI one(1, 1, 1, 1);
    EXPECT_EQ(w.createAverage(&one), nullptr);
    mexhost::clearOutput();

    // The average of a map is the region mean.
    Generic_1TC_Model a(Unit("kBq/ml"), 0.6, 0.3, 0.9, 0.1);
    a.addInput(&ramp);
    a.resizeParameters(2, 2, 1);
    const double k1[] = {0.2, 0.4, 0.6, 5.0};
    for (unsigned i = 0; i < 4; ++i) a.setParameterValue("k1", i % 2, i / 2, 0, k1[i]);
    VOI voi(2, 2, 1, 1);
    voi(1, 1, 0) = 0;
    std::unique_ptr<Model> average(a.createAverage(&voi));
    ASSERT_NE(average, nullptr);
    EXPECT_EQ(average->getParameter("k1").getValueVolume()->getVolumeSize(), 1u);
    EXPECT_NEAR(average->getParameterValue("k1", 0, 0, 0), 0.4, 1e-15);
    EXPECT_DOUBLE_EQ(average->getParameterValue("beta", 0, 0, 0), 0.1);
}

TEST(OneTissue, MyocardialBloodFlow) {
    Water_1TC_Model w(Unit("kBq/ml"), 1.042, 2.0, 0.1);
    Cardiac_HutchinsI_Model h(Unit("kBq/ml"), 2.084, 0.3, 0.1);
    EXPECT_DOUBLE_EQ(w.getMBF(0, 0, 0), 1.0);
    EXPECT_DOUBLE_EQ(h.getMBF(0, 0, 0), 2.0);
    h.resizeParameters(2, 1, 1);
    h.setParameterValue("k1", 1, 0, 0, 3.126);
    std::unique_ptr<Dataset3D<double>> mbf(h.getMBF()), single(w.getMBF());
    EXPECT_EQ(mbf->getDimensionX(), 2u);
    EXPECT_DOUBLE_EQ((*mbf)(0, 0, 0), 2.0);
    EXPECT_DOUBLE_EQ((*mbf)(1, 0, 0), 3.0);
    EXPECT_DOUBLE_EQ(h.getParameter("k1").valueAt(1, 0, 0), 3.126);  // the map itself is untouched
    EXPECT_DOUBLE_EQ((*single)(0, 0, 0), 1.0);
}
