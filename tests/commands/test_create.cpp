// The create and delete commands: synthetic data, curves and sensitivities
// against the model's own derivative of a linear parameter, error datasets
// against their closed forms, copies of inputs, protocols, and removal that
// leaves no selection behind.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "InputFunction.h"
#include "support/Session.h"

using mexhost::dims;
using mexhost::str;
using mexhost::values;
using test::Arg;
using test::Dims;
using test::doubles;
using test::Result;
using test::Session;
using test::unknown;
using test::Values;

namespace {

// Generic_1TC on a linear input through (0, 0), (30, 10), (60, 4), alpha 1,
// beta 0: its value is k1 times its derivative by k1.
void oneTissue(Session& s) { test::linearModel(s, {0, 30, 60, 0, 10, 4}, 0.3, 0.2); }

Values column(const mxArray* table, size_t j) {
    const Values all = values(table);
    const size_t rows = mxGetM(table);
    return Values(all.begin() + long(j * rows), all.begin() + long((j + 1) * rows));
}

// Each call prints its text and leaves the first output false.
void expectRefused(Session& s, const std::vector<std::pair<std::vector<Arg>, std::string>>& cases) {
    for (const auto& c : cases) {
        Result r = s.call(c.first, 2);
        EXPECT_EQ(r.text, c.second);
        EXPECT_TRUE(r.isFalse()) << c.second;
    }
}

const Values kTimes = {0, 10, 20, 30, 40, 50, 60};

}  // namespace

TEST(Create, DataCurvesAndSensitivitiesOfTheSelectedModel) {
    Session s;
    oneTissue(s);
    const Values der = values(s.call({"get", "model", "k1", "der", doubles({1, 7}, kTimes)}).out());
    ASSERT_EQ(der.size(), 7u);
    Result data = s.call({"create", "data", doubles({1, 2}, {0, 60}), 7.0}, 2);
    EXPECT_EQ(dims(data.out(0)), (Dims{1, 1, 1, 7}));
    const Values v = values(data.out(0));
    for (size_t i = 0; i < 7; ++i) EXPECT_NEAR(v[i], 0.3 * der[i], 1e-12) << "frame " << i;
    EXPECT_EQ(column(data.out(1), 0), kTimes);
    EXPECT_EQ(column(data.out(1), 1), Values(7, 10.0));
    // On a dataset's frames: the same values at its times.
    s.call({"set", "data", "frames", doubles({1, 1, 1, 7}), doubles({7, 2}, {0, 10, 20, 30, 40, 50, 60, 10, 10,
                                                                             10, 10, 10, 10, 10})});
    EXPECT_EQ(values(s.call({"create", "data", "frames"}).out()), v);

    // The curves: times, the tissue component, then the input.
    Result tac = s.call({"create", "tac", doubles({1, 2}, {0, 60}), 7.0});
    ASSERT_GE(mxGetN(tac.out()), 3u);
    EXPECT_EQ(column(tac.out(), 0), kTimes);
    const Values input = column(tac.out(), mxGetN(tac.out()) - 1), expected = {0, 10.0 / 3, 20.0 / 3, 10, 8, 6, 4};
    for (size_t i = 0; i < 7; ++i) EXPECT_NEAR(input[i], expected[i], 1e-9);
    EXPECT_EQ(values(s.call({"create", "tac", "frames"}).out()), values(tac.out()));

    // Sensitivities: one column per free parameter, named in the second output.
    Result delta = s.call({"create", "delta", doubles({1, 2}, {0, 60}), 7.0}, 2);
    ASSERT_TRUE(mxIsCell(delta.out(1)));
    ASSERT_EQ(mxGetN(delta.out(0)), mxGetN(delta.out(1)) + 1);
    EXPECT_EQ(str(mxGetCell(delta.out(1), 0)), "k1");
    EXPECT_EQ(column(delta.out(0), 1), der);

    s.call({"set", "data", "volume", doubles({2, 2, 2})});
    const std::string point = "WARNING: KINETRA: invalid point argument\n";
    expectRefused(s, {{{"create", "data", "nosuch"}, "WARNING: KINETRA: cannot find dataset 'nosuch'\n"},
                      {{"create", "data", "volume"}, "WARNING: KINETRA: dataset 'volume' is not 4D\n"},
                      {{"create", "data", doubles({1, 3}, {0, 1, 2}), 7.0}, "WARNING: KINETRA: invalid time interval argument\n"},
                      {{"create", "delta", doubles({1, 2}, {0, 60}), 7.0, doubles({1, 3}, {1, 0, 0})}, point},
                      {{"create", "delta", doubles({1, 2}, {0, 60}), 7.0, "x"}, point},
                      {{"create", "tac", doubles({1, 2}, {0, 60}), 7.0, -1.0, 3.0}, point}});
    EXPECT_EQ(s.call({"create", "nosuch", "x"}).text, unknown("create nosuch x"));
    EXPECT_EQ(s.call({"create", "data"}).text, unknown("create data"));
    s.call({"select", "model", "nosuch"});
    EXPECT_EQ(s.call({"create", "data", doubles({1, 2}, {0, 60}), 7.0}).text, "WARNING: KINETRA: no model selected\n");
}

