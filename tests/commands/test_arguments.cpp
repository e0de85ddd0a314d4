// Arguments as users pass them: sparse and complex arrays wherever a command
// reads an array, every requested output filled, and sizes that cannot be meant.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "InputFunction.h"
#include "Model.h"
#include "Optimizer.h"
#include "support/Session.h"
#include "util/NumUtil.h"

using test::Arg;
using test::Dims;
using test::doubles;
using test::Result;
using test::Session;
using test::Values;

namespace {

// A linear input from a 3-frame TAC driving Generic_1TC, a series "series" of
// 1x1x2 voxels and 3 frames, the Generic protocol and Levenberg-Marquardt.
void workspace(Session& s) {
    s.call({"set", "tac", "blood", doubles({3, 2}, {0, 10, 30, 0, 5, 2})});
    s.call({"select", "input", "LinearInterpolation"});
    s.call({"set", "input", "init", "blood"});
    s.call({"select", "model", "Generic_1TC"});
    s.call({"set", "model", "input", "LinearInterpolation"});
    s.call({"set", "data", "series", doubles({1, 2, 1, 3}, {1, 2, 3, 4, 5, 6}), doubles({3, 2}, {0, 10, 30, 10, 20, 30})});
    s.call({"select", "protocol", "Generic"});
    s.call({"select", "optimizer", "Levenberg-Marquardt"});
}

// Class, sizes and values of an array; "null" for an empty slot.
std::string describe(const mxArray* a) {
    if (a == nullptr) return "null";
    std::ostringstream out;
    out << mxGetClassID(a) << ":";
    for (mwSize n : mexhost::dims(a)) out << n << "x";
    if (mxIsCell(a)) return out.str() + "cell";
    for (double v : mexhost::values(a)) out << " " << v;
    return out.str();
}

using State = std::function<std::string(Session&)>;

// What a get form returns (two outputs), as the state a call may change.
State got(std::vector<const char*> words) {
    return [words](Session& s) {
        Result r = s.call(std::vector<Arg>(words.begin(), words.end()), 3);
        return describe(r.out(0)) + " / " + describe(r.out(1)) + " / " + describe(r.out(2));
    };
}

State bounds(const char* par) {
    return [par](Session& s) {
        const Parameter& p = s.workspace->currentModel_->getParameter(par);
        return got({"get", "model", par})(s) + " " + std::to_string(p.getMin()) + " " + std::to_string(p.getMax());
    };
}

State number(std::function<double(Session&)> f) {
    return [f](Session& s) { return std::to_string(f(s)); };
}

// One place where a command reads an array: the array, the call with nullptr
// where the array goes (SERIES: a 3-frame series), and what the call may change.
struct Position {
    const char* name;
    mxClassID classid;
    Dims dims;
    Values values;
    std::vector<const char*> words;
    State state;
};

const std::vector<Position>& positions() {
    const State none = [](Session&) { return std::string(); };
    static const std::vector<Position> list = {
        {"data array", mxDOUBLE_CLASS, {3, 2}, {0, 1.5, 0, 0, 0, -2}, {"set", "data", "m", nullptr}, got({"get", "data", "m"})},
        {"time array", mxDOUBLE_CLASS, {3, 2}, {0, 60, 0, 60, 0, 120}, {"set", "data", "s", "SERIES", nullptr},
         got({"get", "data", "s"})},
        {"tac table", mxDOUBLE_CLASS, {3, 3}, {0, 60, 120, 0, 4, 0, 7, 0, 0}, {"set", "tac", "t", nullptr},
         got({"get", "data", "t"})},
        {"voi mask", mxLOGICAL_CLASS, {1, 1}, {1}, {"set", "voi", "v", nullptr}, got({"get", "voi", "v"})},
        {"parameter value", mxDOUBLE_CLASS, {1, 1}, {0}, {"set", "model", "k1", "value", nullptr}, bounds("k1")},
        {"parameter init value", mxDOUBLE_CLASS, {1, 1}, {0.25}, {"set", "model", "k2", "initvalue", nullptr}, bounds("k2")},
        {"parameter bound", mxDOUBLE_CLASS, {1, 1}, {0}, {"set", "model", "k2", "max", nullptr}, bounds("k2")},
        {"input size", mxDOUBLE_CLASS, {1, 1}, {4}, {"set", "input", "size", nullptr},
         number([](Session& s) { return s.workspace->currentInput_->getNumParameters(); })},
        {"input cache", mxLOGICAL_CLASS, {1, 1}, {1}, {"set", "input", "cache", nullptr},
         number([](Session& s) { return s.workspace->currentInput_->getCacheLimit(); })},
        {"optimizer setting", mxDOUBLE_CLASS, {1, 1}, {17}, {"set", "optimizer", "maxiter", nullptr},
         number([](Session& s) { return s.workspace->currentOptimizer_->maxiter; })},
        {"verbosity", mxDOUBLE_CLASS, {1, 1}, {3}, {"set", "verbosity", nullptr}, none},
        {"seed", mxDOUBLE_CLASS, {1, 1}, {99}, {"set", "seed", nullptr}, number([](Session&) { return random(0.0, 1.0); })},
        {"derivative times", mxDOUBLE_CLASS, {1, 4}, {0, 5, 0, 20}, {"get", "model", "k1", "der", nullptr}, none},
        {"tac point", mxDOUBLE_CLASS, {1, 3}, {0, 1, 0}, {"get", "tac", "series", "none", nullptr}, none},
        {"volume index", mxDOUBLE_CLASS, {1, 1}, {1}, {"get", "data", "series", "volume", nullptr}, none},
        {"process data", mxDOUBLE_CLASS, {1, 1, 2, 3}, {1, 2, 3, 4, 5, 6}, {"process", nullptr, "none", "none", "none"},
         got({"get", "data", "_data_"})},
    };
    return list;
}

struct Outcome {
    std::string text, outputs, state;
};

// One call on a fresh workspace: its text, its outputs and the state it left
// (without an array, the state of the fresh workspace alone).
Outcome run(const Position& p, mxArray* array) {
    Session s;
    workspace(s);
    random_init(12345);
    Outcome o;
    if (array != nullptr) {
        std::vector<Arg> args;
        for (const char* w : p.words)
            args.push_back(!w ? Arg(array) : std::string(w) == "SERIES" ? Arg(doubles({1, 1, 1, 3}, {1, 2, 3})) : Arg(w));
        Result r = s.call(args);
        o.text = r.text;
        o.outputs = describe(r.out(0));
    }
    o.state = "verbosity " + std::to_string(_MessageHelper::verbosity_) + ": ";
    _MessageHelper::verbosity_ = 0;  // the probes print nothing
    o.state += p.state(s);
    return o;
}

}  // namespace

