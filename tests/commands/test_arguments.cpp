// Arguments as users pass them: sparse and complex arrays in every place a
// command reads an array, every requested output filled, and counts that
// cannot be meant refused.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "Dataset4D.h"
#include "InputFunction.h"
#include "Model.h"
#include "Optimizer.h"
#include "VOI.h"
#include "support/Session.h"
#include "util/NumUtil.h"

using test::Arg;
using test::Result;
using test::Dims;
using test::doubles;
using test::Session;
using test::unknown;
using test::Values;

namespace {

const char* const kComplex = "KINETRA: complex arrays are not supported, pass the real part\n";

// A linear input from a 3-frame TAC, Generic_1TC driven by it, a 4D series
// of 1x1x2 voxels and 3 frames, the Generic protocol and its optimizer.
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

std::string describe(const Dataset* d) {
    if (d == nullptr) return "none";
    std::ostringstream out;
    out << d->getType();
    for (unsigned n : d->getDimensions()) out << " " << n;
    const unsigned X = d->getDimensionX(), Y = d->getDimensionY(), Z = d->getDimensionZ();
    for (unsigned t = 0; t < std::max(1u, d->getDimensionT()); ++t) {
        if (d->getNumDimensions() == 4) out << " |" << d->getTime(t) << "," << d->getFrameLength(t) << "|";
        for (unsigned z = 0; z < Z; ++z)
            for (unsigned y = 0; y < Y; ++y)
                for (unsigned x = 0; x < X; ++x)
                    out << " "
                        << (d->getNumDimensions() == 2   ? d->getValue2D(x, y)
                            : d->getNumDimensions() == 3 ? d->getValue3D(x, y, z)
                                                         : d->getValue4D(t, x, y, z));
    }
    return out.str();
}

// One place where a command reads an array: the array (class, sizes, values),
// the call that passes it, and what of the workspace the call may change.
struct Position {
    const char* name;
    mxClassID classid;
    Dims dims;
    Values values;
    std::function<std::vector<Arg>(mxArray*)> call;
    std::function<std::string(Session&)> state;
};

std::string parameter(Session& s, const char* par) {
    const Parameter& p = s.workspace->currentModel_->getParameter(par);
    return describe(p.getValueVolume()) + " / " + describe(p.getInitValueVolume()) + " / " +
           std::to_string(p.getMin()) + " " + std::to_string(p.getMax());
}

const std::vector<Position>& positions() {
    static const std::vector<Position> list = {
        {"data array", mxDOUBLE_CLASS, {3, 2}, {0, 1.5, 0, 0, 0, -2},
         [](mxArray* a) { return std::vector<Arg>{"set", "data", "m", a}; },
         [](Session& s) { return describe(s.workspace->getData("m")); }},
        {"time array", mxDOUBLE_CLASS, {3, 2}, {0, 60, 0, 60, 0, 120},
         [](mxArray* a) { return std::vector<Arg>{"set", "data", "s", doubles({1, 1, 1, 3}, {1, 2, 3}), a}; },
         [](Session& s) { return describe(s.workspace->getData("s")); }},
        {"tac table", mxDOUBLE_CLASS, {3, 3}, {0, 60, 120, 0, 4, 0, 7, 0, 0},
         [](mxArray* a) { return std::vector<Arg>{"set", "tac", "t", a}; },
         [](Session& s) { return describe(s.workspace->getData("t")); }},
        {"voi mask", mxLOGICAL_CLASS, {1, 1}, {1},
         [](mxArray* a) { return std::vector<Arg>{"set", "voi", "v", a}; },
         [](Session& s) { return describe(s.workspace->getVOI("v")); }},
        {"parameter value", mxDOUBLE_CLASS, {1, 1}, {0},
         [](mxArray* a) { return std::vector<Arg>{"set", "model", "k1", "value", a}; },
         [](Session& s) { return parameter(s, "k1"); }},
        {"parameter init value", mxDOUBLE_CLASS, {1, 1}, {0.25},
         [](mxArray* a) { return std::vector<Arg>{"set", "model", "k2", "initvalue", a}; },
         [](Session& s) { return parameter(s, "k2"); }},
        {"parameter bound", mxDOUBLE_CLASS, {1, 1}, {0},
         [](mxArray* a) { return std::vector<Arg>{"set", "model", "k2", "max", a}; },
         [](Session& s) { return parameter(s, "k2"); }},
        {"input size", mxDOUBLE_CLASS, {1, 1}, {4},
         [](mxArray* a) { return std::vector<Arg>{"set", "input", "size", a}; },
         [](Session& s) { return std::to_string(s.workspace->currentInput_->getNumParameters()); }},
        {"input cache", mxLOGICAL_CLASS, {1, 1}, {1},
         [](mxArray* a) { return std::vector<Arg>{"set", "input", "cache", a}; },
         [](Session& s) { return std::to_string(s.workspace->currentInput_->getCacheLimit()); }},
        {"optimizer setting", mxDOUBLE_CLASS, {1, 1}, {17},
         [](mxArray* a) { return std::vector<Arg>{"set", "optimizer", "maxiter", a}; },
         [](Session& s) { return std::to_string(s.workspace->currentOptimizer_->maxiter); }},
        {"verbosity", mxDOUBLE_CLASS, {1, 1}, {3},
         [](mxArray* a) { return std::vector<Arg>{"set", "verbosity", a}; },
         [](Session&) { return std::to_string(_MessageHelper::verbosity_); }},
        {"seed", mxDOUBLE_CLASS, {1, 1}, {99},
         [](mxArray* a) { return std::vector<Arg>{"set", "seed", a}; },
         [](Session&) { return std::to_string(random(0.0, 1.0)); }},
        {"derivative times", mxDOUBLE_CLASS, {1, 4}, {0, 5, 0, 20},
         [](mxArray* a) { return std::vector<Arg>{"get", "model", "k1", "der", a}; },
         [](Session&) { return std::string(); }},
        {"tac point", mxDOUBLE_CLASS, {1, 3}, {0, 1, 0},
         [](mxArray* a) { return std::vector<Arg>{"get", "tac", "series", "none", a}; },
         [](Session&) { return std::string(); }},
        {"volume index", mxDOUBLE_CLASS, {1, 1}, {1},
         [](mxArray* a) { return std::vector<Arg>{"get", "data", "series", "volume", a}; },
         [](Session&) { return std::string(); }},
        {"process data", mxDOUBLE_CLASS, {1, 1, 2, 3}, {1, 2, 3, 4, 5, 6},
         [](mxArray* a) { return std::vector<Arg>{"process", a, "none", "none", "none"}; },
         [](Session& s) { return describe(s.workspace->getData("_data_")); }},
    };
    return list;
}

// Runs one call on a fresh workspace: what it printed, its outputs, and the
// state it left. Without an array, only the state of the fresh workspace.
struct Outcome {
    std::string text, outputs, state;
};

Outcome run(const Position& p, mxArray* array, int nlhs = 1) {
    Session s;
    workspace(s);
    const unsigned verbosity = _MessageHelper::verbosity_;
    random_init(12345);
    Outcome o;
    if (array == nullptr) {
        o.state = p.state(s);
        return o;
    }
    Result r = s.call(p.call(array), nlhs);
    o.text = r.text;
    for (int i = 0; i < nlhs; ++i) o.outputs += describe(r.out(i)) + "; ";
    o.state = p.state(s);
    _MessageHelper::verbosity_ = verbosity;
    return o;
}

}  // namespace

