// The one-tissue models beyond the shared contract: further inputs and unit
// scales, the two caching patterns and the myocardial blood flow.
#include <gtest/gtest.h>

#include "model_support.h"
#include "models/Cardiac_HutchinsI_Model.h"
#include "models/Generic_1TC_Model.h"
#include "models/Water_1TC_Model.h"
#include "mexhost.h"

using namespace model_test;

TEST(OneTissue, FurtherInputsAndUnitScales) {
    TwoInputs in;
    const Blood& b = in.b;
    const Polyline& secondLine = in.secondLine;
    Generic_1TC_Model generic(Unit("kBq/ml"), 0.6, 0.3, 0.9, 0.1);
    Cardiac_HutchinsI_Model hutchins(Unit("kBq/ml"), 0.6, 0.3, 0.1);
    Water_1TC_Model water(Unit("kBq/ml"), 0.6, 2.0, 0.1);
    for (Model* m : std::vector<Model*>{&generic, &hutchins, &water}) in.addTo(*m);
    for (double t : {5.0, 60.0, 400.0}) {
        const double c1 = b.c1(0.6, 0.3, t) / 1000, ca = b.line(t) / 1000;
        // Generic: further inputs by their own unit factors; Hutchins: by the
        // first input's scale; water ignores them.
        expectRelative(generic(t, 0, 0, 0), 0.9 * c1 + 0.1 * ca + secondLine(t) * 1000, 1e-9, "generic");
        expectRelative(hutchins(t, 0, 0, 0), 0.1 * ca + 0.9 * c1 + secondLine(t) / 1000, 1e-9, "hutchins");
        expectRelative(water(t, 0, 0, 0), 0.1 * ca + 0.9 * c1, 1e-9, "water");
        EXPECT_DOUBLE_EQ(generic.getScale(), 1e-3);
    }
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
