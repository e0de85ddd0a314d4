// The get command: names, datasets and their parts, parameters, units, VOI
// masks, derivatives, fit results and the messages of failing forms.
#include <gtest/gtest.h>

#include <cmath>
#include <regex>
#include <string>
#include <vector>

#include "Model.h"
#include "support/Session.h"

using mexhost::dims;
using mexhost::str;
using mexhost::values;
using test::Result;
using test::Dims;
using test::doubles;
using test::Session;
using test::unknown;
using test::Values;

namespace {

// A unit cell as (name, type, factor).
void expectUnit(const mxArray* cell, const std::string& name, const std::string& type, double factor) {
    ASSERT_TRUE(cell && mxIsCell(cell));
    EXPECT_EQ(dims(cell), (Dims{3, 1}));
    EXPECT_EQ(str(mxGetCell(cell, 0)), name);
    EXPECT_EQ(str(mxGetCell(cell, 1)), type);
    EXPECT_DOUBLE_EQ(mxGetScalar(mxGetCell(cell, 2)), factor);
}

}  // namespace

TEST(Get, ListsUnitsAndMessages) {
    Session s;
    EXPECT_EQ(dims(s.call({"get", "data"}).out()), (Dims{1, 0}));
    EXPECT_EQ(mxGetNumberOfElements(s.call({"get", "unit"}).out()), s.workspace->getUnit().size());
    s.call({"select", "model", "Generic_1TC"});
    EXPECT_EQ(str(s.call({"get", "current", "model"}).out()), "Generic_1TC");
    s.call({"reset"});
    EXPECT_EQ(str(s.call({"get", "current", "model"}).out()), "");
    EXPECT_EQ(values(s.call({"get", "verbosity"}).out()), Values{1.0});
    expectUnit(s.call({"get", "unit", "min"}).out(), "min", "TIME", 60.0);
    s.call({"set", "data", "a", doubles({1, 2, 2, 3})});  // Z=1, Y=2, X=2
    const std::pair<std::vector<test::Arg>, std::string> cases[] = {
        {{"get", "current", "data"}, "WARNING: KINETRA: unknown topic 'data'"},
        {{"get", "nosuch"}, "KINETRA: unknown set option 'nosuch'\n" + unknown("get nosuch")},
        {{"get", "protocol", "Generic"}, "KINETRA: unknown set option 'protocol'\n" + unknown("get protocol Generic")},
        {{"get", "unit", "zz"}, "KINETRA: unit 'zz' not found\n" + unknown("get unit zz")},
        {{"get", "data", "zz"}, "KINETRA: data 'zz' not found\n" + unknown("get data zz")},
        {{"get", "voi", "zz"}, "WARNING: VOI 'zz' not found\n"},
        {{"get", "model", "k1"}, "WARNING: KINETRA: no model selected\n"},
        {{"get", "input", "y0"}, "WARNING: KINETRA: no input function selected\n"},
        {{"get", "optimizer", "maxiter"}, "WARNING: no optimizer selected\n" + unknown("get optimizer maxiter")},
        {{"get", "chisquare"}, "WARNING: no optimizer selected\n"},
        {{"get", "numiter"}, "WARNING: no optimizer selected\n"},
        {{"get", "tac", "a", "none"}, "WARNING: get tac needs at least 3 arguments: dataname errorname ...\n"},
        {{"get", "tac", "zz", "none", "v"}, "WARNING: Data 'zz' not found\n"},
        {{"get", "tac", "a", "none", "v"}, "WARNING: VOI 'v' not found\n"},
        {{"get", "tac", "a", "none", doubles({1, 4})}, "WARNING: invalid point argument\n"},
        {{"get", "tac", "a", "none", doubles({1, 3}, {1, 1, 0})}, "WARNING: no protocol selected\n"},
    };
    for (const auto& c : cases) {
        Result r = s.call(c.first);
        EXPECT_EQ(r.text, c.second);
        EXPECT_TRUE(r.isFalse()) << c.second;
    }
    // "ERROR interfaces/MatlabInterface(<line>): <message> \n"
    Result outside = s.call({"get", "tac", "a", "none", doubles({1, 3}, {1, 2, 0})});
    EXPECT_TRUE(std::regex_match(outside.text, std::regex(
        R"(ERROR interfaces/MatlabInterface\(\d+\): point \(1,2,0\) is outside data 'a' \(1x2x2\) \n)"))) << outside.text;
    EXPECT_TRUE(outside.isFalse());
}

