// Robustness of set and get: every form is called with each argument in turn
// replaced by a wrong kind, and cut off from the end. No call may crash, leak
// an array, or lose what the user built.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/Session.h"

using test::Session;

namespace {

using Maker = std::function<mxArray*()>;

Maker array(mxClassID id, std::vector<mwSize> dims) {
    return [id, dims] { return mexhost::makeArray(id, dims); };
}

// Each form is one line of words; '#x' is a number, upper-case words are arrays.
const char* const kForms[] = {
    "set data n D4 TIMES kBq/ml", "set data a unit kBq/ml", "set data a timeunit min",
    "set data a midframe_approx #1", "set data a name b", "set input cache #5", "set input initvalue value",
    "set input unit Bq/ml", "set input init a v", "set input numconv #1", "set input size #2",
    "set input y0 value #1", "set model value initvalue", "set model input LinearInterpolation",
    "set model numder #1", "set model k1 value D3", "set model k1 initvalue #0.1", "set model k1 state fixed",
    "set model k1 link1- k2", "set model k1 log #1", "set model k1 max #3", "set model k1 unit 1/s",
    "set optimizer maxiter #10", "set optimizer statusfile ''", "set protocol model Generic_1TC",
    "set protocol optimizer Levenberg-Marquardt", "set protocol reset", "set seed #3", "set tac t TABLE",
    "set verbosity #1", "set voi w MASK", "get data a volume #1", "get data a slice #1 #0", "get data a size",
    "get data a", "get input y0", "get unit s", "get voi v", "get current model", "get model k1 der VEC",
    "get input unit", "get optimizer maxiter", "get chisquare", "get tac a none VEC", "get tac a none v",
};

std::vector<std::vector<Maker>> forms() {
    const std::map<std::string, Maker> arrays = {
        {"D3", array(mxDOUBLE_CLASS, {2, 2, 2})},  {"D4", array(mxDOUBLE_CLASS, {1, 1, 2, 3})},
        {"TIMES", array(mxDOUBLE_CLASS, {3, 2})}, {"TABLE", array(mxDOUBLE_CLASS, {3, 2})},
        {"MASK", array(mxLOGICAL_CLASS, {1, 1, 2})}, {"VEC", array(mxDOUBLE_CLASS, {1, 3})}};
    std::vector<std::vector<Maker>> all;
    for (const char* line : kForms) {
        std::istringstream in(line);
        std::vector<Maker> form;
        for (std::string w; in >> w;) {
            if (arrays.count(w)) form.push_back(arrays.at(w));
            else if (w[0] == '#') form.push_back([v = std::stod(w.substr(1))] { return mxCreateDoubleScalar(v); });
            else form.push_back([w] { return mxCreateString(w == "''" ? "" : w.c_str()); });
        }
        all.push_back(form);
    }
    return all;
}

const std::vector<Maker> kStandIns = {
    [] { return mxCreateDoubleScalar(2.5); }, [] { return mxCreateString("zz"); },
    array(mxDOUBLE_CLASS, {0, 0}), [] { return mxCreateCellMatrix(1, 2); },
    array(mxDOUBLE_CLASS, {2, 2, 2, 2}), array(mxINT8_CLASS, {2, 2, 2})};

void run(const std::vector<Maker>& form, int nlhs, const std::string& what) {
    Session s;
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
    const int before = mexhost::liveArrays();
    {
        std::vector<test::Arg> args;
        for (const Maker& m : form) args.emplace_back(m());
        ASSERT_NE(s.call(args, nlhs).out(0), nullptr) << what;
    }
    EXPECT_EQ(mexhost::liveArrays(), before) << what;
    // The user's data and mask are still there (a rename keeps the key).
    EXPECT_NE(s.workspace->getData("a"), nullptr) << what;
    EXPECT_NE(s.workspace->getVOI("v"), nullptr) << what;
}

}  // namespace

TEST(SetGetSweep, WrongKindsCutsAndFormsAsWritten) {
    const std::vector<std::vector<Maker>> all = forms();
    for (size_t f = 0; f < all.size(); ++f) {
        const std::string name = std::string("form '") + kForms[f] + "'";
        run(all[f], 5, name + " as written");
        for (size_t n = 1; n < all[f].size(); ++n) {
            run(std::vector<Maker>(all[f].begin(), all[f].begin() + long(n)), 1, name + " cut to " + std::to_string(n));
            for (size_t k = 0; k < kStandIns.size(); ++k) {
                std::vector<Maker> call = all[f];
                call[n] = kStandIns[k];
                run(call, 5, name + ", argument " + std::to_string(n) + " replaced by stand-in " + std::to_string(k));
            }
        }
    }
}