// A sparse array gives what its full form gives: the same text, outputs and
// state. Read as full storage it would run past its block of nonzeros.
TEST(Arguments, SparseArraysActAsTheirFullForm) {
    const int arrays = mexhost::liveArrays();
    for (const Position& p : positions()) {
        if (p.dims.size() != 2 || (p.classid != mxDOUBLE_CLASS && p.classid != mxLOGICAL_CLASS)) continue;
        SCOPED_TRACE(p.name);
        const Outcome full = run(p, mexhost::makeArray(p.classid, p.dims, p.values));
        const Outcome sparse = run(p, mexhost::makeSparse(p.classid, p.dims[0], p.dims[1], p.values));
        EXPECT_EQ(sparse.text, full.text);
        EXPECT_EQ(sparse.outputs, full.outputs);
        EXPECT_EQ(sparse.state, full.state);
        EXPECT_EQ(full.text.find("unknown or invalid"), std::string::npos) << full.text;
    }
    EXPECT_EQ(mexhost::liveArrays(), arrays) << "a full temporary was not destroyed";
}

// A complex array is refused with one message wherever it stands, and the
// workspace stays as it was: its imaginary part is never dropped in silence.
TEST(Arguments, ComplexArraysAreRefusedAndChangeNothing) {
    for (const Position& p : positions()) {
        if (p.classid == mxLOGICAL_CLASS) continue;  // logical arrays are never complex
        SCOPED_TRACE(p.name);
        const Values imaginary(p.values.size(), 1.0);
        const Outcome before = run(p, nullptr);
        const Outcome complex = run(p, mexhost::makeComplex(p.classid, p.dims, p.values, imaginary));
        EXPECT_NE(complex.text.find(kComplex), std::string::npos) << complex.text;
        EXPECT_EQ(complex.text.find(kComplex), complex.text.rfind(kComplex)) << "said more than once";
        EXPECT_EQ(complex.outputs, "3:1x1x 0; ");
        EXPECT_EQ(complex.state, before.state);
    }
}

