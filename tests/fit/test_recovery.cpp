// Noiseless data made by a one-tissue model itself are fitted back from a
// start 30-50% away, voxel by voxel, in a grid whose VOI skips voxels.
#include <gtest/gtest.h>

#include "FitFixture.h"
#include "models/Cardiac_HutchinsI_Model.h"
#include "models/Generic_1TC_Model.h"
#include "models/Water_1TC_Model.h"

namespace {

using fit::Scene;

// Every other voxel along z and the voxel (1, 0, 0) are skipped.
bool active(unsigned x, unsigned y, unsigned z) { return (x + y + z) % 2 == 0 || (x == 1 && y == 2); }

const double kSentinel = 123.0;

struct Truth {
    std::string name;
    std::function<double(unsigned, unsigned, unsigned)> value;
    double startFactor;  // start = truth * factor
};

// Sets the truth, makes the data, puts a sentinel into the skipped voxels
// and the start values into every voxel, fits until lambda ramps, and checks
// the recovery, the untouched voxels and the order of the records.
void recover(Scene& scene, const std::vector<Truth>& truths) {
    for (const Truth& t : truths) scene.setValues(t.name, t.value);
    scene.makeData();
    scene.setVOI(active);
    for (const Truth& t : truths) {
        scene.setInitValues(t.name, [&](unsigned x, unsigned y, unsigned z) { return t.value(x, y, z) * t.startFactor; });
        scene.setValues(t.name, [&](unsigned x, unsigned y, unsigned z) { return active(x, y, z) ? 0.0 : kSentinel; });
    }
    scene.lm.abs_chisquare = 0.0;
    scene.lm.delta_chisquare = 0.0;
    scene.lm.maxiter = 500;
    scene.run();

    const std::vector<OptimizerParameters>& records = scene.lm.getParameters();
    ASSERT_EQ(records.size(), scene.voi->numActive());
    size_t i = 0;
    for (unsigned x = 0; x < scene.X; ++x)
        for (unsigned y = 0; y < scene.Y; ++y)
            for (unsigned z = 0; z < scene.Z; ++z) {
                for (const Truth& t : truths) {
                    const double v = scene.model->getParameterValue(t.name, x, y, z);
                    if (!active(x, y, z)) {
                        EXPECT_EQ(v, kSentinel) << t.name << " at skipped voxel " << x << "," << y << "," << z;
                        continue;
                    }
                    EXPECT_NEAR(v, t.value(x, y, z), 1e-6 * std::fabs(t.value(x, y, z)))
                        << t.name << " at " << x << "," << y << "," << z;
                }
                if (!active(x, y, z)) continue;
                ASSERT_LT(i, records.size());
                EXPECT_EQ(records[i].x_, x);
                EXPECT_EQ(records[i].y_, y);
                EXPECT_EQ(records[i].z_, z);
                EXPECT_EQ(records[i].exitFlag_, LevenbergMarquardt::LAMBDA_RAMP);
                EXPECT_GT(records[i].numiter, 0);
                EXPECT_LT(records[i].chisquare_, 1e-12);
                ++i;
            }
}

TEST(LevenbergMarquardtRecovery, Generic1TCWithFixedWeights) {
    Scene scene;
    scene.setModel(new Generic_1TC_Model(Unit("kBq/ml"), 0.0, 0.0, 1.0, 0.05), 3, 3, 2);
    scene.model->setParameterState("alpha", Parameter::FIXED);
    scene.model->setParameterState("beta", Parameter::FIXED);
    recover(scene, {{"k1", [](unsigned x, unsigned y, unsigned z) { return 0.1 + 0.1 * x + 0.05 * y + 0.02 * z; }, 1.4},
                    {"k2", [](unsigned x, unsigned y, unsigned z) { return 0.05 + 0.03 * x + 0.02 * y + 0.1 * z; }, 0.6}});
    EXPECT_EQ(scene.lm.getParameterIndex().size(), 2u);
}

// alpha and k1 enter only as their product, so alpha stays fixed.
TEST(LevenbergMarquardtRecovery, Generic1TCWithFreeBloodWeight) {
    Scene scene;
    scene.setModel(new Generic_1TC_Model(Unit("kBq/ml"), 0.0, 0.0, 0.9, 0.0), 2, 3, 2);
    scene.model->setParameterState("alpha", Parameter::FIXED);
    recover(scene, {{"k1", [](unsigned x, unsigned, unsigned z) { return 0.3 + 0.2 * x + 0.01 * z; }, 0.65},
                    {"k2", [](unsigned, unsigned y, unsigned) { return 0.1 + 0.05 * y; }, 1.35},
                    {"beta", [](unsigned x, unsigned, unsigned) { return 0.05 + 0.02 * x; }, 0.6}});
}

TEST(LevenbergMarquardtRecovery, CardiacHutchinsI) {
    Scene scene;
    scene.setModel(new Cardiac_HutchinsI_Model(), 2, 3, 2);
    recover(scene, {{"k1", [](unsigned x, unsigned, unsigned) { return 0.8 + 0.3 * x; }, 0.6},
                    {"k2", [](unsigned, unsigned y, unsigned) { return 0.2 + 0.1 * y; }, 1.4},
                    {"tbv", [](unsigned, unsigned, unsigned z) { return 0.2 + 0.1 * z; }, 0.65}});
}

TEST(LevenbergMarquardtRecovery, Water1TC) {
    Scene scene;
    scene.setModel(new Water_1TC_Model(), 2, 3, 2);
    recover(scene, {{"k1", [](unsigned x, unsigned, unsigned) { return 0.8 + 0.3 * x; }, 1.4},
                    {"Vd", [](unsigned, unsigned y, unsigned) { return 0.7 + 0.05 * y; }, 0.65},
                    {"tbv", [](unsigned, unsigned, unsigned z) { return 0.15 + 0.1 * z; }, 1.35}});
}

}  // namespace