// A sparse array gives what its full form gives (read as full storage it
// would run past its nonzeros), and no temporary survives; a complex one is
// refused with one message and changes nothing.
TEST(Arguments, SparseActLikeFullAndComplexAreRefused) {
    const int arrays = mexhost::liveArrays();
    const std::string complexText = "KINETRA: complex arrays are not supported, pass the real part\n";
    for (const Position& p : positions()) {
        SCOPED_TRACE(p.name);
        if (p.dims.size() == 2) {
            const Outcome full = run(p, mexhost::makeArray(p.classid, p.dims, p.values));
            const Outcome sparse = run(p, mexhost::makeSparse(p.classid, p.dims[0], p.dims[1], p.values));
            EXPECT_EQ(sparse.text, full.text);
            EXPECT_EQ(sparse.outputs, full.outputs);
            EXPECT_EQ(sparse.state, full.state);
            EXPECT_EQ(full.text.find("unknown or invalid"), std::string::npos) << full.text;
        }
        if (p.classid == mxLOGICAL_CLASS) continue;  // logical arrays are never complex
        const Outcome complex = run(p, mexhost::makeComplex(p.classid, p.dims, p.values, Values(p.values.size(), 1.0)));
        EXPECT_NE(complex.text.find(complexText), std::string::npos) << complex.text;
        EXPECT_EQ(complex.text.find(complexText), complex.text.rfind(complexText)) << "said more than once";
        EXPECT_EQ(complex.outputs, "3:1x1x 0");
        EXPECT_EQ(complex.state, run(p, nullptr).state);
    }
    EXPECT_EQ(mexhost::liveArrays(), arrays) << "a full temporary was not destroyed";
}

