// The measured input: the convolutions of one rate over all frames in one pass.
#include "inputs/LinearInterpolation.h"

// The calls' own walk, frame by frame in the calls' order (value, convExp,
// convTimeExp) on the calls' own chains, without their dispatch and chain
// selection: every number and every chain state is the one the calls give.
void LinearInterpolation::convolveFrames(double k, const double* t, unsigned T, unsigned x, unsigned y, unsigned z,
                                         double* value, double* conv, double* convT) {
    if (numconv_) {
        InputFunction::convolveFrames(k, t, T, x, y, z, value, conv, convT);
        return;
    }
    const Chain exp = chainsConvExp_.select(k);
    const Chain time = chainsConvTimeExp_.select(k);
    for (unsigned i = 0; i < T; ++i) {
        value[i] = (*this)(t[i], x, y, z);
        conv[i] = convolve<false>(k, t[i], x, y, z, exp);
        convT[i] = convolve<true>(k, t[i], x, y, z, time);
    }
}
