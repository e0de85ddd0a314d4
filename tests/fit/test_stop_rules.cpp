// Each stop rule of the Levenberg-Marquardt method fires in a case built for
// it; when several fire in one pass the highest code is reported.
#include <gtest/gtest.h>

#include "FitFixture.h"

namespace {

typedef LevenbergMarquardt LM;

// One Generic_1TC voxel; noise > 0 adds Gaussian noise and fits weighted.
void oneVoxel(fit::Scene& scene, double noise, double k1Start, double k2Start, double alpha = 1.0) {
    scene.oneTissue(1, 1, 0.4, alpha);
    if (noise > 0.0) scene.addNoise(noise, 11);
    scene.start(k1Start, k2Start);
}

TEST(LevenbergMarquardtStop, ReasonTexts) {
    LevenbergMarquardt lm;
    EXPECT_EQ(lm.getName(), "Levenberg-Marquardt");
    EXPECT_EQ(lm.getReasons(),
              (std::vector<std::string>{"unknown", "singular matrix-1", "singular matrix-2", "number of iterations",
                                        "relative fitting error", "absolute fitting error", "lambda upward ramp",
                                        "absolute parameter change", "relative parameter change"}));
    EXPECT_EQ(lm.getReason(9), "unknown");
    EXPECT_EQ(lm.getReason(-1), "unknown");
}

TEST(LevenbergMarquardtStop, EachRuleInItsCase) {
    const double kDefault = -2.0;  // leave the setting alone
    const struct Case {
        const char* label;
        double noise, k1Start, k2Start;
        int maxiter;
        double abs, delta, absX, relX;
        int flag, numiter;  // numiter -1: any
    } cases[] = {
        {"one pass", 0.05, 0.3, 0.1, 0, kDefault, kDefault, kDefault, kDefault, LM::ITERATIONS, 0},
        {"two iterations", 0.05, 0.3, 0.1, 2, 0, 0, kDefault, kDefault, LM::ITERATIONS, 2},
        // The default end.
        {"relative chi^2", 0.05, 0.3, 0.1, 100, kDefault, kDefault, kDefault, kDefault, LM::RELATIVE_CHISQUARE, -1},
        // A start at the truth of noiseless data only raises lambda, the first
        // pass included: the 20th rise ends after iteration 19. A negative
        // iteration limit never fires.
        {"lambda ramp", 0, 0.4, 0.15, -1, 0, 0, kDefault, kDefault, LM::LAMBDA_RAMP, 19},
        // Needs no taken step, and outranks the iteration limit in pass one.
        {"absolute chi^2", 0.05, 0.3, 0.1, 0, 1e12, kDefault, kDefault, kDefault, LM::ABSOLUTE_CHISQUARE, 0},
        {"absolute change", 0.05, 0.3, 0.1, 100, 0, 0, 10.0, kDefault, LM::ABSOLUTE_ARGUMENT, -1},
        {"relative change", 0.05, 0.3, 0.1, 100, 0, 0, kDefault, 1e6, LM::RELATIVE_ARGUMENT, -1},
        {"both changes", 0.05, 0.3, 0.1, 100, kDefault, kDefault, 10.0, 1e6, LM::RELATIVE_ARGUMENT, -1},
        {"changes too tight", 0.05, 0.3, 0.1, 100, kDefault, kDefault, 1e-300, 1e-300, LM::RELATIVE_CHISQUARE, -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label);
        fit::Scene scene;
        oneVoxel(scene, c.noise, c.k1Start, c.k2Start);
        LM& lm = scene.lm;
        lm.maxiter = c.maxiter;
        if (c.abs != kDefault) lm.abs_chisquare = c.abs;
        if (c.delta != kDefault) lm.delta_chisquare = c.delta;
        if (c.absX != kDefault) lm.abs_delta_argument = c.absX;
        if (c.relX != kDefault) lm.rel_delta_argument = c.relX;
        scene.run(c.noise > 0.0);
        const OptimizerParameters& r = lm.getParameters().at(0);
        EXPECT_EQ(r.exitFlag_, c.flag);
        EXPECT_EQ(r.maxiter, c.maxiter);
        if (c.numiter >= 0) {
            EXPECT_EQ(r.numiter, c.numiter);
        }
        if (c.flag == LM::RELATIVE_CHISQUARE && c.absX == kDefault) {
            EXPECT_GT(r.numiter, 0);
            EXPECT_LT(r.numiter, 20);
            EXPECT_NEAR(scene.model->getParameterValue("k1", 0, 0, 0), 0.4, 0.02);
            EXPECT_NEAR(scene.model->getParameterValue("k2", 0, 0, 0), 0.15, 0.01);
        }
        EXPECT_TRUE(c.flag != LM::ABSOLUTE_ARGUMENT || r.numiter >= 1);
        EXPECT_TRUE(c.flag != LM::LAMBDA_RAMP || r.chisquare_ < 1e-20) << r.chisquare_;
    }
}

// With alpha = 0 the model does not depend on k1 or k2: the normal matrix is
// zero, the first solve finds a zero pivot, and the closing call warns again.
TEST(LevenbergMarquardtStop, SingularMatrix) {
    fit::Scene scene;
    oneVoxel(scene, 0.05, 0.3, 0.1, 0.0);
    const std::string text = scene.run(true);
    const OptimizerParameters& r = scene.lm.getParameters().at(0);
    EXPECT_EQ(r.exitFlag_, LM::SINGULAR_2);
    EXPECT_EQ(r.numiter, 0);
    const std::string warning = "WARNING: LevenbergMarquardt::mrqmin() singular matrix 2\n";
    size_t count = 0;
    for (size_t at = text.find(warning); at != std::string::npos; at = text.find(warning, at + 1)) ++count;
    EXPECT_EQ(count, 2u) << text;
    EXPECT_EQ(scene.model->getParameterValue("k1", 0, 0, 0), 0.3);
    EXPECT_EQ(scene.model->getParameterValue("k2", 0, 0, 0), 0.1);
}

}  // namespace
