// The get command: names, datasets and their parts, parameter maps, units,
// VOI masks, derivatives and the messages of every failing form.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "Model.h"
#include "support/Session.h"

using mexhost::dims;
using mexhost::str;
using mexhost::values;
using test::Result;
using test::Session;

namespace {

mxArray* doubles(std::vector<mwSize> sizes, std::vector<double> v = {}) {
    return mexhost::makeArray(mxDOUBLE_CLASS, sizes, v);
}

std::string unknown(const std::string& line) { return "KINETRA: unknown or invalid command '" + line + "'\n"; }

// The strings of a cell array, in column-major order.
std::vector<std::string> cellStrings(const mxArray* cell) {
    std::vector<std::string> out;
    for (size_t i = 0; i < mxGetNumberOfElements(cell); ++i) out.push_back(str(mxGetCell(cell, i)));
    return out;
}

// True if text is the error line "ERROR interfaces/MatlabInterface(<line>): <message> \n".
bool isError(const std::string& text, const std::string& message) {
    const std::string head = "ERROR interfaces/MatlabInterface(", tail = "): " + message + " \n";
    if (text.size() <= head.size() + tail.size()) return false;
    if (text.compare(0, head.size(), head) != 0 || text.compare(text.size() - tail.size(), tail.size(), tail) != 0)
        return false;
    const std::string line = text.substr(head.size(), text.size() - head.size() - tail.size());
    return line.find_first_not_of("0123456789") == std::string::npos;
}

// A unit cell as (name, type, factor).
void expectUnit(const mxArray* cell, const std::string& name, const std::string& type, double factor) {
    ASSERT_NE(cell, nullptr);
    ASSERT_TRUE(mxIsCell(cell));
    EXPECT_EQ(dims(cell), (std::vector<mwSize>{3, 1}));
    EXPECT_EQ(str(mxGetCell(cell, 0)), name);
    EXPECT_EQ(str(mxGetCell(cell, 1)), type);
    EXPECT_DOUBLE_EQ(mxGetScalar(mxGetCell(cell, 2)), factor);
}

}  // namespace

TEST(Get, ListsSelectionsAndVerbosity) {
    Session s;
    Result data = s.call({"get", "data"});
    ASSERT_TRUE(mxIsCell(data.out()));
    EXPECT_EQ(dims(data.out()), (std::vector<mwSize>{1, 0}));
    Result units = s.call({"get", "unit"});
    std::vector<std::string> names = cellStrings(units.out());
    EXPECT_EQ(names, s.workspace->getUnit());
    EXPECT_EQ(dims(units.out()), (std::vector<mwSize>{1, names.size()}));

    EXPECT_EQ(str(s.call({"get", "current", "model"}).out()), "");
    s.call({"select", "model", "Generic_1TC"});
    EXPECT_EQ(str(s.call({"get", "current", "model"}).out()), "Generic_1TC");
    s.call({"reset"});
    EXPECT_EQ(str(s.call({"get", "current", "model"}).out()), "");
    Result current = s.call({"get", "current", "data"});
    EXPECT_EQ(current.text, "WARNING: KINETRA: unknown topic 'data'");
    EXPECT_TRUE(current.isFalse());

    EXPECT_EQ(values(s.call({"get", "verbosity"}).out()), std::vector<double>{1.0});
    Result unknownTopic = s.call({"get", "nosuch"});
    EXPECT_EQ(unknownTopic.text, "KINETRA: unknown set option 'nosuch'\n" + unknown("get nosuch"));
    EXPECT_TRUE(unknownTopic.isFalse());
    EXPECT_EQ(s.call({"get", "protocol", "Generic"}).text,
              "KINETRA: unknown set option 'protocol'\n" + unknown("get protocol Generic"));
}

TEST(Get, UnitCells) {
    Session s;
    expectUnit(s.call({"get", "unit", "kBq/ml"}).out(), "kBq/ml", "ACTIVITY", 1000.0);
    expectUnit(s.call({"get", "unit", "min"}).out(), "min", "TIME", 60.0);
    Result missing = s.call({"get", "unit", "zz"});
    EXPECT_EQ(missing.text, "KINETRA: unit 'zz' not found\n" + unknown("get unit zz"));
    EXPECT_TRUE(missing.isFalse());
}