TEST(Create, ErrorDatasetsFollowTheirClosedForms) {
    Session s;
    ASSERT_EQ(s.call({"set", "data", "d", doubles({1, 1, 2, 2}, {2, 10, -2, 40})}).text, "");
    EXPECT_EQ(s.call({"create", "error", "d", 0.1}).text, "WARNING: KINETRA: no error model selected\n");
    // Simple: d * sigma, raised to the floor with its sign.
    s.call({"select", "error", "Simple"});
    Result simple = s.call({"create", "error", "d", 0.1, 0.5}, 3);
    EXPECT_EQ(simple.text, "2 of 4 error values floored\n");
    const Values e = values(simple.out(0));
    EXPECT_EQ(e, (Values{0.5, 1.0, -0.5, 4.0}));
    EXPECT_TRUE(mxIsCell(simple.out(2)));
    // An array: the argument after it is the sigma, not a time table.
    EXPECT_EQ(values(s.call({"create", "error", doubles({1, 1, 2, 2}, {2, 10, -2, 40}), 0.1, 0.5}).out()), e);
    expectRefused(s, {{{"create", "error", "nosuch", 0.1}, "WARNING: data 'nosuch' not found\n"},
                      {{"create", "error", doubles({2, 2}), 0.1}, "WARNING: invalid data argument\n"},
                      {{"create", "error", "d", "x"}, "WARNING: invalid sigma argument\n"},
                      {{"create", "error", "d", 0.1, "x"}, "WARNING: invalid floor argument\n"}});

    // Poisson needs a tracer; at the first frame (start 0, no decay) the error
    // of d over a frame of length len is sqrt(d / len).
    s.call({"select", "error", "Poisson"});
    s.call({"select", "tracer", "nosuch"});
    s.call({"set", "verbosity", 1.0});
    EXPECT_EQ(s.call({"create", "error", "d", "F-18"}).text, "WARNING: KINETRA: no tracer selected\n");
    s.call({"select", "tracer", "F-18"});
    Result poisson = s.call({"create", "error", doubles({1, 1, 1, 2}, {40, 40}), doubles({2, 2}, {0, 600, 10, 10})}, 2);
    const Values p = values(poisson.out(0));
    ASSERT_EQ(p.size(), 2u);
    EXPECT_DOUBLE_EQ(p[0], 2.0);
    EXPECT_GT(p[1], 2.0);  // decayed: fewer counts, a larger error
    EXPECT_EQ(column(poisson.out(1), 0), (Values{0, 600}));
}

TEST(Create, InputsAndProtocolsEnterTheWorkspace) {
    Session s;
    oneTissue(s);
    EXPECT_EQ(s.call({"create", "input", "copy", "nosuch", 3.0}).text, "WARNING: input function 'nosuch' not found\n");
    EXPECT_EQ(s.call({"create", "input", "LinearInterpolation", "LinearInterpolation", 3.0}).text,
              "WARNING: input function 'LinearInterpolation' exists already\n");
    // The measured input is not a class that copies: reported, nothing added.
    EXPECT_NE(s.call({"create", "input", "copy", "LinearInterpolation", 3.0}).text.find("unknown input function type"),
              std::string::npos);
    EXPECT_EQ(s.workspace->getInput("copy"), nullptr);
    EXPECT_EQ(s.call({"create", "protocol", "p", "nosuch"}).text, "WARNING: model 'nosuch' not found\n");
    EXPECT_EQ(s.call({"create", "protocol", "p", "Generic_1TC"}).text, "");
    EXPECT_EQ(str(s.call({"get", "current", "protocol"}).out()), "p");
    EXPECT_EQ(s.call({"create", "protocol", "p", "Generic_1TC"}).text, "WARNING: protocol 'p' exists already\n");
}

TEST(Delete, RemovesObjectsAndTheirSelection) {
    Session s;
    oneTissue(s);
    s.call({"create", "protocol", "p", "Generic_1TC"});
    s.call({"set", "voi", "v", mxCreateLogicalScalar(true)});
    s.call({"select", "voi", "v"});
    for (auto c : {std::make_pair("protocol", "p"), std::make_pair("voi", "v"),
                   std::make_pair("input", "LinearInterpolation"), std::make_pair("data", "blood")}) {
        Result r = s.call({"delete", c.first, c.second});
        EXPECT_EQ(r.text, "") << c.first;
        EXPECT_TRUE(r.isFalse()) << c.first;  // delete writes no output
    }
    EXPECT_EQ(s.workspace->currentProtocol_, nullptr);
    EXPECT_EQ(s.workspace->currentVOI_, nullptr);
    EXPECT_EQ(s.workspace->currentInput_, nullptr);
    EXPECT_EQ(s.workspace->getProtocol("p"), nullptr);
    EXPECT_EQ(s.workspace->getInput("LinearInterpolation"), nullptr);
    EXPECT_EQ(s.call({"delete", "model", "Generic_1TC"}).text, unknown("delete model Generic_1TC"));
    EXPECT_EQ(s.call({"delete", "data"}).text, unknown("delete data"));
    // The model that lost its input still answers; it cannot make data.
    EXPECT_NE(s.call({"create", "data", doubles({1, 2}, {0, 60}), 7.0}).text.find("no input function set"),
              std::string::npos);
    // read and write: their refusals.
    EXPECT_EQ(s.call({"write", "tac", "f", "x"}).text, "WARNING: not implemented (yet)\n");
    EXPECT_EQ(s.call({"write", "data", "f", "nosuch"}).text,
              "KINETRA: cannot get or create dataset\n" + unknown("write data f nosuch"));
    EXPECT_EQ(s.call({"write", "nosuch", "f", "x"}).text, unknown("write nosuch f x"));
    EXPECT_EQ(s.call({"read", "nosuch", "f"}).text, unknown("read nosuch f"));
}
