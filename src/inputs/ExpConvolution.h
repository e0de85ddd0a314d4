// The convolution of exponentials e^(-r_1 s), ..., e^(-r_n s) at time t,
//
//   G(r_1, ..., r_n; t) = t^(n-1) exp[-r_1 t, ..., -r_n t],
//
// the divided difference of exp at the nodes -r_i t. It is computed as the
// top-right entry of exp(Z), Z the bidiagonal matrix with the nodes on the
// diagonal and ones above it, by scaling and squaring a Taylor polynomial.
// This is analytic in the rates: equal or nearly equal rates (the 0/0 limits
// of the expanded forms such as (1 - (d t + 1) e^(-d t)) / d^2 at d = 0) need
// no branch and lose no digits, and the rates may be repeated (s e^(-r s) is
// G(r, r; s)). Two rules follow from it:
//   d G / d r_i = -G(r_1, ..., r_n, r_i; t)  (the node repeated),
//   t G(r; t)  = sum_i G(r_1, ..., r_n, r_i; t).
// A rate that is not finite gives NaN.
#ifndef KINETRA_INPUTS_EXPCONVOLUTION_H
#define KINETRA_INPUTS_EXPCONVOLUTION_H

// Rates in one call at most.
constexpr int kMaxExpRates = 6;

// G(rates[0..n-1]; t) for 1 <= n <= kMaxExpRates; NaN for another n.
double expConvolution(const double* rates, int n, double t);

#endif