TEST(GetData, SeriesVolumesAndMasks) {
    Session s;
    // Z=1, Y=2, X=2, T=3; element value 10 t + index within the frame.
    Values v;
    for (int t = 0; t < 3; ++t)
        for (int i = 0; i < 4; ++i) v.push_back(10 * t + i);
    s.call({"set", "data", "a", doubles({1, 2, 2, 3}, v), doubles({3, 2}, {0, 5, 15, 5, 10, 20}), "kBq/ml"});
    Result all = s.call({"get", "data", "a"}, 4);
    EXPECT_EQ(dims(all.out(0)), (Dims{1, 2, 2, 3}));
    EXPECT_EQ(values(all.out(0)), v);
    EXPECT_EQ(values(all.out(1)), (Values{0, 5, 15, 5, 10, 20}));
    expectUnit(all.out(2), "kBq/ml", "ACTIVITY", 1000.0);
    expectUnit(all.out(3), "s", "TIME", 1.0);
    EXPECT_EQ(values(s.call({"get", "data", "a", "size"}).out()), (Values{2, 2, 1, 3}));
    Result volume = s.call({"get", "data", "a", "volume", 2.0});
    EXPECT_EQ(dims(volume.out()), (Dims{1, 2, 2}));
    EXPECT_EQ(values(volume.out()), (Values{20, 21, 22, 23}));
    Result slice = s.call({"get", "data", "a", "slice", 1.0, 0.0});
    EXPECT_EQ(dims(slice.out()), (Dims{2, 2}));
    EXPECT_EQ(values(slice.out()), (Values{10, 11, 12, 13}));
    Result outside = s.call({"get", "data", "a", "volume", 3.0});
    EXPECT_EQ(outside.text, "KINETRA: frame 3 is outside data 'a' with 3 frames\n");
    EXPECT_TRUE(outside.isFalse());
    EXPECT_TRUE(s.call({"get", "data", "a", "slice", 0.0, 1.0}).isFalse());
    EXPECT_TRUE(s.call({"get", "data", "a", "slice", -1.0, 0.0}).isFalse());

    // Volumes come back without frames and without a time unit.
    s.call({"set", "data", "v", mexhost::makeArray(mxINT16_CLASS, {2, 3, 4})});
    Result r = s.call({"get", "data", "v"}, 4);
    EXPECT_EQ(mxGetClassID(r.out(0)), mxINT16_CLASS);
    EXPECT_EQ(dims(r.out(0)), (Dims{2, 3, 4, 0}));
    EXPECT_EQ(dims(r.out(1)), (Dims{0, 2}));
    EXPECT_TRUE(mxIsLogical(r.out(3)) && mxGetScalar(r.out(3)) == 0.0);  // no time unit: false
    EXPECT_EQ(values(s.call({"get", "data", "v", "size"}).out()), (Values{4, 3, 2}));
    EXPECT_EQ(s.call({"get", "data", "v", "volume", 0.0}).text, "KINETRA: data 'v' is not 4D\n");

    const Values bits = {1, 0, 0, 1, 1, 0};
    s.call({"set", "voi", "m", mexhost::makeArray(mxLOGICAL_CLASS, {2, 1, 3}, bits)});
    Result mask = s.call({"get", "voi", "m"});
    EXPECT_EQ(mxGetClassID(mask.out()), mxLOGICAL_CLASS);
    EXPECT_EQ(dims(mask.out()), (Dims{2, 1, 3}));
    EXPECT_EQ(values(mask.out()), bits);
}

TEST(GetParameter, RowUnitsDerivativeAndMessages) {
    Session s;
    s.call({"select", "model", "Generic_1TC"});
    EXPECT_EQ(s.call({"get", "model", "k1", "der", doubles({1, 2}, {10, 20})}).text,
              "WARNING: no input function set for model 'Generic_1TC'\n");
    test::linearModel(s, {10, 20, 30, 1, 2, 3}, 0.6, 0.3);
    s.call({"set", "model", "k1", "initvalue", 0.2});
    s.call({"set", "model", "k1", "log", 1.0});
    Result r = s.call({"get", "model", "k1"}, 5);
    EXPECT_EQ(values(r.out(0)), Values{0.6});
    EXPECT_EQ(dims(r.out(0)), (Dims{1, 1}));  // trailing 1s drop, as in Matlab
    EXPECT_EQ(values(r.out(1)), Values{0.0});
    EXPECT_EQ(values(r.out(2)), Values{0.2});
    EXPECT_EQ(str(r.out(3)), "free(log)");
    expectUnit(r.out(4), "1/min", "FREQUENCY", 1.0 / 60.0);
    expectUnit(s.call({"get", "model", "unit"}).out(), "kBq/ml", "ACTIVITY", 1000.0);
    Result missing = s.call({"get", "model", "nosuch"});
    EXPECT_EQ(missing.text, "WARNING: model 'Generic_1TC' has no parameter 'nosuch'\n");
    EXPECT_TRUE(missing.isFalse());
    s.call({"set", "model", "k1", "log", 0.0});

    // y is proportional to k1 (beta = 0), so dy/dk1 = y / k1 at every time.
    const Values times = {5, 15, 25, 40};
    Result der = s.call({"get", "model", "k1", "der", doubles({4, 1}, times)});
    ASSERT_EQ(dims(der.out()), (Dims{4, 1}));
    Model* m = s.workspace->currentModel_;
    for (size_t i = 0; i < times.size(); ++i) {
        const double y = (*m)(times[i], 0, 0, 0);
        EXPECT_GT(y, 0.0);
        EXPECT_NEAR(values(der.out())[i] * 0.6, y, 1e-9 * std::fabs(y)) << "t=" << times[i];
    }
    // A matrix is no vector of times: the plain form answers.
    EXPECT_EQ(values(s.call({"get", "model", "k1", "der", doubles({2, 2})}).out()), Values{0.6});
}

