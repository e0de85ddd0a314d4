// The set command as a user meets it: its messages, word for word, and what
// each form leaves in the workspace, read back from the objects themselves.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "Dataset4D.h"
#include "InputFunction.h"
#include "Model.h"
#include "Optimizer.h"
#include "Protocol.h"
#include "VOI.h"
#include "support/Session.h"
#include "util/NumUtil.h"

using test::Result;
using test::Session;

namespace {

mxArray* doubles(std::vector<mwSize> dims, std::vector<double> values = {}) {
    return mexhost::makeArray(mxDOUBLE_CLASS, dims, values);
}

std::string unknown(const std::string& line) { return "KINETRA: unknown or invalid command '" + line + "'\n"; }

}  // namespace

TEST(Set, CountsAndTopics) {
    Session s;
    EXPECT_EQ(s.call({"set", "data"}).text, "KINETRA: set needs at least 3 arguments\n" + unknown("set data"));
    EXPECT_EQ(s.call({"set", "nosuch", 1.0}).text, unknown("set nosuch ..."));
    EXPECT_EQ(s.call({"set", "data", "a"}).text,
              "KINETRA: set data needs at least 4 arguments\n" + unknown("set data a"));
    EXPECT_EQ(s.call({"set", "data", "a", 1.0, 2.0, 3.0, 4.0}).text,
              "KINETRA: set data can have at most 6 arguments\n" + unknown("set data a ... ... ... ..."));
    Result r = s.call({"set", "seed", 5.0});
    EXPECT_EQ(r.text, "");
    EXPECT_TRUE(r.isFalse());  // set never writes plhs
}

TEST(Set, VerbosityIsCappedAndReadFromTextOrNumber) {
    Session s;
    s.call({"set", "verbosity", 7.0});
    EXPECT_EQ(_MessageHelper::verbosity_, 4u);
    s.call({"set", "verbosity", "2"});
    EXPECT_EQ(_MessageHelper::verbosity_, 2u);
    s.call({"set", "verbosity", -1.0});  // unsigned comparison
    EXPECT_EQ(_MessageHelper::verbosity_, 4u);
    s.call({"set", "verbosity", 0.0});
    EXPECT_EQ(_MessageHelper::verbosity_, 0u);
    // Silenced: level-1 messages, warnings and the unknown-command line.
    EXPECT_EQ(s.call({"set", "model", "k1", "value", 1.0}).text, "");
    EXPECT_EQ(s.call({"set", "data", "a"}).text, "");
    s.call({"set", "verbosity", mxCreateCellMatrix(1, 1)});
    EXPECT_EQ(_MessageHelper::verbosity_, 0u);
}

TEST(SetData, ArrayFormsKeepOlderDataAndLeaveNothingOnFailure) {
    Session s;
    // 2x3 matrix: X = 3, Y = 2, A(2,3) is element (x=2, y=1).
    EXPECT_EQ(s.call({"set", "data", "a", doubles({2, 3}, {1, 2, 3, 4, 5, 6})}).text, "");
    const Dataset* a = s.workspace->getData("a");
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->getValue2D(2, 1), 6.0);
    EXPECT_EQ(s.call({"set", "data", "a", doubles({1, 1}, {9})}).text, "KINETRA: data 'a' exists\n");
    EXPECT_EQ(s.workspace->getData("a"), a);
    EXPECT_EQ(a->getValue2D(2, 1), 6.0);

    // 4D with frame table and unit: a relabelling, the values stay.
    mxArray* series = doubles({1, 1, 2, 3}, {1, 2, 3, 4, 5, 6});
    mxArray* times = doubles({3, 2}, {0, 10, 20, 10, 10, 10});
    EXPECT_EQ(s.call({"set", "data", "b", series, times, "kBq/ml"}).text, "");
    const Dataset* b = s.workspace->getData("b");
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b->getUnit().getName(), "kBq/ml");
    EXPECT_EQ(b->getTime(2), 20.0);
    EXPECT_EQ(b->getFrameLength(2), 10.0);
    EXPECT_EQ(b->getValue4D(2, 1, 0, 0), 6.0);

    EXPECT_EQ(s.call({"set", "data", "c", doubles({2, 2, 2}), 0.0, "nosuch"}).text,
              "KINETRA: unit 'nosuch' not found\n");
    EXPECT_EQ(s.workspace->getData("c"), nullptr);
    Result badTime = s.call({"set", "data", "c", doubles({1, 1, 2, 3}), doubles({2, 2})});
    EXPECT_EQ(badTime.text, "KINETRA: invalid time array size 2x2, should be 3x2\nKINETRA: cannot set data 'c'\n" +
                                unknown("set data c ... ..."));
    EXPECT_EQ(s.workspace->getData("c"), nullptr);
}

