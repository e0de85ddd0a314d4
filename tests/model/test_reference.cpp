// The reference-region models beyond the shared contract: the identity with
// the reference curve, the rate discriminant, singular sets, caches, reports.
#include <gtest/gtest.h>

#include <cstdio>

#include "mexhost.h"
#include "model_support.h"
#include "models/Neuro_Lammertsma_Model.h"
#include "models/Neuro_SLAM_Model.h"

using namespace model_test;

// With R1 = 1 and k2 = 0 SLAM is the reference curve itself, in the model's
// unit, as its value and its reference component.
TEST(ReferenceRegion, SlamWithoutExchangeIsTheReference) {
    Blood b;
    auto reference = measuredInput(b.times, b.values, Unit("Bq/ml"), "reference");
    Neuro_SLAM_Model identity(Unit("kBq/ml"), 1.0, 0.0, 0.7);
    identity.addInput(reference.get());
    for (double t : {2.0, 13.5, 95.0, 1200.0}) {
        const std::vector<double> all = identity.computeAll(t, 0, 0, 0);
        expectRelative(all[0], b.line(t) / 1000, 1e-14, "R1 = 1, k2 = 0");
        expectRelative(all[1], b.line(t) / 1000, 1e-14, "reference component");
    }
    // A second input: the one-input assertion once per run, not per evaluation.
    identity.addInput(reference.get());
    mexhost::clearOutput();
    identity.rearmReports();
    for (double t : {7.0, 8.0}) identity(t, 0, 0, 0), identity.der("k2", t, 0, 0, 0);
    const std::string out = mexhost::takeOutput();
    EXPECT_EQ(occurrences(out, "models/Neuro_SLAM_Model("), 1u) << out;
}

// Delta^2 = S^2 - 4 k2 k4: zero and negative values warn once per parameter
// set and go on; singular BPstar gives NaN, and the next set is computed in
// full rather than taken from the last one.
TEST(ReferenceRegion, DiscriminantAndSingularSets) {
    RampInput ramp;
    Neuro_Lammertsma_Model m(Unit("kBq/ml"), 1.0, 0.0, 0.0, 1.0);  // d = 0
    m.addInput(&ramp);
    mexhost::clearOutput();
    for (double t : {10.0, 20.0}) m(t, 0, 0, 0), m.der("R1", t, 0, 0, 0);
    EXPECT_EQ(mexhost::takeOutput(), "WARNING: Delta == 0.0 in Neuro_Lammertsma_Model!");
    // Negative BPstar (and k3): d < 0, shown as 0.000000 since Delta is reset first.
    m.setParameterValue("k2", 1.0);
    m.setParameterValue("k3", -1.0);
    m.setParameterValue("BPstar", -0.5);
    for (double t : {10.0, 20.0}) m(t, 0, 0, 0), m.der("k2", t, 0, 0, 0);
    EXPECT_EQ(mexhost::takeOutput(), "WARNING: Delta < 0.0 in Neuro_Lammertsma_Model: 0.000000!");

    Neuro_Lammertsma_Model fresh(Unit("kBq/ml"), 1.1, 0.3, 0.1, 1.5);
    Neuro_SLAM_Model slam(Unit("kBq/ml"), 1.1, 0.3, -1.0);  // k2a infinite
    Neuro_SLAM_Model slamFresh(Unit("kBq/ml"), 1.1, 0.3, 1.5);
    for (Model* model : std::vector<Model*>{&fresh, &slam, &slamFresh}) model->addInput(&ramp);
    const struct {
        Model* model;
        std::vector<double> values;  // parameters in order
    } sets[] = {{&m, {1.1, 0.3, 0.1, 0.0}},  // k4 infinite
                {&m, {1.1, 0.3, 0.0, 0.0}},  // k4 = 0 / 0
                {&m, {0.0, 0.3, 0.1, 1.5}},  // K = k2 / 0
                {&slam, {1.1, 0.3, -1.0}}};
    for (const auto& s : sets) {
        const std::vector<std::string> names = s.model->getParameterNames();
        for (size_t i = 0; i < names.size(); ++i) s.model->setParameterValue(names[i], s.values[i]);
        EXPECT_TRUE(std::isnan((*s.model)(30.0, 0, 0, 0))) << s.model->getName() << " " << s.values[0];
        Model& valid = s.model == &m ? static_cast<Model&>(fresh) : slamFresh;
        for (size_t i = 0; i < names.size(); ++i)
            s.model->setParameterValue(names[i], valid.getParameter(names[i]).valueAt(0, 0, 0));
        EXPECT_EQ((*s.model)(30.0, 0, 0, 0), valid(30.0, 0, 0, 0)) << s.model->getName();
        EXPECT_EQ(s.model->der(names[1], 30.0, 0, 0, 0), valid.der(names[1], 30.0, 0, 0, 0));
    }
}

