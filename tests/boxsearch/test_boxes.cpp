// Boxes and trials: the cut, the Lipschitz bound, the known-point test, the
// place of a point, and the invariants that the search relies on.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

#include "boxsearch/MDGS_tools.h"

namespace {

RVector vec(std::initializer_list<double> v) {
    RVector r(static_cast<int>(v.size()));
    int i = 0;
    for (double e : v) r[i++] = e;
    return r;
}

TBox box(std::initializer_list<double> lb, std::initializer_list<double> ub) {
    TBox b(static_cast<int>(lb.size()));
    b.lb_ = vec(lb);
    b.ub_ = vec(ub);
    return b;
}

Trial trial(std::initializer_list<double> x, double f) {
    Trial t;
    t.x_ = vec(x);
    t.f_ = f;
    return t;
}

TEST(LinearAlgebra, RoutinesAgainstHandValues) {
    RMatrix A(2);
    A(0, 0) = 1, A(0, 1) = 2, A(1, 0) = 3, A(1, 1) = 4;
    RVector x = vec({1, -1}), y = vec({10, 20});
    gemv('N', 2.0, A, x, 1.0, y);  // 2 (-1, -1) + (10, 20)
    EXPECT_EQ(y[0], 8.0);
    EXPECT_EQ(y[1], 18.0);
    gemv('T', 1.0, A, x, 0.0, y);  // A^T x = (1 - 3, 2 - 4)
    EXPECT_EQ(y[0], -2.0);
    EXPECT_EQ(y[1], -2.0);
    ger(1.0, vec({1, 2}), vec({3, 4}), A);
    EXPECT_EQ(A(1, 0), 3.0 + 6.0);
    EXPECT_EQ(A(0, 1), 2.0 + 4.0);
    EXPECT_EQ(eps(), DBL_EPSILON);
    // The norm neither overflows nor vanishes at the ends of the range.
    EXPECT_DOUBLE_EQ(norm2(vec({3e300, 4e300})), 5e300);
    EXPECT_DOUBLE_EQ(norm2(vec({3e-300, 4e-300})), 5e-300);
    EXPECT_EQ(normInf(vec({1, -7, 3})), 7.0);
}

TEST(Boxes, SplitTable) {
    struct Case {
        const char* what;
        TBox parent;
        std::vector<Trial> trials;
        int coordinate;
        double cut;
    };
    const std::vector<Case> cases = {
        {"no trial: longest side halved", box({0, 0}, {1, 4}), {}, 1, 2.0},
        {"one trial: longest side halved", box({0, 0}, {1, 4}), {trial({0.9, 0.1}, 1)}, 1, 2.0},
        {"spread along x: cut at the mean", box({0, 0}, {1, 4}), {trial({0.1, 1}, 1), trial({0.5, 1}, 2)}, 0, 0.3},
        {"equal spread: the lower coordinate", box({0, 0}, {4, 4}), {trial({1, 1}, 1), trial({3, 3}, 2)}, 0, 2.0},
        // All trials on the lower face: a cut there would leave a flat half.
        {"mean on a face: the midpoint", box({0, 0}, {1, 4}), {trial({0, 1}, 1), trial({0, 3}, 2)}, 1, 2.0},
    };
    for (const Case& c : cases) {
        TBox parent = c.parent;
        for (const Trial& t : c.trials) parent.AddTrial(t);
        TBox b1(2), b2(2);
        parent.split(b1, b2);
        for (int i = 0; i < 2; ++i) {
            const bool cut = i == c.coordinate;
            EXPECT_EQ(b1.lb_[i], parent.lb_[i]) << c.what;
            EXPECT_EQ(b2.ub_[i], parent.ub_[i]) << c.what;
            EXPECT_EQ(b1.ub_[i], cut ? c.cut : parent.ub_[i]) << c.what;
            EXPECT_EQ(b2.lb_[i], cut ? c.cut : parent.lb_[i]) << c.what;
        }
        // Every trial goes to exactly one half, the one that holds it.
        EXPECT_EQ(b1.NStationary() + b2.NStationary(), parent.NStationary()) << c.what;
        for (const TBox* half : {&b1, &b2})
            for (const Trial& t : half->Trials()) EXPECT_TRUE(half->InsideBox(t.x_)) << c.what;
    }
}

// Cutting again and again, always at the mean of trials on or next to a face,
// every box stays inside the domain and keeps lb <= ub, so no point of a
// box is ever outside the domain.
TEST(Boxes, RepeatedCutsStayInsideTheDomain) {
    TBox domain = box({-1e300, 0}, {1e300, 1});
    TBox b = domain;
    for (int k = 0; k < 200; ++k) {
        b.ClearBox();
        // Means of points on the upper face round to it or one ulp past it.
        const double u = b.ub_[0] * (1.0 + k * 1e-17);
        for (int j = 0; j < 3; ++j) b.AddTrial(trial({std::min(u, b.ub_[0]), 0.5}, 1));
        b.AddTrial(trial({std::nextafter(b.ub_[0], -DBL_MAX), 0.5}, 2));
        TBox b1(2), b2(2);
        b.split(b1, b2);
        for (const TBox* half : {&b1, &b2})
            for (int i = 0; i < 2; ++i) {
                ASSERT_LE(half->lb_[i], half->ub_[i]) << k;
                ASSERT_GE(half->lb_[i], domain.lb_[i]) << k;
                ASSERT_LE(half->ub_[i], domain.ub_[i]) << k;
            }
        b = b2;
    }
}

TEST(Boxes, OutsideBoxCodes) {
    const TBox domain = box({0, 0}, {10, 10});
    const TBox inner = box({2, 2}, {4, 4});
    struct Case {
        RVector x;
        int code;
    };
    const double nan = std::nan("");
    const std::vector<Case> cases = {
        {vec({3, 3}), IN_BOX},          {vec({2, 4}), IN_BOX},       // closed box
        {vec({5, 3}), OUT_OF_BOX},      {vec({0, 10}), OUT_OF_BOX},  // domain's corner
        {vec({11, 3}), OUT_OF_DOMAIN},  {vec({3, -1e-300}), OUT_OF_DOMAIN},
        {vec({nan, 3}), OUT_OF_DOMAIN},
    };
    for (const Case& c : cases) EXPECT_EQ(inner.OutsideBox(c.x, domain), c.code) << c.x;
    // A box reaching past its domain: the point there counts as outside the
    // domain instead of ending the process.
    EXPECT_EQ(box({0, 0}, {20, 20}).OutsideBox(vec({15, 1}), domain), OUT_OF_DOMAIN);
}

TEST(Boxes, LowerBoundAndCloseToMin) {
    TBox b = box({0, 0}, {10, 10});
    EXPECT_EQ(b.LowerBound(5.0), DBL_MAX);  // no trial: fmin_
    b.AddTrial(trial({0, 0}, 3));
    EXPECT_EQ(b.LowerBound(100.0), 3.0);  // one trial: fmin_
    b.AddTrial(trial({3, 4}, 5));
    b.AddTrial(trial({6, 8}, 1));
    // Pairs at distances 5, 10, 5: (3 + 5 - 5L)/2, (3 + 1 - 10L)/2, (5 + 1 - 5L)/2.
    EXPECT_DOUBLE_EQ(b.LowerBound(0.0), 1.0);
    EXPECT_DOUBLE_EQ(b.LowerBound(1.0), (4.0 - 10.0) / 2.0);
    EXPECT_DOUBLE_EQ(b.LowerBound(0.1), std::min(1.0, (4.0 - 1.0) / 2.0));

    struct Case {
        RVector x;
        double tol;
        bool close;
        double f;
        RVector moved;
    };
    const std::vector<Case> cases = {
        {vec({0.5, 0}), 0.6, true, 3, vec({0, 0})},
        {vec({0.5, 0}), 0.5, false, -1, vec({0.5, 0})},  // not nearer than tol
        {vec({3, 3.5}), 10.0, true, 3, vec({0, 0})},     // the first in list order
        {vec({6, 7.9}), 0.2, true, 1, vec({6, 8})},
    };
    for (const Case& c : cases) {
        RVector x = c.x;
        double f = -1;
        EXPECT_EQ(b.CloseToMin(x, &f, c.tol), c.close) << c.x;
        EXPECT_EQ(f, c.f) << c.x;
        EXPECT_EQ(norm2(vec({x[0] - c.moved[0], x[1] - c.moved[1]})), 0.0) << c.x;
    }
}

// Ties go to the first side; removing from an empty box does nothing.
TEST(Boxes, SidesTrialsAndClearing) {
    TBox b = box({0, 0, 0}, {2, 5, 2});
    int i = -1;
    EXPECT_EQ(b.ShortestSide(&i), 2.0);
    EXPECT_EQ(i, 0);
    EXPECT_EQ(b.ClosestSide(vec({0.5, 4, 1})), 0.5);
    EXPECT_EQ(b.FarthestSide(vec({0.5, 4, 1})), 1.0);
    b.AddTrial(trial({1, 1, 1}, 4));
    b.AddTrial(trial({1, 2, 1}, 2));
    Trial t;
    b.RemoveTrial(t);
    EXPECT_EQ(t.f_, 2.0);
    EXPECT_EQ(b.NStationary(), 1);
    b.ClearBox();
    EXPECT_TRUE(b.EmptyBox());
    EXPECT_EQ(b.GetMin(), DBL_MAX);
    EXPECT_EQ(b.ub_[1], 5.0);  // the corners stay
    b.RemoveTrial(t);
    EXPECT_EQ(t.f_, 2.0);
}

}  // namespace