TEST(SetData, KeyForms) {
    Session s;
    s.call({"set", "data", "v", doubles({2, 2, 2})});
    s.call({"set", "data", "f", doubles({1, 1, 2, 2}), doubles({2, 2}, {0, 10, 10, 4})});
    Dataset* f = s.workspace->getData("f");
    ASSERT_NE(f, nullptr);

    EXPECT_EQ(s.call({"set", "data", "x", "unit", "s"}).text, "KINETRA: data 'x' not found\n");
    EXPECT_EQ(s.call({"set", "data", "v", "unit", "kBq/ml"}).text, "");
    EXPECT_EQ(s.workspace->getData("v")->getUnit().getName(), "kBq/ml");
    EXPECT_EQ(s.call({"set", "data", "v", "unit", "zz"}).text, "KINETRA: unknown unit 'zz'\n");
    EXPECT_EQ(s.call({"set", "data", "v", "timeunit", "min"}).text, "KINETRA: data set 'v' is not 4D\n");
    EXPECT_EQ(s.call({"set", "data", "f", "timeunit", "zz"}).text, "KINETRA: unknown unit 'zz'\n");
    s.call({"set", "data", "f", "timeunit", "min"});
    EXPECT_EQ(f->getTimeUnit().getName(), "min");

    // Frames (0, 10) and (10, 4): model times 5 and 12 with the flag.
    EXPECT_EQ(s.call({"set", "data", "v", "midframe_approx", 1.0}).text, "WARNING: data 'v' is not 4D\n");
    s.call({"set", "data", "f", "midframe_approx", 1.0});
    auto* series = static_cast<Dataset4D<double>*>(f);
    EXPECT_EQ(series->getModelTime(0), 5.0);
    EXPECT_EQ(series->getModelTime(1), 12.0);
    s.call({"set", "data", "f", "midframe_approx", 0.0});
    EXPECT_EQ(series->getModelTime(1), 10.0);
    EXPECT_EQ(s.call({"set", "data", "f", "nosuchkey", 1.0}).text, "");

    // The rename changes the object's name only; the list keeps the old key.
    EXPECT_EQ(s.call({"set", "data", "v", "name", "f"}).text, "KINETRA: data 'f' exists\n");
    EXPECT_EQ(s.call({"set", "data", "v", "name", 5.0}).text, unknown("set data v name ..."));
    EXPECT_EQ(s.workspace->getData("v")->getName(), "v");
    EXPECT_EQ(s.call({"set", "data", "v", "name", "w"}).text, "");
    ASSERT_NE(s.workspace->getData("v"), nullptr);
    EXPECT_EQ(s.workspace->getData("v")->getName(), "w");
    EXPECT_EQ(s.workspace->getData("w"), nullptr);
}

TEST(SetTac, TableBecomesSeries) {
    Session s;
    // [0 1 2; 60 3 4]: times 0 and 60, two curves.
    EXPECT_EQ(s.call({"set", "tac", "t", doubles({2, 3}, {0, 60, 1, 3, 2, 4})}).text,
              "KINETRA: adding 2x2 TAC as 't'\n");
    const Dataset* t = s.workspace->getData("t");
    ASSERT_NE(t, nullptr);
    ASSERT_EQ(t->getNumDimensions(), 4u);
    EXPECT_EQ(t->getType(), "double");
    EXPECT_EQ(t->getDimensions(), (std::vector<unsigned>{2, 1, 1, 2}));
    EXPECT_EQ(t->getTime(1), 60.0);
    EXPECT_EQ(t->getValue4D(0, 1, 0, 0), 2.0);
    EXPECT_EQ(t->getValue4D(1, 0, 0, 0), 3.0);
    EXPECT_EQ(s.call({"set", "tac", "t", doubles({1, 2})}).text, "WARNING: KINETRA: data 't' exists\n");
    EXPECT_EQ(s.call({"set", "tac", "u", doubles({3, 1})}).text,
              "WARNING: KINETRA: TAC data must have at least 2 columns\n");
    EXPECT_EQ(s.call({"set", "tac", "u", mexhost::makeArray(mxINT32_CLASS, {2, 2})}).text, unknown("set tac u ..."));
    EXPECT_EQ(s.workspace->getData("u"), nullptr);
}

