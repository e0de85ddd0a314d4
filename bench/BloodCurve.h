// The measured blood curve of the model benchmarks: 30 frames (12 of 5 s,
// 10 of 15 s, 8 of 60 s) of a bolus with a slow tail, at mid-frame times,
// loaded into a LinearInterpolation input. Returns the frames' model times.
#ifndef KINETRA_BENCH_BLOODCURVE_H
#define KINETRA_BENCH_BLOODCURVE_H

#include <cmath>
#include <vector>

#include "Dataset4D.h"
#include "inputs/LinearInterpolation.h"
#include "util/Message.h"

inline std::vector<double> loadBloodCurve(LinearInterpolation& input) {
    const unsigned n = 30;
    Dataset4D<double> data(n, 1, 1, 1, 0.0);
    double t = 0.0;
    for (unsigned i = 0; i < n; ++i) {
        const double length = i < 12 ? 5.0 : (i < 22 ? 15.0 : 60.0);
        data.setTime(i, t);
        data.setFrameLength(i, length);
        const double mid = t + 0.5 * length;
        data(i, 0, 0, 0) = 40.0 * (mid / 20) * (mid / 20) * std::exp(-mid / 15) + 5 * std::exp(-mid / 900);
        t += length;
    }
    data.setMidframeApprox(true);
    data.setUnit(Unit("kBq/ml"));
    _MessageHelper::verbosity_ = 0;
    input.initParameters(&data, nullptr);
    return data.getModelTime();
}

#endif