TEST(GetAfterFit, OptimizerStatisticsAndCurves) {
    Session s(0);
    test::linearModel(s, {0, 10, 20, 30, 40, 50, 0, 100, 200, 300, 400, 500}, 0.5, 0.2);
    // Noise-free data from the model itself, one voxel, frames of 5 s.
    Model* m = s.workspace->currentModel_;
    ASSERT_NE(m, nullptr);
    const Values times = {5, 10, 15, 20, 25, 30, 35, 40};
    Values data, table = times;
    for (double t : times) data.push_back((*m)(t, 0, 0, 0));
    table.insert(table.end(), times.size(), 5.0);
    const mwSize T = times.size();
    s.call({"set", "data", "d", doubles({1, 1, 1, T}, data), doubles({T, 2}, table), "kBq/ml"});
    s.call({"set", "voi", "v", mexhost::makeArray(mxLOGICAL_CLASS, {1, 1}, {1})});
    for (const char* fixed : {"alpha", "beta"}) s.call({"set", "model", fixed, "state", "const"});
    s.call({"set", "model", "initvalue", "value"});
    s.call({"set", "model", "k1", "initvalue", 0.3});
    s.call({"set", "model", "k2", "initvalue", 0.1});
    s.call({"set", "model", "value", "initvalue"});  // only the fit brings k1 back to 0.5
    s.call({"select", "protocol", "Generic"});
    s.call({"set", "protocol", "model", "Generic_1TC"});
    s.call({"set", "protocol", "optimizer", "Levenberg-Marquardt"});
    s.call({"select", "optimizer", "Levenberg-Marquardt"});
    s.call({"set", "optimizer", "abs_chisquare", 0.0});
    s.call({"set", "optimizer", "delta_chisquare", 1e-12});
    const std::string status = std::string(getenv("HOME")) + "/status";  // the fit's files go there
    s.call({"set", "optimizer", "statusfile", status});
    EXPECT_EQ(str(s.call({"get", "optimizer", "statusfile"}).out()), status);
    s.call({"process", "d", "none", "none", "v"});

    EXPECT_NEAR(values(s.call({"get", "model", "k1"}).out())[0], 0.5, 1e-3);
    Result chi = s.call({"get", "chisquare"}), iterations = s.call({"get", "numiter"});
    EXPECT_EQ(mxGetClassID(chi.out()), mxDOUBLE_CLASS);
    EXPECT_EQ(dims(chi.out()), (Dims{1, 1}));
    EXPECT_LT(values(chi.out())[0], 1e-6);
    EXPECT_EQ(mxGetClassID(iterations.out()), mxINT32_CLASS);
    EXPECT_GE(values(iterations.out())[0], 1.0);
    for (const char* statistic : {"exit", "aic", "aicc", "bic", "fpe", "ftest", "hannan-quinn", "rsc"})
        EXPECT_FALSE(s.call({"get", statistic}).isFalse()) << statistic;

    // Curves: column 1 the frame times, then model, data, error and input.
    for (test::Arg where : {test::Arg("v"), test::Arg(doubles({1, 3}, {0, 0, 0}))}) {
        Result tac = s.call({"get", "tac", "d", "none", where});
        ASSERT_EQ(dims(tac.out()), (Dims{T, 5}));
        const Values c = values(tac.out());
        for (size_t t = 0; t < T; ++t) {
            EXPECT_EQ(c[t], times[t]);
            EXPECT_NEAR(c[t + T], data[t], 1e-6 * data[t]);
            EXPECT_DOUBLE_EQ(c[t + 2 * T], data[t]);
            EXPECT_EQ(c[t + 3 * T], 0.0);
        }
    }
}