TEST(GetData, SeriesAndItsParts) {
    Session s;
    // Z=1, Y=2, X=2, T=3; element value 10 t + index within the frame.
    std::vector<double> v;
    for (int t = 0; t < 3; ++t)
        for (int i = 0; i < 4; ++i) v.push_back(10 * t + i);
    s.call({"set", "data", "a", doubles({1, 2, 2, 3}, v), doubles({3, 2}, {0, 5, 15, 5, 10, 20}), "kBq/ml"});

    Result all = s.call({"get", "data", "a"}, 4);
    EXPECT_EQ(dims(all.out(0)), (std::vector<mwSize>{1, 2, 2, 3}));
    EXPECT_EQ(values(all.out(0)), v);
    EXPECT_EQ(values(all.out(1)), (std::vector<double>{0, 5, 15, 5, 10, 20}));
    expectUnit(all.out(2), "kBq/ml", "ACTIVITY", 1000.0);
    expectUnit(all.out(3), "s", "TIME", 1.0);

    EXPECT_EQ(values(s.call({"get", "data", "a", "size"}).out()), (std::vector<double>{2, 2, 1, 3}));
    Result volume = s.call({"get", "data", "a", "volume", 2.0});
    EXPECT_EQ(dims(volume.out()), (std::vector<mwSize>{1, 2, 2}));
    EXPECT_EQ(values(volume.out()), (std::vector<double>{20, 21, 22, 23}));
    Result slice = s.call({"get", "data", "a", "slice", 1.0, 0.0});
    EXPECT_EQ(dims(slice.out()), (std::vector<mwSize>{2, 2}));
    EXPECT_EQ(values(slice.out()), (std::vector<double>{10, 11, 12, 13}));

    Result outside = s.call({"get", "data", "a", "volume", 3.0});
    EXPECT_EQ(outside.text, "KINETRA: frame 3 is outside data 'a' with 3 frames\n");
    EXPECT_TRUE(outside.isFalse());
    EXPECT_TRUE(s.call({"get", "data", "a", "slice", 0.0, 1.0}).isFalse());
    EXPECT_TRUE(s.call({"get", "data", "a", "slice", -1.0, 0.0}).isFalse());

    Result missing = s.call({"get", "data", "zz"});
    EXPECT_EQ(missing.text, "KINETRA: data 'zz' not found\n" + unknown("get data zz"));
}

TEST(GetData, VolumesComeBackWithoutFrames) {
    Session s;
    s.call({"set", "data", "v", mexhost::makeArray(mxINT16_CLASS, {2, 3, 4})});
    Result r = s.call({"get", "data", "v"}, 4);
    ASSERT_NE(r.out(0), nullptr);
    EXPECT_EQ(mxGetClassID(r.out(0)), mxINT16_CLASS);
    EXPECT_EQ(dims(r.out(0)), (std::vector<mwSize>{2, 3, 4, 0}));
    EXPECT_EQ(dims(r.out(1)), (std::vector<mwSize>{0, 2}));
    EXPECT_EQ(r.out(3), nullptr);  // no time unit for a volume
    EXPECT_EQ(values(s.call({"get", "data", "v", "size"}).out()), (std::vector<double>{4, 3, 2}));
    EXPECT_EQ(s.call({"get", "data", "v", "volume", 0.0}).text, "KINETRA: data 'v' is not 4D\n");
}

TEST(GetVOI, MaskRoundTrip) {
    Session s;
    const std::vector<double> bits = {1, 0, 0, 1, 1, 0};
    s.call({"set", "voi", "m", mexhost::makeArray(mxLOGICAL_CLASS, {2, 1, 3}, bits)});
    Result r = s.call({"get", "voi", "m"});
    EXPECT_EQ(mxGetClassID(r.out()), mxLOGICAL_CLASS);
    EXPECT_EQ(dims(r.out()), (std::vector<mwSize>{2, 1, 3}));
    EXPECT_EQ(values(r.out()), bits);
    EXPECT_EQ(cellStrings(s.call({"get", "voi"}).out()), std::vector<std::string>{"m"});
    Result missing = s.call({"get", "voi", "zz"});
    EXPECT_EQ(missing.text, "WARNING: VOI 'zz' not found\n");
    EXPECT_TRUE(missing.isFalse());
}

