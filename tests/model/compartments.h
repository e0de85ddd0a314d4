// Independent solutions of the compartment equations dC/dt = M C + e0 gain Ca:
// the impulse response exp(M s) by its Taylor series with scaling and
// squaring, integrated against the piecewise linear curve by quadrature.
// Rates in 1/min, times in s.
#ifndef KINETRA_TESTS_MODEL_COMPARTMENTS_H
#define KINETRA_TESTS_MODEL_COMPARTMENTS_H

#include <array>

#include "model_support.h"

namespace model_test {

template <int N>
struct MatN {
    std::array<double, N * N> a{};
    double& operator()(int i, int j) { return a[i * N + j]; }
    double operator()(int i, int j) const { return a[i * N + j]; }
    MatN operator*(const MatN& o) const {
        MatN r;
        for (int i = 0; i < N; ++i)
            for (int j = 0; j < N; ++j)
                for (int k = 0; k < N; ++k) r(i, j) += (*this)(i, k) * o(k, j);
        return r;
    }
};

// exp(M s)
template <int N>
MatN<N> expm(MatN<N> m, double s) {
    double norm = 0;
    for (int i = 0; i < N; ++i) {
        double row = 0;
        for (int j = 0; j < N; ++j) row += std::fabs(m(i, j)) * s;
        norm = std::max(norm, row);
    }
    int squarings = 0;
    for (; norm > 0.25; norm /= 2) ++squarings;
    for (double& v : m.a) v *= s * std::ldexp(1.0, -squarings);
    MatN<N> sum, term;
    for (int i = 0; i < N; ++i) sum(i, i) = term(i, i) = 1;
    for (int n = 1; n <= 24; ++n) {
        term = term * m;
        for (int i = 0; i < N * N; ++i) sum.a[i] += term.a[i] /= n;
    }
    for (int i = 0; i < squarings; ++i) sum = sum * sum;
    return sum;
}

// Compartment i at t.
template <int N>
double compartment(const MatN<N>& M, double gain, const Polyline& c, double t, int i) {
    return gain * referenceIntegral(c, t, [&](double u) { return expm(M, t - u)(i, 0) * c(u); });
}

// Free and bound: dC1/dt = k1 C - (k2 + k3) C1 + k4 C2, dC2/dt = k3 C1 - k4 C2.
struct TwoTissue {
    MatN<2> M;
    TwoTissue(double k2, double k3, double k4) { M.a = {-(k2 + k3) / 60, k4 / 60, k3 / 60, -k4 / 60}; }
    double tissue(const Polyline& c, double k1, double t) const {
        return compartment(M, k1 / 60, c, t, 0) + compartment(M, k1 / 60, c, t, 1);
    }
    // A reference-region target: with K1' Cp = dCr/dt + K Cr (K = k2 / R1) and
    // the target's unit impulse response h = C1 + C2, integration by parts gives
    //   Ct = R1 (Cr + int_0^t (h' + K h)(t - u) Cr(u) du).
    double reference(const Polyline& cr, double R1, double k2, double t) const {
        const double K = k2 / R1 / 60;
        return R1 * (cr(t) + referenceIntegral(cr, t, [&](double u) {
                         const MatN<2> e = expm(M, t - u), de = M * e;
                         return (de(0, 0) + de(1, 0) + K * (e(0, 0) + e(1, 0))) * cr(u);
                     }));
    }
};

// C1' = k1 Ca - kappa C1, C2' = alpha k3 C1, C3' = e (1 - alpha) k3 C1 - k4 C3;
// the two-tissue model has C3 = 0 through alpha's weight.
inline MatN<3> fmiso(double k2, double k3, double k4, double alpha, double eta, bool threeTissue) {
    const double e = 1 - eta, kappa = threeTissue ? k2 + e * k3 : k2 + e * alpha * k3;
    MatN<3> M;
    M(0, 0) = -kappa / 60;
    M(1, 0) = alpha * k3 / 60;
    M(2, 0) = threeTissue ? e * (1 - alpha) * k3 / 60 : 0.0;
    M(2, 2) = -k4 / 60;
    return M;
}

// C1' = (F/V) Ca - kappa C1, C2' = alpha ka C1, C3' = (1 - alpha) ka C1 - kb C3,
// C4' = ((1 - eta) kb / eta) C3 - m C4.
inline MatN<4> casciari(double F, double ka, double kb, double alpha, double eta, double V) {
    MatN<4> M;
    M(0, 0) = -((1 - eta) * ka + F / V) / 60;
    M(1, 0) = alpha * ka / 60;
    M(2, 0) = (1 - alpha) * ka / 60;
    M(2, 2) = -kb / 60;
    M(3, 2) = (1 - eta) * kb / eta / 60;
    M(3, 3) = -F / (eta * V) / 60;
    return M;
}

}  // namespace model_test

#endif
