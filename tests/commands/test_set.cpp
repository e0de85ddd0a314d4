// The set command as a user meets it: its messages, word for word, and what
// each form leaves in the workspace.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "Dataset4D.h"
#include "InputFunction.h"
#include "Model.h"
#include "VOI.h"
#include "support/Session.h"
#include "util/NumUtil.h"

using test::Arg;
using test::doubles;
using test::Session;
using test::unknown;

namespace {

// Calls in order, each with the text it must print.
void expectTexts(Session& s, const std::vector<std::pair<std::vector<Arg>, std::string>>& cases) {
    for (const auto& c : cases) EXPECT_EQ(s.call(c.first).text, c.second);
}

}  // namespace

TEST(Set, CountsTopicsVerbositySeedAndLogfile) {
    Session s;
    expectTexts(s, {{{"set", "data"}, "KINETRA: set needs at least 3 arguments\n" + unknown("set data")},
                    {{"set", "nosuch", 1.0}, unknown("set nosuch ...")},
                    {{"set", "data", "a"}, "KINETRA: set data needs at least 4 arguments\n" + unknown("set data a")},
                    {{"set", "data", "a", 1.0, 2.0, 3.0, 4.0},
                     "KINETRA: set data can have at most 6 arguments\n" + unknown("set data a ... ... ... ...")},
                    {{"set", "seed", "42"}, unknown("set seed 42")},
                    {{"set", "logfile", 3.0}, unknown("set logfile ...")}});
    EXPECT_TRUE(s.call({"set", "seed", 5.0}).isFalse());  // set never writes plhs
    s.call({"set", "seed", 42.0});
    const double first = random(0.0, 1.0);
    s.call({"set", "seed", 42.0});
    EXPECT_EQ(random(0.0, 1.0), first);

    // Verbosity is capped at 4, read from text or number, compared unsigned.
    for (auto c : {std::make_pair(Arg(7.0), 4u), std::make_pair(Arg("2"), 2u), std::make_pair(Arg(-1.0), 4u),
                   std::make_pair(Arg(0.0), 0u), std::make_pair(Arg(mxCreateCellMatrix(1, 1)), 0u)}) {
        s.call({"set", "verbosity", c.first});
        EXPECT_EQ(_MessageHelper::verbosity_, c.second);
    }
    // Silenced: level-1 messages, warnings and the unknown-command line.
    EXPECT_EQ(s.call({"set", "model", "k1", "value", 1.0}).text, "");
    EXPECT_EQ(s.call({"set", "data", "a"}).text, "");
    _MessageHelper::verbosity_ = 1;

    const std::string name = std::string(::testing::TempDir()) + "kinetra_set_log.txt";
    std::remove(name.c_str());
    s.call({"set", "logfile", name});
    s.call({"set", "data", "nosuch", "unit", "s"});
    s.call({"set", "logfile", ""});
    std::stringstream copy;
    copy << std::ifstream(name).rdbuf();
    EXPECT_NE(copy.str().find("KINETRA: data 'nosuch' not found\n"), std::string::npos);
    std::remove(name.c_str());
}