TEST(GetParameter, VolumesStateUnitAndMessages) {
    Session s;
    EXPECT_EQ(s.call({"get", "model", "k1"}).text, "WARNING: KINETRA: no model selected\n");
    EXPECT_EQ(s.call({"get", "input", "y0"}).text, "WARNING: KINETRA: no input function selected\n");
    s.call({"select", "model", "Generic_1TC"});
    s.call({"set", "model", "k1", "value", 0.3});
    s.call({"set", "model", "k1", "initvalue", 0.2});
    s.call({"set", "model", "k1", "log", 1.0});
    Result r = s.call({"get", "model", "k1"}, 5);
    EXPECT_EQ(values(r.out(0)), std::vector<double>{0.3});
    EXPECT_EQ(dims(r.out(0)), (std::vector<mwSize>{1, 1}));  // trailing 1s drop, as in Matlab
    EXPECT_EQ(values(r.out(1)), std::vector<double>{0.0});
    EXPECT_EQ(values(r.out(2)), std::vector<double>{0.2});
    EXPECT_EQ(str(r.out(3)), "free(log)");
    expectUnit(r.out(4), "1/min", "FREQUENCY", 1.0 / 60.0);
    expectUnit(s.call({"get", "model", "unit"}).out(), "kBq/ml", "ACTIVITY", 1000.0);
    Result missing = s.call({"get", "model", "nosuch"});
    EXPECT_EQ(missing.text, "WARNING: model 'Generic_1TC' has no parameter 'nosuch'\n");
    EXPECT_TRUE(missing.isFalse());
}

TEST(GetParameter, DerivativeIsTheSlopeOfALinearParameter) {
    Session s;
    s.call({"select", "model", "Generic_1TC"});
    EXPECT_EQ(s.call({"get", "model", "k1", "der", doubles({1, 2}, {10, 20})}).text,
              "WARNING: no input function set for model 'Generic_1TC'\n");
    // Input: the line through (10, 1), (20, 2), (30, 3).
    s.call({"set", "tac", "blood", doubles({3, 2}, {10, 20, 30, 1, 2, 3})});
    s.call({"select", "input", "LinearInterpolation"});
    s.call({"set", "input", "init", "blood"});
    s.call({"set", "model", "input", "LinearInterpolation"});
    s.call({"set", "model", "k1", "value", 0.6});
    s.call({"set", "model", "k2", "value", 0.3});
    s.call({"set", "model", "alpha", "value", 1.0});
    s.call({"set", "model", "beta", "value", 0.0});
    // y is proportional to k1 (beta = 0), so dy/dk1 = y / k1 at every time.
    const std::vector<double> times = {5, 15, 25, 40};
    Result r = s.call({"get", "model", "k1", "der", doubles({4, 1}, times)});
    ASSERT_EQ(dims(r.out()), (std::vector<mwSize>{4, 1}));
    std::vector<double> der = values(r.out());
    Model* m = s.workspace->currentModel_;
    for (size_t i = 0; i < times.size(); ++i) {
        const double y = (*m)(times[i], 0, 0, 0);
        EXPECT_GT(y, 0.0);
        EXPECT_NEAR(der[i] * 0.6, y, 1e-9 * std::fabs(y)) << "t=" << times[i];
    }
    // A matrix is no vector of times: the plain form answers.
    EXPECT_EQ(values(s.call({"get", "model", "k1", "der", doubles({2, 2})}).out()), std::vector<double>{0.6});
}

TEST(GetOptimizer, SettingsAndStatistics) {
    Session s;
    Result none = s.call({"get", "optimizer", "maxiter"});
    EXPECT_EQ(none.text, "WARNING: no optimizer selected\n" + unknown("get optimizer maxiter"));
    EXPECT_EQ(s.call({"get", "chisquare"}).text, "WARNING: no optimizer selected\n");
    EXPECT_EQ(s.call({"get", "numiter"}).text, "WARNING: no optimizer selected\n");

    std::vector<std::string> optimizers = s.workspace->getOptimizer();
    if (optimizers.empty()) GTEST_SKIP() << "no optimizer in the workspace yet";
    s.call({"select", "optimizer", optimizers.front()});
    s.call({"set", "optimizer", "maxiter", 77.0});
    s.call({"set", "optimizer", "abs_chisquare", 0.5});
    s.call({"set", "optimizer", "delta_chisquare", 0.25});
    s.call({"set", "optimizer", "statusfile", "status"});
    EXPECT_EQ(values(s.call({"get", "optimizer", "maxiter"}).out()), std::vector<double>{77});
    EXPECT_EQ(values(s.call({"get", "optimizer", "abs_chisquare"}).out()), std::vector<double>{0.5});
    EXPECT_EQ(values(s.call({"get", "optimizer", "delta_chisquare"}).out()), std::vector<double>{0.25});
    EXPECT_EQ(str(s.call({"get", "optimizer", "statusfile"}).out()), "status");
    // Writable but deliberately not readable.
    Result hidden = s.call({"get", "optimizer", "abs_delta_argument"});
    EXPECT_EQ(hidden.text, "WARNING: unknown optimizer parameter 'abs_delta_argument'\n" +
                               unknown("get optimizer abs_delta_argument"));
}

