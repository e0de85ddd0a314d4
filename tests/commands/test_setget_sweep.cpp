// Robustness of set and get: every form is called with each argument in turn
// replaced by a number, a word, an empty array, a cell and a 4D array, and
// with arguments cut off from the end. No call may crash (the sanitizer
// build reads every access), leak an array, or lose what the user built.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "support/Session.h"

using test::Result;
using test::Session;

namespace {

using Maker = std::function<mxArray*()>;

Maker word(const char* w) {
    return [w] { return mxCreateString(w); };
}
Maker number(double v) {
    return [v] { return mxCreateDoubleScalar(v); };
}
Maker array(mxClassID classid, std::vector<mwSize> dims) {
    return [classid, dims] { return mexhost::makeArray(classid, dims); };
}

// The forms of set and get, each with well-formed arguments.
std::vector<std::vector<Maker>> forms() {
    const Maker d3 = array(mxDOUBLE_CLASS, {2, 2, 2});
    const Maker d4 = array(mxDOUBLE_CLASS, {1, 1, 2, 3});
    const Maker times = array(mxDOUBLE_CLASS, {3, 2});
    const Maker mask = array(mxLOGICAL_CLASS, {1, 1, 2});
    const Maker table = array(mxDOUBLE_CLASS, {3, 2});
    const Maker point = array(mxDOUBLE_CLASS, {1, 3});
    const Maker vec = array(mxDOUBLE_CLASS, {1, 3});
    return {
        {word("set"), word("data"), word("n"), d4, times, word("kBq/ml")},
        {word("set"), word("data"), word("a"), word("unit"), word("kBq/ml")},
        {word("set"), word("data"), word("a"), word("timeunit"), word("min")},
        {word("set"), word("data"), word("a"), word("midframe_approx"), number(1)},
        {word("set"), word("data"), word("a"), word("name"), word("b")},
        {word("set"), word("input"), word("cache"), number(5)},
        {word("set"), word("input"), word("initvalue"), word("value")},
        {word("set"), word("input"), word("unit"), word("Bq/ml")},
        {word("set"), word("input"), word("init"), word("a"), word("v")},
        {word("set"), word("input"), word("numconv"), number(1)},
        {word("set"), word("input"), word("size"), number(2)},
        {word("set"), word("input"), word("y0"), word("value"), number(1)},
        {word("set"), word("model"), word("value"), word("initvalue")},
        {word("set"), word("model"), word("input"), word("LinearInterpolation")},
        {word("set"), word("model"), word("numder"), number(1)},
        {word("set"), word("model"), word("k1"), word("value"), d3},
        {word("set"), word("model"), word("k1"), word("initvalue"), number(0.1)},
        {word("set"), word("model"), word("k1"), word("state"), word("fixed")},
        {word("set"), word("model"), word("k1"), word("link1-"), word("k2")},
        {word("set"), word("model"), word("k1"), word("log"), number(1)},
        {word("set"), word("model"), word("k1"), word("max"), number(3)},
        {word("set"), word("model"), word("k1"), word("unit"), word("1/s")},
        {word("set"), word("optimizer"), word("maxiter"), number(10)},
        {word("set"), word("optimizer"), word("statusfile"), word("")},
        {word("set"), word("protocol"), word("model"), word("Generic_1TC")},
        {word("set"), word("protocol"), word("optimizer"), word("Levenberg-Marquardt")},
        {word("set"), word("protocol"), word("reset")},
        {word("set"), word("seed"), number(3)},
        {word("set"), word("tac"), word("t"), table},
        {word("set"), word("verbosity"), number(1)},
        {word("set"), word("voi"), word("w"), mask},
        {word("get"), word("data"), word("a"), word("volume"), number(1)},
        {word("get"), word("data"), word("a"), word("slice"), number(1), number(0)},
        {word("get"), word("data"), word("a"), word("size")},
        {word("get"), word("data"), word("a")},
        {word("get"), word("input"), word("y0")},
        {word("get"), word("unit"), word("s")},
        {word("get"), word("voi"), word("v")},
        {word("get"), word("current"), word("model")},
        {word("get"), word("model"), word("k1"), word("der"), vec},
        {word("get"), word("input"), word("unit")},
        {word("get"), word("optimizer"), word("maxiter")},
        {word("get"), word("chisquare")},
        {word("get"), word("tac"), word("a"), word("none"), point},
        {word("get"), word("tac"), word("a"), word("none"), word("v")},
    };
}

// Stand-ins for an argument.
std::vector<Maker> substitutes() {
    return {number(2.5), word("zz"), array(mxDOUBLE_CLASS, {0, 0}), [] { return mxCreateCellMatrix(1, 2); },
            array(mxDOUBLE_CLASS, {2, 2, 2, 2}), array(mxINT8_CLASS, {2, 2, 2})};
}

// A workspace with something in every list the forms touch and everything
// selected.
void populate(Session& s) {
    s.call({"set", "data", "a", mexhost::makeArray(mxDOUBLE_CLASS, {1, 1, 2, 3}, {1, 2, 3, 4, 5, 6}),
            mexhost::makeArray(mxDOUBLE_CLASS, {3, 2}, {0, 10, 20, 10, 10, 10})});
    s.call({"set", "voi", "v", mexhost::makeArray(mxLOGICAL_CLASS, {1, 1, 2}, {1, 1})});
    s.call({"select", "input", "LinearInterpolation"});
    s.call({"set", "input", "init", "a"});
    s.call({"select", "model", "Generic_1TC"});
    s.call({"set", "model", "input", "LinearInterpolation"});
    s.call({"select", "protocol", "Generic"});
    std::vector<std::string> optimizers = s.workspace->getOptimizer();
    if (!optimizers.empty()) s.call({"select", "optimizer", optimizers.front()});
}

void run(const std::vector<Maker>& form, int nlhs, const std::string& what) {
    Session s;
    populate(s);
    const int before = mexhost::liveArrays();
    {
        std::vector<test::Arg> args;
        for (const Maker& m : form) args.emplace_back(m());
        Result r = s.call(args, nlhs);
        ASSERT_NE(r.out(0), nullptr) << what;
    }
    EXPECT_EQ(mexhost::liveArrays(), before) << what;
    // The user's data and mask are still there (a rename keeps the key).
    EXPECT_NE(s.workspace->getData("a"), nullptr) << what;
    EXPECT_NE(s.workspace->getVOI("v"), nullptr) << what;
}

}  // namespace

