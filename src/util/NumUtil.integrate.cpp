// Integration and interpolation: the extended trapezoid rule, Romberg
// integration on it, and Neville's polynomial interpolation.
#include <cmath>
#include <memory>

#include "util/Message.h"
#include "util/NumUtil.h"

namespace {

// Romberg: relative accuracy, the most refinements, and the number of
// points of the extrapolation to step size zero.
const double QROMB_EPS = 1.0e-6;
const int JMAX = 20;
const int K = 5;

// Neville's tableau fits on the stack up to this order; qromb asks for K.
const int POLINT_LOCAL = 32;

// trapzd's state between calls: the current estimate.
double trapezoidSum = 0.0;

// Stage n of the extended trapezoid rule on the estimate `sum` of stage n - 1.
template <class F>
double trapezoidStage(F& f, double a, double b, int n, double& sum) {
    if (n <= 1) {
        sum = 0.5 * (b - a) * (f(a) + f(b));
        return sum;
    }
    // Stage n adds the 2^(n-2) midpoints of the previous stage's intervals.
    long points = 1;
    for (int j = 1; j < n - 1; ++j) points <<= 1;
    double del = (b - a) / points;
    double x = a + 0.5 * del;
    double total = 0.0;
    for (long j = 1; j <= points; ++j, x += del) total += f(x);
    sum = 0.5 * (sum + (b - a) * total / points);
    return sum;
}

template <class F>
double romberg(F& f, double a, double b, double& sum) {
    if (a == b) return 0.0;
    // The trapezoid error is a series in h^2, so the estimates s_j are
    // extrapolated to h = 0 as a polynomial in h^2; each stage quarters h^2.
    double s[JMAX + 2];
    double h[JMAX + 2];
    double ss = 0.0, dss = 0.0;
    h[1] = 1.0;
    for (int j = 1; j <= JMAX; ++j) {
        s[j] = trapezoidStage(f, a, b, j, sum);
        if (j >= K) {
            polint(&h[j - K], &s[j - K], K, 0.0, &ss, &dss);
            if (std::fabs(dss) <= QROMB_EPS * std::fabs(ss)) return ss;
        }
        h[j + 1] = 0.25 * h[j];
    }
    ERROR("qromb(): too many steps");
    return ss;
}

}  // namespace

double trapzd(double (*f)(double), double a, double b, int n) { return trapezoidStage(f, a, b, n, trapezoidSum); }

double qromb(double (*f)(double), double a, double b) { return romberg(f, a, b, trapezoidSum); }

double qromb(RealFunction f, double a, double b) {
    double sum = 0.0;
    return romberg(f, a, b, sum);
}

void polint(double* xa, double* ya, int n, double x, double* y, double* dy) {
    *dy = 0.0;
    if (n < 1) {
        *y = 0.0;
        return;
    }
    // c and d are the differences between successive tableau columns,
    // upward and downward corrections to the current estimate.
    double localC[POLINT_LOCAL + 1], localD[POLINT_LOCAL + 1];
    std::unique_ptr<double[]> heap;
    double* c = localC;
    double* d = localD;
    if (n > POLINT_LOCAL) {
        heap.reset(new double[2 * static_cast<size_t>(n) + 2]);
        c = heap.get();
        d = heap.get() + n + 1;
    }
    int ns = 1;
    double dif = std::fabs(x - xa[1]);
    for (int i = 1; i <= n; ++i) {
        double dift = std::fabs(x - xa[i]);
        if (dift < dif) {
            ns = i;
            dif = dift;
        }
        c[i] = ya[i];
        d[i] = ya[i];
    }
    // Start from the nearest point and walk the tableau towards its centre.
    *y = ya[ns--];
    bool reported = false;
    for (int m = 1; m < n; ++m) {
        for (int i = 1; i <= n - m; ++i) {
            double ho = xa[i] - x;
            double hp = xa[i + m] - x;
            double w = c[i + 1] - d[i];
            double den = ho - hp;
            if (den == 0.0 && !reported) {
                ERROR("Error in routine POLINT");
                reported = true;
            }
            den = w / den;
            d[i] = hp * den;
            c[i] = ho * den;
        }
        *dy = (2 * ns < (n - m)) ? c[ns + 1] : d[ns--];
        *y += *dy;
    }
}