// Every output the caller asks for holds an array after any call: logical
// false where the form returns nothing there, and the form's own results
// where it does.
TEST(Arguments, EveryRequestedOutputGetsAValue) {
    const std::vector<std::vector<const char*>> calls = {
        {},
        {"nosuch"},
        {"help", "set"},
        {"select", "model", "Generic_1TC"},
        {"set", "verbosity", "1"},
        {"get", "data"},
        {"get", "data", "nosuch"},
        {"get", "data", "series"},
        {"get", "data", "m"},
        {"get", "model", "k1"},
        {"get", "model", "unit"},
        {"get", "current", "model"},
        {"get", "chisquare"},
        {"get", "tac", "series", "none", "nosuch"},
        {"show", "model"},
        {"process", "series", "none", "none", "none"},
        {"delete", "data", "nosuch"},
        {"create", "data", "nosuch"},
        {"create", "tac", "m"},
        {"read", "data", "/nonexistent/file"},
        {"write", "tac", "f", "m"},
    };
    Session s;
    workspace(s);
    s.call({"set", "data", "m", doubles({2, 2, 2})});
    _MessageHelper::verbosity_ = 0;
    for (const auto& words : calls) {
        std::vector<Arg> args(words.begin(), words.end());
        std::string line;
        for (const char* w : words) line += std::string(w) + " ";
        for (int nlhs = 0; nlhs <= 4; ++nlhs) {
            std::vector<Arg> copy;
            for (const Arg& a : args) copy.push_back(mxDuplicateArray(a.array));
            Result r = s.call(copy, nlhs);
            for (int i = 0; i < std::max(nlhs, 1); ++i) EXPECT_NE(r.out(i), nullptr) << line << "output " << i + 1;
            EXPECT_EQ(r.out(std::max(nlhs, 1)), nullptr) << line << "beyond the request";
        }
        for (const Arg& a : args) mxDestroyArray(a.array);
    }
    // Where a form has results they stay; only the gaps are false.
    Result r = s.call({"get", "data", "m"}, 4);
    EXPECT_EQ(mexhost::dims(r.out(1)), (Dims{0, 2}));
    EXPECT_TRUE(mxIsCell(r.out(2)));
    EXPECT_EQ(describe(r.out(3)), "3:1x1x 0");
}