TEST(SetVOI, MasksFromLogicalArrays) {
    Session s;
    mxArray* mask = mexhost::makeArray(mxLOGICAL_CLASS, {2, 1, 3}, {1, 0, 0, 1, 1, 0});
    EXPECT_EQ(s.call({"set", "voi", "m", mask}).text, "");
    VOI* m = s.workspace->getVOI("m");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->getName(), "m");
    EXPECT_EQ(m->getDimensions(), (std::vector<unsigned>{3, 1, 2}));
    EXPECT_EQ(m->numActive(), 3u);
    EXPECT_EQ(s.call({"set", "voi", "m", mexhost::makeArray(mxLOGICAL_CLASS, {1, 1}, {1})}).text,
              "WARNING: KINETRA: voi 'm' exists\n");
    s.call({"set", "voi", "one", mexhost::makeArray(mxLOGICAL_CLASS, {1, 1}, {1})});
    ASSERT_NE(s.workspace->getVOI("one"), nullptr);
    EXPECT_EQ(s.workspace->getVOI("one")->numActive(), 1u);
    EXPECT_EQ(s.call({"set", "voi", "d", doubles({2, 2, 2})}).text,
              "KINETRA: voi must be of type logical\n" + unknown("set voi d ..."));
    EXPECT_EQ(s.call({"set", "voi", "d"}).text, unknown("set voi d"));
}

TEST(SetModel, ParameterRows) {
    Session s;
    EXPECT_EQ(s.call({"set", "model", "k1", "value", 0.3}).text, "WARNING: KINETRA: no model selected\n");
    s.call({"select", "model", "Generic_1TC"});
    Model* m = s.workspace->currentModel_;
    ASSERT_NE(m, nullptr);

    // k1 drives k2 through "-": a write of k1 stores minus it in k2.
    EXPECT_EQ(s.call({"set", "model", "k1", "link-", "k2"}).text, "");
    EXPECT_EQ(m->getParameterLinkType("k2"), "-");
    EXPECT_TRUE(m->isParameterLinked("k2"));
    s.call({"set", "model", "k1", "value", 0.3});
    EXPECT_DOUBLE_EQ(m->getParameterValue("k1", 0, 0, 0), 0.3);
    EXPECT_DOUBLE_EQ(m->getParameterValue("k2", 0, 0, 0), -0.3);
    s.call({"set", "model", "k2", "state", "free"});
    EXPECT_TRUE(m->isParameterFree("k2"));

    s.call({"set", "model", "alpha", "state", "fixed"});
    EXPECT_FALSE(m->isParameterFree("alpha"));
    EXPECT_EQ(s.call({"set", "model", "alpha", "state", "bogus"}).text, "WARNING: invalid parameter state 'bogus'\n");
    s.call({"set", "model", "alpha", "min", 0.5});
    s.call({"set", "model", "alpha", "max", 2.0});
    EXPECT_EQ(m->getParameterMin("alpha"), 0.5);
    EXPECT_EQ(m->getParameterMax("alpha"), 2.0);

    // On a log scale the value -2 is stored as 10^-2 and read back as -2.
    s.call({"set", "model", "beta", "log", 1.0});
    s.call({"set", "model", "beta", "value", -2.0});
    EXPECT_DOUBLE_EQ(m->getParameter("beta").valueAt(0, 0, 0), 0.01);
    EXPECT_DOUBLE_EQ(m->getParameterValue("beta", 0, 0, 0), -2.0);

    s.call({"set", "model", "k2", "unit", "1/s"});
    EXPECT_EQ(m->getParameterUnit("k2").getName(), "1/s");
    EXPECT_EQ(s.call({"set", "model", "k2", "unit", "zz"}).text, "WARNING: unknown unit 'zz'\n");
    EXPECT_EQ(s.call({"set", "model", "k2", "colour", 1.0}).text, "WARNING: parameters have no 'colour' component\n");
    EXPECT_EQ(s.call({"set", "model", "nosuch", "value", 1.0}).text,
              "WARNING: Model 'Generic_1TC' has no parameter 'nosuch'\n");
    EXPECT_EQ(s.call({"set", "model", "k1", "value", "bogus"}).text, unknown("set model k1 value bogus"));
}