TEST(GetTac, ArgumentChecksComeFirst) {
    Session s;
    s.call({"set", "data", "a", doubles({1, 2, 2, 3})});  // Z=1, Y=2, X=2
    EXPECT_EQ(s.call({"get", "tac", "a", "none"}).text,
              "WARNING: get tac needs at least 3 arguments: dataname errorname ...\n");
    EXPECT_EQ(s.call({"get", "tac", "zz", "none", "v"}).text, "WARNING: Data 'zz' not found\n");
    EXPECT_EQ(s.call({"get", "tac", "a", "none", "v"}).text, "WARNING: VOI 'v' not found\n");
    EXPECT_EQ(s.call({"get", "tac", "a", "none", doubles({1, 4}, {0, 0, 0, 0})}).text,
              "WARNING: invalid point argument\n");
    // The point is checked against the workspace's dataset 'a'.
    Result outside = s.call({"get", "tac", "a", "none", doubles({1, 3}, {1, 2, 0})});
    EXPECT_TRUE(isError(outside.text, "point (1,2,0) is outside data 'a' (1x2x2)")) << outside.text;
    EXPECT_TRUE(outside.isFalse());
    EXPECT_EQ(s.call({"get", "tac", "a", "none", doubles({1, 3}, {1, 1, 0})}).text, "WARNING: no protocol selected\n");
}

TEST(GetAfterFit, StatisticsParameterMapsAndCurves) {
    Session s(0);
    // Input: the line through (0, 0) ... (50, 500) kBq/ml, sampled every 10 s.
    s.call({"set", "tac", "blood", doubles({6, 2}, {0, 10, 20, 30, 40, 50, 0, 100, 200, 300, 400, 500})});
    s.call({"set", "data", "blood", "unit", "kBq/ml"});
    s.call({"select", "input", "LinearInterpolation"});
    s.call({"set", "input", "init", "blood"});
    s.call({"select", "model", "Generic_1TC"});
    s.call({"set", "model", "input", "LinearInterpolation"});
    s.call({"set", "model", "k1", "value", 0.5});
    s.call({"set", "model", "k2", "value", 0.2});
    s.call({"set", "model", "alpha", "value", 1.0});
    s.call({"set", "model", "beta", "value", 0.0});
    // Noise-free data from the model itself, one voxel, frames of 5 s.
    Model* m = s.workspace->currentModel_;
    ASSERT_NE(m, nullptr);
    const std::vector<double> times = {5, 10, 15, 20, 25, 30, 35, 40};
    std::vector<double> data, table;
    for (double t : times) data.push_back((*m)(t, 0, 0, 0));
    table = times;
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
    s.call({"process", "d", "none", "none", "v"});

    EXPECT_NEAR(values(s.call({"get", "model", "k1"}).out())[0], 0.5, 1e-3);
    Result chi = s.call({"get", "chisquare"});
    ASSERT_EQ(mxGetClassID(chi.out()), mxDOUBLE_CLASS);
    EXPECT_EQ(dims(chi.out()), (std::vector<mwSize>{1, 1}));
    EXPECT_LT(values(chi.out())[0], 1e-6);
    Result iterations = s.call({"get", "numiter"});
    ASSERT_EQ(mxGetClassID(iterations.out()), mxINT32_CLASS);
    EXPECT_GE(values(iterations.out())[0], 1.0);
    for (const char* statistic : {"exit", "aic", "aicc", "bic", "fpe", "ftest", "hannan-quinn", "rsc"})
        EXPECT_FALSE(s.call({"get", statistic}).isFalse()) << statistic;

    // Curves: column 1 the frame times, then model, data, error and input.
    const std::vector<Result> tacs = [&] {
        std::vector<Result> r;
        r.push_back(s.call({"get", "tac", "d", "none", "v"}));
        r.push_back(s.call({"get", "tac", "d", "none", doubles({1, 3}, {0, 0, 0})}));
        return r;
    }();
    for (const Result& tac : tacs) {
        ASSERT_EQ(dims(tac.out()), (std::vector<mwSize>{T, 5}));
        const std::vector<double> c = values(tac.out());
        for (size_t t = 0; t < T; ++t) {
            EXPECT_EQ(c[t], times[t]);
            EXPECT_NEAR(c[t + T], data[t], 1e-6 * data[t]);
            EXPECT_DOUBLE_EQ(c[t + 2 * T], data[t]);
            EXPECT_EQ(c[t + 3 * T], 0.0);
        }
    }
}
