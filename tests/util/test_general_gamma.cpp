// G(a, b, c) = int_0^c t^(b-1) e^(-a t) dt and exp(-k c) G against adaptive
// quadrature over a grid of the hard regimes: a < 0 with b not whole, a ~ 0
// with whole b, and large -a c and k c (e.g. a gamma-variate input convolved
// with k2 = 30/min at one hour), where exp(-k c) and G alone over- or
// underflow while their product is an ordinary number.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/Quadrature.h"
#include "util/NumUtil.h"

namespace {

// exp(-k c) G by t = c' v^p (p = 1/b for b < 1 removes the singularity at
// 0), c' = min(c, (b + 80) / a) for a > 0, and the integrand's largest
// logarithm taken out in front so that it stays in (0, 1].
long double reference(double k, double a, double b, double c) {
    const long double cc = a > 0.0 ? std::min(static_cast<long double>(c), (b + 80.0L) / a) : c;
    const long double ac = static_cast<long double>(a) * cc;
    const long double p = b < 1.0 ? 1.0L / b : 1.0L;
    auto logIntegrand = [&](long double v) { return (p * b - 1.0L) * std::log(v) - ac * std::pow(v, p); };
    long double top = std::max(logIntegrand(1.0L), b == 1.0 ? 0.0L : -1e4L);
    if (b > 1.0 && a > 0.0 && (b - 1.0L) / ac < 1.0L) top = std::max(top, logIntegrand((b - 1.0L) / ac));
    if (b < 1.0) top = std::max(0.0L, -ac);
    const long double inner = quadrature::integrate(
        [&](long double v) { return v > 0.0L ? std::exp(logIntegrand(v) - top) : (p * b == 1.0L ? std::exp(-top) : 0.0L); },
        0.0L, 1.0L, 1e-17L);
    return std::exp(b * std::log(cc) + std::log(p) + top - static_cast<long double>(k) * c) * inner;
}

void expectClose(double value, long double expected, double k, double a, double b, double c) {
    if (expected > std::numeric_limits<double>::max()) {
        EXPECT_EQ(value, std::numeric_limits<double>::infinity()) << k << " " << a << " " << b << " " << c;
        return;
    }
    if (expected < 1e-290L) {  // below the normal doubles: zero or nearly
        EXPECT_LE(std::fabs(value), 1e-290) << k << " " << a << " " << b << " " << c;
        return;
    }
    // Rounding of the arguments alone moves the value by about eps (|a c| + |k c|).
    const double tolerance = 2e-12 + 4e-16 * (std::fabs(a * c) + std::fabs(k * c));
    EXPECT_NEAR(value / static_cast<double>(expected), 1.0, tolerance)
        << "k=" << k << " a=" << a << " b=" << b << " c=" << c << " value " << value << " expected "
        << static_cast<double>(expected);
}

TEST(GeneralGamma, AgreesWithQuadratureOverTheGrid) {
    for (double a : {-2.0, -0.45, -1e-9, 0.0, 1e-9, 1e-4, 0.3, 20.0})
        for (double b : {0.5, 1.0, 2.0, 2.5, 3.0, 4.7, 7.0, 12.0})
            for (double c : {0.01, 1.0, 60.0, 3600.0}) {
                expectClose(GeneralGamma(a, b, c), reference(0.0, a, b, c), 0.0, a, b, c);
                // Decayed by a rate above -a: the convolution's case, finite
                // even where G alone overflows.
                for (double k : {0.5, std::max(0.0, -a) + 0.01})
                    expectClose(decayedGeneralGamma(k, a, b, c), reference(k, a, b, c), k, a, b, c);
            }
}

// Where the closed forms of whole b are accurate (a c of order 1), they agree
// to rounding.
TEST(GeneralGamma, AgreesWithTheClosedFormsOfWholeB) {
    const double c = 2.0;
    for (double a : {0.4, 1.7, -0.6}) {
        const double u = a * c, e = std::exp(-u);
        const double closed[] = {(1.0 - e) / a, (1.0 - e * (u + 1.0)) / (a * a),
                                 (2.0 - e * (u * u + 2.0 * u + 2.0)) / (a * a * a),
                                 (6.0 - e * (u * u * u + 3.0 * u * u + 6.0 * u + 6.0)) / std::pow(a, 4),
                                 (24.0 - e * (std::pow(u, 4) + 4 * std::pow(u, 3) + 12 * u * u + 24 * u + 24)) /
                                     std::pow(a, 5)};
        for (int b = 1; b <= 5; ++b) EXPECT_NEAR(GeneralGamma(a, b, c) / closed[b - 1], 1.0, 1e-13) << a << " " << b;
    }
    // a = 0: c^b / b.
    EXPECT_DOUBLE_EQ(GeneralGamma(0.0, 3.0, 2.0), 8.0 / 3.0);
}

TEST(GeneralGamma, EdgesOfTheDomain) {
    EXPECT_EQ(GeneralGamma(0.3, 2.0, 0.0), 0.0);   // empty range
    EXPECT_EQ(decayedGeneralGamma(0.1, 0.3, 2.0, -1.0), 0.0);
    // b <= 0: t^(b-1) is not integrable at 0.
    EXPECT_EQ(GeneralGamma(0.3, -0.5, 1.0), std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(GeneralGamma(std::nan(""), 2.0, 1.0)));
    // Large positive a c: the complete integral Gamma(b) / a^b.
    EXPECT_NEAR(GeneralGamma(5.0, 3.0, 1000.0), 2.0 / 125.0, 1e-17);
}

}  // namespace
