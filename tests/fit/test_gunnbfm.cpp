// GunnBFM on noiseless Neuro_SLAM data whose k2a lies on a grid node, and the
// runs it refuses.
#include <gtest/gtest.h>

#include "FitFixture.h"
#include "models/Neuro_SLAM_Model.h"
#include "optimizers/GunnBFM.h"

namespace {

using fit::Scene;

// Bounds k2 in [0.05, 0.5]/min and BPstar in [0, 4] give the grid
// k2a = 0.01 + i * 0.01 /min for N = 50.
struct BFMScene : Scene {
    GunnBFM bfm;
    void slam(double r1, double k2, double bp) {
        setModel(new Neuro_SLAM_Model(Unit("kBq/ml"), r1, k2, bp), 2, 1, 1);
        makeData();
        model->setParameterMin("R1", 0.0);
        model->setParameterMax("R1", 3.0);
        model->setParameterMin("k2", 0.05);
        model->setParameterMax("k2", 0.5);
        model->setParameterMin("BPstar", 0.0);
        model->setParameterMax("BPstar", 4.0);
        bfm.maxiter = 50;
    }
    std::string runBFM() {
        bfm.setData(data.get());
        bfm.setVOI(nullptr);
        bfm.setOptimizable(model.get());
        mexhost::clearOutput();
        bfm.run();
        return mexhost::takeOutput();
    }
};

TEST(GunnBFM, RecoversParametersWhenK2aIsOnAGridNode) {
    BFMScene s;
    s.slam(1.2, 0.3, 2.0);  // k2a = 0.1/min, grid node 9
    s.runBFM();
    for (unsigned x = 0; x < 2; ++x) {
        EXPECT_NEAR(s.model->getParameterValue("R1", x, 0, 0), 1.2, 1e-6);
        EXPECT_NEAR(s.model->getParameterValue("k2", x, 0, 0), 0.3, 1e-6);
        EXPECT_NEAR(s.model->getParameterValue("BPstar", x, 0, 0), 2.0, 1e-5);
    }
    ASSERT_EQ(s.bfm.getParameters().size(), 2u);
    EXPECT_EQ(s.bfm.getParameters()[0].exitFlag_, 1);
    EXPECT_LT(s.bfm.getParameters()[0].chisquare_, 1e-12);
}

// The error dataset enters the errors and nothing else.
TEST(GunnBFM, ErrorDatasetChangesOnlyTheErrors) {
    BFMScene a, b;
    for (BFMScene* s : {&a, &b}) {
        s->slam(1.1, 0.25, 1.5);
        s->addNoise(0.05, 11);
    }
    a.runBFM();
    b.bfm.setError(b.error.get());
    b.runBFM();
    for (const char* name : {"R1", "k2", "BPstar"})
        for (unsigned x = 0; x < 2; ++x) {
            EXPECT_EQ(a.model->getParameterValue(name, x, 0, 0), b.model->getParameterValue(name, x, 0, 0));
            EXPECT_NE(a.model->getParameterError(name, x, 0, 0), b.model->getParameterError(name, x, 0, 0));
        }
    EXPECT_EQ(a.bfm.getParameters()[1].chisquare_, b.bfm.getParameters()[1].chisquare_);
}

// BPstar bounds that exclude the truth: every voxel keeps the last grid
// point (k2a = k2max), flags 0 and is counted at the end.
TEST(GunnBFM, AllEstimatesOutOfBoundsKeepTheLastGridPoint) {
    fit::Verbosity v(2);
    BFMScene s;
    s.slam(1.2, 0.3, 2.0);
    s.model->setParameterMin("BPstar", 5.0);
    s.model->setParameterMax("BPstar", 6.0);
    const std::string out = s.runBFM();
    EXPECT_TRUE(fit::contains(out, "VOXEL 1,0,0 (2 of 2): all estimates out of bounds, keeping last!\n")) << out;
    EXPECT_TRUE(fit::endsWith(out, "2 final estimates out of bounds.\n")) << out;
    for (unsigned x = 0; x < 2; ++x) {
        EXPECT_EQ(s.bfm.getParameters()[x].exitFlag_, 0);
        const double k2 = s.model->getParameterValue("k2", x, 0, 0);
        EXPECT_NEAR(s.model->getParameterValue("BPstar", x, 0, 0), k2 / 0.5 - 1.0, 1e-9);
    }
}

TEST(GunnBFM, RefusesTooSmallGridsAndOtherModels) {
    fit::Verbosity v(1);
    for (int n : {-3, 0, 1}) {
        BFMScene s;
        s.slam(1.2, 0.3, 2.0);
        s.bfm.maxiter = n;
        const std::string out = s.runBFM();
        EXPECT_TRUE(fit::contains(out, "GunnBFM needs at least 2 basis functions")) << out;
        EXPECT_EQ(s.model->getParameterValue("R1", 0, 0, 0), 1.2);  // nothing fitted
    }
    BFMScene s;
    s.oneTissue(1);
    s.bfm.setData(s.data.get());
    s.bfm.setOptimizable(s.model.get());
    mexhost::clearOutput();
    s.bfm.run();
    EXPECT_TRUE(fit::contains(mexhost::takeOutput(), "GunnBFM method only works for model Neuro_SLAM, not Generic_1TC"));
}

}  // namespace
