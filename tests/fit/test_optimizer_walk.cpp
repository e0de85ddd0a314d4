// The walk of the optimizer base through a method that only records: voxel
// order, per-voxel settings, the skip of voxels that cannot be fitted, records.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>
#include <vector>

#include "RunOn.h"

namespace {

using fit::Scene;

// "Fits" by leaving the start values, counting the voxel's number as its
// iterations and its x + 10 y + 100 z as chi-square.
class Recorder : public Optimizer {
public:
    Recorder() : Optimizer("Recorder") {}
    using Optimizer::run;
    std::vector<std::tuple<unsigned, unsigned, unsigned>> visited;
    std::vector<int> maxiters;
    std::vector<double> starts, lowers;

protected:
    void run(Voxel& v) override {
        maxiters.push_back(v.settings.maxiter);
        if (!beginVoxel(v)) return;
        visited.emplace_back(v.x, v.y, v.z);
        starts.push_back(v.start[0]);
        lowers.push_back(v.lower[0]);
        v.iterations = static_cast<int>(v.number);
        v.exitFlag = 1;
        v.chisquare = v.x + 10.0 * v.y + 100.0 * v.z;
        finishVoxel(v);
    }
};

// Generic_1TC on X x Y x Z voxels, the named parameters fixed.
struct WalkScene : Scene {
    Recorder recorder;
    WalkScene(unsigned X, unsigned Y, unsigned Z, std::vector<const char*> fixed) {
        setModel(new Generic_1TC_Model(Unit("kBq/ml"), 0.4, 0.15, 1.0, 0.05), X, Y, Z);
        for (const char* name : fixed) model->setParameterState(name, Parameter::FIXED);
        makeData();
    }
    std::string run() { return fit::runOn(recorder, *this); }
};

TEST(OptimizerWalk, VisitsActiveVoxelsXOutermostAndFillsRecordsInOrder) {
    fit::Verbosity verbosity(1);
    WalkScene scene(2, 2, 2, {"k2", "alpha", "beta"});
    scene.model->setParameterMin("k1", 0.01);
    scene.setVOI([](unsigned x, unsigned y, unsigned z) { return !(x == 0 && y == 1 && z == 0); });
    scene.setInitValues("k1", [](unsigned x, unsigned y, unsigned z) { return 0.1 * (1 + x + 2 * y + 4 * z); });
    scene.run();

    const std::vector<std::tuple<unsigned, unsigned, unsigned>> order = {
        {0, 0, 0}, {0, 0, 1}, {0, 1, 1}, {1, 0, 0}, {1, 0, 1}, {1, 1, 0}, {1, 1, 1}};
    EXPECT_EQ(scene.recorder.visited, order);
    const std::vector<OptimizerParameters>& records = scene.recorder.getParameters();
    ASSERT_EQ(records.size(), order.size());
    for (size_t i = 0; i < order.size(); ++i) {
        unsigned x, y, z;
        std::tie(x, y, z) = order[i];
        EXPECT_EQ(records[i].x_, x);
        EXPECT_EQ(records[i].z_, z);
        EXPECT_EQ(records[i].numiter, static_cast<int>(i));
        EXPECT_EQ(records[i].chisquare_, x + 10.0 * y + 100.0 * z);
        // The start value is the initial value at the voxel; the bound is the parameter's.
        EXPECT_DOUBLE_EQ(scene.recorder.starts[i], 0.1 * (1 + x + 2 * y + 4 * z));
        EXPECT_EQ(scene.recorder.lowers[i], 0.01);
    }
    // The exit-flag map lines up with the parameter maps voxel by voxel.
    const Dataset3D<int> flags = scene.recorder.getExitFlag();
    EXPECT_EQ(flags(0, 1, 0), 0);
    EXPECT_EQ(flags(1, 1, 1), 1);
}

TEST(OptimizerWalk, SettingsReachEveryVoxelAndUnusableVoxelsAreSkipped) {
    fit::Verbosity verbosity(3);
    WalkScene scene(3, 1, 1, {"k2", "alpha", "beta"});
    (*scene.data)(5, 1, 0, 0) = std::numeric_limits<double>::quiet_NaN();
    scene.recorder.maxiter = 7;
    const std::string text = fit::masked(scene.run());
    EXPECT_EQ(scene.recorder.maxiters, (std::vector<int>{7, 7, 7}));
    EXPECT_EQ(scene.recorder.visited.size(), 2u);
    const OptimizerParameters& skipped = scene.recorder.getParameters()[1];
    EXPECT_TRUE(std::isnan(skipped.chisquare_));
    EXPECT_EQ(skipped.x_, 1u);
    EXPECT_TRUE(std::isnan(scene.model->getParameterError("k1", 1, 0, 0)));
    // Every voxel is announced and indented; a skipped one has no final report.
    EXPECT_TRUE(fit::contains(text, "VOXEL 1,0,0 (2 of 3)\n  INITIAL: PARAMETER VALUES:\n    k1 = 0.4 +/- 0 1/min \n"
                                    "WARNING: voxel 1,0,0 has data or errors that are not finite: not fitted\n"
                                    "VOXEL 2,0,0 (3 of 3)\n"));
    EXPECT_TRUE(fit::contains(text, "VOXEL 2,0,0 (3 of 3)\n  INITIAL: PARAMETER VALUES:\n    k1 = 0.4 +/- "));
    EXPECT_EQ(_MessageHelper::indent_, "");
}

// An input read at every voxel must hold one curve for all voxels or one per
// voxel of the data; a refused run leaves the last run's tables and records.
TEST(OptimizerWalk, InputsOffTheDataGridAreRefusedAndTheLastRunStands) {
    fit::Verbosity verbosity(1);
    WalkScene scene(2, 1, 1, {"alpha", "beta"});
    scene.run();
    const std::vector<OptimizerParameters> records = scene.recorder.getParameters();
    ASSERT_EQ(records.size(), 2u);

    // Two curves as the input, for data of 2x1x1 voxels: on the grid, fine.
    Dataset4D<double> curves(4, 2, 1, 1, 1.0);
    for (unsigned t = 0; t < 4; ++t) curves.setTime(t, 10.0 * t + 1.0);
    LinearInterpolation twoCurves("two", Unit("kBq/ml"));
    twoCurves.initParameters(&curves, nullptr);
    scene.model->clearInputs();
    scene.model->addInput(&twoCurves);
    std::string text = scene.run();
    EXPECT_FALSE(fit::contains(text, "ERROR Optimizer")) << text;

    // The same input for data of 4x1x1 voxels would be read past its curves.
    scene.recorder.visited.clear();
    std::unique_ptr<Dataset4D<double>> wide(new Dataset4D<double>(scene.data->getDimensionT(), 4, 1, 1, 1.0));
    wide->setName("wide");
    scene.data.swap(wide);
    text = fit::masked(scene.run());
    EXPECT_TRUE(fit::endsWith(text, "PARAMETERS: \nERROR Optimizer(#): input function 'two' has parameter 'y0' on a "
                                    "2x1x1 grid, not on the grid of data set 'wide' (4x1x1) \n"))
        << text;
    EXPECT_TRUE(scene.recorder.visited.empty());
    EXPECT_EQ(scene.recorder.getDataset()->getName(), "data");  // the statistics read the last run's data
    EXPECT_EQ(scene.recorder.getNumFitted(), 2u);
    EXPECT_EQ(scene.recorder.getParameters().size(), 2u);
    EXPECT_EQ(scene.model->getParameterDimensionX(), 2u);
}

}  // namespace