// Every output asked for holds an array after any call, nothing beyond; the
// form's own results stay and only the gaps are false.
TEST(Arguments, EveryRequestedOutputGetsAValue) {
    const std::vector<std::vector<const char*>> calls = {
        {}, {"nosuch"}, {"help", "set"}, {"select", "model", "Generic_1TC"}, {"set", "verbosity", "1"},
        {"get", "data"}, {"get", "data", "nosuch"}, {"get", "data", "series"}, {"get", "model", "k1"},
        {"get", "model", "unit"}, {"get", "current", "model"}, {"get", "chisquare"},
        {"get", "tac", "series", "none", "nosuch"}, {"show", "model"}, {"process", "series", "none", "none", "none"},
        {"delete", "data", "nosuch"}, {"create", "data", "nosuch"}, {"create", "tac", "m"},
        {"read", "data", "/nonexistent/file"}, {"write", "tac", "f", "m"},
    };
    Session s;
    workspace(s);
    s.call({"set", "data", "m", doubles({2, 2, 2})});
    _MessageHelper::verbosity_ = 0;
    for (const auto& words : calls) {
        std::string line;
        for (const char* w : words) line += std::string(w) + " ";
        for (int nlhs = 0; nlhs <= 4; ++nlhs) {
            Result r = s.call(std::vector<Arg>(words.begin(), words.end()), nlhs);
            for (int i = 0; i < std::max(nlhs, 1); ++i) EXPECT_NE(r.out(i), nullptr) << line << "output " << i + 1;
            EXPECT_EQ(r.out(std::max(nlhs, 1)), nullptr) << line << "beyond the request";
        }
    }
    Result r = s.call({"get", "data", "m"}, 4);
    EXPECT_EQ(mexhost::dims(r.out(1)), (Dims{0, 2}));
    EXPECT_TRUE(mxIsCell(r.out(2)));
    EXPECT_EQ(describe(r.out(3)), "3:1x1x 0");
}

// Sizes that cannot be meant are refused before anything is allocated, and
// leave the workspace as it was: input sizes (NaN, infinite, negative,
// fractional, beyond a million), sparse arrays too large for full storage,
// empty arrays whose sizes hold billions of voxels or frames.
TEST(Arguments, SizesOutOfReasonAreRefused) {
    Session s;
    workspace(s);
    InputFunction* f = s.workspace->currentInput_;
    ASSERT_EQ(f->getNumParameters(), 3u);
    const double inf = std::numeric_limits<double>::infinity();
    const std::pair<double, const char*> refused[] = {{std::nan(""), "nan"}, {inf, "inf"}, {-inf, "-inf"},
                                                      {-1, "-1"}, {2.5, "2.5"}, {1e6 + 1, "1e+06"},
                                                      {4294967296.0, "4.29497e+09"}};
    for (const auto& c : refused) {
        EXPECT_EQ(s.call({"set", "input", "size", c.first}).text,
                  std::string("KINETRA: invalid size ") + c.second + ", expected a whole number from 0 to 1000000\n");
        EXPECT_EQ(f->getNumParameters(), 3u) << c.second;
    }
    EXPECT_EQ(s.call({"set", "input", "size", 5.0}).text, "");  // the linear input takes its samples from data
    EXPECT_EQ(f->getNumParameters(), 0u);

    const int arrays = mexhost::liveArrays();
    const std::string cannot = "KINETRA: cannot set data 'e'\n" + test::unknown("set data e ...");
    EXPECT_EQ(s.call({"set", "data", "e", mxCreateSparse(100000, 100000, 1, mxREAL)}).text,
              "KINETRA: sparse array of 100000x100000 is too large to convert to full\n" + cannot);
    EXPECT_EQ(mexhost::liveArrays(), arrays);
    const std::pair<Dims, const char*> empty[] = {
        {{0, 1, 1, 2000000}, "2000000 frames of 1 voxels"},
        {{3000000000, 0}, "1 frames of 3000000000 voxels"},
        {{0, 70000, 70000}, "1 frames of 4900000000 voxels"},
    };
    for (const auto& c : empty)
        EXPECT_EQ(s.call({"set", "data", "e", mexhost::makeArray(mxDOUBLE_CLASS, c.first)}).text,
                  std::string("KINETRA: ") + c.second + " are too many for a dataset\n" + cannot);
    EXPECT_EQ(s.call({"set", "tac", "e", doubles({0, 3000000000})}).text,
              "KINETRA: 1 frames of 2999999999 voxels are too many for a dataset\n");
    EXPECT_EQ(s.workspace->getData("e"), nullptr);
    EXPECT_EQ(s.call({"set", "data", "e", doubles({0, 1, 1, 3})}).text, "");  // the same sizes with elements
    EXPECT_NE(s.workspace->getData("e"), nullptr);
}