TEST(SetModel, MapsAndWholeObjectCopies) {
    Session s;
    s.call({"select", "model", "Generic_1TC"});
    Model* m = s.workspace->currentModel_;
    ASSERT_NE(m, nullptr);
    // A 2x3x4 array is the map Z=2, Y=3, X=4; A(z+1,y+1,x+1) is voxel (x,y,z).
    std::vector<double> values(24);
    for (int i = 0; i < 24; ++i) values[i] = i;
    s.call({"set", "model", "k1", "value", doubles({2, 3, 4}, values)});
    const Dataset3D<double>* map = m->getParameter("k1").getValueVolume();
    EXPECT_EQ(map->getDimensions(), (std::vector<unsigned>{4, 3, 2}));
    EXPECT_EQ(map->getValue3D(3, 1, 1), 1 + 2 * 1 + 6 * 3);
    EXPECT_EQ(s.workspace->getData("_tmp_"), nullptr);  // the temporary is gone

    s.call({"set", "model", "initvalue", "value"});
    EXPECT_EQ(m->getParameter("k1").getInitValueVolume()->getValue3D(3, 1, 1), 21.0);
    s.call({"set", "model", "k2", "initvalue", 0.7});
    s.call({"set", "model", "value", "initvalue"});
    EXPECT_DOUBLE_EQ(m->getParameterValue("k2", 0, 0, 0), 0.7);
    s.call({"set", "model", "k2", "value", 0.1});
    s.call({"set", "model", "k2", "value", "initvalue"});
    EXPECT_DOUBLE_EQ(m->getParameterValue("k2", 0, 0, 0), 0.7);

    EXPECT_EQ(s.call({"set", "model", "input", "nosuch"}).text, "WARNING: unknown input function 'nosuch'\n");
    EXPECT_EQ(m->getNumInputs(), 0u);
    s.call({"set", "model", "input", "LinearInterpolation"});
    EXPECT_EQ(m->getInputNames(), std::vector<std::string>{"LinearInterpolation"});
    s.call({"set", "model", "numder", 1.0});
    EXPECT_TRUE(m->getNumDer());
    s.call({"set", "model", "unit", "Bq/ml"});
    EXPECT_EQ(m->getUnit().getName(), "Bq/ml");
}

TEST(SetInput, RowsInOrder) {
    Session s;
    EXPECT_EQ(s.call({"set", "input", "cache", 10.0}).text, "WARNING: KINETRA: no input function selected\n");
    s.call({"select", "input", "LinearInterpolation"});
    InputFunction* f = s.workspace->currentInput_;
    ASSERT_NE(f, nullptr);
    s.call({"set", "input", "cache", 10.0});
    EXPECT_EQ(f->getCacheLimit(), 10u);
    // With five arguments "cache" is read as a parameter name.
    Result r = s.call({"set", "input", "cache", 10.0, 20.0});
    EXPECT_EQ(r.text, "WARNING: InputFunction 'LinearInterpolation' has no parameter 'cache'\n");
    s.call({"set", "input", "numconv", 1.0});
    EXPECT_TRUE(f->getNumConv());
    s.call({"set", "input", "numder", 2.0});
    EXPECT_TRUE(f->getNumDer());
    s.call({"set", "input", "unit", "MBq/ml"});
    EXPECT_EQ(f->getUnit().getName(), "MBq/ml");
    EXPECT_EQ(s.call({"set", "input", "unit", "zz"}).text, "WARNING: unknown unit 'zz'\n");

    s.call({"set", "data", "vol", doubles({2, 2, 2})});
    s.call({"set", "tac", "t", doubles({3, 2}, {10, 20, 30, 1, 2, 3})});
    EXPECT_EQ(s.call({"set", "input", "init", "nosuch"}).text, "WARNING: data 'nosuch' not found\n");
    EXPECT_EQ(s.call({"set", "input", "init", "vol"}).text, "WARNING: data 'vol' is not 4D\n");
    EXPECT_EQ(s.call({"set", "input", "init", "t", "nosuch"}).text, "WARNING: VOI 'nosuch' not found\n");
    EXPECT_EQ(f->getNumParameters(), 0u);
    s.call({"set", "input", "init", "t"});
    ASSERT_EQ(f->getNumParameters(), 3u);
    EXPECT_EQ(f->getParameterValue("y2", 0, 0, 0), 3.0);
    EXPECT_EQ(s.call({"set", "input", "y9", "value", 1.0}).text,
              "WARNING: InputFunction 'LinearInterpolation' has no parameter 'y9'\n");
    EXPECT_EQ(s.call({"set", "input", "size", -1.0}).text, unknown("set input size ..."));
}

