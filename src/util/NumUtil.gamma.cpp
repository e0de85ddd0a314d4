// The truncated gamma integral to full double precision, for every real rate:
//
//   G(a, b, c)      = int_0^c t^(b-1) exp(-a t) dt
//   D(k, a, b, c)   = exp(-k c) G(a, b, c)
//                   = int_0^c t^(b-1) exp(-a t) exp(-k (c - t)) dt.
//
// With s = t / c and u = a c, G = c^b F(b, u), F(b, u) = int_0^1 s^(b-1) e^(-u s) ds.
// F is evaluated in one of three ways, each a sum of terms of one sign, so that
// nothing cancels, and with the exponentials folded into the terms, so that D
// stays finite wherever it is (exp(-k c) and G alone overflow once u is large
// and negative):
//
//   0 <= u < b + 1:  F = e^-u sum_n u^n / (b (b+1) ... (b+n))    (Kummer's series)
//   u >= b + 1:      F = Gamma(b) u^-b - e^-u h,  h the continued fraction of
//                    the upper incomplete gamma, Gamma(b, u) = e^-u u^b h
//   u < 0, w = -u:   F = e^w H(b, w),  H = int_0^1 (1-v)^(b-1) e^(-w v) dv
//                    = sum_n e^-w w^n / n! / (b + n)                 (w small)
//                    ~ sum_n (1-b)_n / w^(n+1)                       (w large)
//
// and D takes e^(-k c) into them: e^(-k c) e^-u = e^(-(k + a) c).
#include <cfloat>
#include <cmath>
#include <limits>

#include "util/NumUtil.h"

namespace {

const double kEps = 1e-17;      // relative size of the last term kept
const int kMaxTerms = 100000;   // a guard only: every sum converges far below
const double kTiny = 1e-300;    // stands in for zero in the Lentz method
const double kHuge = 1e280;     // rescaling threshold of the growing series
// From this w on, and w >= 2 b, the asymptotic series of H is used: its
// smallest term is near e^-w relative to the sum, below rounding.
const double kAsymptoticFrom = 50.0;

// c^b exp(-r c), computed as the product where both factors are finite and
// normal, else through the logarithm, so that neither factor alone over- or
// underflows the result.
double powExp(double c, double b, double r) {
    const double p = std::pow(c, b);
    const double e = std::exp(-r * c);
    const double product = p * e;
    if (p <= DBL_MAX && e >= DBL_MIN && e <= DBL_MAX && product >= DBL_MIN) return product;
    return std::exp(b * std::log(c) - r * c);
}

// Kummer's series sum_n u^n / (b)_(n+1), 0 <= u < b + 1: the terms fall
// from the first on.
double kummerSeries(double b, double u) {
    double term = 1.0 / b, sum = term;
    for (int n = 1; n < kMaxTerms; ++n) {
        term *= u / (b + n);
        sum += term;
        if (term < kEps * sum) break;
    }
    return sum;
}

// H(b, w) = sum_n e^-w w^n / n! / (b + n): Poisson weights over b + n. The
// weights are built by their recurrence from e^0 = 1, rescaled whenever they
// grow large, and e^-w with the scale applied at the end.
double poissonSeries(double b, double w) {
    double weight = 1.0, sum = 1.0 / b, logScale = -w;
    for (int n = 1; n < kMaxTerms; ++n) {
        weight *= w / n;
        const double term = weight / (b + n);
        sum += term;
        if (n > w && term < kEps * sum) break;
        if (weight > kHuge) {
            weight /= kHuge;
            sum /= kHuge;
            logScale += std::log(kHuge);
        }
    }
    return sum * std::exp(logScale);
}

// H(b, w) ~ sum_n (1-b)_n / w^(n+1), from (1-v)^(b-1) = sum_n (1-b)_n v^n / n!
// integrated against e^(-w v) (Watson's lemma); exact but for terms of order
// e^-w. Summed while the terms fall; for whole b it ends by itself.
double asymptoticSeries(double b, double w) {
    double term = 1.0 / w, sum = term;
    for (int n = 0; n < kMaxTerms; ++n) {
        const double next = term * (n + 1.0 - b) / w;
        if (next == 0.0 || std::fabs(next) >= std::fabs(term)) break;
        term = next;
        sum += term;
        if (std::fabs(term) < kEps * std::fabs(sum)) break;
    }
    return sum;
}

double pullbackH(double b, double w) {
    return w >= kAsymptoticFrom && w >= 2.0 * b ? asymptoticSeries(b, w) : poissonSeries(b, w);
}

}  // namespace

double upperGammaFraction(double b, double u, int maxTerms, double eps, double tiny, bool* converged) {
    double bn = u + 1.0 - b;
    double C = 1.0 / tiny;
    double Dn = 1.0 / bn;
    double h = Dn;
    *converged = false;
    for (int i = 1; i <= maxTerms; ++i) {
        const double an = -i * (i - b);
        bn += 2.0;
        Dn = an * Dn + bn;
        if (std::fabs(Dn) < tiny) Dn = tiny;
        C = bn + an / C;
        if (std::fabs(C) < tiny) C = tiny;
        Dn = 1.0 / Dn;
        const double delta = Dn * C;
        h *= delta;
        if (std::fabs(delta - 1.0) < eps) {
            *converged = true;
            break;
        }
    }
    return h;
}

double decayedGeneralGamma(double k, double a, double b, double c) {
    if (std::isnan(k) || std::isnan(a) || std::isnan(b) || std::isnan(c)) return std::numeric_limits<double>::quiet_NaN();
    if (c <= 0.0) return 0.0;  // an empty range
    // t^(b-1) is not integrable at 0 for b <= 0: the integral is infinite.
    if (b <= 0.0) return std::numeric_limits<double>::infinity();
    const double u = a * c;
    if (u < 0.0) return powExp(c, b, k + a) * pullbackH(b, -u);
    if (u < b + 1.0) return powExp(c, b, k + a) * kummerSeries(b, u);
    // Gamma(b) a^-b e^(-k c): the complete integral, decayed; b up to 171
    // keeps Gamma(b) finite, above it the logarithm carries it.
    double complete = std::tgamma(b) * std::pow(a, -b) * std::exp(-k * c);
    if (!(complete <= DBL_MAX) || complete < DBL_MIN) complete = std::exp(gammln(b) - b * std::log(a) - k * c);
    bool converged;
    const double h = upperGammaFraction(b, u, kMaxTerms, 4.0 * DBL_EPSILON, kTiny, &converged);
    return complete - powExp(c, b, k + a) * h;
}

double GeneralGamma(double a, double b, double c) { return decayedGeneralGamma(0.0, a, b, c); }
