// The measured input's convolutions at rates where exp(k t) overflows (30/min
// or more at one hour): equal to the integral of the interpolated curve, and
// below the overflow the running sum to the bit, whatever was asked before.
#include <gtest/gtest.h>

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
            for (bool timed : {false, true}) {
                const double expected = static_cast<double>(quadrature::integrate(
                    [&](long double s) { return std::exp(-k * s) * (timed ? t - s : 1.0L) * f(double(t - s), 0, 0, 0); },
                    0.0L, t, timed ? 1e-11L : 1e-14L));
                const double got = timed ? f.convTimeExp(k, t, 0, 0, 0) : f.convExp(k, t, 0, 0, 0);
                EXPECT_NEAR(got, expected, 1e-9 * expected) << k << " " << t << " " << timed;
            }
        }
    for (double t : times) {
        const double a = f.convExp(0.1, t, 0, 0, 0), b = fit::makeInput(times)->convExp(0.1, t, 0, 0, 0);
        EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0) << t;
    }
}

}  // namespace