TEST(SetData, ArrayAndKeyForms) {
    Session s;
    // 2x3 matrix: X = 3, Y = 2, A(2,3) is element (x=2, y=1); an existing name keeps the old data.
    EXPECT_EQ(s.call({"set", "data", "a", doubles({2, 3}, {1, 2, 3, 4, 5, 6})}).text, "");
    EXPECT_EQ(s.call({"set", "data", "a", doubles({1, 1}, {9})}).text, "KINETRA: data 'a' exists\n");
    EXPECT_EQ(s.workspace->getData("a")->getValue2D(2, 1), 6.0);
    EXPECT_EQ(s.call({"set", "data", "b", doubles({1, 1, 2, 3}, {1, 2, 3, 4, 5, 6}),
                      doubles({3, 2}, {0, 10, 20, 10, 10, 10}), "kBq/ml"}).text, "");
    const Dataset* b = s.workspace->getData("b");
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b->getUnit().getName(), "kBq/ml");
    EXPECT_EQ(b->getTime(2), 20.0);
    EXPECT_EQ(b->getValue4D(2, 1, 0, 0), 6.0);  // a relabelling, the values stay
    s.call({"set", "data", "v", doubles({2, 2, 2})});
    s.call({"set", "data", "f", doubles({1, 1, 2, 2}), doubles({2, 2}, {0, 10, 10, 4})});
    expectTexts(s, {{{"set", "data", "c", doubles({2, 2, 2}), 0.0, "nosuch"}, "KINETRA: unit 'nosuch' not found\n"},
                    {{"set", "data", "c", doubles({1, 1, 2, 3}), doubles({2, 2})},
                     "KINETRA: invalid time array size 2x2, should be 3x2\nKINETRA: cannot set data 'c'\n" +
                         unknown("set data c ... ...")},
                    {{"set", "data", "x", "unit", "s"}, "KINETRA: data 'x' not found\n"},
                    {{"set", "data", "v", "unit", "kBq/ml"}, ""},
                    {{"set", "data", "v", "unit", "zz"}, "KINETRA: unknown unit 'zz'\n"},
                    {{"set", "data", "v", "timeunit", "min"}, "KINETRA: data set 'v' is not 4D\n"},
                    {{"set", "data", "f", "timeunit", "zz"}, "KINETRA: unknown unit 'zz'\n"},
                    {{"set", "data", "v", "midframe_approx", 1.0}, "WARNING: data 'v' is not 4D\n"},
                    {{"set", "data", "f", "midframe_approx", 1.0}, ""},
                    {{"set", "data", "f", "nosuchkey", 1.0}, ""},
                    {{"set", "data", "v", "name", "f"}, "KINETRA: data 'f' exists\n"},
                    {{"set", "data", "v", "name", 5.0}, unknown("set data v name ...")},
                    {{"set", "data", "v", "name", "w"}, ""}});
    EXPECT_EQ(s.workspace->getData("c"), nullptr);
    // Frames (0, 10) and (10, 4): model times 5 and 12 with the flag.
    auto* f = static_cast<Dataset4D<double>*>(s.workspace->getData("f"));
    EXPECT_EQ(f->getModelTime(1), 12.0);
    // The rename changes the object's name only; the list keeps the old key.
    ASSERT_NE(s.workspace->getData("v"), nullptr);
    EXPECT_EQ(s.workspace->getData("v")->getName(), "w");
    EXPECT_EQ(s.workspace->getData("w"), nullptr);
}

TEST(SetTacAndVOI, TablesBecomeSeriesAndMasksComeFromLogicals) {
    Session s;
    // [0 1 2; 60 3 4]: times 0 and 60, two curves.
    EXPECT_EQ(s.call({"set", "tac", "t", doubles({2, 3}, {0, 60, 1, 3, 2, 4})}).text,
              "KINETRA: adding 2x2 TAC as 't'\n");
    const Dataset* t = s.workspace->getData("t");
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->getDimensions(), (std::vector<unsigned>{2, 1, 1, 2}));
    EXPECT_EQ(t->getTime(1), 60.0);
    EXPECT_EQ(t->getValue4D(0, 1, 0, 0), 2.0);
    EXPECT_EQ(t->getValue4D(1, 0, 0, 0), 3.0);
    EXPECT_EQ(s.call({"set", "voi", "m", mexhost::makeArray(mxLOGICAL_CLASS, {2, 1, 3}, {1, 0, 0, 1, 1, 0})}).text, "");
    VOI* m = s.workspace->getVOI("m");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->getDimensions(), (std::vector<unsigned>{3, 1, 2}));
    EXPECT_EQ(m->numActive(), 3u);
    expectTexts(s, {{{"set", "tac", "t", doubles({1, 2})}, "WARNING: KINETRA: data 't' exists\n"},
                    {{"set", "tac", "u", doubles({3, 1})}, "WARNING: KINETRA: TAC data must have at least 2 columns\n"},
                    {{"set", "tac", "u", mexhost::makeArray(mxINT32_CLASS, {2, 2})}, unknown("set tac u ...")},
                    {{"set", "voi", "m", mexhost::makeArray(mxLOGICAL_CLASS, {1, 1}, {1})},
                     "WARNING: KINETRA: voi 'm' exists\n"},
                    {{"set", "voi", "d", doubles({2, 2, 2})},
                     "KINETRA: voi must be of type logical\n" + unknown("set voi d ...")},
                    {{"set", "voi", "d"}, unknown("set voi d")}});
    EXPECT_EQ(s.workspace->getData("u"), nullptr);
}

