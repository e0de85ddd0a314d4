// Sequences of commands that once took the host down or flooded it with
// messages, each replayed through the commands.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <regex>
#include <string>
#include <vector>

#include "Dataset.h"
#include "Model.h"
#include "Optimizer.h"
#include "support/Session.h"

using mexhost::dims;
using mexhost::values;
using test::Result;
using test::Dims;
using test::doubles;
using test::Session;
using test::unknown;
using test::Values;

namespace {

std::string masked(const std::string& text) { return std::regex_replace(text, std::regex("\\(\\d+\\)"), "(N)"); }

// Voxel (x, y, z) holds the model curve times this, so its k1 is 0.3 times it.
double gain(unsigned x, unsigned y, unsigned z) { return 1.0 + 0.25 * x + 0.5 * y + 1.5 * z; }

// Generic_1TC (alpha 1, beta 0 const) on a measured blood curve, fitted by
// the Generic protocol with Levenberg-Marquardt; verbosity 0.
class Sequences : public ::testing::Test {
protected:
    static constexpr unsigned T = 12;

    void SetUp() override {
        Values table;
        for (unsigned t = 0; t < T; ++t) table.push_back(10.0 * t);
        for (unsigned t = 0; t < T; ++t) table.push_back(t == 0 ? 0.0 : 100.0 * std::exp(-0.02 * 10.0 * t) * t);
        test::linearModel(s, table, 0.3, 0.1);
        for (const char* name : {"alpha", "beta"}) s.call({"set", "model", name, "state", "const"});
        Model* m = s.workspace->currentModel_;
        for (unsigned t = 0; t < T; ++t) {
            times.push_back(10.0 * t);
            curve.push_back((*m)(10.0 * t, 0, 0, 0));
        }
        s.call({"set", "model", "k1", "initvalue", 0.2});
        s.call({"set", "model", "k2", "initvalue", 0.2});
        s.call({"select", "protocol", "Generic"});
        s.call({"set", "protocol", "model", "Generic_1TC"});
        s.call({"set", "protocol", "optimizer", "Levenberg-Marquardt"});
        s.call({"select", "optimizer", "Levenberg-Marquardt"});
        mexhost::clearOutput();
    }

    // The Z x Y x X x T array of a dataset of X x Y x Z voxels.
    mxArray* tissue(unsigned X, unsigned Y, unsigned Z, double extra = 1.0) const {
        Values v(size_t(X) * Y * Z * T);
        for (unsigned t = 0; t < T; ++t)
            for (unsigned x = 0; x < X; ++x)
                for (unsigned y = 0; y < Y; ++y)
                    for (unsigned z = 0; z < Z; ++z) v[z + Z * (y + Y * (x + X * size_t(t)))] = extra * gain(x, y, z) * curve[t];
        return doubles({Z, Y, X, T}, v);
    }
    mxArray* frameTable() const {
        Values table = times;
        table.insert(table.end(), T, 10.0);
        return doubles({T, 2}, table);
    }
    static mxArray* mask(unsigned X, unsigned Y, unsigned Z) {
        return mexhost::makeArray(mxLOGICAL_CLASS, {Z, Y, X}, Values(size_t(X) * Y * Z, 1.0));
    }
    // The fitted maps have the grid X x Y x Z, k1 0.3 * gain * extra and k2 0.1 in every voxel.
    void expectK1(unsigned X, unsigned Y, unsigned Z, double extra = 1.0) {
        Result k1 = s.call({"get", "model", "k1"}), k2 = s.call({"get", "model", "k2"});
        ASSERT_EQ(dims(k1.out()), (Dims{Z, Y, X}));
        ASSERT_EQ(dims(k2.out()), (Dims{Z, Y, X}));
        const Values v = values(k1.out()), w = values(k2.out());
        for (unsigned x = 0; x < X; ++x)
            for (unsigned y = 0; y < Y; ++y)
                for (unsigned z = 0; z < Z; ++z) {
                    EXPECT_NEAR(v[z + Z * (y + Y * x)], 0.3 * gain(x, y, z) * extra, 1e-4) << x << y << z;
                    EXPECT_NEAR(w[z + Z * (y + Y * x)], 0.1, 1e-4) << x << y << z;
                }
    }