// A count that cannot be meant (NaN, infinite, negative, fractional, beyond a
// million samples) is refused with a message and leaves the input as it was;
// a whole number in range is taken.
TEST(Arguments, InputSizesOutOfReasonAreRefused) {
    Session s;
    workspace(s);
    InputFunction* f = s.workspace->currentInput_;
    ASSERT_EQ(f->getNumParameters(), 3u);
    const double inf = std::numeric_limits<double>::infinity();
    const struct {
        double n;
        const char* shown;
    } refused[] = {{std::nan(""), "nan"}, {inf, "inf"}, {-inf, "-inf"}, {-1, "-1"},
                   {2.5, "2.5"},          {1e6 + 1, "1e+06"}, {1e9, "1e+09"}, {4294967296.0, "4.29497e+09"}};
    for (const auto& c : refused) {
        EXPECT_EQ(s.call({"set", "input", "size", c.n}).text,
                  std::string("KINETRA: invalid size ") + c.shown + ", expected a whole number from 0 to 1000000\n");
        EXPECT_EQ(f->getNumParameters(), 3u) << c.shown;
    }
    // Taken: the linear input drops its samples, which only data give it.
    EXPECT_EQ(s.call({"set", "input", "size", 5.0}).text, "");
    EXPECT_EQ(f->getNumParameters(), 0u);
}

// A sparse array whose full form would not fit is refused, not allocated.
TEST(Arguments, SparseArraysTooLargeForFullStorageAreRefused) {
    Session s;
    const int arrays = mexhost::liveArrays();
    Result r = s.call({"set", "data", "big", mxCreateSparse(100000, 100000, 1, mxREAL)});
    EXPECT_EQ(r.text,
              "KINETRA: sparse array of 100000x100000 is too large to convert to full\n"
              "KINETRA: cannot set data 'big'\nKINETRA: unknown or invalid command 'set data big ...'\n");
    EXPECT_EQ(s.workspace->getData("big"), nullptr);
    EXPECT_EQ(mexhost::liveArrays(), arrays + 1);  // the result's false alone
}

// An empty array may carry sizes of billions; every frame and slice of a
// dataset is an object of its own, so such sizes are refused before anything
// is allocated.
TEST(Arguments, EmptyArraysOfHugeSizesAreRefused) {
    Session s;
    const struct {
        Dims dims;
        const char* text;
    } cases[] = {
        {{0, 1, 1, 2000000}, "KINETRA: 2000000 frames of 1 voxels are too many for a dataset\n"},
        {{3000000000, 0}, "KINETRA: 1 frames of 3000000000 voxels are too many for a dataset\n"},
        {{0, 70000, 70000}, "KINETRA: 1 frames of 4900000000 voxels are too many for a dataset\n"},
    };
    for (const auto& c : cases) {
        Result r = s.call({"set", "data", "e", mexhost::makeArray(mxDOUBLE_CLASS, c.dims)});
        EXPECT_EQ(r.text, std::string(c.text) + "KINETRA: cannot set data 'e'\nKINETRA: unknown or invalid command 'set data e ...'\n");
    }
    EXPECT_EQ(s.call({"set", "tac", "e", doubles({2000000, 2})}).text,
              "KINETRA: 2000000 frames of 1 voxels are too many for a dataset\n");
    EXPECT_EQ(s.call({"set", "tac", "e", doubles({0, 3000000000})}).text,
              "KINETRA: 1 frames of 2999999999 voxels are too many for a dataset\n");
    EXPECT_EQ(s.workspace->getData("e"), nullptr);
    // The same sizes with elements are taken as they come.
    EXPECT_EQ(s.call({"set", "data", "e", doubles({0, 1, 1, 3})}).text, "");
    EXPECT_NE(s.workspace->getData("e"), nullptr);
}
