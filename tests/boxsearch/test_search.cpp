// The box search on functions with known minima. The clock is the count of
// objective evaluations times a fixed cost, so that time limits, and with
// them every count, are deterministic.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <functional>

#include "boxsearch/MDGS.h"
#include "util/Message.h"

namespace {

const double kPi = 3.14159265358979323846;

struct Problem {
    const char* name;
    std::vector<double> lb, ub;
    std::function<double(const RVector&)> f;
};

// The gradient the local searches need, by central differences.
void gradient(const Problem& p, const RVector& x, RVector& g) {
    RVector y = x;
    for (int i = 0; i < x.size(); ++i) {
        const double h = 1e-6 * std::max(1.0, std::fabs(x[i]));
        y[i] = x[i] + h;
        const double up = p.f(y);
        y[i] = x[i] - h;
        g[i] = (up - p.f(y)) / (2 * h);
        y[i] = x[i];
    }
}

// A search whose clock advances by `cost` seconds per objective evaluation.
struct Searched {
    Searched(const Problem& p, double tlimit, double cost = 1e-4, int det = -1) : evaluations(0) {
        TBox domain(static_cast<int>(p.lb.size()));
        for (int i = 0; i < domain.GetDim(); ++i) domain.lb_[i] = p.lb[i], domain.ub_[i] = p.ub[i];
        MDGSParams params;
        params.tlimit = tlimit;
        params.ftol = 1e-9;
        params.det_pnts = det < 0 ? 2 * domain.GetDim() + 1 : det;
        search.reset(new MDGS(
            domain,
            [this, p](const RVector& x) {
                ++evaluations;
                return p.f(x);
            },
            [p](const RVector& x, RVector& g) { gradient(p, x, g); }, params,
            [this, cost]() { return cost * static_cast<double>(evaluations); }));
    }
    bool go() {
        RVector x(0);
        return search->Search(-1, x);
    }
    long evaluations;
    std::unique_ptr<MDGS> search;
};

double sq(double x) { return x * x; }

const Problem kDoubleWell = {"double well", {-2}, {2}, [](const RVector& x) { return sq(x[0] * x[0] - 1) + 0.3 * x[0]; }};
const Problem kBranin = {"Branin", {-5, 0}, {10, 15}, [](const RVector& x) {
                             const double b = 5.1 / (4 * kPi * kPi), c = 5 / kPi, s = 10, t = 1 / (8 * kPi);
                             return sq(x[1] - b * x[0] * x[0] + c * x[0] - 6) + s * (1 - t) * std::cos(x[0]) + s;
                         }};
const Problem kCamel = {"six-hump camel", {-3, -2}, {3, 2}, [](const RVector& x) {
                            const double a = x[0], b = x[1];
                            return (4 - 2.1 * a * a + a * a * a * a / 3) * a * a + a * b + (-4 + 4 * b * b) * b * b;
                        }};
const Problem kRosenbrock = {"Rosenbrock", {-2, -2}, {2, 2},
                             [](const RVector& x) { return sq(1 - x[0]) + 100 * sq(x[1] - x[0] * x[0]); }};
// The unconstrained minimum (-3, 0.5) lies left of the box: the best point
// is on the face x = -1, with value 4.
const Problem kFace = {"minimum on a face", {-1, -1}, {1, 1},
                       [](const RVector& x) { return sq(x[0] + 3) + sq(x[1] - 0.5); }};
const Problem kFlat = {"flat", {0, 0}, {1, 1}, [](const RVector&) { return 1.0; }};

TEST(BoxSearch, KnownMinimaWithinOneSecond) {
    struct Case {
        const Problem& p;
        double fmin;
        double tol;
        std::vector<double> at;  // a global minimiser, or empty when there are several
    };
    const std::vector<Case> cases = {
        {kDoubleWell, -0.305428, 1e-5, {}},
        {kBranin, 0.397887, 1e-5, {}},
        {kCamel, -1.031628, 1e-5, {}},
        {kRosenbrock, 0.0, 1e-8, {1, 1}},
    };
    for (const Case& c : cases) {
        Searched run(c.p, 1.0);
        ASSERT_TRUE(run.go()) << c.p.name;
        if (&c.p == &kDoubleWell) {
            EXPECT_LT(run.search->GetBestPoint()[0], -0.9);  // the lower, left minimum
        }
        EXPECT_NEAR(run.search->GetMinValue(), c.fmin, c.tol) << c.p.name;
        EXPECT_NEAR(run.search->GetBestValue(), c.fmin, c.tol) << c.p.name;
        EXPECT_LE(run.search->GetBestValue(), run.search->GetMinValue()) << c.p.name;
        EXPECT_FALSE(run.search->NoMinimizers()) << c.p.name;
        for (size_t i = 0; i < c.at.size(); ++i)
            EXPECT_NEAR(run.search->GetBestPoint()[static_cast<int>(i)], c.at[i], 1e-4) << c.p.name;
        // The clock ends the search: at most one evaluation past one second.
        EXPECT_LE(run.evaluations, 10001) << c.p.name;
        EXPECT_EQ(run.search->GetNumFunction(), run.evaluations) << c.p.name;
    }
}

TEST(BoxSearch, TimeLimitZeroStopsAtTheFirstTimeTest) {
    // The clock reads 0 until the first evaluation: one local search starts,
    // from the last regular point (the midpoint moved down by 0.3 of the
    // width in y), evaluates once, and the clock has then run out.
    Searched run(kBranin, 0.0);
    ASSERT_TRUE(run.go());
    EXPECT_EQ(run.evaluations, 1);
    EXPECT_EQ(run.search->GetNumGradient(), 1);
    RVector mid(2);
    mid[0] = 2.5, mid[1] = 7.5 - 0.3 * 15;
    EXPECT_EQ(run.search->GetBestValue(), kBranin.f(mid));
    EXPECT_EQ(run.search->GetOuterIterations(), 1);
    EXPECT_EQ(run.search->GetInnerIterations(), 1);
}

TEST(BoxSearch, FaceMinimumLeavesAFiniteBestPoint) {
    Searched run(kFace, 1.0);
    ASSERT_TRUE(run.go());
    const RVector& x = run.search->GetBestPoint();
    // Local searches that head for the face leave the domain and converge
    // nowhere; the best point comes from the points they reached on the way.
    EXPECT_TRUE(run.search->NoMinimizers());
    EXPECT_EQ(run.search->GetMinValue(), DBL_MAX);
    EXPECT_NEAR(run.search->GetBestValue(), 4.0, 0.1);
    EXPECT_GE(x[0], -1.0);
    EXPECT_NEAR(x[0], -1.0, 0.05);
    EXPECT_NEAR(x[1], 0.5, 0.1);
}

// Where no box can ever be pruned, the boxes would double until time runs
// out: the search ends at its box limit instead, well inside its time.
TEST(BoxSearch, FlatFunctionAndNoStartPointsEndAtTheBoxLimit) {
    {
        Searched run(kFlat, 1e9, 0.0);
        ASSERT_TRUE(run.go());
        EXPECT_EQ(run.search->GetMinValue(), 1.0);
        EXPECT_LE(run.search->NumUnexplored() + run.search->NumGarbage(), MDGS::kMaxBoxes);
    }
    {
        // The first local search converges at once, at the midpoint.
        RVector x0(2);
        x0 = 0.5;
        Searched run(kFlat, 1e9, 0.0, 1);
        MDGS& s = *run.search;
        TBox box(2);
        box.ub_ = x0;
        box.ub_ = 1.0;
        Trial t(2);
        t.x_ = x0;
        double slope = 0.0;
        EXPECT_EQ(s.localSearch(t, box, box, 0.1, &slope), MDGS::CONVERGED);
        EXPECT_EQ(t.f_, 1.0);
        EXPECT_EQ(s.GetNumFunction(), 1);
    }
    {
        Searched run(kBranin, 1e9, 0.0, 0);
        ASSERT_TRUE(run.go());
        EXPECT_EQ(run.evaluations, 0);
        EXPECT_EQ(run.search->GetBestValue(), DBL_MAX);
        EXPECT_TRUE(run.search->NoMinimizers());
        EXPECT_LE(run.search->NumUnexplored() + run.search->NumGarbage(), MDGS::kMaxBoxes);
    }
}

TEST(BoxSearch, DomainsWithoutFiniteWidthAreRefused) {
    const double nan = std::nan("");
    const std::vector<std::pair<std::vector<double>, std::vector<double>>> domains = {
        {{-1e308, 0}, {1e308, 1}},  // the width overflows
        {{0, 0}, {INFINITY, 1}},
        {{nan, 0}, {1, 1}},
        {{2, 0}, {1, 1}},  // lb above ub
        {{}, {}},          // no dimension
    };
    for (const auto& [lb, ub] : domains) {
        Problem p = kBranin;
        p.lb = lb, p.ub = ub;
        Searched run(p, 1.0);
        EXPECT_FALSE(run.go());
        EXPECT_EQ(run.evaluations, 0);
    }
}

TEST(BoxSearch, ComponentSearchAndSecondSearch) {
    // f(x, y) = (x - 1)^2 + (y - 0.25)^2 searched in y alone, x held at 3.
    Problem p = {"component", {-1}, {1}, [](const RVector& x) { return sq(x[0] - 1) + sq(x[1] - 0.25); }};
    Searched run(p, 0.05);
    RVector x(2);
    x[0] = 3, x[1] = -0.9;
    ASSERT_TRUE(run.search->Search(1, x));
    EXPECT_EQ(x[0], 3.0);
    EXPECT_NEAR(x[1], 0.25, 1e-6);
    EXPECT_NEAR(run.search->GetMinValue(), 4.0, 1e-9);
    RVector bad(2);
    EXPECT_FALSE(run.search->Search(2, bad));  // no such component

    // A second search keeps the best value and counts on.
    Searched twice(kCamel, 0.2);
    twice.go();
    const double first = twice.search->GetMinValue();
    const int outer = twice.search->GetOuterIterations();
    twice.go();
    EXPECT_LE(twice.search->GetMinValue(), first);
    EXPECT_GT(twice.search->GetOuterIterations(), outer);
}

}  // namespace