    Session s{0};
    Values times, curve;
};

}  // namespace

// The same voxel count in another shape: every resize gives exactly the grid
// asked for, so no voxel is read or written through another shape.
TEST_F(Sequences, GridsOfTheSameCountInAnotherShape) {
    s.call({"set", "data", "first", tissue(2, 4, 4), frameTable(), "kBq/ml"});
    s.call({"set", "data", "second", tissue(4, 4, 2), frameTable(), "kBq/ml"});
    s.call({"process", "first", "none", "none", mask(2, 4, 4)});
    expectK1(2, 4, 4);
    Result second = s.call({"process", "second", "none", "none", mask(4, 4, 2)});
    EXPECT_EQ(second.text, "");
    expectK1(4, 4, 2);
    EXPECT_EQ(dims(s.call({"get", "numiter"}).out()), (Dims{2, 4, 4}));

    // A parameter value from arrays of 1x2x3 and then 3x1x2.
    for (Dims shape : {Dims{1, 2, 3}, Dims{3, 1, 2}}) {
        s.call({"set", "model", "k2", "value", doubles(shape, {1, 2, 3, 4, 5, 6})});
        Result k2 = s.call({"get", "model", "k2"});
        EXPECT_EQ(dims(k2.out()), shape);
        EXPECT_EQ(values(k2.out()), (Values{1, 2, 3, 4, 5, 6}));
    }
}

// A refused process changes nothing that the statistics read.
TEST_F(Sequences, ARefusedProcessLeavesTheStatisticsOfTheLastRun) {
    s.call({"set", "data", "a", tissue(2, 2, 1), frameTable(), "kBq/ml"});
    s.call({"set", "data", "b", tissue(3, 1, 1, 2.0), frameTable(), "kBq/ml"});
    s.call({"set", "voi", "va", mask(2, 2, 1)});
    const char* topics[] = {"chisquare", "exit", "aic", "ftest", "numiter"};
    s.call({"process", "a", "none", "none", "va"});
    std::vector<Values> before;
    for (const char* topic : topics) before.push_back(values(s.call({"get", topic}).out()));
    EXPECT_GT(before[3][0], 1e3);  // a real F statistic: the fit is far better than a constant

    Result refused = s.call({"process", "b", "none", "none", "va"});
    EXPECT_EQ(masked(refused.text), "ERROR Protocol(N): VOI 'va' has invalid dimensions 2x2x1 (XxYxZ) for data 'b' "
                                    "with 12x3x1x1 (TxXxYxZ) \n");
    for (size_t i = 0; i < before.size(); ++i) EXPECT_EQ(values(s.call({"get", topics[i]}).out()), before[i]) << topics[i];
    expectK1(2, 2, 1);

    // The last run's VOI replaced by a new temporary: the optimizer keeps its
    // own copy of the mask, so the records still land on their voxels.
    s.call({"process", "a", "none", "none", mask(2, 2, 1)});
    const Values numiter = values(s.call({"get", "numiter"}).out());
    EXPECT_EQ(numiter.size(), 4u);
    s.call({"process", "b", "none", "none", mask(2, 2, 1)});
    EXPECT_EQ(values(s.call({"get", "numiter"}).out()), numiter);
    expectK1(2, 2, 1);
}

