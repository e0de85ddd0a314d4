// The measured input: one frame of the walk of the closed-form convolution,
// shared by the calls one by one (one chain, one convolution) and by the
// pass over all frames (both convolutions' chains at once).
#include <cmath>
#include <limits>

#include "inputs/LinearInterpolation.h"
#include "util/Message.h"

// Both integrals of one interval on one set of terms: the numbers of
// interval<false> and interval<true>.
void LinearInterpolation::intervalPair(double k, double a, double b, double x0, double y0, double m, double& I,
                                       double& IT) {
    if (k == 0.0 || k != k) {
        I = integrateInterval(k, a, b, x0, y0, m);
        IT = integrateTimeInterval(k, a, b, x0, y0, m);
        return;
    }
    const double w = b - a;
    const double p = y0 + m * (a - x0);
    const Terms& e = terms(k, a, w);
    I = e.ea * w * (p * e.p1 + m * w * e.p2);
    IT = e.ea * w * (a * p * e.p1 + (a * m + p) * w * e.p2 + m * w * w * e.p3);
}

template <unsigned C, bool Timed>
void LinearInterpolation::intervals(double k, double a, double b, double x0, double y0, double m, double* I) {
    if constexpr (C == 1) I[0] = interval<Timed>(k, a, b, x0, y0, m);
    else intervalPair(k, a, b, x0, y0, m, I[0], I[1]);
}

template <unsigned C, bool Timed>
void LinearInterpolation::walkFrame(double k, double t, const Chain* chain, const std::size_t* step, double* S) {
    const std::size_t n = time_.size();
    const double* T = time_.data();
    const double* Y = value_.data();
    double I[C];
    double yl = 0.0;  // value at the last grid point passed
    double m = 0.0;   // slope of the segment at hand
    std::size_t last = 0;
    const std::size_t j = chain[0].lastIndex;
    for (unsigned c = 0; c < C; ++c) S[c] = 0.0;

    if (t == T[0]) {
        // The first sample: only the line from (0, 0) to it. This also
        // (re)starts the chain, as a fit does at every voxel.
        if (T[0] > 0) {
            m = Y[0] / T[0];
            intervals<C, Timed>(k, 0.0, T[0], T[0], Y[0], m, S);
        }
    } else if (k == chain[0].lastK && j + 1 < n && chain[0].lastTime == T[j] && t == T[j + 1]) {
        // The last call ended on T[j] and this one on T[j+1]: one more segment.
        if (C == 1) {
            if (Timed) MESSAGE(5, "LinearInterpolation: using convTExp() cache...\n");
            else MESSAGE(5, "LinearInterpolation: using convExp() cache...\n");
        }
        m = (Y[j + 1] - Y[j]) / (T[j + 1] - T[j]);
        intervals<C, Timed>(k, T[j], T[j + 1], T[j + 1], Y[j + 1], m, I);
        for (unsigned c = 0; c < C; ++c) S[c] = chain[c].lastSum + I[c];
        last = j + 1;
    } else {
        // Full sum over the grid points below t: the loop for i from 0 while
        // t > T[i] adds interval i at step i. Its partial sums are kept for
        // this k (see Prefix), so only the steps not taken before are done;
        // a step any chain lacks is computed once for all of them.
        std::size_t from = n;
        for (unsigned c = 0; c < C; ++c) {
            Prefix& prefix = chain[c].prefix;
            if (!(prefix.k == k)) {
                prefix.k = k;
                prefix.count = 0;
            }
            if (prefix.sum.size() != n) {
                prefix.sum.assign(n, 0.0);
                prefix.count = 0;
            }
            if (prefix.count < from) from = prefix.count;
        }
        const std::size_t steps = step != nullptr ? *step : gridIndex(t);  // T[i] < t for i < steps
        for (std::size_t i = from; i < steps; ++i) {
            if (i == 0) {
                for (unsigned c = 0; c < C; ++c) I[c] = 0.0;
                if (T[0] > 0) intervals<C, Timed>(k, 0.0, T[0], T[0], Y[0], Y[0] / T[0], I);
            } else {
                const double slope = (Y[i] - Y[i - 1]) / (T[i] - T[i - 1]);
                intervals<C, Timed>(k, T[i - 1], T[i], T[i], Y[i], slope, I);
            }
            for (unsigned c = 0; c < C; ++c) {
                Prefix& prefix = chain[c].prefix;
                if (i >= prefix.count) prefix.sum[i] = i == 0 ? I[c] : prefix.sum[i - 1] + I[c];
            }
        }
        for (unsigned c = 0; c < C; ++c)
            if (steps > chain[c].prefix.count) chain[c].prefix.count = steps;
        if (steps > 0) {
            // The state of the loop after its last step.
            last = steps - 1;
            for (unsigned c = 0; c < C; ++c) S[c] = chain[c].prefix.sum[last];
            if (last > 0) {
                yl = Y[last];
                m = (Y[last] - Y[last - 1]) / (T[last] - T[last - 1]);
            } else if (T[0] > 0) {
                yl = Y[0];
                m = Y[0] / T[0];
            }  // curve starting at t = 0: nothing before it, yl and m stay 0.0
        }
        // The remainder from the last point passed to t.
        if (t > T[n - 1]) {
            intervals<C, Timed>(k, T[n - 1], t, T[n - 1], yl, m, I);  // last slope goes on
        } else if (t <= T[0]) {
            m = Y[0] / T[0];
            intervals<C, Timed>(k, 0.0, t, T[0], Y[0], m, I);
        } else {
            // T[last] < t <= T[last+1]: the loop stopped at last+1 < n.
            m = (Y[last + 1] - yl) / (T[last + 1] - T[last]);
            intervals<C, Timed>(k, T[last], t, T[last], yl, m, I);
        }
        for (unsigned c = 0; c < C; ++c) S[c] += I[c];
    }
    for (unsigned c = 0; c < C; ++c) {
        chain[c].lastSum = S[c];
        chain[c].lastK = k;
        chain[c].lastIndex = static_cast<std::uint32_t>(last);
        chain[c].lastTime = t;
    }
}

template <bool Timed>
double LinearInterpolation::fromSum(double S, double k, double t) {
    // The sum carries exp(k s): for large k t it overflows while exp(-k t)
    // underflows (inf * 0 = NaN), or the factor is subnormal and the product
    // inexact. Then the exponential goes into the terms instead; any result
    // that was finite with a normal factor stays as it was.
    const double d = decay(k, t);
    const double result = S * d;
    if (k != 0.0 && (!(std::fabs(result) <= std::numeric_limits<double>::max()) ||
                     d < std::numeric_limits<double>::min()))
        return foldedConvolve<Timed>(k, t);
    return result;
}

template void LinearInterpolation::walkFrame<1, false>(double, double, const Chain*, const std::size_t*, double*);
template void LinearInterpolation::walkFrame<1, true>(double, double, const Chain*, const std::size_t*, double*);
template void LinearInterpolation::walkFrame<2, false>(double, double, const Chain*, const std::size_t*, double*);
template double LinearInterpolation::fromSum<false>(double, double, double);
template double LinearInterpolation::fromSum<true>(double, double, double);
