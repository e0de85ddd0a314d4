// The measured input's convolutions at rates where exp(k t) overflows: a
// tissue rate of 30/min or more at one hour. They must equal the integral of
// the interpolated curve, and stay bit-equal to the running-sum form where
// that one is finite.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "fit/FitFixture.h"
#include "support/Quadrature.h"

namespace {

TEST(MeasuredInputFastRate, ConvolutionsStayFiniteAndExact) {
    fit::Verbosity quiet(0);
    const std::vector<double> times = fit::frameTimes();  // up to 2580 s
    std::unique_ptr<LinearInterpolation> input = fit::makeInput(times);
    LinearInterpolation& f = *input;
    for (double k : {0.5, 2.0})
        for (double t : {times.back(), 3600.0}) {
            ASSERT_GT(k * t, 709.0);
            const long double conv = quadrature::integrate(
                [&](long double s) { return std::exp(-k * s) * f(static_cast<double>(t - s), 0, 0, 0); }, 0.0L, t,
                1e-14L);
            const long double timed = quadrature::integrate(
                [&](long double s) { return std::exp(-k * s) * (t - s) * f(static_cast<double>(t - s), 0, 0, 0); },
                0.0L, t, 1e-11L);
            EXPECT_NEAR(f.convExp(k, t, 0, 0, 0), static_cast<double>(conv), 1e-9 * static_cast<double>(conv))
                << k << " " << t;
            EXPECT_NEAR(f.convTimeExp(k, t, 0, 0, 0), static_cast<double>(timed), 1e-9 * static_cast<double>(timed))
                << k << " " << t;
        }
    // Below the overflow the running sum answers as before, to the bit: the
    // same walk on a fresh object gives the same numbers (the folded form,
    // which sums differently, is not taken).
    const double k = 0.1;
    for (double t : times) {
        const double a = f.convExp(k, t, 0, 0, 0), b = fit::makeInput(times)->convExp(k, t, 0, 0, 0);
        EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0) << t;
    }
}

}  // namespace
