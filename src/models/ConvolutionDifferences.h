// Divided differences of the input's convolution f(k) = conv(k) at time t,
// f[a, b] = (f(b) - f(a)) / (b - a) and f[a, b, c], in forms that stay
// accurate and continuous when rates meet. f'(k) = convT(k) - t conv(k).
//
// First differences: the direct quotient while |b - a| t >= 1e-5; below, the
// trapezoid mean (f'(a) + f'(b)) / 2, whose error ~ ((b - a) t)^2 / 12 and the
// quotient's rounding ~ eps / ((b - a) t) meet near 1e-11 relative.
// Second differences: the recursion while the spread of the nodes times t is
// >= 1e-4 (rounding ~1e-7 relative at the switch); below, f''(mean) / 2 with
// f'' from a central difference of f' (step 1e-4 / t), ~1e-8 relative.
#ifndef KINETRA_MODELS_CONVOLUTIONDIFFERENCES_H
#define KINETRA_MODELS_CONVOLUTIONDIFFERENCES_H

#include <algorithm>
#include <cmath>

#include "models/RateConvolution.h"

struct ConvolutionDifferences {
    InputFunction* input;
    double t;
    unsigned x, y, z;
    double scale;

    double conv(double k) const { return convExpAt(*input, k, t, x, y, z) * scale; }
    double slope(double k) const { return (convTimeExpAt(*input, k, t, x, y, z) - t * convExpAt(*input, k, t, x, y, z)) * scale; }

    // f[a, b], given f(a) and f(b).
    double first(double a, double fa, double b, double fb) const {
        if (std::fabs(b - a) * t >= 1e-5) return (fb - fa) / (b - a);
        return 0.5 * (slope(a) + slope(b));
    }
    // f''(c) / 2.
    double halfCurvature(double c) const {
        if (!(t > 0.0)) return 0.0;
        const double d = 1e-4 / t;
        return (slope(c + d) - slope(c - d)) / (4.0 * d);
    }
    // f[a, b, b], given f(a), f(b) and f'(b).
    double confluent(double a, double fa, double b, double fb, double dfb) const {
        if (std::fabs(b - a) * t >= 1e-4) return (dfb - first(a, fa, b, fb)) / (b - a);
        return halfCurvature((a + 2.0 * b) / 3.0);
    }
    // f[a, b, c], given f at the three nodes.
    double second(double a, double fa, double b, double fb, double c, double fc) const {
        // Order the nodes, so that the outer two span the spread.
        if (a > b) std::swap(a, b), std::swap(fa, fb);
        if (b > c) std::swap(b, c), std::swap(fb, fc);
        if (a > b) std::swap(a, b), std::swap(fa, fb);
        if ((c - a) * t < 1e-4) return halfCurvature((a + b + c) / 3.0);
        return (first(b, fb, c, fc) - first(a, fa, b, fb)) / (c - a);
    }
};

#endif