TEST(SetProtocolAndOptimizer, SelectionsAndKeys) {
    Session s;
    EXPECT_EQ(s.call({"set", "protocol", "reset"}).text, "WARNING: no protocol selected\n");
    EXPECT_EQ(s.call({"set", "optimizer", "maxiter", 5.0}).text,
              "WARNING: no optimizer selected\n" + unknown("set optimizer maxiter ..."));
    s.call({"select", "protocol", "Generic"});
    EXPECT_EQ(s.call({"set", "protocol", "optimizer", "nosuch"}).text, "WARNING: optimizer 'nosuch' not found\n");
    EXPECT_EQ(s.call({"set", "protocol", "model", "nosuch"}).text, "WARNING: model 'nosuch' not found\n");
    EXPECT_EQ(s.call({"set", "protocol", "reset"}).text, "");
    EXPECT_EQ(s.call({"set", "protocol", "model"}).text, unknown("set protocol model"));

    std::vector<std::string> optimizers = s.workspace->getOptimizer();
    if (optimizers.empty()) GTEST_SKIP() << "no optimizer in the workspace yet";
    const std::string name = optimizers.front() == "MultiDimGlobal" ? optimizers.back() : optimizers.front();
    s.call({"select", "optimizer", name});
    Optimizer* p = s.workspace->currentOptimizer_;
    ASSERT_NE(p, nullptr);
    s.call({"set", "optimizer", "maxiter", 50.7});
    s.call({"set", "optimizer", "abs_chisquare", 1e-6});
    s.call({"set", "optimizer", "delta_chisquare", 0.01});
    s.call({"set", "optimizer", "abs_delta_argument", 0.2});
    s.call({"set", "optimizer", "rel_delta_argument", 0.3});
    s.call({"set", "optimizer", "statusfile", "st"});
    EXPECT_EQ(p->maxiter, 50);
    EXPECT_EQ(p->abs_chisquare, 1e-6);
    EXPECT_EQ(p->delta_chisquare, 0.01);
    EXPECT_EQ(p->abs_delta_argument, 0.2);
    EXPECT_EQ(p->rel_delta_argument, 0.3);
    EXPECT_EQ(p->statusfile, "st");
    // The step count of the global search is no key of the other methods.
    EXPECT_EQ(s.call({"set", "optimizer", "delta", 1000.0}).text, "WARNING: unknown optimizer parameter 'delta'\n");
    EXPECT_EQ(s.call({"set", "optimizer", "maxiter"}).text, unknown("set optimizer maxiter"));
    s.call({"set", "protocol", "optimizer", name});
    EXPECT_EQ(s.workspace->currentProtocol_->getOptimizer(), p);
}

TEST(Set, SeedRestartsTheGenerator) {
    Session s;
    s.call({"set", "seed", 42.0});
    const double first = random(0.0, 1.0);
    s.call({"set", "seed", 42.0});
    EXPECT_EQ(random(0.0, 1.0), first);
    EXPECT_EQ(s.call({"set", "seed", "42"}).text, unknown("set seed 42"));
}

TEST(Set, LogfileTakesACopy) {
    Session s;
    const std::string name = std::string(::testing::TempDir()) + "kinetra_set_log.txt";
    std::remove(name.c_str());
    s.call({"set", "logfile", name});
    s.call({"set", "data", "nosuch", "unit", "s"});
    s.call({"set", "logfile", ""});
    std::ifstream in(name);
    std::stringstream copy;
    copy << in.rdbuf();
    EXPECT_NE(copy.str().find("KINETRA: data 'nosuch' not found\n"), std::string::npos);
    EXPECT_EQ(s.call({"set", "logfile", 3.0}).text, unknown("set logfile ..."));
    std::remove(name.c_str());
}
