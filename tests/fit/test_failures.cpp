// A fit never crashes on bad input: each case prints its message, and the
// optimizer and the objects stay usable for the next run.
#include <gtest/gtest.h>

#include <cmath>

#include "FitFixture.h"

namespace {

using fit::contains;
using fit::endsWith;
using fit::masked;
using fit::Scene;

// A 3 x 2 x 1 grid of noisy Generic_1TC data, k1 and k2 free.
struct Grid : Scene {
    Grid() { oneTissue(3, 2), addNoise(0.05, 3), start(0.3, 0.1); }
};

std::string runAgain(LevenbergMarquardt& lm) {
    mexhost::clearOutput();
    lm.run();
    return masked(mexhost::takeOutput());
}

// Each refused run names its cause and changes nothing; the same optimizer
// then runs a proper fit.
TEST(OptimizerFailures, IncompleteOrMismatchingWorkingSet) {
    Grid scene;
    LevenbergMarquardt& lm = scene.lm;
    auto attempt = [&](Dataset* data, Dataset* error, VOI* voi, Optimizable* model) {
        lm.setData(data);
        lm.setError(error);
        lm.setVOI(voi);
        lm.setOptimizable(model);
        return runAgain(lm);
    };
    Dataset4D<double>* data = scene.data.get();
    Generic_1TC_Model bare;
    Dataset4D<double> shortError(10, 3, 2, 1, 1.0);
    shortError.setName("short");
    VOI small(2, 2, 1, 1);
    small.setName("small");
    Dataset3D<double> volume(3, 2, 1, 1.0);
    volume.setName("volume");
    EXPECT_EQ(attempt(nullptr, nullptr, nullptr, nullptr),
              "Levenberg-Marquardt optimizer\nERROR Optimizer(#): Optimizer::prepare() no dataset \n");
    EXPECT_TRUE(endsWith(attempt(data, nullptr, nullptr, nullptr), "ERROR Optimizer(#): Optimizer::prepare() no model \n"));
    EXPECT_EQ(lm.getDataset(), nullptr);
    EXPECT_TRUE(endsWith(attempt(data, nullptr, nullptr, &bare),
                         "MODEL   : Generic_1TC \nERROR Optimizer(#): no input function set for model 'Generic_1TC' \n"));
    EXPECT_TRUE(endsWith(attempt(data, &shortError, nullptr, scene.model.get()),
                         "dimension mismatch between data set (24x3x2x1) and error (10x3x2x1) \n"));
    EXPECT_TRUE(endsWith(attempt(data, nullptr, &small, scene.model.get()),
                         "dimension mismatch between data set (3x2x1) and VOI (2x2x1) \n"));
    EXPECT_TRUE(endsWith(attempt(&volume, nullptr, nullptr, scene.model.get()),
                         "ERROR Optimizer(#): Optimizer::prepare() dataset 'volume' has no frames \n"));

    scene.setVOI([](unsigned, unsigned, unsigned) { return false; });
    const std::string text = scene.run();
    EXPECT_TRUE(contains(text, "VOI     : voi (3x2x1) with 0 of 6 active\n"));
    EXPECT_TRUE(endsWith(masked(text), "ERROR Optimizer(#): VOI 'voi' has 0 active voxels \n"));
    scene.voi.reset();
    EXPECT_TRUE(contains(scene.run(), "INPUT   : plasma \n"));
    EXPECT_EQ(lm.getParameters().size(), 6u);
    EXPECT_EQ(lm.getParameters()[5].exitFlag_, LevenbergMarquardt::RELATIVE_CHISQUARE);
}

// NaN and infinite values skip their voxel with a warning; the others are
// fitted as usual.
TEST(OptimizerFailures, NonFiniteData) {
    Grid scene;
    (*scene.data)(5, 1, 0, 0) = std::nan("");
    (*scene.error)(3, 2, 1, 0) = INFINITY;
    const std::string text = scene.run(true);
    EXPECT_TRUE(contains(text, "WARNING: voxel 1,0,0 has data or errors that are not finite: not fitted\n"));
    EXPECT_TRUE(contains(text, "WARNING: voxel 2,1,0 has data or errors that are not finite: not fitted\n"));
    const std::vector<OptimizerParameters>& r = scene.lm.getParameters();
    for (size_t i = 0; i < r.size(); ++i) {
        const bool skipped = (r[i].x_ == 1 && r[i].y_ == 0) || (r[i].x_ == 2 && r[i].y_ == 1);
        EXPECT_EQ(r[i].exitFlag_, skipped ? 0 : LevenbergMarquardt::RELATIVE_CHISQUARE) << i;
        EXPECT_EQ(std::isnan(r[i].chisquare_), skipped) << i;
    }
    EXPECT_EQ(scene.model->getParameterValue("k1", 1, 0, 0), 0.3);
    EXPECT_TRUE(std::isnan(scene.model->getParameterError("k1", 1, 0, 0)));
    EXPECT_NEAR(scene.model->getParameterValue("k1", 0, 0, 0), 0.4, 0.02);
}

// A zero error counts with weight 1 in the fit; the statistics divide by it
// and give errors that are not numbers. With nothing free each voxel can only
// ramp lambda, and no statistic divides by a missing parameter.
TEST(OptimizerFailures, ZeroErrorsAndNoFreeParameter) {
    Grid scene;
    scene.run(false);
    const double k1 = scene.model->getParameterValue("k1", 2, 1, 0);
    const double k2 = scene.model->getParameterValue("k2", 2, 1, 0);
    *scene.error = 0.0;
    scene.run(true);
    EXPECT_EQ(scene.model->getParameterValue("k1", 2, 1, 0), k1);
    EXPECT_EQ(scene.model->getParameterValue("k2", 2, 1, 0), k2);
    EXPECT_FALSE(std::isfinite(scene.model->getParameterError("k1", 2, 1, 0)));

    for (const char* name : {"k1", "k2"}) scene.model->setParameterState(name, Parameter::FIXED);
    scene.run(false);
    EXPECT_EQ(scene.lm.getNumFitted(), 0u);
    EXPECT_EQ(scene.lm.getParameters()[0].exitFlag_, LevenbergMarquardt::LAMBDA_RAMP);
    EXPECT_EQ(scene.lm.getCovariance().getDimensionX(), 0u);
}

// A hook that stops after the first voxel: the warning, one record filled,
// the closing statistics computed, the hook told of the end.
struct StopAfterFirst : SubUpdate {
    std::vector<int>* seen;
    explicit StopAfterFirst(std::vector<int>* s) : seen(s) {}
    bool operator()(const UpdateAction& action) override { return seen->push_back(action.action_), false; }
};

TEST(OptimizerFailures, StoppedByTheHook) {
    Grid scene;
    std::vector<int> seen;
    scene.lm.setUpdate(new StopAfterFirst(&seen));
    EXPECT_TRUE(endsWith(scene.run(), "WARNING: Optimization stopped by user!!!\n"));
    EXPECT_EQ(seen, (std::vector<int>{1, 0}));
    const std::vector<OptimizerParameters>& r = scene.lm.getParameters();
    EXPECT_EQ(r[0].exitFlag_, LevenbergMarquardt::RELATIVE_CHISQUARE);
    EXPECT_EQ(r[1].numiter, 0);
    EXPECT_EQ(scene.lm.getX(), 0u);
    EXPECT_EQ(scene.lm.getCovariance().getDimensionX(), 2u);
    scene.lm.setUpdate(nullptr);
    scene.run();
    EXPECT_EQ(scene.lm.getParameters()[1].exitFlag_, LevenbergMarquardt::RELATIVE_CHISQUARE);
}

// An object about to be destroyed is dropped from the working set, so later
// statistics see no dataset rather than a freed one.
TEST(OptimizerFailures, ForgetDestroyedObjects) {
    Grid scene;
    scene.run(true);
    scene.lm.forget(scene.data.get());
    scene.lm.forget(scene.model.get());
    EXPECT_EQ(scene.lm.getDataset(), nullptr);
    EXPECT_EQ(scene.lm.getOptimizable(), nullptr);
    EXPECT_EQ(scene.lm.getErrorDataset(), scene.error.get());
    mexhost::clearOutput();
    EXPECT_EQ(scene.lm.getAIC().getVolumeSize(), 0u);
    scene.lm.computeChiSquare(static_cast<VOI*>(nullptr));
    EXPECT_TRUE(endsWith(masked(mexhost::takeOutput()), "ERROR Optimizer(#): no data set \n"));
}

}  // namespace
