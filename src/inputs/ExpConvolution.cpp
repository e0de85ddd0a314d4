#include "inputs/ExpConvolution.h"

#include <cmath>
#include <limits>

namespace {

// Upper triangular n x n matrices in fixed storage: no allocation per call.
struct Tri {
    double a[kMaxExpRates][kMaxExpRates];
};

// c = a b for upper triangular a, b.
void multiply(const Tri& a, const Tri& b, Tri& c, int n) {
    for (int i = 0; i < n; ++i)
        for (int j = i; j < n; ++j) {
            double s = 0.0;
            for (int k = i; k <= j; ++k) s += a.a[i][k] * b.a[k][j];
            c.a[i][j] = s;
        }
}

// Taylor degree for a matrix of norm at most 1/2: 0.5^15 / 15! < 1e-16.
const int kTaylorDegree = 15;

}  // namespace

double expConvolution(const double* rates, int n, double t) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    if (n < 1 || n > kMaxExpRates) return nan;
    if (n == 1) return std::exp(-rates[0] * t);
    // Nodes z_i = -r_i t, shifted by their largest value c so that all are
    // at most 0 (exp(Z) = e^c exp(Z - c), no overflow in the squarings).
    double z[kMaxExpRates];
    double c = -std::numeric_limits<double>::infinity(), low = std::numeric_limits<double>::infinity();
    for (int i = 0; i < n; ++i) {
        z[i] = -rates[i] * t;
        if (!std::isfinite(z[i])) return nan;
        if (z[i] > c) c = z[i];
        if (z[i] < low) low = z[i];
    }
    // Scale Z by 2^-s so that spread + superdiagonal stay at most 1/2.
    int s = 0;
    double norm = (c - low) + 1.0;
    while (norm > 0.5) {
        norm *= 0.5;
        ++s;
    }
    const double h = std::ldexp(1.0, -s);
    Tri A{}, E{}, T{};
    for (int i = 0; i < n; ++i) {
        A.a[i][i] = (z[i] - c) * h;
        if (i + 1 < n) A.a[i][i + 1] = h;
    }
    // Horner: E = I + A/1 (I + A/2 (... (I + A/m))).
    for (int i = 0; i < n; ++i) E.a[i][i] = 1.0;
    for (int m = kTaylorDegree; m >= 1; --m) {
        multiply(A, E, T, n);
        for (int i = 0; i < n; ++i)
            for (int j = i; j < n; ++j) E.a[i][j] = (i == j ? 1.0 : 0.0) + T.a[i][j] / m;
    }
    for (int k = 0; k < s; ++k) {
        multiply(E, E, T, n);
        E = T;
    }
    return std::pow(t, n - 1) * std::exp(c) * E.a[0][n - 1];
}
