// Independent oracles of the parametric input tests: Gauss-Legendre
// quadrature and central differences.
#ifndef KINETRA_TESTS_INPUTS_HYPOXIA_ORACLES_H
#define KINETRA_TESTS_INPUTS_HYPOXIA_ORACLES_H

#include <cmath>

#include "util/Message.h"

namespace hypoxia_test {

// int_a^b f by 10-point Gauss-Legendre on `panels` equal panels: exact to
// round-off for the smooth exponential curves here.
template <class F>
double integrate(F f, double a, double b, int panels = 64) {
    static const double x[5] = {0.1488743389816312, 0.4333953941292472, 0.6794095682990244, 0.8650633666889845,
                                0.9739065285171717};
    static const double w[5] = {0.2955242247147529, 0.2692667193099963, 0.2190863625159820, 0.1494513491505806,
                                0.0666713443086881};
    const double h = (b - a) / panels;
    double sum = 0.0;
    for (int p = 0; p < panels; ++p) {
        const double m = a + (p + 0.5) * h, r = 0.5 * h;
        for (int i = 0; i < 5; ++i) sum += w[i] * r * (f(m - r * x[i]) + f(m + r * x[i]));
    }
    return sum;
}

// (f(v + h) - f(v - h)) / 2h with h relative to v.
template <class F>
double centralDifference(F f, double v, double relative = 1e-5) {
    const double h = relative * (v != 0.0 ? std::fabs(v) : 1.0);
    return (f(v + h) - f(v - h)) / (2 * h);
}

// Silences messages for a scope.
struct Quiet {
    Quiet() : saved(_MessageHelper::verbosity_) { _MessageHelper::verbosity_ = 0; }
    ~Quiet() { _MessageHelper::verbosity_ = saved; }
    unsigned saved;
};

}  // namespace hypoxia_test

#endif
