// The optimizer base: goodness-of-fit maps, correlations, the printed run and
// status files.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "RunOn.h"

namespace {

using fit::readFile;
using fit::Scene;

// The maps read record i at the i-th active voxel; every other voxel is 0.
TEST(OptimizerBase, GoodnessOfFitMaps) {
    auto active = [](unsigned x, unsigned y, unsigned z) { return !(x == 1 && y == 0) && !(z == 1 && y == 1); };
    Scene scene;
    scene.setModel(new Generic_1TC_Model(Unit("kBq/ml"), 0.4, 0.15, 1.0, 0.05), 3, 2, 2);
    scene.model->setParameterState("alpha", Parameter::FIXED);
    scene.makeData();
    scene.addNoise(0.1, 17);
    scene.setVOI(active);
    scene.start(0.3, 0.1);
    scene.model->setParameterInitValue("beta", 0.04);
    scene.run(true);

    const double n = 24.0, k = 3.0;
    LevenbergMarquardt& lm = scene.lm;
    const Dataset3D<double> dof = lm.getChiSquareDOF(), bic = lm.getBIC(), aic = lm.getAIC(), aicc = lm.getAICc(),
                            fpe = lm.getFPE(), hq = lm.getHannanQuinn(), ftest = lm.getFTest();
    const Dataset3D<int> iter = lm.getNumIter(), flag = lm.getExitFlag(), rsc = lm.getRSC();
    const std::vector<OptimizerParameters>& records = lm.getParameters();
    size_t i = 0;
    scene.forEach([&](unsigned x, unsigned y, unsigned z) {
        if (!active(x, y, z)) {
            EXPECT_EQ(dof(x, y, z), 0.0);
            EXPECT_EQ(aic(x, y, z), 0.0);
            EXPECT_EQ(iter(x, y, z), 0);
            return;
        }
        const OptimizerParameters& r = records[i++];
        const double chi = r.chisquare_, l = std::log(chi / n);
        EXPECT_DOUBLE_EQ(dof(x, y, z), chi / 21.0);
        EXPECT_DOUBLE_EQ(bic(x, y, z), 24.0 * l + 3.0 * std::log(24.0));
        EXPECT_DOUBLE_EQ(aic(x, y, z), 24.0 * l + 6.0);
        EXPECT_DOUBLE_EQ(aicc(x, y, z), 24.0 * l + 6.0 + 24.0 / 20.0);
        EXPECT_DOUBLE_EQ(fpe(x, y, z), l * 28.0 / 20.0);
        EXPECT_DOUBLE_EQ(hq(x, y, z), 24.0 * l + 6.0 * std::log(std::log(24.0)));
        EXPECT_EQ(iter(x, y, z), r.numiter);
        EXPECT_EQ(flag(x, y, z), r.exitFlag_);
        EXPECT_EQ(rsc(x, y, z), r.rsc_);
        // The F-test against the constant model, from the data.
        double mean = 0.0, S = 0.0;
        for (unsigned t = 0; t < 24; ++t) mean += (*scene.data)(t, x, y, z) / 24.0;
        for (unsigned t = 0; t < 24; ++t) S += std::pow(((*scene.data)(t, x, y, z) - mean) / (*scene.error)(t, x, y, z), 2);
        EXPECT_NEAR(ftest(x, y, z), (S - chi) * (n - k) / (k - 1.0) / chi, 1e-9 * std::fabs(S / chi));
        // With data, error and model in one unit the base's chi-square is the method's.
        EXPECT_NEAR(lm.computeChiSquare(x, y, z), chi, 1e-9 * chi);
        EXPECT_GE(r.rsc_, 0);
        EXPECT_LE(r.rsc_, 23);
    });
    EXPECT_EQ(i, records.size());

    // Correlations of the VOI-level fit: unit diagonal, symmetric, bounded.
    const Dataset2D<double> corr = lm.getCorr();
    ASSERT_EQ(corr.getDimensionX(), 3u);
    for (unsigned a = 0; a < 3; ++a) {
        EXPECT_NEAR(corr(a, a), 1.0, 1e-12);
        for (unsigned b = 0; b < 3; ++b) {
            EXPECT_NEAR(corr(a, b), corr(b, a), 1e-12);
            EXPECT_LE(std::fabs(corr(a, b)), 1.0 + 1e-12);
        }
    }
    EXPECT_GT(lm.getChiSquare(), 0.0);
}

TEST(OptimizerBase, FTestNeedsTwoParameters) {
    Scene scene;
    scene.oneTissue(1);
    scene.model->setParameterState("k2", Parameter::FIXED);
    scene.addNoise(0.1, 1);
    scene.run(true);
    mexhost::clearOutput();
    scene.lm.getFTest();
    EXPECT_EQ(fit::masked(mexhost::takeOutput()), "ASSERT FAILED: Optimizer(#)\n");
}

// The printed run of a small fit at verbosity 3, CPU seconds masked.
TEST(OptimizerBase, PrintedRunAtVerbosity3) {
    fit::Verbosity verbosity(3);
    Scene scene;
    scene.oneTissue(2);
    scene.addNoise(0.05, 7);
    scene.start(0.3, 0.1);
    scene.model->setParameterMin("k1", 0.0);
    scene.model->setParameterMax("k1", 2.0);
    EXPECT_EQ(fit::masked(scene.run(true)), fit::stored("lm_verbosity3.txt"));
}

// One file per voxel and iteration, the closing one with the next number.
TEST(OptimizerBase, StatusFiles) {
    Scene scene;
    scene.oneTissue(1);
    scene.model->setName("my model");
    scene.model->setParameterInitValue("k1", 0.3);
    scene.lm.abs_chisquare = 0.0;
    scene.lm.maxiter = 1;
    const std::string base = std::string(getenv("HOME")) + "/status";
    scene.lm.setStatusFile(base);
    scene.run();
    for (int i = 0; i <= 2; ++i) {
        char name[64];
        std::snprintf(name, sizeof name, "_my_model_0,0,0_%03d", i);
        std::istringstream lines(readFile(base + name));
        std::string line;
        std::getline(lines, line);
        EXPECT_EQ(line, "# Iteration: " + std::to_string(i) + " ") << name;
        std::getline(lines, line);
        EXPECT_EQ(line, "# t y fit");
        int frames = 0;
        double t, y, f;
        while (lines >> t >> y >> f) ++frames;
        EXPECT_EQ(frames, 24);
    }
    EXPECT_TRUE(readFile(base + "_my_model_0,0,0_003").empty());
}

}  // namespace
