// The gamma function family: factorial, the gamma function and the incomplete gamma
// functions and the confluent hypergeometric series 1F1(a; a+1; z). The
// truncated gamma integral GeneralGamma is in NumUtil.gamma.cpp.
#include <array>
#include <cmath>

#include "util/Message.h"
#include "util/NumUtil.h"

namespace {

// Series and continued fraction: at most ITMAX terms, relative accuracy
// EPS; FPMIN stands in for zero in the Lentz method.
const int ITMAX = 100;
const double EPS = 3.0e-7;
const double FPMIN = 1.0e-30;

// Largest whole a for which gammp uses its closed form. The sum has a terms
// and starts at exp(-z), which underflows for z above ~745; with a this
// small P is 1 to double precision there anyway.
const double GAMMP_CLOSED_FORM_LIMIT = 100.0;

const double PI = 3.14159265358979323846;

// x^n by repeated squaring; exact for small integers, cheaper than pow.
double powi(double x, int n) {
    if (n < 0) return 1.0 / powi(x, -n);
    double result = 1.0;
    while (n > 0) {
        if (n & 1) result *= x;
        x *= x;
        n >>= 1;
    }
    return result;
}

}  // namespace

// n! for n up to 32, each the product of the one before and n. Made once, on
// first use (thread-safe), so that fits on several threads may share it.
static const std::array<double, 33>& factorials() {
    static const std::array<double, 33> table = [] {
        std::array<double, 33> t{};
        t[0] = 1.0;
        for (int i = 1; i <= 32; ++i) t[i] = t[i - 1] * i;
        return t;
    }();
    return table;
}

double factrl(int n) {
    if (n < 0) {
        ERROR("factrl(): n = %d negative\n", n);
        // Goes on through the gamma function, which has its poles there.
        return std::exp(gammln(n + 1.0));
    }
    if (n > 32) return std::exp(gammln(n + 1.0));
    return factorials()[n];
}

double gammln(double x) {
    // Lanczos: Gamma(x) = (x + 4.5)^(x - 0.5) e^-(x + 4.5) sqrt(2 pi)
    // (c0 + sum c_j / (x - 1 + j)), written for ln Gamma(x) with the shifted
    // offset 5.5 on x; error below 2e-10 for x > 0.
    static const double cof[6] = {76.18009172947146,   -86.50532032941677,    24.01409824083091,
                                  -1.231739572450155, 0.1208650973866179e-2, -0.5395239384953e-5};
    double y = x;
    double tmp = x + 5.5;
    tmp -= (x + 0.5) * std::log(tmp);
    double ser = 1.000000000190015;
    for (int j = 0; j < 6; ++j) ser += cof[j] / ++y;
    return -tmp + std::log(2.5066282746310005 * ser / x);
}

double gamm(double x) { return std::exp(gammln(x)); }

double gamm(double a, double z) { return gamm(a) * gammq(a, z); }

void gser(double* result, double a, double z, double* gln) {
    *gln = gammln(a);
    if (z <= 0.0) {
        if (z < 0.0) ERROR("gser(): z = %lg less than 0\n", z);
        *result = 0.0;
        return;
    }
    // P(a, z) = e^-z z^a / Gamma(a) * sum_n z^n / (a (a+1) ... (a+n)).
    double ap = a;
    double del = 1.0 / a;
    double sum = del;
    for (int n = 1; n <= ITMAX; ++n) {
        ++ap;
        del *= z / ap;
        sum += del;
        if (std::fabs(del) < std::fabs(sum) * EPS) {
            *result = sum * std::exp(-z + a * std::log(z) - *gln);
            return;
        }
    }
    ERROR("gser(): a = %lg too large (ITMAX too small)\n", a);
    *result = sum * std::exp(-z + a * std::log(z) - *gln);  // the last estimate
}

void gcf(double* result, double a, double z, double* gln) {
    *gln = gammln(a);
    // Q(a, z) = e^-z z^a / Gamma(a) * 1/(z+1-a- 1(1-a)/(z+3-a- 2(2-a)/(z+5-a- ...))),
    // evaluated by the modified Lentz method.
    bool converged;
    const double h = upperGammaFraction(a, z, ITMAX, EPS, FPMIN, &converged);
    if (!converged) ERROR("gcf(): a = %lg too large (ITMAX too small)\n", a);
    *result = std::exp(-z + a * std::log(z) - *gln) * h;
}

double gammp(double a, double z) {
    if (std::floor(a) == a && a <= GAMMP_CLOSED_FORM_LIMIT) {
        // Whole a: P(n, z) = 1 - e^-z sum_{i=0}^{n-1} z^i / i!. The terms
        // are built by the recurrence t_i = t_{i-1} z / i from t_0 = e^-z,
        // which avoids the overflow of z^i and i! taken apart. No argument
        // test on this path: the sum holds for any z.
        int n = a < 1.0 ? 0 : static_cast<int>(a);
        double term = std::exp(-z);
        double sum = 0.0;
        for (int i = 0; i < n; ++i) {
            if (i > 0) term *= z / i;
            sum += term;
        }
        return 1.0 - sum;
    }
    if (z < 0.0 || a <= 0.0) ERROR("gammp(): invalid arguments a=%lg, z=%lg", a, z);
    double value, gln;
    if (z < a + 1.0) {
        gser(&value, a, z, &gln);
        return value;
    }
    gcf(&value, a, z, &gln);
    return 1.0 - value;
}

double gammq(double a, double z) {
    if (z < 0.0 || a <= 0.0) ERROR("gammq(): invalid arguments a=%lg, z=%lg", a, z);
    double value, gln;
    if (z < a + 1.0) {
        gser(&value, a, z, &gln);
        return 1.0 - value;
    }
    gcf(&value, a, z, &gln);
    return value;
}

double HyperGeometric1F1(double a, double z) {
    // 1F1(a; a+1; z) = sum_i (a)_i / (a+1)_i z^i / i! = 1 + sum_{i>=1} a/(a+i) z^i/i!,
    // cut after min(2z, 20) terms: below z = 0.5, and for every negative z,
    // the value is exactly 1.
    double limit = 2.0 * z < 20.0 ? 2.0 * z : 20.0;
    int terms = limit >= 1.0 ? static_cast<int>(limit) : 0;
    double sum = 1.0;
    for (int i = 1; i <= terms; ++i) {
        double power;
        if (i <= 80)
            power = powi(z, i) / factrl(i);
        else  // Stirling: z^i / i! ~ (z e / i)^i / sqrt(2 pi i); out of reach of 20 terms
            power = std::pow(z * std::exp(1.0) / i, i) / std::sqrt(2.0 * PI * i);
        sum += a / (a + i) * power;
    }
    return sum;
}