// A temporary the user renamed stays theirs; the next array makes a new
// temporary, which is the one fitted, and nothing leaks.
TEST_F(Sequences, ARenamedTemporaryStaysTheUsersAndNothingLeaks) {
    Optimizer* optimizer = s.workspace->currentOptimizer_;
    s.call({"process", tissue(2, 1, 1), "none", "none", mask(2, 1, 1)});
    s.call({"set", "data", "_data_", "name", "x"});
    std::vector<int> datasets, arrays;
    for (double extra : {2.0, 3.0, 4.0}) {
        {
            Result r = s.call({"process", tissue(2, 1, 1, extra), "none", "none", mask(2, 1, 1)});
            EXPECT_EQ(r.text, "");
            Dataset* fitted = optimizer->getDataset();
            ASSERT_NE(fitted, nullptr);
            EXPECT_EQ(fitted, s.workspace->getData("_data_"));
            EXPECT_DOUBLE_EQ(fitted->getValue4D(T - 1, 1, 0, 0), extra * gain(1, 0, 0) * curve[T - 1]);
            Result names = s.call({"get", "data"});
            ASSERT_EQ(mxGetNumberOfElements(names.out()), 3u);
            EXPECT_EQ(mexhost::str(mxGetCell(names.out(), 0)), "_data_");
            EXPECT_EQ(mexhost::str(mxGetCell(names.out(), 2)), "x");
        }
        datasets.push_back(Dataset::count_);
        arrays.push_back(mexhost::liveArrays());
    }
    EXPECT_EQ(datasets[1], datasets[0]);
    EXPECT_EQ(datasets[2], datasets[0]);
    EXPECT_EQ(arrays[2], arrays[0]);
    EXPECT_DOUBLE_EQ(s.workspace->getData("x")->getValue4D(T - 1, 1, 0, 0), gain(1, 0, 0) * curve[T - 1]);

    // Renamed to a name taken before the next array: overwritten like any
    // temporary, and still found to be destroyed.
    s.call({"set", "data", "_data_", "name", "y"});
    s.call({"set", "data", "y", tissue(1, 1, 1), frameTable()});
    const int before = Dataset::count_;
    Result r = s.call({"process", tissue(2, 1, 1, 5.0), "none", "none", mask(2, 1, 1)});
    EXPECT_EQ(Dataset::count_.load(), before);
    EXPECT_EQ(optimizer->getDataset(), s.workspace->getData("_data_"));
    EXPECT_DOUBLE_EQ(s.workspace->getData("_data_")->getValue4D(T - 1, 1, 0, 0), 5.0 * gain(1, 0, 0) * curve[T - 1]);
    EXPECT_EQ(s.workspace->getData("y")->getNumElements(), T);
}

// Curves beyond the maps of the last fit are refused, not read out of range.
TEST_F(Sequences, CurvesBeyondTheLastFitAreRefused) {
    s.call({"set", "data", "wide", tissue(4, 1, 1), frameTable(), "kBq/ml"});
    s.call({"set", "data", "narrow", tissue(2, 1, 1), frameTable(), "kBq/ml"});
    s.call({"set", "voi", "all", mask(4, 1, 1)});
    s.call({"process", "wide", "none", "none", "all"});
    s.call({"process", "narrow", "none", "none", mask(2, 1, 1)});
    EXPECT_EQ(dims(s.call({"get", "tac", "wide", "none", doubles({1, 3}, {1, 0, 0})}).out()), (Dims{T, 5}));
    Result point = s.call({"get", "tac", "wide", "none", doubles({1, 3}, {3, 0, 0})});
    EXPECT_EQ(masked(point.text),
              "ERROR Protocol(N): point (3,0,0) is outside the parameter maps of 'Generic_1TC' (1x1x2) \n");
    EXPECT_TRUE(point.isFalse());
    Result region = s.call({"get", "tac", "wide", "none", "all"});
    EXPECT_EQ(masked(region.text),
              "ERROR Protocol(N): point (2,0,0) is outside the parameter maps of 'Generic_1TC' (1x1x2) \n");
    EXPECT_TRUE(region.isFalse());
}

// A fit on NaN frame times reports once, not once per evaluation, also
// when the run's own objects and their copies meet the fault on three threads.
TEST_F(Sequences, FaultsAreReportedOncePerCause) {
    Values table = times;
    table.insert(table.end(), T, 10.0);
    table[5] = std::numeric_limits<double>::quiet_NaN();  // the start of frame 5
    s.call({"set", "data", "nan", tissue(2, 2, 1), doubles({T, 2}, table)});
    for (const char* threads : {"1", "3"}) {
        setenv("KINETRA_THREADS", threads, 1);
        for (int run = 0; run < 2; ++run) {
            Result r = s.call({"process", "nan", "none", "none", mask(2, 2, 1)});
            EXPECT_EQ(masked(r.text), "ASSERT FAILED: inputs/LinearInterpolation(N)\n") << threads;
        }
    }
    unsetenv("KINETRA_THREADS");
}
