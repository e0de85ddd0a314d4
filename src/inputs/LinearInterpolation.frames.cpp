// The measured input: the convolutions of one rate over all frames in one pass.
#include <cstring>

#include "inputs/LinearInterpolation.h"
#include "util/Message.h"

// The walk of convolve over the frames, on both convolutions' chains at once
// (walkFrame): the same path, intervals and chain states as the calls frame
// by frame, so every number is theirs; the frames' values and grid indices
// are kept between passes. The two chains of rate k must stand alike (they
// do when the two convolutions are asked together, as models ask them);
// otherwise, with numerical convolutions, and where the calls print
// (verbosity 5 on), the calls one by one.
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
    const Chain both[2] = {e, w};
    for (unsigned f = 0; f < T; ++f) {
        value[f] = frameValue_[f];
        double S[2];
        walkFrame<2, false>(k, t[f], both, &frameStep_[f], S);
        conv[f] = fromSum<false>(S[0], k, t[f]);
        convT[f] = fromSum<true>(S[1], k, t[f]);
    }
}