TEST(SetModel, LinksLogScaleMapsAndMessages) {
    Session s;
    EXPECT_EQ(s.call({"set", "model", "k1", "value", 0.3}).text, "WARNING: KINETRA: no model selected\n");
    s.call({"select", "model", "Generic_1TC"});
    Model* m = s.workspace->currentModel_;
    ASSERT_NE(m, nullptr);
    // k1 drives k2 through "-": a write of k1 stores minus it in k2.
    EXPECT_EQ(s.call({"set", "model", "k1", "link-", "k2"}).text, "");
    s.call({"set", "model", "k1", "value", 0.3});
    EXPECT_DOUBLE_EQ(m->getParameterValue("k2", 0, 0, 0), -0.3);
    // On a log scale the value -2 is stored as 10^-2 and read back as -2.
    s.call({"set", "model", "beta", "log", 1.0});
    s.call({"set", "model", "beta", "value", -2.0});
    EXPECT_DOUBLE_EQ(m->getParameter("beta").valueAt(0, 0, 0), 0.01);
    EXPECT_DOUBLE_EQ(m->getParameterValue("beta", 0, 0, 0), -2.0);
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
    s.call({"set", "model", "k2", "value", "initvalue"});
    EXPECT_DOUBLE_EQ(m->getParameterValue("k2", 0, 0, 0), 0.7);
    expectTexts(s, {{{"set", "model", "alpha", "state", "bogus"}, "WARNING: invalid parameter state 'bogus'\n"},
                    {{"set", "model", "k2", "unit", "zz"}, "WARNING: unknown unit 'zz'\n"},
                    {{"set", "model", "k2", "colour", 1.0}, "WARNING: parameters have no 'colour' component\n"},
                    {{"set", "model", "nosuch", "value", 1.0}, "WARNING: Model 'Generic_1TC' has no parameter 'nosuch'\n"},
                    {{"set", "model", "k1", "value", "bogus"}, unknown("set model k1 value bogus")},
                    {{"set", "model", "input", "nosuch"}, "WARNING: unknown input function 'nosuch'\n"}});
    EXPECT_EQ(m->getNumInputs(), 0u);
    s.call({"set", "model", "input", "LinearInterpolation"});
    EXPECT_EQ(m->getInputNames(), std::vector<std::string>{"LinearInterpolation"});
}

TEST(SetInputProtocolOptimizer, Messages) {
    Session s;
    expectTexts(s, {{{"set", "input", "cache", 10.0}, "WARNING: KINETRA: no input function selected\n"},
                    {{"set", "protocol", "reset"}, "WARNING: no protocol selected\n"},
                    {{"set", "optimizer", "maxiter", 5.0},
                     "WARNING: no optimizer selected\n" + unknown("set optimizer maxiter ...")}});
    s.call({"select", "input", "LinearInterpolation"});
    InputFunction* f = s.workspace->currentInput_;
    ASSERT_NE(f, nullptr);
    s.call({"set", "data", "vol", doubles({2, 2, 2})});
    s.call({"set", "tac", "t", doubles({3, 2}, {10, 20, 30, 1, 2, 3})});
    const std::string noParameter = "WARNING: InputFunction 'LinearInterpolation' has no parameter ";
    expectTexts(s, {{{"set", "input", "cache", 10.0, 20.0}, noParameter + "'cache'\n"},  // five arguments: a name
                    {{"set", "input", "unit", "zz"}, "WARNING: unknown unit 'zz'\n"},
                    {{"set", "input", "init", "nosuch"}, "WARNING: data 'nosuch' not found\n"},
                    {{"set", "input", "init", "vol"}, "WARNING: data 'vol' is not 4D\n"},
                    {{"set", "input", "init", "t", "nosuch"}, "WARNING: VOI 'nosuch' not found\n"}});
    EXPECT_EQ(f->getNumParameters(), 0u);
    s.call({"set", "input", "init", "t"});
    ASSERT_EQ(f->getNumParameters(), 3u);
    EXPECT_EQ(f->getParameterValue("y2", 0, 0, 0), 3.0);
    s.call({"select", "protocol", "Generic"});
    expectTexts(s, {{{"set", "input", "y9", "value", 1.0}, noParameter + "'y9'\n"},
                    {{"set", "protocol", "optimizer", "nosuch"}, "WARNING: optimizer 'nosuch' not found\n"},
                    {{"set", "protocol", "model", "nosuch"}, "WARNING: model 'nosuch' not found\n"},
                    {{"set", "protocol", "reset"}, ""},
                    {{"set", "protocol", "model"}, unknown("set protocol model")}});
}
