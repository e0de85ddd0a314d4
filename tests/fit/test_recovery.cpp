// Noiseless data made by a model itself are fitted back from a start 20-50%
// away, voxel by voxel, in a grid whose VOI skips voxels: the one-tissue,
// two-tissue and reference-region models.
#include <gtest/gtest.h>

#include "FitFixture.h"
#include "models/Cardiac_2TC_Model.h"
#include "models/Cardiac_HutchinsII_Model.h"
#include "models/Cardiac_HutchinsI_Model.h"
#include "models/Generic_2TC_Model.h"
#include "models/Neuro_Lammertsma_Model.h"
#include "models/Neuro_SLAM_Model.h"
#include "models/Water_1TC_Model.h"

namespace {

using fit::VoxelFn;

bool active(unsigned x, unsigned y, unsigned z) { return (x + y + z) % 2 == 0 || (x == 1 && y == 2); }

struct Truth {
    std::string name;
    VoxelFn value;
    double startFactor;
};
struct Case {
    const char* label;
    std::function<Model*()> make;
    unsigned X;
    std::vector<const char*> fixed;
    std::vector<Truth> truths;
};

TEST(LevenbergMarquardtRecovery, NoiselessDataFromADistantStart) {
    const Case cases[] = {
        {"Generic1TC fixed weights", [] { return new Generic_1TC_Model(Unit("kBq/ml"), 0.0, 0.0, 1.0, 0.05); }, 3,
         {"alpha", "beta"},
         {{"k1", [](unsigned x, unsigned y, unsigned z) { return 0.1 + 0.1 * x + 0.05 * y + 0.02 * z; }, 1.4},
          {"k2", [](unsigned x, unsigned y, unsigned z) { return 0.05 + 0.03 * x + 0.02 * y + 0.1 * z; }, 0.6}}},
        // alpha and k1 enter only as their product, so alpha stays fixed.
        {"Generic1TC free beta", [] { return new Generic_1TC_Model(Unit("kBq/ml"), 0.0, 0.0, 0.9, 0.0); }, 2,
         {"alpha"},
         {{"k1", [](unsigned x, unsigned, unsigned z) { return 0.3 + 0.2 * x + 0.01 * z; }, 0.65},
          {"k2", [](unsigned, unsigned y, unsigned) { return 0.1 + 0.05 * y; }, 1.35},
          {"beta", [](unsigned x, unsigned, unsigned) { return 0.05 + 0.02 * x; }, 0.6}}},
        {"HutchinsI", [] { return new Cardiac_HutchinsI_Model(); }, 2, {},
         {{"k1", [](unsigned x, unsigned, unsigned) { return 0.8 + 0.3 * x; }, 0.6},
          {"k2", [](unsigned, unsigned y, unsigned) { return 0.2 + 0.1 * y; }, 1.4},
          {"tbv", [](unsigned, unsigned, unsigned z) { return 0.2 + 0.1 * z; }, 0.65}}},
        {"Water1TC", [] { return new Water_1TC_Model(); }, 2, {},
         {{"k1", [](unsigned x, unsigned, unsigned) { return 0.8 + 0.3 * x; }, 1.4},
          {"Vd", [](unsigned, unsigned y, unsigned) { return 0.7 + 0.05 * y; }, 0.65},
          {"tbv", [](unsigned, unsigned, unsigned z) { return 0.15 + 0.1 * z; }, 1.35}}},
        {"Generic2TC all four rates",
         [] { return new Generic_2TC_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0, 0.0, 1.0, 0.05); }, 2, {"alpha", "beta"},
         {{"k1", [](unsigned x, unsigned, unsigned) { return 0.3 + 0.1 * x; }, 1.3},
          {"k2", [](unsigned, unsigned y, unsigned) { return 0.2 + 0.05 * y; }, 0.7},
          {"k3", [](unsigned, unsigned, unsigned z) { return 0.08 + 0.02 * z; }, 1.3},
          {"k4", [](unsigned x, unsigned y, unsigned) { return 0.03 + 0.01 * x + 0.005 * y; }, 0.7}}},
        // The plasma curve stands in for the reference region's.
        {"NeuroSLAM", [] { return new Neuro_SLAM_Model(); }, 2, {},
         {{"R1", [](unsigned x, unsigned, unsigned) { return 1.1 + 0.1 * x; }, 0.7},
          {"k2", [](unsigned, unsigned y, unsigned) { return 0.3 + 0.05 * y; }, 1.3},
          {"BPstar", [](unsigned, unsigned, unsigned z) { return 1.5 + 0.5 * z; }, 0.7}}},
        // V held at 1, where the k1 row is the derivative.
        {"Cardiac2TC", [] { return new Cardiac_2TC_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0, 1.0, 0.9, 0.1); }, 2,
         {"V", "alpha", "beta"},
         {{"k1", [](unsigned x, unsigned, unsigned) { return 0.7 + 0.1 * x; }, 1.2},
          {"k3", [](unsigned, unsigned y, unsigned) { return 0.15 + 0.02 * y; }, 0.8},
          {"k4", [](unsigned, unsigned, unsigned z) { return 0.05 + 0.01 * z; }, 1.2}}},
        {"HutchinsII", [] { return new Cardiac_HutchinsII_Model(); }, 2, {},
         {{"k1", [](unsigned x, unsigned, unsigned) { return 0.8 + 0.1 * x; }, 1.2},
          {"k2", [](unsigned, unsigned y, unsigned) { return 0.3 + 0.05 * y; }, 0.8},
          {"k3", [](unsigned, unsigned, unsigned z) { return 0.06 + 0.01 * z; }, 1.2},
          {"tbv", [](unsigned x, unsigned, unsigned) { return 0.2 + 0.02 * x; }, 0.8}}},
        {"Lammertsma", [] { return new Neuro_Lammertsma_Model(); }, 2, {},
         {{"R1", [](unsigned x, unsigned, unsigned) { return 1.2 + 0.1 * x; }, 1.2},
          {"k2", [](unsigned, unsigned y, unsigned) { return 0.25 + 0.03 * y; }, 0.8},
          {"k3", [](unsigned, unsigned, unsigned z) { return 0.12 + 0.02 * z; }, 1.2},
          {"BPstar", [](unsigned x, unsigned, unsigned) { return 1.8 + 0.2 * x; }, 0.8}}},
    };
    const double kSentinel = 123.0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label);
        fit::Scene scene;
        scene.setModel(c.make(), c.X, 3, 2);
        for (const char* name : c.fixed) scene.model->setParameterState(name, Parameter::FIXED);
        for (const Truth& t : c.truths) scene.setValues(t.name, t.value);
        scene.makeData();
        scene.setVOI(active);
        // Start values everywhere; a sentinel marks the skipped voxels.
        for (const Truth& t : c.truths) {
            scene.setInitValues(t.name, [&](unsigned x, unsigned y, unsigned z) { return t.value(x, y, z) * t.startFactor; });
            scene.setValues(t.name, [&](unsigned x, unsigned y, unsigned z) { return active(x, y, z) ? 0.0 : kSentinel; });
        }
        scene.lm.abs_chisquare = 0.0;
        scene.lm.delta_chisquare = 0.0;
        scene.lm.maxiter = 500;
        scene.run();

        const std::vector<OptimizerParameters>& records = scene.lm.getParameters();
        ASSERT_EQ(records.size(), scene.voi->numActive());
        EXPECT_EQ(scene.lm.getParameterIndex().size(), c.truths.size());
        size_t i = 0;
        scene.forEach([&](unsigned x, unsigned y, unsigned z) {
            for (const Truth& t : c.truths) {
                const double v = scene.model->getParameterValue(t.name, x, y, z), truth = t.value(x, y, z);
                if (!active(x, y, z))
                    EXPECT_EQ(v, kSentinel) << t.name << " at skipped voxel " << x << "," << y << "," << z;
                else
                    EXPECT_NEAR(v, truth, 1e-6 * std::fabs(truth)) << t.name << " at " << x << "," << y << "," << z;
            }
            if (!active(x, y, z) || i >= records.size()) return;
            const OptimizerParameters& r = records[i++];
            EXPECT_EQ(r.x_, x);
            EXPECT_EQ(r.y_, y);
            EXPECT_EQ(r.z_, z);
            EXPECT_EQ(r.exitFlag_, LevenbergMarquardt::LAMBDA_RAMP);
            EXPECT_GT(r.numiter, 0);
            EXPECT_LT(r.chisquare_, 1e-12);
        });
        EXPECT_EQ(i, records.size());
    }
}

}  // namespace