TEST(SetGetSweep, WrongKindsInEveryPosition) {
    const std::vector<Maker> stand = substitutes();
    const std::vector<std::vector<Maker>> all = forms();
    for (size_t f = 0; f < all.size(); ++f) {
        const std::vector<Maker>& form = all[f];
        for (size_t position = 1; position < form.size(); ++position) {
            for (size_t k = 0; k < stand.size(); ++k) {
                std::vector<Maker> call = form;
                call[position] = stand[k];
                run(call, 5,
                    "form " + std::to_string(f) + ", argument " + std::to_string(position) + " replaced by stand-in " +
                        std::to_string(k));
            }
        }
    }
}

TEST(SetGetSweep, TooFewArguments) {
    const std::vector<std::vector<Maker>> all = forms();
    for (size_t f = 0; f < all.size(); ++f) {
        for (size_t n = 1; n < all[f].size(); ++n) {
            std::vector<Maker> call(all[f].begin(), all[f].begin() + static_cast<long>(n));
            run(call, 1, "form " + std::to_string(f) + " cut to " + std::to_string(n) + " arguments");
        }
    }
}

TEST(SetGetSweep, FormsAsWrittenWithManyOutputs) {
    const std::vector<std::vector<Maker>> all = forms();
    for (size_t f = 0; f < all.size(); ++f) run(all[f], 5, "form " + std::to_string(f) + " as written");
}