// Lammertsma asks the input at (0, 0, 0) and keys its input value on the time
// alone: two voxels with the same parameters at the same time share every
// input value. SLAM asks at the voxel and keys on (t, x, y, z).
TEST(ReferenceRegion, VoxelsAndCaches) {
    RampInput ramp;
    Neuro_Lammertsma_Model frtm(Unit("kBq/ml"), 1.1, 0.3, 0.1, 1.5);
    frtm.addInput(&ramp);
    frtm.resizeParameters(2, 1, 1);
    const double first = frtm(30.0, 0, 0, 0);
    EXPECT_EQ(frtm(30.0, 1, 0, 0), first);
    frtm.der("k3", 30.0, 1, 0, 0);
    EXPECT_EQ(ramp.values, 1);
    EXPECT_EQ(ramp.convs, 2);
    EXPECT_EQ(ramp.convTs, 2);  // always, whatever withTime says
    EXPECT_EQ(ramp.voxel, (std::vector<unsigned>{0, 0, 0}));
    frtm.setParameterValue("k3", 1, 0, 0, 0.2);
    EXPECT_NE(frtm(30.0, 1, 0, 0), first);  // new parameters: new convolutions
    EXPECT_EQ(ramp.values, 1);
    EXPECT_EQ(ramp.convs, 4);
    RampInput steeper(4.0);  // a new input is never answered from the old one's value
    frtm.clearInputs();
    frtm.addInput(&steeper);
    expectRelative(frtm(30.0, 0, 0, 0), 2 * first, 1e-14, "new input");

    Neuro_SLAM_Model slam(Unit("kBq/ml"), 1.1, 0.3, 1.5);
    slam.addInput(&ramp);
    slam.resizeParameters(3, 2, 1);
    const int values = ramp.values;
    slam(30.0, 2, 1, 0);
    slam(30.0, 2, 1, 0);
    EXPECT_EQ(ramp.voxel, (std::vector<unsigned>{2, 1, 0}));
    slam(30.0, 1, 1, 0);
    EXPECT_EQ(ramp.values, values + 2);
}

TEST(ReferenceRegion, Reports) {
    RampInput ramp;
    Neuro_Lammertsma_Model frtm(Unit("kBq/ml"), 1.1, 0.3, 0.1, 1.5);
    Neuro_SLAM_Model slam(Unit("kBq/ml"), 1.1, 0.3, 1.5);
    frtm.addInput(&ramp);
    slam.addInput(&ramp);
    char expected[256];
    {
        Verbosity level(4);
        frtm(30.0, 0, 0, 0);
        mexhost::clearOutput();
        const double d = frtm.der("R1", 30.0, 0, 0, 0);  // after scale_ = 1 / 1000 (kBq/ml)
        std::snprintf(expected, sizeof expected, "der(R1,t=30.0) = %.6f (in normUnits)\nder(R1,t=30.0) = %.6f \n",
                      d * 1000, d);
        EXPECT_EQ(mexhost::takeOutput(), expected);
        slam.der("R1", 30.0, 0, 0, 0);
        EXPECT_EQ(mexhost::takeOutput(), "");
    }
    Verbosity level(6);
    mexhost::clearOutput();
    const double y = slam(31.0, 0, 0, 0);
    std::snprintf(expected, sizeof expected, "new (t,x,y,z)=(30,0,0,0) (31,0,0,0) => status =1\nNeuro_SLAM (t=31) = %g\n",
                  y);
    EXPECT_EQ(mexhost::takeOutput(), expected);
}
