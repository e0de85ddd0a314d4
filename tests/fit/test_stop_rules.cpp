// Each stop rule of the Levenberg-Marquardt method fires in a case built for
// it, and when several fire in one pass the highest code is reported.
#include <gtest/gtest.h>

#include "FitFixture.h"
#include "models/Generic_1TC_Model.h"

namespace {

using fit::Scene;
typedef LevenbergMarquardt LM;

// One voxel of a Generic_1TC model (alpha, beta fixed) with its own data;
// noise > 0 adds Gaussian noise and fits weighted.
struct OneVoxel {
    Scene scene;
    explicit OneVoxel(double noise, double k1Start = 0.3, double k2Start = 0.1, double alpha = 1.0) {
        scene.setModel(new Generic_1TC_Model(Unit("kBq/ml"), 0.4, 0.15, alpha, 0.05), 1, 1, 1);
        scene.model->setParameterState("alpha", Parameter::FIXED);
        scene.model->setParameterState("beta", Parameter::FIXED);
        scene.makeData();
        if (noise > 0.0) scene.addNoise(noise, 11);
        scene.model->setParameterInitValue("k1", k1Start);
        scene.model->setParameterInitValue("k2", k2Start);
    }
    const OptimizerParameters& fit(bool weighted = true) {
        text = scene.run(weighted && scene.error != nullptr);
        return scene.lm.getParameters().at(0);
    }
    LevenbergMarquardt& lm() { return scene.lm; }
    std::string text;
};

TEST(LevenbergMarquardtStop, ReasonTexts) {
    LevenbergMarquardt lm;
    EXPECT_EQ(lm.getName(), "Levenberg-Marquardt");
    EXPECT_EQ(lm.getRampLimit(), 20);
    const std::vector<std::string> expected = {"unknown",
                                               "singular matrix-1",
                                               "singular matrix-2",
                                               "number of iterations",
                                               "relative fitting error",
                                               "absolute fitting error",
                                               "lambda upward ramp",
                                               "absolute parameter change",
                                               "relative parameter change"};
    EXPECT_EQ(lm.getReasons(), expected);
    EXPECT_EQ(lm.getReason(9), "unknown");
    EXPECT_EQ(lm.getReason(-1), "unknown");
}

TEST(LevenbergMarquardtStop, IterationLimit) {
    {
        OneVoxel v(0.05);
        v.lm().maxiter = 0;  // one pass
        const OptimizerParameters& r = v.fit();
        EXPECT_EQ(r.exitFlag_, LM::ITERATIONS);
        EXPECT_EQ(r.numiter, 0);
        EXPECT_EQ(r.maxiter, 0);
    }
    {
        OneVoxel v(0.05);
        v.lm().maxiter = 2;
        v.lm().delta_chisquare = 0.0;
        v.lm().abs_chisquare = 0.0;
        const OptimizerParameters& r = v.fit();
        EXPECT_EQ(r.exitFlag_, LM::ITERATIONS);
        EXPECT_EQ(r.numiter, 2);
    }
}

TEST(LevenbergMarquardtStop, RelativeChiSquareIsTheDefaultEnd) {
    OneVoxel v(0.05);
    const OptimizerParameters& r = v.fit();
    EXPECT_EQ(r.exitFlag_, LM::RELATIVE_CHISQUARE);
    EXPECT_GT(r.numiter, 0);
    EXPECT_LT(r.numiter, 20);
    EXPECT_NEAR(v.scene.model->getParameterValue("k1", 0, 0, 0), 0.4, 0.02);
    EXPECT_NEAR(v.scene.model->getParameterValue("k2", 0, 0, 0), 0.15, 0.01);
}

// A start at the truth of noiseless data can only fail to improve: lambda
// rises on every pass, the first included, so the 20th rise ends the fit
// after iteration 19. A negative iteration limit never fires.
TEST(LevenbergMarquardtStop, LambdaRamp) {
    OneVoxel v(0.0, 0.4, 0.15);
    v.lm().maxiter = -1;
    v.lm().delta_chisquare = 0.0;
    v.lm().abs_chisquare = 0.0;
    const OptimizerParameters& r = v.fit(false);
    EXPECT_EQ(r.exitFlag_, LM::LAMBDA_RAMP);
    EXPECT_EQ(r.numiter, 19);
    EXPECT_LT(r.chisquare_, 1e-20);
}

// Absolute chi-square needs no taken step; with maxiter 0 both it and the
// iteration limit fire in the first pass and the higher code is reported.
TEST(LevenbergMarquardtStop, AbsoluteChiSquareOutranksIterationLimit) {
    OneVoxel v(0.05);
    v.lm().abs_chisquare = 1e12;
    v.lm().maxiter = 0;
    const OptimizerParameters& r = v.fit();
    EXPECT_EQ(r.exitFlag_, LM::ABSOLUTE_CHISQUARE);
    EXPECT_EQ(r.numiter, 0);
}

// The argument rules wait for a taken step; when both fire the relative
// one (code 8) is reported.
TEST(LevenbergMarquardtStop, ParameterChange) {
    {
        OneVoxel v(0.05);
        v.lm().delta_chisquare = 0.0;
        v.lm().abs_chisquare = 0.0;
        v.lm().abs_delta_argument = 10.0;
        const OptimizerParameters& r = v.fit();
        EXPECT_EQ(r.exitFlag_, LM::ABSOLUTE_ARGUMENT);
        EXPECT_GE(r.numiter, 1);
    }
    {
        OneVoxel v(0.05);
        v.lm().delta_chisquare = 0.0;
        v.lm().abs_chisquare = 0.0;
        v.lm().rel_delta_argument = 1e6;
        EXPECT_EQ(v.fit().exitFlag_, LM::RELATIVE_ARGUMENT);
    }
    {
        OneVoxel v(0.05);
        v.lm().abs_delta_argument = 10.0;
        v.lm().rel_delta_argument = 1e6;
        const OptimizerParameters& r = v.fit();
        EXPECT_EQ(r.exitFlag_, LM::RELATIVE_ARGUMENT);
    }
    // Tolerances too tight to be met leave the end to the other rules.
    {
        OneVoxel v(0.05);
        v.lm().abs_delta_argument = 1e-300;
        v.lm().rel_delta_argument = 1e-300;
        EXPECT_EQ(v.fit().exitFlag_, LM::RELATIVE_CHISQUARE);
    }
}

// With alpha = 0 the model does not depend on k1 or k2: the normal matrix is
// zero, the first solve finds a zero pivot, and the closing call warns again.
TEST(LevenbergMarquardtStop, SingularMatrix) {
    OneVoxel v(0.05, 0.3, 0.1, 0.0);
    const OptimizerParameters& r = v.fit();
    EXPECT_EQ(r.exitFlag_, LM::SINGULAR_2);
    EXPECT_EQ(r.numiter, 0);
    const std::string warning = "WARNING: LevenbergMarquardt::mrqmin() singular matrix 2\n";
    size_t count = 0;
    for (size_t at = v.text.find(warning); at != std::string::npos; at = v.text.find(warning, at + 1)) ++count;
    EXPECT_EQ(count, 2u) << v.text;
    EXPECT_EQ(v.scene.model->getParameterValue("k1", 0, 0, 0), 0.3);
    EXPECT_EQ(v.scene.model->getParameterValue("k2", 0, 0, 0), 0.1);
}

// Per-voxel settings come from the records that prepare fills.
TEST(LevenbergMarquardtStop, RecordsCarryTheSettings) {
    OneVoxel v(0.05);
    v.lm().maxiter = 7;
    v.lm().abs_chisquare = 2e-9;
    v.lm().delta_chisquare = 0.002;
    v.lm().abs_delta_argument = 1e-12;
    v.lm().rel_delta_argument = 2e-12;
    const OptimizerParameters& r = v.fit();
    EXPECT_EQ(r.maxiter, 7);
    EXPECT_EQ(r.abs_chisquare, 2e-9);
    EXPECT_EQ(r.delta_chisquare, 0.002);
    EXPECT_EQ(r.abs_delta_argument, 1e-12);
    EXPECT_EQ(r.rel_delta_argument, 2e-12);
}

}  // namespace
