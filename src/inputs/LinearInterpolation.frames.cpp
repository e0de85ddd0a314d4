// The measured input: the convolutions of one rate over all frames in one pass.
#include <cmath>
#include <cstring>
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

// The walk of convolve over the frames, for both convolutions at once: the
// same path through the grid (a restart at the first sample, one segment
// more on the chain, or the partial sums and a remainder), the same
// intervals in the same order and the same chain state afterwards, so every
// number is the one the calls give frame by frame. The two chains of rate k
// must stand alike (they do when the two convolutions are asked together, as
// models ask them); otherwise, with numerical convolutions, and where the
// calls print (verbosity 5 on), the calls one by one.
void LinearInterpolation::convolveFrames(double k, const double* t, unsigned T, unsigned x, unsigned y, unsigned z,
                                         double* value, double* conv, double* convT) {
    const std::size_t n = time_.size();
    bool fused = !numconv_ && n >= 2 && T > 0 && !_MessageHelper::enabled(5);
    for (unsigned i = 0; fused && i < T; ++i) fused = t[i] >= 0.0;
    if (!fused) {
        InputFunction::convolveFrames(k, t, T, x, y, z, value, conv, convT);
        return;
    }
    precompute(x, y, z);
    const Chain e = chainsConvExp_.select(k);
    const Chain w = chainsConvTimeExp_.select(k);
    if (!(std::memcmp(&e.lastK, &w.lastK, sizeof(double)) == 0 && e.lastIndex == w.lastIndex &&
          std::memcmp(&e.lastTime, &w.lastTime, sizeof(double)) == 0)) {
        for (unsigned i = 0; i < T; ++i) {
            value[i] = (*this)(t[i], x, y, z);
            conv[i] = convolve<false>(k, t[i], x, y, z, e);
            convT[i] = convolve<true>(k, t[i], x, y, z, w);
        }
        return;
    }
    const double* Ts = time_.data();
    const double* Y = value_.data();
    if (frameTime_.size() != T || std::memcmp(frameTime_.data(), t, T * sizeof(double)) != 0) {
        frameTime_.assign(t, t + T);
        frameValue_.resize(T);
        frameStep_.resize(T);
        for (unsigned f = 0; f < T; ++f) {
            frameValue_[f] = (*this)(t[f], x, y, z);
            frameStep_[f] = gridIndex(t[f]);
        }
    }
    result_ = frameValue_[T - 1];  // as the last call of the value leaves it
    for (Prefix* prefix : {&e.prefix, &w.prefix}) {
        if (!(prefix->k == k)) {
            prefix->k = k;
            prefix->count = 0;
        }
        if (prefix->sum.size() != n) {
            prefix->sum.assign(n, 0.0);
            prefix->count = 0;
        }
    }
    for (unsigned f = 0; f < T; ++f) {
        const double tf = t[f];
        value[f] = frameValue_[f];
        double S = 0.0, ST = 0.0, I, IT;
        double yl = 0.0, m = 0.0;
        std::size_t last = 0;
        const std::size_t j = e.lastIndex;
        if (tf == Ts[0]) {
            if (Ts[0] > 0) {
                m = Y[0] / Ts[0];
                intervalPair(k, 0.0, Ts[0], Ts[0], Y[0], m, S, ST);
            }
        } else if (k == e.lastK && j + 1 < n && e.lastTime == Ts[j] && tf == Ts[j + 1]) {
            m = (Y[j + 1] - Y[j]) / (Ts[j + 1] - Ts[j]);
            intervalPair(k, Ts[j], Ts[j + 1], Ts[j + 1], Y[j + 1], m, I, IT);
            S = e.lastSum + I;
            ST = w.lastSum + IT;
            last = j + 1;
        } else {
            // The partial sums of both chains advance together: their counts
            // agree unless one of them was used alone before.
            const std::size_t steps = frameStep_[f];
            // Step i of the partial sums: interval i of the grid.
            auto stepInterval = [&](std::size_t i, double& a, double& b) {
                a = b = 0.0;
                if (i == 0) {
                    if (Ts[0] > 0) intervalPair(k, 0.0, Ts[0], Ts[0], Y[0], Y[0] / Ts[0], a, b);
                } else {
                    intervalPair(k, Ts[i - 1], Ts[i], Ts[i], Y[i], (Y[i] - Y[i - 1]) / (Ts[i] - Ts[i - 1]), a, b);
                }
            };
            if (e.prefix.count == w.prefix.count) {
                for (std::size_t i = e.prefix.count; i < steps; ++i) {
                    stepInterval(i, I, IT);
                    e.prefix.sum[i] = i == 0 ? I : e.prefix.sum[i - 1] + I;
                    w.prefix.sum[i] = i == 0 ? IT : w.prefix.sum[i - 1] + IT;
                }
            } else {
                for (std::size_t i = e.prefix.count; i < steps; ++i) {
                    stepInterval(i, I, IT);
                    e.prefix.sum[i] = i == 0 ? I : e.prefix.sum[i - 1] + I;
                }
                for (std::size_t i = w.prefix.count; i < steps; ++i) {
                    stepInterval(i, I, IT);
                    w.prefix.sum[i] = i == 0 ? IT : w.prefix.sum[i - 1] + IT;
                }
            }
            for (Prefix* prefix : {&e.prefix, &w.prefix})
                if (steps > prefix->count) prefix->count = steps;
            if (steps > 0) {
                last = steps - 1;
                S = e.prefix.sum[last];
                ST = w.prefix.sum[last];
                if (last > 0) {
                    yl = Y[last];
                    m = (Y[last] - Y[last - 1]) / (Ts[last] - Ts[last - 1]);
                } else if (Ts[0] > 0) {
                    yl = Y[0];
                    m = Y[0] / Ts[0];
                }
            }
            if (tf > Ts[n - 1]) {
                intervalPair(k, Ts[n - 1], tf, Ts[n - 1], yl, m, I, IT);
            } else if (tf <= Ts[0]) {
                m = Y[0] / Ts[0];
                intervalPair(k, 0.0, tf, Ts[0], Y[0], m, I, IT);
            } else {
                m = (Y[last + 1] - yl) / (Ts[last + 1] - Ts[last]);
                intervalPair(k, Ts[last], tf, Ts[last], yl, m, I, IT);
            }
            S += I;
            ST += IT;
        }
        for (const Chain* c : {&e, &w}) {
            c->lastK = k;
            c->lastIndex = static_cast<std::uint32_t>(last);
            c->lastTime = tf;
        }
        e.lastSum = S;
        w.lastSum = ST;
        const double d = decay(k, tf);
        conv[f] = S * d;
        convT[f] = ST * d;
        // Where the running sums overflow, convolve takes the folded form.
        if (k != 0.0 && d < std::numeric_limits<double>::min()) {
            conv[f] = foldedConvolve<false>(k, tf);
            convT[f] = foldedConvolve<true>(k, tf);
        } else if (k != 0.0) {
            if (!(std::fabs(conv[f]) <= std::numeric_limits<double>::max())) conv[f] = foldedConvolve<false>(k, tf);
            if (!(std::fabs(convT[f]) <= std::numeric_limits<double>::max())) convT[f] = foldedConvolve<true>(k, tf);
        }
    }
}
