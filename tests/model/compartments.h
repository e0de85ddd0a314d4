// Independent solutions of the compartment equations for the model tests:
// the impulse response of the compartment matrix from its matrix exponential
// (a Taylor series with scaling and squaring), integrated against the
// piecewise linear curve by quadrature. Rates in 1/min, times in s.
#ifndef KINETRA_TESTS_MODEL_COMPARTMENTS_H
#define KINETRA_TESTS_MODEL_COMPARTMENTS_H

#include <algorithm>
#include <cmath>

#include "model_support.h"

namespace model_test {

// [[a, b], [c, d]]
struct Mat2 {
    double a, b, c, d;
    Mat2 operator*(const Mat2& o) const {
        return {a * o.a + b * o.c, a * o.b + b * o.d, c * o.a + d * o.c, c * o.b + d * o.d};
    }
    Mat2 scaled(double s) const { return {a * s, b * s, c * s, d * s}; }
};

inline Mat2 expm(const Mat2& m) {
    int squarings = 0;
    double norm = std::max(std::fabs(m.a) + std::fabs(m.b), std::fabs(m.c) + std::fabs(m.d));
    for (; norm > 0.25; norm /= 2) ++squarings;
    const Mat2 x = m.scaled(std::ldexp(1.0, -squarings));
    Mat2 sum{1, 0, 0, 1}, term{1, 0, 0, 1};
    for (int n = 1; n <= 24; ++n) {
        term = (term * x).scaled(1.0 / n);
        sum = {sum.a + term.a, sum.b + term.b, sum.c + term.c, sum.d + term.d};
    }
    for (int i = 0; i < squarings; ++i) sum = sum * sum;
    return sum;
}

// Free and bound compartments: dC1/dt = k1 C - (k2 + k3) C1 + k4 C2,
// dC2/dt = k3 C1 - k4 C2.
struct TwoTissue {
    Mat2 M;
    TwoTissue(double k2, double k3, double k4) : M{-(k2 + k3) / 60, k4 / 60, k3 / 60, -k4 / 60} {}
    // Column exp(M s) e1: what a unit impulse into the free compartment
    // leaves in each compartment after s.
    Mat2 propagator(double s) const { return expm(M.scaled(s)); }

    // C1 (compartment 0) or C2 (1) at t for the input curve, k1 in 1/min.
    double curve(const Polyline& c, double k1, double t, int compartment) const {
        return k1 / 60 * referenceIntegral(c, t, [&](double u) {
                   const Mat2 e = propagator(t - u);
                   return (compartment == 0 ? e.a : e.c) * c(u);
               });
    }
    double tissue(const Polyline& c, double k1, double t) const { return curve(c, k1, t, 0) + curve(c, k1, t, 1); }

    // The target of a reference-region model. The reference region (one
    // compartment, efflux K = k2 / R1) gives the plasma as K1' Cp = dCr/dt +
    // K Cr; with the target's impulse response h = C1 + C2 of a unit impulse
    // (h(0) = 1) and K1 = R1 K1', integration by parts gives
    //   Ct = R1 (Cr + int_0^t (h' + K h)(t - u) Cr(u) du).
    double reference(const Polyline& cr, double R1, double k2, double t) const {
        const double K = k2 / R1 / 60;
        return R1 * (cr(t) + referenceIntegral(cr, t, [&](double u) {
                         const Mat2 e = propagator(t - u), de = M * e;
                         return (de.a + de.c + K * (e.a + e.c)) * cr(u);
                     }));
    }
};

}  // namespace model_test

#endif
